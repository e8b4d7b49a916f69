// The network form of the variable parts and their items.
#include <cstring>

#include "epp/epp_bytes.h"
#include "epp/epp_trace.h"
#include "epp/epp_wire.h"
#include "zul_u16conv.h"

namespace epp::wire {
namespace {

constexpr int kDestinationFull = 32;

size_t WriteItem(const Item *item, ZUL_RAW *out) {
  PutU16(out, item->application);
  PutU16(out + 2, item->key);
  out[4] = item->type;
  ZUL_RAW *value = out + kItemHeader;
  size_t value_bytes = 0;
  switch (item->type) {
    case EPP_ITEM_BYTES:
    case EPP_ITEM_UUID:
      value_bytes = item->length;
      std::memcpy(value, item->value, value_bytes);
      break;
    case EPP_ITEM_INT: {
      int32_t number;
      std::memcpy(&number, item->value, sizeof number);
      PutU32(value, static_cast<uint32_t>(number));
      value_bytes = sizeof number;
      break;
    }
    case EPP_ITEM_STRING: {
      // An area of length + 1 bytes: text that needs more bytes than units is cut there.
      ZUL_RAW area[kItemMaxLength + 1];
      UcsToUtf8sFast(area, item->length + 1u, &value_bytes,
                     static_cast<const ZUL_UTF16 *>(item->value));
      std::memcpy(value, area, value_bytes);
      break;
    }
    default:
      break;
  }
  size_t size = kItemHeader + value_bytes;
  PutU16(out + 5, static_cast<uint16_t>(size));
  return size;
}

size_t WritePart(const VarPart *part, bool last, ZUL_RAW *out) {
  std::memcpy(out, part->eyecatcher, sizeof part->eyecatcher);
  out[4] = part->version;
  out[7] = last ? 1 : 0;
  PutU16(out + 8, part->id);
  PutU16(out + 10, part->item_count);
  size_t size = kPartHeader;
  const Item *item = part->first;
  for (uint16_t i = 0; i < part->item_count && item != nullptr; ++i, item = item->next)
    size += WriteItem(item, out + size);
  PutU16(out + 5, static_cast<uint16_t>(size));
  return size;
}

// The bounds of a stream being parsed: parts and items lie in [begin, end); texts, which are read
// as zero-terminated, may run on to text_end, the end of the bytes given.
struct Stream {
  const ZUL_RAW *begin;
  const ZUL_RAW *end;
  const ZUL_RAW *text_end;
  // True when [at, at + bytes) lies in the stream.
  bool Holds(ptrdiff_t at, ptrdiff_t bytes) const {
    return at >= 0 && bytes >= 0 && bytes <= (end - begin) - at;
  }
};

// Converts a string item's text, which may run on past the item up to the stream's end, into an
// area of value_bytes + 1 units. Longer texts than an item can hold are refused by eppSetItem
// alike, so the area is capped one unit above that.
uint32_t ReadString(const Stream &s, ptrdiff_t at, ptrdiff_t value_bytes, ZUL_UTF16 *area,
                    size_t *units) {
  ptrdiff_t area_units = value_bytes + 1;
  if (area_units < 0) area_units = 0;
  if (area_units > static_cast<ptrdiff_t>(kItemMaxLength) + 2) area_units = kItemMaxLength + 2;
  int rc = GetTextUpTo(s.begin + at, s.text_end, area, static_cast<size_t>(area_units), units);
  return rc == 0 || rc == kDestinationFull ? EPP_RC_OK : EPP_RC_CONVERSION;
}

// Stores the item at offset at; answers 0 or the code that ends the parse.
uint32_t ReadItem(void *handle, uint16_t part_id, const Stream &s, ptrdiff_t at,
                  ptrdiff_t item_size) {
  const ZUL_RAW *item = s.begin + at;
  uint16_t application = GetU16(item);
  uint16_t key = GetU16(item + 2);
  uint8_t type = item[4];
  ptrdiff_t value_at = at + static_cast<ptrdiff_t>(kItemHeader);
  ptrdiff_t value_bytes = item_size - static_cast<ptrdiff_t>(kItemHeader);
  uint32_t length = value_bytes > 0 ? static_cast<uint32_t>(value_bytes) : 0;
  switch (type) {
    case EPP_ITEM_BYTES:
      return eppSetItem(handle, part_id, application, key, type, length, s.begin + value_at);
    case EPP_ITEM_UUID:
      if (!s.Holds(value_at, EPP_UUID_LEN)) return EPP_RC_INVALID;
      return eppSetItem(handle, part_id, application, key, type, length, s.begin + value_at);
    case EPP_ITEM_INT: {
      if (!s.Holds(value_at, 4)) return EPP_RC_INVALID;
      auto number = static_cast<int32_t>(GetU32(s.begin + value_at));
      return eppSetItem(handle, part_id, application, key, type, 4, &number);
    }
    case EPP_ITEM_STRING: {
      ZUL_UTF16 area[kItemMaxLength + 2];
      size_t units = 0;
      if (uint32_t rc = ReadString(s, value_at, value_bytes, area, &units)) return rc;
      return eppSetItem(handle, part_id, application, key, type, static_cast<uint32_t>(units),
                        area);
    }
    default:
      return EPP_RC_OK;  // unknown types are skipped
  }
}

// Reads the part at offset at; answers 0 and its length, or the code that ends the parse.
uint32_t ReadPart(void *handle, const Stream &s, ptrdiff_t at, ptrdiff_t *part_size) {
  if (!s.Holds(at, kPartHeader)) return EPP_RC_INVALID;
  const ZUL_RAW *part = s.begin + at;
  *part_size = GetU16(part + 5);
  uint16_t id = GetU16(part + 8);
  uint16_t item_count = GetU16(part + 10);
  uint8_t version = part[4];
  if (!s.Holds(at, *part_size)) return EPP_RC_INVALID;
  if (std::memcmp(part, kEyecatcher, sizeof kEyecatcher) != 0) return EPP_RC_INVALID;
  // Parts of a later version keep their place; their items aren't understood here.
  if (version >= 2) return EPP_RC_OK;
  ptrdiff_t item_at = at + static_cast<ptrdiff_t>(kPartHeader);
  ptrdiff_t previous_item_at = -1;
  for (uint16_t i = 0; i < item_count; ++i) {
    if (!s.Holds(item_at, kItemHeader)) return EPP_RC_INVALID;
    ptrdiff_t item_size = GetU16(s.begin + item_at + 5);
    if (!s.Holds(item_at, item_size)) return EPP_RC_INVALID;
    if (uint32_t rc = ReadItem(handle, id, s, item_at, item_size)) return rc;
    // An item of length 0 is read again and again: a second reading that succeeds stored nothing
    // (a stored item would exist already and be refused), and so would all after it.
    if (item_size == 0 && item_at == previous_item_at) break;
    previous_item_at = item_at;
    item_at += item_size;
  }
  return EPP_RC_OK;
}

}  // namespace

int VarPartsSize(const Passport *p) {
  int size = 0;
  for (const VarPart *part : p->var_parts) {
    if (part == nullptr) continue;
    size += kPartHeader;
    for (const Item *item = part->first; item != nullptr; item = item->next)
      size += kItemHeader + item->length;
  }
  return size;
}

size_t WriteVarParts(const Passport *p, ZUL_RAW *out) {
  size_t size = 0;
  int written = 0;
  for (int slot = 0; slot < kVarPartSlots && written < p->var_part_count; ++slot) {
    const VarPart *part = p->var_parts[slot];
    if (part == nullptr) continue;
    ++written;
    size += WritePart(part, written == p->var_part_count, out + size);
  }
  return size;
}

uint32_t ReadVarParts(void *handle, const ZUL_RAW *bytes, uint32_t size, int total, int count) {
  Stream s{bytes, bytes + total, bytes + size};
  // Signed like every length of the format; a negative offset leads before the stream, where
  // nothing may be read and no part is found.
  ptrdiff_t at = GetI16(bytes + kVarPartOffset);
  ptrdiff_t previous_at = -1;
  for (int i = 0; i < count; ++i) {
    ptrdiff_t part_size = 0;
    if (uint32_t rc = ReadPart(handle, s, at, &part_size)) return rc;
    // A part of length 0 is read again and again; as with items, a second reading that succeeds
    // changed nothing, and no later one would.
    if (part_size == 0 && at == previous_at) break;
    previous_at = at;
    at += part_size;
  }
  return EPP_RC_OK;
}

}  // namespace epp::wire
