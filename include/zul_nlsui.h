/* Where the character classes of the text runtime come from.
 *
 * The class pointers of zul_u16string.h (isalphaU, toupperU and the others) start at first-call
 * stubs: the first classification loads ICU by name with dlopen and points them at ICU's
 * classes, or, when ICU can't be loaded or isn't wanted, at 7-bit classes. ICU is never linked
 * and never loaded by a program that doesn't classify. The load happens once per process;
 * threads that make their first classification at the same time may each load, which is harmless.
 *
 * Library names tried, in this order, each first in the directories given to
 * nlsui_addIcuSearchPath and then by the dynamic loader's own search: "libicudata.so.34",
 * "libicuuc.so.34", "libicui18n.so.34" with symbols such as u_isalpha_3_4; then the same with the
 * ICU major number seen when the library was built ("libicuuc.so.72", u_isalpha_72), then other
 * majors downward. The data and common libraries must load; a missing character function means
 * the 7-bit classes, any other missing function is reported and left unused.
 *
 * The 7-bit classes answer as the C locale for units below 128. Any other unit tests false and
 * maps to itself; at a trace level other than 0 it is reported on standard error as
 * "ERROR: Non 7-bit character U+00E4 encountered in function toupperU" (padded to 79 columns),
 * the reporting place and pid, and "This is not supported in 7-bit mode.". The U16 functions
 * (isalphaU16 and so on) keep their own full table in every mode.
 *
 * Environment, read at the load:
 *   NLSUI_7BIT_FALLBACK     set: the 7-bit classes, without an attempt to load.
 *   NLSUI_INIT_TRACE_LEVEL  reports of the load on standard error: "none" (default), "low",
 *                           "medium", "high", or 0 to 3.
 *   NLSUI_TRACE_LEVEL       reports of the 7-bit classes, the same values; default "none". */
#ifndef ZUL_NLSUI_H
#define ZUL_NLSUI_H

#include "zul_base.h"

/* Reads the environment's trace levels; loads nothing. */
ZUL_API void nlsui_initialize(void) ZUL_NOTHROW;
/* Keeps the program's command line for the text runtime (see u16_set_cmdline). */
ZUL_API void nlsui_store_cmdline(int argc, char *const argv[]) ZUL_NOTHROW;
/* Makes the load if no load has been made yet ("loadIcuDo() is called" at level medium). */
ZUL_API void loadIcu(void) ZUL_NOTHROW;
/* Points the class pointers at ICU's classes (adapters over the loaded functions); before a load
 * they answer as the 7-bit classes. */
ZUL_API void useICUCtype(void) ZUL_NOTHROW;
/* Points the class pointers at the 7-bit classes. */
ZUL_API void useFallBackCtype(void) ZUL_NOTHROW;
/* The 7-bit classes by request, from now on; no load follows. */
ZUL_API void nlsui_set7bitUnicode(void) ZUL_NOTHROW;
/* Adds a directory searched for the ICU libraries before the loader's own search, in the order
 * of the calls. Answers 0, or -1 for a null or empty path or no memory. */
ZUL_API int nlsui_addIcuSearchPath(const char *path) ZUL_NOTHROW;

#endif /* ZUL_NLSUI_H */
