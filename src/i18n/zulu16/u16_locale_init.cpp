// Facets for the standard library's streams of ZUL_UTF16, and the start-up functions that put them
// into the global locale.
//
// The standard library declares ctype and numpunct for any character type but defines their
// members only for char and wchar_t, so a stream of char16_t has no character classes and no
// numeric punctuation, and every formatted operation on it fails. The members are defined here
// for char16_t: character classes and case as the classic locale's wide characters have them,
// and the punctuation of the "C" locale. num_put and num_get are generic and only need adding.
#include <pthread.h>

#include <cstdio>
#include <cstdlib>
#include <ios>
#include <iostream>
#include <locale>
#include <new>

#include "zul_u16sys.h"

namespace {

using Unit = char16_t;

const std::ctype<wchar_t> &WideClasses() {
  return std::use_facet<std::ctype<wchar_t>>(std::locale::classic());
}

}  // namespace

namespace std {

template <>
ctype<Unit>::~ctype() {}

template <>
bool ctype<Unit>::do_is(mask m, Unit c) const {
  return WideClasses().is(m, static_cast<wchar_t>(c));
}

template <>
const Unit *ctype<Unit>::do_is(const Unit *lo, const Unit *hi, mask *vec) const {
  for (; lo < hi; ++lo, ++vec) {
    wchar_t w = *lo;
    WideClasses().is(&w, &w + 1, vec);
  }
  return hi;
}

template <>
const Unit *ctype<Unit>::do_scan_is(mask m, const Unit *lo, const Unit *hi) const {
  while (lo < hi && !do_is(m, *lo)) ++lo;
  return lo;
}

template <>
const Unit *ctype<Unit>::do_scan_not(mask m, const Unit *lo, const Unit *hi) const {
  while (lo < hi && do_is(m, *lo)) ++lo;
  return lo;
}

template <>
Unit ctype<Unit>::do_toupper(Unit c) const {
  return static_cast<Unit>(WideClasses().toupper(static_cast<wchar_t>(c)));
}

template <>
const Unit *ctype<Unit>::do_toupper(Unit *lo, const Unit *hi) const {
  for (; lo < hi; ++lo) *lo = do_toupper(*lo);
  return hi;
}

template <>
Unit ctype<Unit>::do_tolower(Unit c) const {
  return static_cast<Unit>(WideClasses().tolower(static_cast<wchar_t>(c)));
}

template <>
const Unit *ctype<Unit>::do_tolower(Unit *lo, const Unit *hi) const {
  for (; lo < hi; ++lo) *lo = do_tolower(*lo);
  return hi;
}

template <>
Unit ctype<Unit>::do_widen(char c) const {
  return static_cast<unsigned char>(c);
}

template <>
const char *ctype<Unit>::do_widen(const char *lo, const char *hi, Unit *to) const {
  while (lo < hi) *to++ = static_cast<unsigned char>(*lo++);
  return hi;
}

template <>
char ctype<Unit>::do_narrow(Unit c, char dfault) const {
  return c < 0x80 ? static_cast<char>(c) : dfault;
}

template <>
const Unit *ctype<Unit>::do_narrow(const Unit *lo, const Unit *hi, char dfault, char *to) const {
  for (; lo < hi; ++lo) *to++ = do_narrow(*lo, dfault);
  return hi;
}

// The punctuation of the "C" locale, for any locale argument.
template <>
void numpunct<Unit>::_M_initialize_numpunct(__c_locale) {
  if (_M_data == nullptr) _M_data = new __numpunct_cache<Unit>;
  _M_data->_M_grouping = "";
  _M_data->_M_grouping_size = 0;
  _M_data->_M_use_grouping = false;
  _M_data->_M_decimal_point = u'.';
  _M_data->_M_thousands_sep = u',';
  for (size_t i = 0; i < __num_base::_S_oend; ++i) {
    _M_data->_M_atoms_out[i] = static_cast<Unit>(__num_base::_S_atoms_out[i]);
  }
  for (size_t i = 0; i < __num_base::_S_iend; ++i) {
    _M_data->_M_atoms_in[i] = static_cast<Unit>(__num_base::_S_atoms_in[i]);
  }
  _M_data->_M_truename = u"true";
  _M_data->_M_truename_size = 4;
  _M_data->_M_falsename = u"false";
  _M_data->_M_falsename_size = 5;
}

template <>
numpunct<Unit>::~numpunct() {
  delete _M_data;
}

}  // namespace std

namespace {

pthread_mutex_t init_mutex = PTHREAD_MUTEX_INITIALIZER;
bool locale_done = false;   // guarded by init_mutex
bool streams_done = false;  // guarded by init_mutex

[[noreturn]] void FacetsFailed() {
  std::fputs("Adding zuluc facets to global locale failed.\n", stderr);
  std::abort();
}

// Needs init_mutex.
void AddFacetsToGlobalLocale() {
  if (locale_done) return;
  try {
    std::locale old_global;
    std::locale with_facets(old_global, new std::ctype<Unit>);
    with_facets = std::locale(with_facets, new std::numpunct<Unit>);
    with_facets = std::locale(with_facets, new std::num_put<Unit>);
    with_facets = std::locale(with_facets, new std::num_get<Unit>);
    if (with_facets == old_global) FacetsFailed();
    std::locale::global(with_facets);
  } catch (...) {
    FacetsFailed();
  }
  locale_done = true;
}

}  // namespace

void ZulGlobalLocaleInit(void) noexcept {
  pthread_mutex_lock(&init_mutex);
  AddFacetsToGlobalLocale();
  pthread_mutex_unlock(&init_mutex);
}

void ZulStdStreamInit(void) noexcept {
  pthread_mutex_lock(&init_mutex);
  AddFacetsToGlobalLocale();
  if (!streams_done) {
    try {
      std::locale global;
      std::cin.imbue(global);
      std::cout.imbue(global);
      std::cerr.imbue(global);
      std::clog.imbue(global);
      std::wcin.imbue(global);
      std::wcout.imbue(global);
      std::wcerr.imbue(global);
      std::wclog.imbue(global);
      streams_done = true;
    } catch (...) {
      // The standard streams keep their locale; they don't use the added facets themselves.
    }
  }
  pthread_mutex_unlock(&init_mutex);
}
