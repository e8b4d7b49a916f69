// Parsing and reading of one input conversion. Fields are read by the C library's scanning rules
// on units: how many units a field takes, where it stops and what it leaves in the input are what
// the C library does on the same 8-bit text. Only ASCII units are digits, signs or letters of a
// number; any other unit ends a numeric field.
#include <cstdlib>
#include <cstring>

#include "i18n/zulu16/u16_InConversion.h"
#include "zul_u16printf.h"
#include "zul_u16string.h"
#include "zul_u16trace.h"

namespace zulu16::scan {

namespace {

constexpr char kSource[] = "u16_InCon_mt";

bool IsDigit(int u) { return u >= '0' && u <= '9'; }
bool IsXDigit(int u) { return IsDigit(u) || (u >= 'a' && u <= 'f') || (u >= 'A' && u <= 'F'); }
unsigned DigitValue(int u) { return IsDigit(u) ? u - '0' : (u | 0x20) - 'a' + 10; }
int Lower(int u) { return u >= 'A' && u <= 'Z' ? u + ('a' - 'A') : u; }

}  // namespace

CharBuffer::~CharBuffer() {
  if (data_ != inline_) std::free(data_);
}

bool CharBuffer::grow() {
  if (failed_) return false;
  const size_t capacity = capacity_ * 2;
  void *data = data_ == inline_ ? std::malloc(capacity) : std::realloc(data_, capacity);
  if (data == nullptr) {
    u16_malloc_error("vvfscanfU16", kSource, __LINE__, capacity);
    failed_ = true;
    return false;
  }
  if (data_ == inline_) std::memcpy(data, inline_, size_);
  data_ = static_cast<char *>(data);
  capacity_ = capacity;
  return true;
}

bool InputConversionSpec::setSymbol(ZUL_UTF16 unit) {
  switch (unit) {
    case u'A':
    case u'E':
    case u'F':
    case u'G':
    case u'X':
    case u'[':
    case u'a':
    case u'c':
    case u'd':
    case u'e':
    case u'f':
    case u'g':
    case u'i':
    case u'n':
    case u'o':
    case u'p':
    case u's':
    case u'u':
    case u'x':
      symbol_ = unit;
      return true;
    default:
      return false;
  }
}

const ZUL_UTF16 *InputConversionSpec::parseSet(const ZUL_UTF16 *p) {
  set_negated_ = *p == u'^';
  if (set_negated_) ++p;
  set_begin_ = p;
  if (*p == u']' || *p == u'-') ++p;
  while (*p != 0 && *p != u']') ++p;
  if (*p == 0) return nullptr;
  set_end_ = p;
  return p;
}

bool InputConversionSpec::inSet(ZUL_UTF16 unit) const {
  const ZUL_UTF16 *s = set_begin_;
  bool found = false;
  if (s < set_end_ && (*s == u']' || *s == u'-')) found = *s++ == unit;
  for (; !found && s < set_end_; ++s) {
    // "a-z" is a range when its ends are in order; any other '-' stands for itself.
    if (*s == u'-' && s + 1 < set_end_ && s[-1] <= s[1]) {
      found = s[-1] <= unit && unit <= s[1];
    } else {
      found = *s == unit;
    }
  }
  return found != set_negated_;
}

const ZUL_UTF16 *InputConversion::parse(const ZUL_UTF16 *p) {
  if (*p == u'*') {
    suppress_ = true;
    ++p;
  }
  if (IsDigit(*p)) p = width_.parse(p);
  p = length_.parse(p);
  const ZUL_UTF16 letter = *p;
  if (!spec_.setSymbol(letter)) {
    u16_unknownFormatStr(format_, letter);
    return nullptr;
  }
  if (letter != u'[') return p + 1;
  const ZUL_UTF16 *close = spec_.parseSet(p + 1);
  if (close == nullptr) {
    u16_unknownFormatStr(format_, letter);
    return nullptr;
  }
  return close + 1;
}

Outcome InputConversion::input() {
  const ZUL_UTF16 letter = spec_.symbol();
  width_left_ = width_.value();
  if (letter == u'n') {
    if (!suppress_) storeCount(stream_.successfullyRead());
    return Outcome::kSkipped;
  }
  if (letter != u'c' && letter != u'[') {
    int c;
    do c = stream_.readSingleChar();
    while (IsSpaceUnit(c));
    stream_.unreadSingleChar(c);
  }
  switch (letter) {
    case u'd':
      return inputInteger(10, true, false);
    case u'i':
      return inputInteger(0, true, false);
    case u'u':
      return inputInteger(10, false, false);
    case u'o':
      return inputInteger(8, false, false);
    case u'x':
    case u'X':
      return inputInteger(16, false, false);
    case u'p':
      return inputInteger(16, false, true);
    case u's':
    case u'c':
    case u'[':
      return inputUnits();
    default:
      return inputFloat();
  }
}

Outcome InputConversion::inputInteger(unsigned base, bool is_signed, bool is_pointer) {
  int c = stream_.readSingleChar();
  if (c == kEnd) return Outcome::kInputEnd;
  bool negative = false, have_sign = false, have_digit = false, overflow = false;
  uint64_t magnitude = 0;
  if (c == u'-' || c == u'+') {
    negative = c == u'-';
    have_sign = true;
    takeWidth();
    c = stream_.readSingleChar();
  }
  // A leading 0 is a digit, and may open the "0x" of base 16 or the octal of %i. The 'x' is
  // taken even when no hexadecimal digit follows it: "0x" reads as 0.
  if (widthLeft() && c == u'0') {
    have_digit = true;
    takeWidth();
    c = stream_.readSingleChar();
    if (widthLeft() && Lower(c) == u'x') {
      if (base == 0) base = 16;
      if (base == 16) {
        takeWidth();
        c = stream_.readSingleChar();
      }
    } else if (base == 0) {
      base = 8;
    }
  }
  if (base == 0) base = 10;
  while (c != kEnd && widthLeft()) {
    if (base == 16 ? !IsXDigit(c) : (!IsDigit(c) || DigitValue(c) >= base)) break;
    const unsigned digit = DigitValue(c);
    if (magnitude > (UINT64_MAX - digit) / base) overflow = true;
    if (!overflow) magnitude = magnitude * base + digit;
    have_digit = true;
    takeWidth();
    c = stream_.readSingleChar();
  }
  if (!have_digit) {
    // No number: a pointer may still be spelled "(nil)", which reads as 0.
    bool nil = false;
    if (is_pointer && !have_sign && c == u'(' && (width_left_ < 0 || width_left_ >= 5)) {
      nil = testForNIL(stream_) == 3;
    } else {
      stream_.unreadSingleChar(c);
    }
    if (!nil) return Outcome::kMismatch;
  } else {
    stream_.unreadSingleChar(c);
  }
  if (suppress_) return Outcome::kSkipped;
  // The ranges of strtol and strtoul on 64 bits; narrower targets keep the low bits.
  uint64_t value;
  if (is_signed) {
    if (overflow || magnitude > (negative ? uint64_t{1} << 63 : uint64_t{INT64_MAX})) {
      value = negative ? uint64_t{1} << 63 : uint64_t{INT64_MAX};
    } else {
      value = negative ? 0 - magnitude : magnitude;
    }
  } else {
    value = overflow ? UINT64_MAX : negative ? 0 - magnitude : magnitude;
  }
  storeInteger(value, is_signed, is_pointer);
  return Outcome::kAssigned;
}

void InputConversion::storeInteger(uint64_t value, bool is_signed, bool is_pointer) {
  (void)is_signed;  // the stored bits are the same for signed and unsigned targets
  if (is_pointer) {
    *va_arg(args_, void **) = reinterpret_cast<void *>(value);
  } else if (length_.isCharValue()) {
    *va_arg(args_, unsigned char *) = static_cast<unsigned char>(value);
  } else if (length_.isShortValue()) {
    *va_arg(args_, unsigned short *) = static_cast<unsigned short>(value);
  } else if (length_.isLongValue() || length_.isLongLongValue() || length_.isIntMaxValue() ||
             length_.isSizeValue() || length_.isPrtDiffValue() || length_.isLongDoubleValue()) {
    *va_arg(args_, uint64_t *) = value;
  } else {
    *va_arg(args_, unsigned *) = static_cast<unsigned>(value);
  }
}

void InputConversion::storeCount(uint64_t count) { storeInteger(count, true, false); }

Outcome InputConversion::inputUnits() {
  const ZUL_UTF16 letter = spec_.symbol();
  if (letter == u'c' && width_left_ < 0) width_left_ = 1;
  int c = stream_.readSingleChar();
  if (c == kEnd) return Outcome::kInputEnd;
  ZUL_UTF16 *out = suppress_ ? nullptr : va_arg(args_, ZUL_UTF16 *);
  size_t taken = 0;
  for (;;) {
    if ((letter == u's' && IsSpaceUnit(c)) ||
        (letter == u'[' && !spec_.inSet(static_cast<ZUL_UTF16>(c)))) {
      stream_.unreadSingleChar(c);
      break;
    }
    if (out != nullptr) out[taken] = static_cast<ZUL_UTF16>(c);
    ++taken;
    takeWidth();
    if (!widthLeft()) break;
    c = stream_.readSingleChar();
    if (c == kEnd) break;
  }
  if (taken == 0) return Outcome::kMismatch;  // only a set can refuse the first unit
  if (out != nullptr && letter != u'c') out[taken] = 0;
  return suppress_ ? Outcome::kSkipped : Outcome::kAssigned;
}

int testForNIL(InputStream &stream) {
  for (const char *rest = "nil)"; *rest != 0; ++rest) {
    const char want = *rest;
    const int c = stream.readSingleChar();
    if (c == kEnd) return -1;
    if ((want == ')' ? c : Lower(c)) != want) {
      stream.unreadSingleChar(c);
      return -2;
    }
  }
  return 3;
}

int testForNANandINF(InputStream &stream, int first, int64_t &width, CharBuffer &text) {
  const int lower = Lower(first);
  if (lower != u'n' && lower != u'i') return 0;
  text.add(static_cast<char>(first));
  auto expect = [&](const char *rest) {
    for (; *rest != 0; ++rest) {
      if (width == 0) return -1;
      const int c = stream.readSingleChar();
      if (c == kEnd) return -1;
      if (Lower(c) != *rest) {
        stream.unreadSingleChar(c);
        return -2;
      }
      if (width > 0) --width;
      text.add(static_cast<char>(c));
    }
    return 0;
  };
  int rc = expect(lower == u'n' ? "an" : "nf");
  if (rc != 0) return rc;
  if (lower == u'n' || width == 0) return 2;
  // "inf" may go on to "infinity"; once its 'i' is there, the whole word must follow.
  const int c = stream.readSingleChar();
  if (Lower(c) != u'i') {
    stream.unreadSingleChar(c);
    return 2;
  }
  if (width > 0) --width;
  text.add(static_cast<char>(c));
  rc = expect("nity");
  return rc != 0 ? rc : 7;
}

Outcome InputConversion::inputFloat() {
  CharBuffer text;
  int c = stream_.readSingleChar();
  if (c == kEnd) return Outcome::kInputEnd;
  takeWidth();
  if (c == u'-' || c == u'+') {
    text.add(static_cast<char>(c));
    if (!widthLeft()) return Outcome::kMismatch;
    c = stream_.readSingleChar();
    if (c == kEnd) return Outcome::kMismatch;
    takeWidth();
  }
  const int special = testForNANandINF(stream_, c, width_left_, text);
  if (special < 0) return Outcome::kMismatch;
  if (special == 0) {
    bool got_digit = false, got_dot = false, got_e = false, hex = false;
    char exp_char = 'e';
    if (widthLeft() && c == u'0') {
      text.add('0');
      c = stream_.readSingleChar();
      takeWidth();
      if (widthLeft() && Lower(c) == u'x') {
        text.add(static_cast<char>(c));
        hex = true;
        exp_char = 'p';
        c = stream_.readSingleChar();
        takeWidth();
      } else {
        got_digit = true;
      }
    }
    for (;;) {
      if (IsDigit(c) || (!got_e && hex && IsXDigit(c))) {
        text.add(static_cast<char>(c));
        got_digit = true;
      } else if (got_e && text.last() == exp_char && (c == u'-' || c == u'+')) {
        text.add(static_cast<char>(c));
      } else if (got_digit && !got_e && Lower(c) == exp_char) {
        text.add(exp_char);
        got_e = got_dot = true;
      } else if (!got_dot && c == u'.') {
        text.add('.');
        got_dot = true;
      } else {
        stream_.unreadSingleChar(c);
        break;
      }
      if (!widthLeft()) break;
      c = stream_.readSingleChar();
      if (c == kEnd) break;
      takeWidth();
    }
    if (text.size() == 0 || (hex && text.size() == 2)) return Outcome::kMismatch;
  }
  if (!text.add('\0')) return Outcome::kMismatch;
  char *end = nullptr;
  const char *start = text.data();
  if (length_.isLongDoubleValue() || length_.isLongLongValue()) {
    long double value = std::strtold(start, &end);
    if (end == start) return Outcome::kMismatch;
    if (!suppress_) *va_arg(args_, long double *) = value;
  } else if (length_.isLongValue()) {
    double value = std::strtod(start, &end);
    if (end == start) return Outcome::kMismatch;
    if (!suppress_) *va_arg(args_, double *) = value;
  } else {
    float value = std::strtof(start, &end);
    if (end == start) return Outcome::kMismatch;
    if (!suppress_) *va_arg(args_, float *) = value;
  }
  return suppress_ ? Outcome::kSkipped : Outcome::kAssigned;
}

}  // namespace zulu16::scan
