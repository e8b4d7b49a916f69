/* String, memory, case and character functions on 16-bit text. Sizes count units unless a name
 * says otherwise. Every function has the C library's contract, on units. */
#ifndef ZUL_U16STRING_H
#define ZUL_U16STRING_H

#include "zul_base.h"

ZUL_API size_t strlenU16(const ZUL_UTF16 *s) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *strchrU16(const ZUL_UTF16 *s, ZUL_UTF16 unit) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *memchrU16(const ZUL_UTF16 *s, ZUL_UTF16 unit, size_t count) ZUL_NOTHROW;

#endif /* ZUL_U16STRING_H */
