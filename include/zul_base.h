/* Shared scalar types and the one export macro of tlm.so.
 *
 * Every public header includes this one. Each exported name is declared with ZUL_API, which gives
 * it C linkage and default visibility; everything else in the library stays hidden. The headers
 * compile as C and as C++. */
#ifndef ZUL_BASE_H
#define ZUL_BASE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define ZUL_EXTERN_C extern "C"
/* Exported functions never let an exception out. */
#define ZUL_NOTHROW noexcept
#else
#define ZUL_EXTERN_C extern
#define ZUL_NOTHROW
#endif

/* The export macro: C linkage plus default visibility. Exported data is declared with it too. */
#define ZUL_API ZUL_EXTERN_C __attribute__((visibility("default")))

/* One 16-bit text unit in native byte order; strings end with one zero unit. */
#ifdef __cplusplus
typedef char16_t ZUL_UTF16;
#else
typedef uint16_t ZUL_UTF16;
#endif

/* One byte of 8-bit text or raw data. */
typedef unsigned char ZUL_RAW;

/* The success code of every layer below the instrumentation core. */
#define ZUL_O_K 0

#endif /* ZUL_BASE_H */
