// Internals of the class loader: the relaxed atomic access to the class pointers and the
// function table, the 7-bit classes, the ICU adapters and the test seam.
#ifndef TLM_I18N_ZULU16_NLSUI_H
#define TLM_I18N_ZULU16_NLSUI_H

#include <atomic>
#include <cstddef>

#include "zul_base.h"

namespace zulu16::nlsui {

// The pointers and flags of the loader are written by whichever thread loads first, perhaps by
// two at once, and read by every thread: all access is relaxed atomic, since each store writes
// a value that is valid on its own.
template <typename T>
T Load(T &place) {
  return std::atomic_ref<T>(place).load(std::memory_order_relaxed);
}
template <typename T>
void Store(T &place, T value) {
  std::atomic_ref<T>(place).store(value, std::memory_order_relaxed);
}

using ClassFn = int (*)(ZUL_UTF16);
using CaseFn = ZUL_UTF16 (*)(ZUL_UTF16);

// One set of the nine class functions, in the order of the exported pointers.
struct ClassSet {
  ClassFn isalnum, isalpha, iscntrl, islower, isprint, isspace, isupper;
  CaseFn toupper, tolower;
};
extern const ClassSet kSevenBitClasses;
extern const ClassSet kIcuClasses;

// Trace levels: 0 none, 1 low, 2 medium, 3 high.
int InitTraceLevel();
int TraceLevel();

// The ICU functions the loader fetches. The character functions come first; without any of
// them ICU isn't used.
enum IcuFunction : int {
  kIsAlnum,
  kIsAlpha,
  kIsCntrl,
  kIsLower,
  kIsPrint,
  kIsSpace,
  kIsUpper,
  kToUpper,
  kToLower,
  kCharacterFunctions,  // the count of the character functions
  kGetVersion = kCharacterFunctions,
  kVersionToString,
  kGetUnicodeVersion,
};
// The loaded ICU functions, by IcuFunction and then the other groups; filled by the load.
inline constexpr size_t kIcuFunctionSlots = 64;
extern void *icu_functions[kIcuFunctionSlots];
// The loaded address of f, or null. Inline: every classification through ICU reads it.
inline void *IcuSymbol(IcuFunction f) { return Load(icu_functions[f]); }

// Test seam, for a forked child: puts the stubs back and forgets the load, as at the start of a
// process. only_historic_names leaves only the 3.4 names to try, which no current system has, so
// that the load fails on a machine that has ICU.
void ResetForTest(bool only_historic_names);

}  // namespace zulu16::nlsui

#endif  // TLM_I18N_ZULU16_NLSUI_H
