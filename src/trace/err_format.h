// Formatting for error texts: message keys in front of formats, the argument texts of a format,
// and the formatting of a text and detail pair from one argument list.
#ifndef TRACE_ERR_FORMAT_H
#define TRACE_ERR_FORMAT_H

#include <cstdarg>
#include <cstddef>

#include "zul_base.h"

namespace err {

// Copies at most max units of text (null: empty) into out (max + 1 units) and terminates it.
void CopyBounded(const ZUL_UTF16 *text, ZUL_UTF16 *out, size_t max);

// When text starts with "(", key_length units and ")", moves the units between into key
// (key_length + 1 units) and removes the prefix with one blank behind it. Answers whether it did;
// otherwise key is empty.
bool TakeKey(ZUL_UTF16 *text, size_t key_length, ZUL_UTF16 *key);

// The texts of the arguments that format consumes from *args, for the conversions s d o u x X e
// E f, joined by ";;;;" into out (size units). Every other conversion takes its argument without
// giving a text; "%%" takes none.
void ArgumentTexts(const ZUL_UTF16 *format, va_list *args, ZUL_UTF16 *out, size_t size);

// Formats text and detail, in this order, from one argument list: both joined by "::::" into one
// format of at most kFormatUnits units, split again at the first "::::" of the result.
void FormatPair(const ZUL_UTF16 *text, const ZUL_UTF16 *detail, va_list args, ZUL_UTF16 *text_out,
                ZUL_UTF16 *detail_out, size_t size);

}  // namespace err

#endif  // TRACE_ERR_FORMAT_H
