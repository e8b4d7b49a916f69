// The text forms of identifiers: the library's Base64 and Base32 and the hexadecimal print.
// Encoding must fill a target of exactly the computed size and decode back to the bytes; any text
// that decodes must give floor(digits * bits / 8) bytes whose encoding repeats its whole groups
// digit for digit. Both directions, stopped by a small target and resumed, must give what one run
// into a large target gives.
//
// Input: byte 0 chooses Base32 (bit 0) and the small target's size (bits 1 to 7); the rest is
// encoded as bytes and decoded as text, one unit per byte (0xFF and two more bytes give any unit).
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "zul_pfuuid.h"

namespace {

struct Radix {
  const char *alphabet;
  size_t bits, group_bytes, group_digits, line_groups;  // line_groups 0: no lines
  int (*encode)(ZUL_UTF16 **, ZUL_UTF16 *, const ZUL_RAW **, const ZUL_RAW *, int *);
  int (*decode)(ZUL_RAW **, ZUL_RAW *, const ZUL_UTF16 **, const ZUL_UTF16 *);
};

int EncodeBase32(ZUL_UTF16 **dst, ZUL_UTF16 *dst_end, const ZUL_RAW **src, const ZUL_RAW *src_end,
                 int *) {
  return pfuuid_encodeBase32Uc(dst, dst_end, src, src_end);
}

const Radix kBase64 = {"0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz{}",
                       6,
                       3,
                       4,
                       19,
                       pfuuid_encodeBase64Uc,
                       pfuuid_decodeBase64Uc};
const Radix kBase32 = {
    "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567", 5, 5, 8, 0, EncodeBase32, pfuuid_decodeBase32Uc};

std::u16string Digits(const Radix &radix, const std::u16string &text) {
  std::u16string digits;
  for (char16_t u : text)
    if (u != 0 && u < 128 && std::strchr(radix.alphabet, u) != nullptr) digits.push_back(u);
  return digits;
}

// Encodes all of bytes in steps into targets of room units, carrying the line count.
std::u16string EncodeInSteps(const Radix &radix, const std::vector<ZUL_RAW> &bytes, size_t room) {
  std::u16string text;
  const ZUL_RAW *s = bytes.data();
  int groups = 0;
  for (int rc = 2; rc == 2;) {
    std::vector<ZUL_UTF16> part(room);
    ZUL_UTF16 *d = part.data();
    const ZUL_RAW *before = s;
    rc = radix.encode(&d, part.data() + room, &s, bytes.data() + bytes.size(), &groups);
    FUZZ_REQUIRE(rc == 0 || rc == 2);
    text.append(part.data(), d);
    if (s == before) break;  // room for no group at all
  }
  return text;
}

// Decodes all of text in steps into targets of room bytes; answers the last code.
int DecodeInSteps(const Radix &radix, const std::u16string &text, size_t room,
                  std::vector<ZUL_RAW> *bytes) {
  const ZUL_UTF16 *s = text.data();
  int rc = 2;
  while (rc == 2) {
    std::vector<ZUL_RAW> part(room + 1);
    ZUL_RAW *d = part.data() + 1;  // a non-null target also when room is 0
    const ZUL_UTF16 *before = s;
    rc = radix.decode(&d, d + room, &s, text.data() + text.size());
    FUZZ_REQUIRE(rc == 0 || rc == 1 || rc == 2);
    bytes->insert(bytes->end(), part.data() + 1, d);
    if (rc == 2 && s == before && d == part.data() + 1) break;
  }
  return rc;
}

void CheckEncoding(const Radix &radix, const std::vector<ZUL_RAW> &bytes, size_t room) {
  const size_t groups = (bytes.size() + radix.group_bytes - 1) / radix.group_bytes;
  const size_t newlines =
      radix.line_groups > 0 && groups > 0 ? (groups - 1) / radix.line_groups : 0;
  const size_t units = groups * radix.group_digits + newlines;
  std::unique_ptr<ZUL_UTF16[]> text(new ZUL_UTF16[units]);  // exactly: a unit more is caught
  ZUL_UTF16 *d = text.get();
  const ZUL_RAW *s = bytes.data();
  FUZZ_REQUIRE(radix.encode(&d, d + units, &s, s + bytes.size(), nullptr) == 0);
  FUZZ_REQUIRE(d == text.get() + units && s == bytes.data() + bytes.size());
  const std::u16string whole(text.get(), units);
  if (room >= radix.group_digits + 1) FUZZ_REQUIRE(EncodeInSteps(radix, bytes, room) == whole);

  std::unique_ptr<ZUL_RAW[]> back(new ZUL_RAW[bytes.size()]);
  ZUL_RAW *b = back.get();
  const ZUL_UTF16 *t = whole.data();
  FUZZ_REQUIRE(radix.decode(&b, b + bytes.size(), &t, t + units) == 0);
  FUZZ_REQUIRE(b == back.get() + bytes.size());
  FUZZ_REQUIRE(std::equal(bytes.begin(), bytes.end(), back.get()));
}

void CheckDecoding(const Radix &radix, const std::u16string &text, size_t room) {
  const std::u16string digits = Digits(radix, text);
  std::vector<ZUL_RAW> bytes;
  const int rc = DecodeInSteps(radix, text, text.size(), &bytes);
  FUZZ_REQUIRE(rc == 0 || rc == 1);
  if (rc != 0) return;
  FUZZ_REQUIRE(bytes.size() == digits.size() * radix.bits / 8);
  std::vector<ZUL_RAW> stepped;
  if (room >= radix.group_bytes) FUZZ_REQUIRE(DecodeInSteps(radix, text, room, &stepped) == 0);
  FUZZ_REQUIRE(room < radix.group_bytes || stepped == bytes);

  const std::u16string again = Digits(radix, EncodeInSteps(radix, bytes, 4096));
  const size_t whole_groups = digits.size() / radix.group_digits * radix.group_digits;
  FUZZ_REQUIRE(again.compare(0, whole_groups, digits, 0, whole_groups) == 0);
}

void CheckPrint(const uint8_t *uuid) {
  ZUL_UTF16 text[2 * PFUUID_LEN + 1];
  int length = 2 * PFUUID_LEN;
  FUZZ_REQUIRE(pfuuid_print(uuid, text, &length) == PFUUID_ERR_ARG);
  length = 2 * PFUUID_LEN + 1;
  FUZZ_REQUIRE(pfuuid_print(uuid, text, &length) == PFUUID_OK && length == 2 * PFUUID_LEN);
  for (int i = 0; i < PFUUID_LEN; ++i) {
    char pair[3];
    std::snprintf(pair, sizeof pair, "%02X", uuid[i]);
    FUZZ_REQUIRE(text[2 * i] == pair[0] && text[2 * i + 1] == pair[1]);
  }
  FUZZ_REQUIRE(text[2 * PFUUID_LEN] == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  const Radix &radix = (data[0] & 1) != 0 ? kBase32 : kBase64;
  const size_t room = data[0] >> 1;
  const std::vector<ZUL_RAW> bytes(data + 1, data + size);
  CheckEncoding(radix, bytes, room);
  CheckDecoding(radix, fuzzsupport::Units(data + 1, size - 1), room);
  if (bytes.size() >= PFUUID_LEN) CheckPrint(bytes.data());
  return 0;
}
