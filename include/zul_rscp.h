/* Code page kit: the exchangeable error hook and the source id conversion.
 *
 * Every failing text conversion reports through rscpHook_rscpe__error, and the hook's answer
 * becomes the conversion's answer. A host replaces the hook to record or print failures; the hooks
 * are set during start-up and read without a lock. */
#ifndef ZUL_RSCP_H
#define ZUL_RSCP_H

#include "zul_base.h"

/* Reports one failure. code is the error class (for conversions 32, 512 or 2048), err_class the
 * component letter (79, 'O', for conversions), key a language key (-1 for none), module the
 * reporting source, location a number of the reporting site, line its source line, text the
 * message, p1 to p5 optional parameters (null for conversions). Answers the code the failing
 * function is to answer. */
typedef int (*RSCP_ERROR_HOOK)(int code, int err_class, int key, const ZUL_UTF16 *module,
                               int location, int line, const ZUL_UTF16 *text, const ZUL_UTF16 *p1,
                               const ZUL_UTF16 *p2, const ZUL_UTF16 *p3, const ZUL_UTF16 *p4,
                               const ZUL_UTF16 *p5);

/* The current error hook; never null. The default records nothing and answers its code. */
ZUL_API RSCP_ERROR_HOOK rscpHook_rscpe__error;

/* Installs f as the error hook; a null f restores the default. */
ZUL_API void rscpSetHook_rscpe__error(RSCP_ERROR_HOOK f) ZUL_NOTHROW;

/* Converts a source id text (8-bit, 7-bit content expected) to 16-bit text. Answers a copy
 * allocated with malloc that the caller owns, or, when the text is null or no memory is left, the
 * constant text "ConvertSCCSID_w failed", which must not be freed. Never answers null. */
ZUL_API const ZUL_UTF16 *ConvertSCCSID_w(const char *sccsid) ZUL_NOTHROW;

#endif /* ZUL_RSCP_H */
