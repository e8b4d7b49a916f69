// A conversion from parse to output. Padding follows the C library: blanks before the sign, or
// zeros between the prefix and the digits; a precision turns integer zero padding into blanks,
// and infinities and NaNs are never zero padded.
#include "i18n/zulu16/u16_OutConversion.h"

#include <sys/types.h>

#include <cstdarg>
#include <cstddef>
#include <cstdint>

#include "zul_u16printf.h"

namespace zulu16::fmt {

namespace {

bool IsFloatLetter(ZUL_UTF16 letter) {
  switch (letter) {
    case u'a':
    case u'A':
    case u'e':
    case u'E':
    case u'f':
    case u'F':
    case u'g':
    case u'G':
      return true;
    default:
      return false;
  }
}

bool IsIntegerLetter(ZUL_UTF16 letter) {
  switch (letter) {
    case u'd':
    case u'i':
    case u'u':
    case u'o':
    case u'x':
    case u'X':
      return true;
    default:
      return false;
  }
}

// Each argument is read with exactly the type that its length modifier names.
int64_t FetchSigned(va_list &args, const LengthModifier &length) {
  if (length.isLongValue()) return va_arg(args, long);
  if (length.isLongLongValue()) return va_arg(args, long long);
  if (length.isIntMaxValue()) return va_arg(args, intmax_t);
  if (length.isSizeValue()) return va_arg(args, ssize_t);
  if (length.isPrtDiffValue()) return va_arg(args, ptrdiff_t);
  const int v = va_arg(args, int);
  if (length.isCharValue()) return static_cast<signed char>(v);
  if (length.isShortValue()) return static_cast<short>(v);
  return v;
}

uint64_t FetchUnsigned(va_list &args, const LengthModifier &length) {
  if (length.isLongValue()) return va_arg(args, unsigned long);
  if (length.isLongLongValue()) return va_arg(args, unsigned long long);
  if (length.isIntMaxValue()) return va_arg(args, uintmax_t);
  if (length.isSizeValue()) return va_arg(args, size_t);
  if (length.isPrtDiffValue()) return static_cast<uint64_t>(va_arg(args, ptrdiff_t));
  const unsigned v = va_arg(args, unsigned);
  if (length.isCharValue()) return static_cast<unsigned char>(v);
  if (length.isShortValue()) return static_cast<unsigned short>(v);
  return v;
}

// The target of %n, read as the pointer type its length modifier names.
void *FetchCountTarget(va_list &args, const LengthModifier &length) {
  if (length.isCharValue()) return va_arg(args, signed char *);
  if (length.isShortValue()) return va_arg(args, short *);
  if (length.isLongValue()) return va_arg(args, long *);
  if (length.isLongLongValue()) return va_arg(args, long long *);
  if (length.isIntMaxValue()) return va_arg(args, intmax_t *);
  if (length.isSizeValue()) return va_arg(args, ssize_t *);
  if (length.isPrtDiffValue()) return va_arg(args, ptrdiff_t *);
  return va_arg(args, int *);
}

}  // namespace

const ZUL_UTF16 *OutputConversion::parse(const ZUL_UTF16 *p) {
  while (OutputFlags::isFlag(*p)) flags_.parse(*p++);
  if ((*p >= u'1' && *p <= u'9') || *p == u'*')
    p = width_.parse(p, stream_, &flags_.left_justified);
  if (*p == u'.') p = precision_.parse(p + 1, stream_);
  p = length_.parse(p);
  if (!spec_.setSymbol(*p)) {
    u16_unknownFormatStr(stream_.format(), *p);
    return nullptr;
  }
  return p + 1;
}

void OutputConversion::toString() {
  va_list &args = stream_.args();
  switch (spec_.symbol()) {
    case u'%':
      spec_.unitToString(u'%');
      return;
    case u'c':
      spec_.unitToString(static_cast<ZUL_UTF16>(va_arg(args, int)));
      break;
    case u's':
      spec_.stringToString(va_arg(args, const ZUL_UTF16 *), precision_.value());
      break;
    case u'p':
      spec_.pointerToString(va_arg(args, const void *), precision_.value());
      if (!spec_.isNilPointer()) {
        prefix_ = u"0x";
        prefix_length_ = 2;
      }
      break;
    case u'n':
      spec_.storeCount(FetchCountTarget(args, length_), stream_.written(), length_);
      return;
    default:
      if (IsFloatLetter(spec_.symbol())) {
        floatToString();
      } else {
        integerToString();
      }
      break;
  }
  setSignAndPadding();
}

void OutputConversion::integerToString() {
  va_list &args = stream_.args();
  const ZUL_UTF16 letter = spec_.symbol();
  uint64_t magnitude;
  bool negative = false;
  if (letter == u'd' || letter == u'i') {
    const int64_t v = FetchSigned(args, length_);
    negative = v < 0;
    magnitude = negative ? uint64_t{0} - static_cast<uint64_t>(v) : static_cast<uint64_t>(v);
  } else {
    magnitude = FetchUnsigned(args, length_);
  }
  const unsigned base = letter == u'o' ? 8 : (letter == u'x' || letter == u'X') ? 16 : 10;
  spec_.integerToString(magnitude, negative, base, letter == u'X', precision_.value(),
                        letter == u'o' && flags_.alternative_form);
  if (base == 16 && flags_.alternative_form && magnitude != 0) {
    prefix_ = letter == u'X' ? u"0X" : u"0x";
    prefix_length_ = 2;
  }
}

void OutputConversion::floatToString() {
  const ZUL_UTF16 letter = spec_.symbol();
  const bool hexadecimal = letter == u'a' || letter == u'A';
  // Without a precision the library's own default applies: 6, or the exact digits of %a.
  int32_t precision = precision_.defined() ? precision_.value() : hexadecimal ? -1 : 6;
  if (length_.isLongDoubleValue()) {
    spec_.floatToString(va_arg(stream_.args(), long double), precision, flags_.alternative_form);
  } else {
    spec_.floatToString(va_arg(stream_.args(), double), precision, flags_.alternative_form);
  }
  const ZUL_UTF16 *value = spec_.value();
  if (hexadecimal && spec_.size() >= 2 && value[0] == u'0' && (value[1] | 0x20) == u'x') {
    // The "0x" goes before any zero padding, so it is shown apart from the digits.
    prefix_ = letter == u'A' ? u"0X" : u"0x";
    prefix_length_ = 2;
    spec_.dropLeading(2);
  }
}

void OutputConversion::setSignAndPadding() {
  const ZUL_UTF16 letter = spec_.symbol();
  const bool signed_number = letter == u'd' || letter == u'i' || IsFloatLetter(letter) ||
                             (letter == u'p' && !spec_.isNilPointer());
  if (signed_number) {
    if (spec_.negative()) {
      sign_unit_ = u'-';
    } else if (flags_.sign_conversion) {
      sign_unit_ = u'+';
    } else if (flags_.space) {
      sign_unit_ = u' ';
    }
    sign_length_ = sign_unit_ != 0 ? 1 : 0;
  }
  const uint64_t used = spec_.size() + sign_length_ + prefix_length_;
  const uint64_t width = width_.defined() ? static_cast<uint64_t>(width_.value()) : 0;
  pad_count_ = width > used ? width - used : 0;
}

bool OutputConversion::zeroPadded() const {
  if (!flags_.zero || flags_.left_justified) return false;
  const ZUL_UTF16 letter = spec_.symbol();
  if (IsIntegerLetter(letter) || letter == u'p') {
    return !precision_.defined() && !spec_.isNilPointer();
  }
  if (IsFloatLetter(letter)) {
    // Infinities and NaNs ("inf", "NAN") are padded with blanks.
    const ZUL_UTF16 first = spec_.size() > 0 ? (spec_.value()[0] | 0x20) : 0;
    return first != u'i' && first != u'n';
  }
  return false;
}

int OutputConversion::output() {
  const ZUL_UTF16 letter = spec_.symbol();
  // A value that failed to render (allocation) yields nothing; %n yields nothing by nature.
  if (letter == u'n' || spec_.value() == nullptr) return 0;
  // Flags and width don't apply to "%%".
  if (letter == u'%') return stream_.writeString(spec_.value(), 1);
  const bool zeros = zeroPadded();
  if (pad_count_ > 0 && !flags_.left_justified && !zeros &&
      stream_.writeRepeated(u' ', pad_count_) < 0) {
    return -1;
  }
  if (sign_length_ > 0 && stream_.writeString(&sign_unit_, 1) < 0) return -1;
  if (prefix_length_ > 0 && stream_.writeString(prefix_, prefix_length_) < 0) return -1;
  if (pad_count_ > 0 && zeros && stream_.writeRepeated(u'0', pad_count_) < 0) return -1;
  if (spec_.size() > 0 && stream_.writeString(spec_.value(), spec_.size()) < 0) return -1;
  if (pad_count_ > 0 && flags_.left_justified && stream_.writeRepeated(u' ', pad_count_) < 0) {
    return -1;
  }
  return 0;
}

}  // namespace zulu16::fmt
