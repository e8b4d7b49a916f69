// Every member of the pointer-pair conversion family behind one byte-level signature, so that
// tests and fuzz targets can run them all the same way. Pointers move in whole units of the
// member's source and destination; they need not be aligned.
#ifndef TESTS_SUPPORT_U16_CONV_MEMBERS_H
#define TESTS_SUPPORT_U16_CONV_MEMBERS_H

#include <cstdint>

#include "zul_u16conv.h"

namespace convmembers {

// Runs one member. With with_subst a Subst member replaces invalid input by '?'; members without
// a subst argument ignore it and count.
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
int RunPlain(const uint8_t **src, const uint8_t *src_end, uint8_t **dst, uint8_t *dst_end, bool,
             uint32_t *) {
  auto s = reinterpret_cast<const S *>(*src);
  auto d = reinterpret_cast<D *>(*dst);
  int rc = kFn(&s, reinterpret_cast<const S *>(src_end), &d, reinterpret_cast<D *>(dst_end));
  *src = reinterpret_cast<const uint8_t *>(s);
  *dst = reinterpret_cast<uint8_t *>(d);
  return rc;
}

template <class S, class D, auto kFn>
int RunSubst(const uint8_t **src, const uint8_t *src_end, uint8_t **dst, uint8_t *dst_end,
             bool with_subst, uint32_t *count) {
  static const D kSubst = static_cast<D>('?');
  auto s = reinterpret_cast<const S *>(*src);
  auto d = reinterpret_cast<D *>(*dst);
  int rc = kFn(&s, reinterpret_cast<const S *>(src_end), &d, reinterpret_cast<D *>(dst_end),
               with_subst ? &kSubst : nullptr, count);
  *src = reinterpret_cast<const uint8_t *>(s);
  *dst = reinterpret_cast<uint8_t *>(d);
  return rc;
}

#define CONV_SUBST(fn, s, d) \
  { #fn, kFromUtf8, sizeof(s), sizeof(d), true, RunSubst < s, d, fn> }
#define CONV_PLAIN(fn, dir, s, d) \
  { #fn, dir, sizeof(s), sizeof(d), false, RunPlain < s, d, fn> }

inline const Member kMembers[] = {
    CONV_SUBST(Utf8nToU2nNoCCSubst, ZUL_RAW, ZUL_UTF16),
    CONV_SUBST(Utf8nToU2nSubst, ZUL_RAW, ZUL_UTF16),
    CONV_PLAIN(Utf8nToU2nGD, kFromUtf8, ZUL_RAW, ZUL_UTF16),
    CONV_SUBST(Utf8nToU2nSwNoCCSubst, ZUL_RAW, ZUL_UTF16),
    CONV_SUBST(Utf8nToU2nSwSubst, ZUL_RAW, ZUL_UTF16),
    CONV_PLAIN(Utf8nToU2nSwGD, kFromUtf8, ZUL_RAW, ZUL_UTF16),
    CONV_SUBST(Utf8nToU4nNoCCSubst, ZUL_RAW, uint32_t),
    CONV_SUBST(Utf8nToU4nSubst, ZUL_RAW, uint32_t),
    CONV_PLAIN(Utf8nToU4nGD, kFromUtf8, ZUL_RAW, uint32_t),
    CONV_SUBST(Utf8nToU4nSwNoCCSubst, ZUL_RAW, uint32_t),
    CONV_SUBST(Utf8nToU4nSwSubst, ZUL_RAW, uint32_t),
    CONV_PLAIN(Utf8nToU4nSwGD, kFromUtf8, ZUL_RAW, uint32_t),
    CONV_PLAIN(Utf8nToUtf16nSubstAll, kFromUtf8, ZUL_RAW, ZUL_UTF16),
    CONV_SUBST(Utf8nToUtf16nNoCCSubst, ZUL_RAW, ZUL_UTF16),
    CONV_SUBST(Utf8nToUtf16nSubst, ZUL_RAW, ZUL_UTF16),
    CONV_PLAIN(Utf8nToUtf16nGD, kFromUtf8, ZUL_RAW, ZUL_UTF16),
    CONV_SUBST(Utf8nToUtf16nSwNoCCSubst, ZUL_RAW, ZUL_UTF16),
    CONV_SUBST(Utf8nToUtf16nSwSubst, ZUL_RAW, ZUL_UTF16),
    CONV_PLAIN(Utf8nToUtf16nSwGD, kFromUtf8, ZUL_RAW, ZUL_UTF16),
    CONV_PLAIN(U2nToUtf8nNoCC, kToUtf8, ZUL_UTF16, ZUL_RAW),
    CONV_PLAIN(U2nToUtf8n, kToUtf8, ZUL_UTF16, ZUL_RAW),
    CONV_PLAIN(U2nSwToUtf8nNoCC, kToUtf8, ZUL_UTF16, ZUL_RAW),
    CONV_PLAIN(U2nSwToUtf8n, kToUtf8, ZUL_UTF16, ZUL_RAW),
    CONV_PLAIN(U4nToUtf8nGD, kToUtf8, uint32_t, ZUL_RAW),
    CONV_PLAIN(U4nToUtf8nNoCC, kToUtf8, uint32_t, ZUL_RAW),
    CONV_PLAIN(U4nToUtf8n, kToUtf8, uint32_t, ZUL_RAW),
    CONV_PLAIN(U4nSwToUtf8nGD, kToUtf8, uint32_t, ZUL_RAW),
    CONV_PLAIN(U4nSwToUtf8nNoCC, kToUtf8, uint32_t, ZUL_RAW),
    CONV_PLAIN(U4nSwToUtf8n, kToUtf8, uint32_t, ZUL_RAW),
    CONV_PLAIN(Utf16nToUtf8nSubstAll, kToUtf8, ZUL_UTF16, ZUL_RAW),
    CONV_PLAIN(Utf16nToUtf8nGD, kToUtf8, ZUL_UTF16, ZUL_RAW),
    CONV_PLAIN(Utf16nToUtf8nNoCC, kToUtf8, ZUL_UTF16, ZUL_RAW),
    CONV_PLAIN(Utf16nToUtf8n, kToUtf8, ZUL_UTF16, ZUL_RAW),
    CONV_PLAIN(Utf16nSwToUtf8nGD, kToUtf8, ZUL_UTF16, ZUL_RAW),
    CONV_PLAIN(Utf16nSwToUtf8nNoCC, kToUtf8, ZUL_UTF16, ZUL_RAW),
    CONV_PLAIN(Utf16nSwToUtf8n, kToUtf8, ZUL_UTF16, ZUL_RAW),
    CONV_PLAIN(Utf16nToU4n, kBetweenUnits, ZUL_UTF16, uint32_t),
    CONV_PLAIN(U4nToUtf16n, kBetweenUnits, uint32_t, ZUL_UTF16),
    CONV_PLAIN(Utf16nToUtf16n, kBetweenUnits, ZUL_UTF16, ZUL_UTF16),
};

#undef CONV_SUBST
#undef CONV_PLAIN

}  // namespace convmembers

#endif  // TESTS_SUPPORT_U16_CONV_MEMBERS_H
