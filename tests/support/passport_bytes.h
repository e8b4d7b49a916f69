// Network forms of passports built byte by byte from the layout of the format, independently of
// the library, for golden tests, corpora and benchmarks.
#ifndef TESTS_SUPPORT_PASSPORT_BYTES_H
#define TESTS_SUPPORT_PASSPORT_BYTES_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace passport_bytes {

using Bytes = std::vector<uint8_t>;

inline void PutBE16(Bytes &b, size_t at, uint16_t v) {
  b[at] = uint8_t(v >> 8);
  b[at + 1] = uint8_t(v);
}
inline void PutBE32(Bytes &b, size_t at, uint32_t v) {
  PutBE16(b, at, uint16_t(v >> 16));
  PutBE16(b, at + 2, uint16_t(v));
}
inline uint16_t GetBE16(const Bytes &b, size_t at) { return uint16_t(b[at] << 8 | b[at + 1]); }
// UTF-8 text, blank-padded to width.
inline void PutText(Bytes &b, size_t at, size_t width, std::string_view text) {
  for (size_t i = 0; i < width; ++i) b[at + i] = i < text.size() ? uint8_t(text[i]) : ' ';
}
inline void PutStar(Bytes &b, size_t at) {
  b[at] = '*', b[at + 1] = 'T', b[at + 2] = 'H', b[at + 3] = '*';
}

// The fields of the core part.
struct Core {
  uint8_t version = 3;
  uint8_t flag[2] = {0, 0};
  std::string component_name, user_id, action, pre_component_name, transaction_id, client;
  uint16_t service = 0, action_type = 0, component = 0;
  uint8_t root_context_id[16] = {};
  uint8_t connection_id[16] = {};
  uint32_t connection_counter = 0;
};

// The core up to offset 149, common to all versions; total length still 0.
inline Bytes CoreBytes(const Core &c, size_t total) {
  Bytes b(total, 0);
  PutStar(b, 0);
  b[4] = c.version;
  b[7] = c.flag[0], b[8] = c.flag[1];
  PutText(b, 9, 32, c.component_name);
  PutBE16(b, 41, c.service);
  PutText(b, 43, 32, c.user_id);
  PutText(b, 75, 40, c.action);
  PutBE16(b, 115, c.action_type);
  PutText(b, 117, 32, c.pre_component_name);
  return b;
}

inline Bytes Version1(const Core &c) {
  Bytes b = CoreBytes(c, 160);
  PutStar(b, 156);
  PutBE16(b, 5, 160);
  return b;
}

inline Bytes Version2(const Core &c) {
  Bytes b = CoreBytes(c, 185);
  PutText(b, 149, 32, c.transaction_id);
  PutStar(b, 181);
  PutBE16(b, 5, 185);
  return b;
}

// parts: the network form of the variable parts, part_count of them.
inline Bytes Version3(const Core &c, const Bytes &parts = {}, uint16_t part_count = 0) {
  size_t total = 226 + parts.size() + 4;
  Bytes b = CoreBytes(c, total);
  PutText(b, 149, 32, c.transaction_id);
  PutText(b, 181, 3, c.client);
  PutBE16(b, 184, c.component);
  for (int i = 0; i < 16; ++i) b[186 + i] = c.root_context_id[i], b[202 + i] = c.connection_id[i];
  PutBE32(b, 218, c.connection_counter);
  PutBE16(b, 222, part_count);
  PutBE16(b, 224, 226);
  for (size_t i = 0; i < parts.size(); ++i) b[226 + i] = parts[i];
  PutStar(b, total - 4);
  PutBE16(b, 5, uint16_t(total));
  return b;
}

// An item with its 7-byte header.
inline Bytes Item(uint16_t app, uint16_t key, uint8_t type, const Bytes &value) {
  Bytes b(7 + value.size());
  PutBE16(b, 0, app);
  PutBE16(b, 2, key);
  b[4] = type;
  PutBE16(b, 5, uint16_t(b.size()));
  for (size_t i = 0; i < value.size(); ++i) b[7 + i] = value[i];
  return b;
}
inline Bytes IntItem(uint16_t app, uint16_t key, int32_t v) {
  Bytes value(4);
  PutBE32(value, 0, uint32_t(v));
  return Item(app, key, 2, value);
}
inline Bytes StringItem(uint16_t app, uint16_t key, std::string_view utf8) {
  return Item(app, key, 4, Bytes(utf8.begin(), utf8.end()));
}

// A variable part with its 12-byte header around items (already joined).
inline Bytes Part(uint16_t id, uint16_t item_count, const Bytes &items, bool last,
                  uint8_t version = 1) {
  Bytes b(12 + items.size());
  PutStar(b, 0);
  b[4] = version;
  PutBE16(b, 5, uint16_t(b.size()));
  b[7] = last ? 1 : 0;
  PutBE16(b, 8, id);
  PutBE16(b, 10, item_count);
  for (size_t i = 0; i < items.size(); ++i) b[12 + i] = items[i];
  return b;
}

inline Bytes Join(std::initializer_list<Bytes> pieces) {
  Bytes all;
  for (const Bytes &p : pieces) all.insert(all.end(), p.begin(), p.end());
  return all;
}

// Capital hexadecimal text of bytes, as passport texts carry them.
inline std::u16string Hex(const Bytes &b) {
  static const char16_t kDigits[] = u"0123456789ABCDEF";
  std::u16string s;
  for (uint8_t byte : b) s += kDigits[byte >> 4], s += kDigits[byte & 15];
  return s;
}

// A sample core with every field set.
inline Core SampleCore(uint8_t version) {
  Core c;
  c.version = version;
  c.flag[0] = 0x8F, c.flag[1] = 0x0D;
  c.component_name = "ServerA";
  c.service = 7;
  c.user_id = "alice";
  c.action = "checkout";
  c.action_type = 2;
  c.pre_component_name = "ClientB";
  c.transaction_id = "T-0001";
  c.client = "100";
  c.component = 8;
  for (int i = 0; i < 16; ++i)
    c.root_context_id[i] = uint8_t(i), c.connection_id[i] = uint8_t(0xF0 + i);
  c.connection_counter = 0x01020304;
  return c;
}

}  // namespace passport_bytes

#endif  // TESTS_SUPPORT_PASSPORT_BYTES_H
