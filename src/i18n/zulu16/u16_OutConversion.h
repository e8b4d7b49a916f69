// One conversion specification, from the unit after '%' to its letter: parsed, its argument
// fetched and rendered, then written with sign, prefix and padding.
#ifndef TLM_I18N_ZULU16_U16_OUTCONVERSION_H
#define TLM_I18N_ZULU16_U16_OUTCONVERSION_H

#include <cstdint>

#include "i18n/zulu16/u16_OutCS.h"
#include "i18n/zulu16/u16_OutFields.h"
#include "i18n/zulu16/u16_OutStream.h"

namespace zulu16::fmt {

// The arguments come from stream's list; stream must outlive the conversion.
class OutputConversion {
 public:
  explicit OutputConversion(OutputStream &stream) : stream_(stream) {}

  // Reads the conversion specification at p (just after '%'), taking any '*' arguments. Answers
  // the position after the conversion letter, or null for an unknown letter (reported by
  // u16_unknownFormatStr).
  const ZUL_UTF16 *parse(const ZUL_UTF16 *p);
  // Fetches the argument and renders it, and works out sign, prefix and padding.
  void toString();
  // Writes the conversion to the stream; answers 0 or the stream's negative answer.
  int output();

 private:
  void integerToString();
  void floatToString();
  void setSignAndPadding();
  // Zeros rather than blanks fill the field.
  bool zeroPadded() const;

  OutputStream &stream_;
  OutputFlags flags_;
  FieldWidth width_;
  OutputPrecision precision_;
  LengthModifier length_;
  OutputConversionSpec spec_;
  ZUL_UTF16 sign_unit_ = 0;
  uint8_t sign_length_ = 0;  // 0 or 1
  uint64_t pad_count_ = 0;
  // "0x" or "0X" before the digits: the alternative form of %x, %X, %p, and the head of %a, %A.
  const char16_t *prefix_ = nullptr;
  uint8_t prefix_length_ = 0;  // 0 or 2
};

}  // namespace zulu16::fmt

#endif  // TLM_I18N_ZULU16_U16_OUTCONVERSION_H
