// Formatting for error texts.
#include "trace/err_format.h"

#include <cstdint>
#include <cstring>

#include "trace/err_state.h"
#include "zul_u16printf.h"
#include "zul_u16string.h"

namespace {

constexpr ZUL_UTF16 kArgSeparator[] = u";;;;";
constexpr ZUL_UTF16 kPairSeparator[] = u"::::";

bool IsOneOf(ZUL_UTF16 c, const char16_t *set) {
  for (; *set != 0; ++set)
    if (c == *set) return true;
  return false;
}

// One conversion of a format, rebuilt so that it can be printed alone.
struct Conversion {
  ZUL_UTF16 format[48];  // "%", flags, width, precision, length and letter
  ZUL_UTF16 letter;
  bool wide;         // l, ll, j, z, t: a 64-bit integer
  bool long_double;  // L
};

// Appends text to the format, keeping room for the terminator.
void Append(Conversion *c, size_t *used, const ZUL_UTF16 *text) {
  while (*text != 0 && *used + 1 < sizeof c->format / sizeof c->format[0])
    c->format[(*used)++] = *text++;
  c->format[*used] = 0;
}

// Reads a width or precision at *p: digits are copied, '*' takes an int from args.
void CopyCount(const ZUL_UTF16 **p, va_list *args, Conversion *c, size_t *used) {
  ZUL_UTF16 number[16];
  if (**p == u'*') {
    snprintfU16(number, 16, u"%d", va_arg(*args, int));
    ++*p;
  } else {
    size_t n = 0;
    while (**p >= u'0' && **p <= u'9') {
      if (n + 1 < 16) number[n++] = **p;
      ++*p;
    }
    number[n] = 0;
  }
  Append(c, used, number);
}

// Parses the conversion behind a '%'; *p ends behind its letter. The length modifiers that take a
// 64-bit integer are written as "ll", so that the argument can be taken as long long.
void ParseConversion(const ZUL_UTF16 **p, va_list *args, Conversion *c) {
  size_t used = 0;
  c->wide = c->long_double = false;
  Append(c, &used, u"%");
  while (IsOneOf(**p, u"-+ #0")) {
    ZUL_UTF16 flag[2] = {*(*p)++, 0};
    Append(c, &used, flag);
  }
  CopyCount(p, args, c, &used);
  if (**p == u'.') {
    ++*p;
    Append(c, &used, u".");
    CopyCount(p, args, c, &used);
  }
  if (**p == u'h') {
    ++*p;
    bool twice = **p == u'h';
    if (twice) ++*p;
    Append(c, &used, twice ? u"hh" : u"h");
  } else if (IsOneOf(**p, u"ljzt")) {
    if (*(*p)++ == u'l' && **p == u'l') ++*p;
    c->wide = true;
    Append(c, &used, u"ll");
  } else if (**p == u'L') {
    ++*p;
    c->long_double = true;
    Append(c, &used, u"L");
  }
  c->letter = **p;
  if (c->letter != 0) ++*p;
  ZUL_UTF16 letter[2] = {c->letter, 0};
  Append(c, &used, letter);
}

// Prints the next argument of args with c's format: of type Wide when wide is set, else Narrow.
template <typename Narrow, typename Wide>
void PrintNext(const Conversion &c, bool wide, va_list *args, ZUL_UTF16 *out, size_t size) {
  if (wide) {
    snprintfU16(out, size, c.format, va_arg(*args, Wide));
  } else {
    snprintfU16(out, size, c.format, va_arg(*args, Narrow));
  }
}

// Takes the argument of c from args and prints it into out; answers false for a letter that the
// printf family doesn't know, which ends the format.
bool TakeArgument(const Conversion &c, va_list *args, ZUL_UTF16 *out, size_t size) {
  out[0] = 0;
  if (c.letter == 0) return false;
  if (IsOneOf(c.letter, u"diouxX")) {
    PrintNext<int, long long>(c, c.wide, args, out, size);
  } else if (IsOneOf(c.letter, u"eEfFgGaA")) {
    PrintNext<double, long double>(c, c.long_double, args, out, size);
  } else if (c.letter == u'c') {
    snprintfU16(out, size, u"%c", va_arg(*args, int));
  } else if (c.letter == u's') {
    snprintfU16(out, size, c.format, va_arg(*args, const ZUL_UTF16 *));
  } else if (c.letter == u'p') {
    snprintfU16(out, size, c.format, va_arg(*args, void *));
  } else if (c.letter == u'n') {
    (void)va_arg(*args, void *);  // never written through
  } else {
    return false;
  }
  return true;
}

}  // namespace

namespace err {

void CopyBounded(const ZUL_UTF16 *text, ZUL_UTF16 *out, size_t max) {
  size_t n = text != nullptr ? strnlenU16(text, max) : 0;
  if (n != 0) std::memcpy(out, text, n * sizeof(ZUL_UTF16));
  out[n] = 0;
}

bool TakeKey(ZUL_UTF16 *text, size_t key_length, ZUL_UTF16 *key) {
  key[0] = 0;
  if (text[0] != u'(' || strnlenU16(text, key_length + 2) < key_length + 2 ||
      text[key_length + 1] != u')')
    return false;
  for (size_t i = 1; i <= key_length; ++i)
    if (text[i] == u'(' || text[i] == u')') return false;
  std::memcpy(key, text + 1, key_length * sizeof(ZUL_UTF16));
  key[key_length] = 0;
  size_t cut = key_length + 2;
  if (text[cut] == u' ') ++cut;
  std::memmove(text, text + cut, (strlenU16(text + cut) + 1) * sizeof(ZUL_UTF16));
  return true;
}

void ArgumentTexts(const ZUL_UTF16 *format, va_list *args, ZUL_UTF16 *out, size_t size) {
  out[0] = 0;
  size_t used = 0;
  ZUL_UTF16 piece[kFormatUnits];
  for (const ZUL_UTF16 *p = format; *p != 0;) {
    if (*p++ != u'%') continue;
    if (*p == u'%') {
      ++p;
      continue;
    }
    Conversion c;
    ParseConversion(&p, args, &c);
    if (!TakeArgument(c, args, piece, kFormatUnits)) return;
    if (!IsOneOf(c.letter, u"sdouxXeEf")) continue;
    int n = snprintfU16(out + used, size - used, u"%s%s", used == 0 ? u"" : kArgSeparator, piece);
    if (n < 0 || used + static_cast<size_t>(n) >= size - 1) return;
    used += static_cast<size_t>(n);
  }
}

void FormatPair(const ZUL_UTF16 *text, const ZUL_UTF16 *detail, va_list args, ZUL_UTF16 *text_out,
                ZUL_UTF16 *detail_out, size_t size) {
  ZUL_UTF16 joined[kFormatUnits];
  ZUL_UTF16 result[kFormatUnits];
  snprintfU16(joined, kFormatUnits, u"%s%s%s", text, kPairSeparator, detail);
  va_list copy;
  va_copy(copy, args);
  // An unknown conversion cuts the result there, which is what the pair then holds.
  vsnprintfU16(result, kFormatUnits, joined, copy);
  va_end(copy);
  const ZUL_UTF16 *split = strstrU16(result, kPairSeparator);
  if (split == nullptr) {
    CopyBounded(result, text_out, size - 1);
    detail_out[0] = 0;
    return;
  }
  size_t head = static_cast<size_t>(split - result);
  CopyBounded(result, text_out, head < size - 1 ? head : size - 1);
  CopyBounded(split + 4, detail_out, size - 1);
}

}  // namespace err
