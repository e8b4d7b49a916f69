// Every member of the pointer-pair conversion family behind one byte-level signature, so that
// tests and fuzz targets can run them all alike. Pointers move in whole units of the member's
// source and destination; they need not be aligned.
#ifndef TESTS_SUPPORT_U16_CONV_MEMBERS_H
#define TESTS_SUPPORT_U16_CONV_MEMBERS_H

#include <cstdint>

#include "zul_u16conv.h"

namespace convmembers {

// Runs one member. With with_subst a Subst member replaces invalid input by '?'; other members
// ignore with_subst and count.
using RunFn = int (*)(const uint8_t **src, const uint8_t *src_end, uint8_t **dst, uint8_t *dst_end,
                      bool with_subst, uint32_t *count);

enum Direction { kFromUtf8, kToUtf8, kBetweenUnits };

struct Member {
  const char *name;
  Direction direction;
  unsigned src_unit;  // bytes per source unit
  unsigned dst_unit;  // bytes per destination unit
  bool has_subst;
  RunFn run;
};

template <class S, class D, auto kFn>
int Run(const uint8_t **src, const uint8_t *src_end, uint8_t **dst, uint8_t *dst_end,
        bool with_subst, uint32_t *count) {
  static const D kSubst = static_cast<D>('?');
  auto s = reinterpret_cast<const S *>(*src);
  auto d = reinterpret_cast<D *>(*dst);
  auto se = reinterpret_cast<const S *>(src_end);
  auto de = reinterpret_cast<D *>(dst_end);
  int rc;
  if constexpr (requires { kFn(&s, se, &d, de); }) {
    rc = kFn(&s, se, &d, de);
  } else {
    rc = kFn(&s, se, &d, de, with_subst ? &kSubst : nullptr, count);
  }
  *src = reinterpret_cast<const uint8_t *>(s);
  *dst = reinterpret_cast<uint8_t *>(d);
  return rc;
}

#define CONV_MEMBER(fn, dir, s, d, subst) \
  { #fn, dir, sizeof(s), sizeof(d), subst, Run < s, d, fn> }
#define CONV_FROM8(fn, d, subst) CONV_MEMBER(fn, kFromUtf8, ZUL_RAW, d, subst)
#define CONV_TO8(fn, s) CONV_MEMBER(fn, kToUtf8, s, ZUL_RAW, false)

inline const Member kMembers[] = {
    CONV_FROM8(Utf8nToU2nNoCCSubst, ZUL_UTF16, true),
    CONV_FROM8(Utf8nToU2nSubst, ZUL_UTF16, true),
    CONV_FROM8(Utf8nToU2nGD, ZUL_UTF16, false),
    CONV_FROM8(Utf8nToU2nSwNoCCSubst, ZUL_UTF16, true),
    CONV_FROM8(Utf8nToU2nSwSubst, ZUL_UTF16, true),
    CONV_FROM8(Utf8nToU2nSwGD, ZUL_UTF16, false),
    CONV_FROM8(Utf8nToU4nNoCCSubst, uint32_t, true),
    CONV_FROM8(Utf8nToU4nSubst, uint32_t, true),
    CONV_FROM8(Utf8nToU4nGD, uint32_t, false),
    CONV_FROM8(Utf8nToU4nSwNoCCSubst, uint32_t, true),
    CONV_FROM8(Utf8nToU4nSwSubst, uint32_t, true),
    CONV_FROM8(Utf8nToU4nSwGD, uint32_t, false),
    CONV_FROM8(Utf8nToUtf16nSubstAll, ZUL_UTF16, false),
    CONV_FROM8(Utf8nToUtf16nNoCCSubst, ZUL_UTF16, true),
    CONV_FROM8(Utf8nToUtf16nSubst, ZUL_UTF16, true),
    CONV_FROM8(Utf8nToUtf16nGD, ZUL_UTF16, false),
    CONV_FROM8(Utf8nToUtf16nSwNoCCSubst, ZUL_UTF16, true),
    CONV_FROM8(Utf8nToUtf16nSwSubst, ZUL_UTF16, true),
    CONV_FROM8(Utf8nToUtf16nSwGD, ZUL_UTF16, false),
    CONV_TO8(U2nToUtf8nNoCC, ZUL_UTF16),
    CONV_TO8(U2nToUtf8n, ZUL_UTF16),
    CONV_TO8(U2nSwToUtf8nNoCC, ZUL_UTF16),
    CONV_TO8(U2nSwToUtf8n, ZUL_UTF16),
    CONV_TO8(U4nToUtf8nGD, uint32_t),
    CONV_TO8(U4nToUtf8nNoCC, uint32_t),
    CONV_TO8(U4nToUtf8n, uint32_t),
    CONV_TO8(U4nSwToUtf8nGD, uint32_t),
    CONV_TO8(U4nSwToUtf8nNoCC, uint32_t),
    CONV_TO8(U4nSwToUtf8n, uint32_t),
    CONV_TO8(Utf16nToUtf8nSubstAll, ZUL_UTF16),
    CONV_TO8(Utf16nToUtf8nGD, ZUL_UTF16),
    CONV_TO8(Utf16nToUtf8nNoCC, ZUL_UTF16),
    CONV_TO8(Utf16nToUtf8n, ZUL_UTF16),
    CONV_TO8(Utf16nSwToUtf8nGD, ZUL_UTF16),
    CONV_TO8(Utf16nSwToUtf8nNoCC, ZUL_UTF16),
    CONV_TO8(Utf16nSwToUtf8n, ZUL_UTF16),
    CONV_MEMBER(Utf16nToU4n, kBetweenUnits, ZUL_UTF16, uint32_t, false),
    CONV_MEMBER(U4nToUtf16n, kBetweenUnits, uint32_t, ZUL_UTF16, false),
    CONV_MEMBER(Utf16nToUtf16n, kBetweenUnits, ZUL_UTF16, ZUL_UTF16, false),
};

#undef CONV_MEMBER
#undef CONV_FROM8
#undef CONV_TO8

}  // namespace convmembers

#endif  // TESTS_SUPPORT_U16_CONV_MEMBERS_H
