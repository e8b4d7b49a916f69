// The ICU forms of the classes: adapters that widen a unit to ICU's UChar32 and call the loaded
// function with its own signature. A function that isn't loaded (only possible while another
// thread is still loading) answers as the 7-bit class.
#include <cstdint>

#include "i18n/zulu16/nlsui.h"

namespace zulu16::nlsui {

namespace {

// ICU's signatures: UBool u_isalpha(UChar32), UChar32 u_toupper(UChar32).
using IcuPredicate = int8_t (*)(int32_t);
using IcuMapping = int32_t (*)(int32_t);

template <IcuFunction F, ClassFn ClassSet::*SevenBit>
int Predicate(ZUL_UTF16 c) {
  void *f = IcuSymbol(F);
  if (f == nullptr) return (kSevenBitClasses.*SevenBit)(c);
  return reinterpret_cast<IcuPredicate>(f)(static_cast<int32_t>(c)) != 0 ? 1 : 0;
}

template <IcuFunction F, CaseFn ClassSet::*SevenBit>
ZUL_UTF16 Mapping(ZUL_UTF16 c) {
  void *f = IcuSymbol(F);
  if (f == nullptr) return (kSevenBitClasses.*SevenBit)(c);
  // A simple case mapping of a unit of the Basic Multilingual Plane stays in it.
  return static_cast<ZUL_UTF16>(reinterpret_cast<IcuMapping>(f)(static_cast<int32_t>(c)));
}

}  // namespace

const ClassSet kIcuClasses = {
    Predicate<kIsAlnum, &ClassSet::isalnum>, Predicate<kIsAlpha, &ClassSet::isalpha>,
    Predicate<kIsCntrl, &ClassSet::iscntrl>, Predicate<kIsLower, &ClassSet::islower>,
    Predicate<kIsPrint, &ClassSet::isprint>, Predicate<kIsSpace, &ClassSet::isspace>,
    Predicate<kIsUpper, &ClassSet::isupper>, Mapping<kToUpper, &ClassSet::toupper>,
    Mapping<kToLower, &ClassSet::tolower>};

}  // namespace zulu16::nlsui
