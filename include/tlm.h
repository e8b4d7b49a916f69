/* The application's interface of the instrumentation library: the TLM_ functions.
 *
 * Text arguments and results are 16-bit (ZUL_UTF16). A text result is copied into a buffer that the
 * caller supplies, with its capacity in units: the answer is the text's length, and an answer of
 * at least the capacity means that nothing was copied and tells the capacity needed, terminator
 * included. No function reports an error or lets an exception out. */
#ifndef TLM_H
#define TLM_H

#include "zul_base.h"

/* Copies the configured value of the parameter name into value, which holds size units, and
 * answers its length. A null or empty name answers 0; so does a name that has no value, when size
 * is at least 1. When size is not greater than the value's length, nothing is copied and the
 * answer is the length plus one. May be called before the library is started: it then answers
 * from an empty configuration. */
ZUL_API int TLM_getSingleParameterValue(const ZUL_UTF16 *name, ZUL_UTF16 *value,
                                        int size) ZUL_NOTHROW;

#endif /* TLM_H */
