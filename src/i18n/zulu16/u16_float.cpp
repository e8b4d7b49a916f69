// Conversion between 16-bit text and doubles through the C library: the characters of a number
// are copied to 8-bit text, which strtod reads; ecvt's digits are widened.
#include <cerrno>
#include <cstdlib>
#include <initializer_list>
#include <string>

#include "i18n/zulu16/u16_trace.h"
#include "i18n/zulu16/u16_word.h"
#include "zul_u16string.h"

namespace {

using zulu16::LoadUnit;

// Copies the ASCII units at s that may belong to a number into out: sign, digits, point and
// exponent, or one of the NaN and infinity spellings. strtod then decides how many form one.
class NumberCollector {
 public:
  NumberCollector(const ZUL_UTF16 *s, std::string *out) : s_(s), out_(out) {}

  void Collect() {
    TakeIf([](ZUL_UTF16 u) { return u == '+' || u == '-'; });
    if (TakeWord("nN", {"aN", "AN", "an"})) return;
    if (TakeWord("iI", {"nf", "NF"})) {
      if (!TakeWord("i", {"nity"})) TakeWord("I", {"NITY"});
      return;
    }
    bool hex = LoadUnit(s_) == '0' && (LoadUnit(s_ + 1) | 0x20) == 'x';
    if (hex) {
      Take();
      Take();
    }
    auto is_digit = [hex](ZUL_UTF16 u) {
      return (u >= '0' && u <= '9') || (hex && (u | 0x20) >= 'a' && (u | 0x20) <= 'f');
    };
    while (TakeIf(is_digit) || TakeIf([](ZUL_UTF16 u) { return u == '.'; })) {
    }
    if (TakeIf([hex](ZUL_UTF16 u) { return (u | 0x20) == (hex ? 'p' : 'e'); })) {
      TakeIf([](ZUL_UTF16 u) { return u == '+' || u == '-'; });
      while (TakeIf([](ZUL_UTF16 u) { return u >= '0' && u <= '9'; })) {
      }
    }
  }

 private:
  void Take() { out_->push_back(static_cast<char>(LoadUnit(s_++))); }

  template <class Test>
  bool TakeIf(Test test) {
    if (!test(LoadUnit(s_))) return false;
    Take();
    return true;
  }

  // Takes a first unit out of `firsts` followed by one of the tails.
  bool TakeWord(const char *firsts, std::initializer_list<const char *> tails) {
    ZUL_UTF16 first = LoadUnit(s_);
    bool first_matches = false;
    for (const char *f = firsts; *f != 0; ++f) first_matches |= first == static_cast<ZUL_UTF16>(*f);
    if (!first_matches) return false;
    for (const char *tail : tails) {
      size_t i = 0;
      while (tail[i] != 0 && LoadUnit(s_ + 1 + i) == static_cast<ZUL_UTF16>(tail[i])) ++i;
      if (tail[i] != 0) continue;
      for (size_t k = 0; k <= i; ++k) Take();
      return true;
    }
    return false;
  }

  const ZUL_UTF16 *s_;
  std::string *out_;
};

constexpr int kEcvtDigits = 64;  // ecvt gives at most 17 significant digits of a double

}  // namespace

double strtodU16(const ZUL_UTF16 *s, ZUL_UTF16 **end) noexcept {
  const ZUL_UTF16 *p = s;
  while (isspaceU16(LoadUnit(p))) ++p;
  std::string text;
  try {
    NumberCollector(p, &text).Collect();
  } catch (...) {
    // Out of memory: no number.
    if (end != nullptr) *end = const_cast<ZUL_UTF16 *>(s);
    errno = ENOMEM;
    return 0;
  }
  char *stop = nullptr;
  double value = std::strtod(text.c_str(), &stop);
  size_t accepted = static_cast<size_t>(stop - text.c_str());
  if (accepted != text.size() && zulu16::TraceLevel() > 0) {
    zulu16::TraceF(nullptr, 0, "strtod accepted %d characters (expected %d)",
                   static_cast<int>(accepted), static_cast<int>(text.size()));
  }
  if (end != nullptr) *end = const_cast<ZUL_UTF16 *>(accepted == 0 ? s : p + accepted);
  return value;
}

ZUL_UTF16 *ecvtU16(double value, int ndigit, int *decpt, int *sign) noexcept {
  thread_local ZUL_UTF16 wide[kEcvtDigits];
  char digits[kEcvtDigits];
  if (ecvt_r(value, ndigit, decpt, sign, digits, sizeof digits) != 0) return nullptr;
  size_t i = 0;
  for (; digits[i] != 0 && i + 1 < kEcvtDigits; ++i)
    wide[i] = static_cast<unsigned char>(digits[i]);
  wide[i] = 0;
  return wide;
}
