// The 7-bit, 8-bit and EBCDIC forms, the volatile results and the thin wrappers of the UTF-8
// conversions. Every n form fills a heap buffer of exactly n elements and every s form one of
// the length plus the terminator, so that a write beyond is caught; each element must follow its
// rule, the counters must count what was replaced, the s forms must agree with the n forms, the
// volatile forms with their fill-in counterparts, and the wrappers with the members they frame.
//
// Input: byte 0 is the replacement character of the Subst forms; the rest is taken as bytes and
// as 16-bit units (native order).
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "zul_u16conv.h"
#include "zul_u16string.h"

namespace {

template <class T>
using Buffer = std::unique_ptr<T[]>;

char A7(ZUL_UTF16 u) { return u < 0x80 ? static_cast<char>(u) : '#'; }
char E8(ZUL_UTF16 u) { return u < 0x100 ? static_cast<char>(rscpuc2_U2E[u]) : '\x7b'; }
unsigned char Byte(char c) { return static_cast<unsigned char>(c); }

// Runs a narrowing n form and its s form and checks both against rule.
template <class NForm, class SForm, class Rule>
void Narrow(const std::u16string &units, NForm n_form, SForm s_form, Rule rule) {
  const size_t n = units.size();
  Buffer<char> out(new char[n]);
  FUZZ_REQUIRE(n_form(out.get(), units.data(), n) == out.get());
  for (size_t i = 0; i < n; ++i) FUZZ_REQUIRE(out[i] == rule(units[i]));
  const size_t len = strlenU16(units.c_str());
  Buffer<char> s_out(new char[len + 1]);
  FUZZ_REQUIRE(s_form(s_out.get(), units.c_str()) == s_out.get());
  FUZZ_REQUIRE(std::memcmp(s_out.get(), out.get(), len) == 0 && s_out[len] == 0);
}

// The Check forms: convert up to the first unit above max, terminate there and answer 1.
template <class NForm, class SForm, class Rule>
void NarrowChecked(const std::u16string &units, unsigned max, NForm n_form, SForm s_form,
                   Rule rule) {
  const size_t n = units.size();
  const size_t stop =
      std::find_if(units.begin(), units.end(), [&](char16_t u) { return u > max; }) - units.begin();
  Buffer<char> out(new char[n]);
  FUZZ_REQUIRE(n_form(out.get(), units.data(), n) == (stop < n ? 1 : 0));
  for (size_t i = 0; i < stop; ++i) FUZZ_REQUIRE(out[i] == rule(units[i]));
  if (stop < n) FUZZ_REQUIRE(out[stop] == 0);
  const size_t len = strlenU16(units.c_str());
  Buffer<char> s_out(new char[len + 1]);
  FUZZ_REQUIRE(s_form(s_out.get(), units.c_str()) == (stop < len ? 1 : 0));
  FUZZ_REQUIRE(std::memcmp(s_out.get(), out.get(), std::min(stop, len)) == 0);
  FUZZ_REQUIRE(s_out[std::min(stop, len)] == 0);
}

// A widening n form and its s form, against the element rule.
template <class NForm, class SForm, class Rule>
void Widen(const std::string &bytes, NForm n_form, SForm s_form, Rule rule) {
  const size_t n = bytes.size();
  Buffer<ZUL_UTF16> out(new ZUL_UTF16[n]);
  FUZZ_REQUIRE(n_form(out.get(), bytes.data(), n) == out.get());
  for (size_t i = 0; i < n; ++i) FUZZ_REQUIRE(out[i] == rule(bytes[i]));
  const size_t len = std::strlen(bytes.c_str());
  Buffer<ZUL_UTF16> s_out(new ZUL_UTF16[len + 1]);
  FUZZ_REQUIRE(s_form(s_out.get(), bytes.c_str()) == s_out.get());
  FUZZ_REQUIRE(std::equal(s_out.get(), s_out.get() + len, out.get()) && s_out[len] == 0);
}

void CheckNarrowForms(const std::u16string &units, char subst) {
  // The n form counts all units, the s form those before the first zero.
  const auto replaced = [&](unsigned max) {
    const auto above = [max](char16_t u) { return u > max; };
    const size_t len = strlenU16(units.c_str());
    return std::count_if(units.begin(), units.end(), above) +
           std::count_if(units.begin(), units.begin() + len, above);
  };
  UcsToA7s_ErrReset();
  Narrow(units, UcnToA7n, UcsToA7s, A7);
  FUZZ_REQUIRE(UcsToA7s_ErrCnt() == replaced(0x7F));
  UcsToE8s_ErrReset();
  Narrow(units, UcnToE8n, UcsToE8s, E8);
  FUZZ_REQUIRE(UcsToE8s_ErrCnt() == replaced(0xFF));
  Narrow(units, UcnToB7n, UcsToB7s, A7);
  const char replacement = Byte(subst) < 0x80 ? subst : '#';
  Narrow(
      units, [&](char *d, const ZUL_UTF16 *s, size_t n) { return UcnToA7nSubst(d, s, n, subst); },
      [&](char *d, const ZUL_UTF16 *s) { return UcsToA7sSubst(d, s, subst); },
      [&](ZUL_UTF16 u) { return u < 0x80 ? static_cast<char>(u) : replacement; });
  NarrowChecked(units, 0x7F, UcnToA7nCheck, UcsToA7sCheck, A7);
  NarrowChecked(units, 0xFF, UcnToE8nCheck, UcsToE8sCheck, E8);
  for (char16_t u : units) {
    FUZZ_REQUIRE(UcToA7(u) == A7(u) && UcToB7(u) == A7(u) && UcToE8(u) == E8(u));
    if (u < 0x100) FUZZ_REQUIRE(E8ToUc(UcToE8(u)) == u);
  }
}

void CheckByteForms(const std::string &bytes) {
  Widen(bytes, A7nToUcn, A7sToUcs, [](char c) { return Byte(c); });
  Widen(bytes, B7nToUcn, B7sToUcs, [](char c) { return Byte(c); });
  Widen(bytes, E8nToUcn, E8sToUcs, [](char c) { return rscpuc2_E2U[Byte(c)]; });
  std::string to_e8 = bytes, to_a7 = bytes;
  A7nToE8nInPlace(to_e8.data(), to_e8.size());
  E8nToA7nInPlace(to_a7.data(), to_a7.size());
  for (size_t i = 0; i < bytes.size(); ++i) {
    const char b = bytes[i];
    FUZZ_REQUIRE(to_e8[i] == A7ToE8(b) && A7ToE8(b) == B8ToE8(b) && B8ToE8(b) == E8(Byte(b)));
    FUZZ_REQUIRE(to_a7[i] == E8ToA7(b) && E8ToA7(b) == A7(rscpuc2_E2U[Byte(b)]));
    FUZZ_REQUIRE(Byte(E8ToB8(b)) == rscpuc2_E2U[Byte(b)] && B8ToA7(b) == A7(Byte(b)));
    FUZZ_REQUIRE(UcToE8(E8ToUc(b)) == b);
  }
}

// The volatile forms give what their fill-in counterparts give, and a thread holds 40 of them.
void CheckVolatileForms(const std::u16string &units, const std::string &bytes) {
  const ZUL_UTF16 *text = units.c_str();
  const size_t len = strlenU16(text);
  const size_t bytes_len = std::strlen(bytes.c_str());
  std::string narrow(units.size() + 1, '\0');
  UcnToA7n(narrow.data(), units.data(), units.size());
  const char *first = UcnToA7nVola(units.data(), units.size());
  const std::string first_copy(first, units.size() + 1);
  FUZZ_REQUIRE(first_copy == narrow);
  FUZZ_REQUIRE(std::string(UcsToA7sVola(text)) == narrow.substr(0, std::strlen(narrow.c_str())));
  std::u16string wide(bytes.size(), u'\0');
  A7nToUcn(wide.data(), bytes.data(), bytes.size());
  FUZZ_REQUIRE(std::u16string(A7nToUcnVola(bytes.data(), bytes.size()), bytes.size() + 1) ==
               wide + u'\0');
  FUZZ_REQUIRE(A7sToUcsVola(bytes.c_str()) == wide.substr(0, bytes_len));
  std::u16string ebcdic(bytes_len, u'\0');
  E8nToUcn(ebcdic.data(), bytes.data(), bytes_len);
  FUZZ_REQUIRE(E8sToUcsVola(bytes.c_str()) == ebcdic);
  std::string to_ebcdic(len + 1, '\0');
  UcsToE8s(to_ebcdic.data(), text);
  FUZZ_REQUIRE(std::string(UcsToE8sVola(text)) == to_ebcdic.c_str());

  // The UTF-8 forms replace what is invalid.
  std::u16string from_utf8(bytes_len, u'\0');
  const ZUL_RAW *s8 = reinterpret_cast<const ZUL_RAW *>(bytes.c_str());
  ZUL_UTF16 *d16 = from_utf8.data();
  FUZZ_REQUIRE(Utf8nToUtf16nSubstAll(&s8, s8 + bytes_len, &d16, d16 + bytes_len) == 0);
  from_utf8.resize(d16 - from_utf8.data());
  FUZZ_REQUIRE(Utf8sToUcsVola(reinterpret_cast<const ZUL_RAW *>(bytes.c_str())) == from_utf8);
  std::string to_utf8(3 * len, '\0');
  const ZUL_UTF16 *s16 = text;
  ZUL_RAW *d8 = reinterpret_cast<ZUL_RAW *>(to_utf8.data());
  FUZZ_REQUIRE(Utf16nToUtf8nSubstAll(&s16, text + len, &d8, d8 + 3 * len) == 0);
  to_utf8.resize(reinterpret_cast<char *>(d8) - to_utf8.data());
  FUZZ_REQUIRE(reinterpret_cast<const char *>(UcsToUtf8sVola(text)) == to_utf8);
  FUZZ_REQUIRE(*UcsToA7sVola(nullptr) == 0 && *Utf8sToUcsVola(nullptr) == 0);

  // Nine results were asked for since first; 30 more fill the ring of 40 but leave it intact.
  for (int i = 0; i < 30; ++i) A7sToUcsVola("");
  FUZZ_REQUIRE(std::memcmp(first, first_copy.data(), first_copy.size()) == 0);
}

// The wrappers in the system's terms against the members they frame, also where source and
// destination overlap.
void CheckWrappers(const std::u16string &units, const std::string &bytes, size_t room) {
  std::vector<ZUL_RAW> plain(room + 1), framed(room + 1);
  const ZUL_UTF16 *s1 = units.data(), *s2 = units.data();
  ZUL_RAW *d1 = plain.data(), *d2 = framed.data();
  const int rc = Utf16nToUtf8n(&s1, units.data() + units.size(), &d1, d1 + room);
  FUZZ_REQUIRE(UcnToUtf8nCPFast(0, &d2, d2 + room, &s2, units.data() + units.size()) == rc);
  FUZZ_REQUIRE(s1 == s2 && d1 - plain.data() == d2 - framed.data());
  FUZZ_REQUIRE(std::equal(plain.data(), d1, framed.data()));
  // The units at the start of the buffer that receives their UTF-8 form.
  const size_t shared_bytes = std::max(units.size() * 2, room) + 1;
  std::vector<uint8_t> shared(shared_bytes);
  std::memcpy(shared.data(), units.data(), units.size() * 2);
  size_t length = 0;
  FUZZ_REQUIRE(UcnToUtf8nFastOverlap_2(shared.data(), room, &length,
                                       reinterpret_cast<const ZUL_UTF16 *>(shared.data()),
                                       units.size()) == rc);
  FUZZ_REQUIRE(length == static_cast<size_t>(d1 - plain.data()));
  FUZZ_REQUIRE(std::equal(plain.data(), d1, shared.data()));

  std::vector<ZUL_UTF16> wide(room + 1), wide_framed(room + 1);
  const ZUL_RAW *b1 = reinterpret_cast<const ZUL_RAW *>(bytes.data()), *b2 = b1;
  ZUL_UTF16 *w1 = wide.data(), *w2 = wide_framed.data();
  const int rc8 = Utf8nToUtf16nSubst(&b1, b1 + bytes.size(), &w1, w1 + room,
                                     &rscpReplacementCharacter, nullptr);
  FUZZ_REQUIRE(Utf8nToUcnCPFast(0, &w2, w2 + room, &b2, b2 + bytes.size()) == rc8);
  FUZZ_REQUIRE(b1 == b2 && std::equal(wide.data(), w1, wide_framed.data(), w2));
}

void CheckSwap(std::u16string units) {
  const std::u16string before = units;
  SwapUnicodeBuffer(units.data(), units.size());
  for (size_t i = 0; i < units.size(); ++i)
    FUZZ_REQUIRE(units[i] == static_cast<char16_t>(before[i] << 8 | before[i] >> 8));
  SwapUnicodeBuffer(units.data(), units.size());
  FUZZ_REQUIRE(units == before);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 1) return 0;
  const char subst = static_cast<char>(data[0]);
  const std::string bytes(data + 1, data + size);
  std::u16string units((size - 1) / 2, u'\0');
  std::memcpy(units.data(), data + 1, units.size() * 2);
  CheckNarrowForms(units, subst);
  CheckByteForms(bytes);
  CheckVolatileForms(units, bytes);
  CheckWrappers(units, bytes, Byte(subst));
  CheckSwap(units);
  return 0;
}
