/* Conversions between 16-bit text and the byte forms: UTF-8, UTF-16 and UCS-4 in either byte
 * order, 7-bit and 8-bit forms and EBCDIC.
 *
 * The family members walk a source with a pointer and its end and a destination with a pointer
 * and its end, and stop at the first thing they can't convert. On every return both pointers stand
 * at the first unit not converted, so a caller may supply more room or more source and call again.
 * What was written stands; nothing is rolled back.
 *
 * Names read source, To, destination, variant: U2 are 16-bit units taken one by one (surrogates not
 * interpreted), Utf16 16-bit units with surrogate pairs, U4 32-bit units, Utf8 UTF-8 bytes with
 * lead bytes up to six bytes long. Sw: the 16- or 32-bit side is in the opposite byte order. NoCC:
 * control codes (below 32, 127 to 159) are refused. GD: the source is trusted; only the source end
 * and the destination room are checked and values beyond the target become
 * rscpReplacementCharacter. Subst: an invalid sequence is replaced by *subst and counted in
 * *count when subst is not null (count may be null), and refused otherwise. SubstAll: every
 * invalid sequence becomes rscpReplacementCharacter; only the destination can fail.
 *
 * Every member answers 0 on success. A failure calls rscpHook_rscpe__error (zul_rscp.h) with its
 * class as the code and answers what the hook answers; with the default hook that is the class:
 * 32 the destination is too small for the next character; 512 the source ends inside a character;
 * 2048 the input is invalid. 16-bit and 32-bit buffers need not be aligned. */
#ifndef ZUL_U16CONV_H
#define ZUL_U16CONV_H

#include "zul_base.h"

/* U+FFFD, what invalid input becomes where it is replaced. */
ZUL_API const ZUL_UTF16 rscpReplacementCharacter;
/* The largest value of each target: 0xFFFF, 0x10FFFF and 0x7FFFFFFF. */
ZUL_API const uint32_t kMaximumUCS2;
ZUL_API const uint32_t kMaximumUTF16;
ZUL_API const uint32_t kMaximumUCS4;

/* ---- From UTF-8 ---- */

ZUL_API int Utf8nToU2nNoCCSubst(const ZUL_RAW **src, const ZUL_RAW *src_end, ZUL_UTF16 **dst,
                                ZUL_UTF16 *dst_end, const ZUL_UTF16 *subst,
                                uint32_t *count) ZUL_NOTHROW;
ZUL_API int Utf8nToU2nSubst(const ZUL_RAW **src, const ZUL_RAW *src_end, ZUL_UTF16 **dst,
                            ZUL_UTF16 *dst_end, const ZUL_UTF16 *subst,
                            uint32_t *count) ZUL_NOTHROW;
ZUL_API int Utf8nToU2nGD(const ZUL_RAW **src, const ZUL_RAW *src_end, ZUL_UTF16 **dst,
                         ZUL_UTF16 *dst_end) ZUL_NOTHROW;

ZUL_API int Utf8nToU2nSwNoCCSubst(const ZUL_RAW **src, const ZUL_RAW *src_end, ZUL_UTF16 **dst,
                                  ZUL_UTF16 *dst_end, const ZUL_UTF16 *subst,
                                  uint32_t *count) ZUL_NOTHROW;
ZUL_API int Utf8nToU2nSwSubst(const ZUL_RAW **src, const ZUL_RAW *src_end, ZUL_UTF16 **dst,
                              ZUL_UTF16 *dst_end, const ZUL_UTF16 *subst,
                              uint32_t *count) ZUL_NOTHROW;
ZUL_API int Utf8nToU2nSwGD(const ZUL_RAW **src, const ZUL_RAW *src_end, ZUL_UTF16 **dst,
                           ZUL_UTF16 *dst_end) ZUL_NOTHROW;

ZUL_API int Utf8nToU4nNoCCSubst(const ZUL_RAW **src, const ZUL_RAW *src_end, uint32_t **dst,
                                uint32_t *dst_end, const uint32_t *subst,
                                uint32_t *count) ZUL_NOTHROW;
ZUL_API int Utf8nToU4nSubst(const ZUL_RAW **src, const ZUL_RAW *src_end, uint32_t **dst,
                            uint32_t *dst_end, const uint32_t *subst, uint32_t *count) ZUL_NOTHROW;
ZUL_API int Utf8nToU4nGD(const ZUL_RAW **src, const ZUL_RAW *src_end, uint32_t **dst,
                         uint32_t *dst_end) ZUL_NOTHROW;

ZUL_API int Utf8nToU4nSwNoCCSubst(const ZUL_RAW **src, const ZUL_RAW *src_end, uint32_t **dst,
                                  uint32_t *dst_end, const uint32_t *subst,
                                  uint32_t *count) ZUL_NOTHROW;
ZUL_API int Utf8nToU4nSwSubst(const ZUL_RAW **src, const ZUL_RAW *src_end, uint32_t **dst,
                              uint32_t *dst_end, const uint32_t *subst,
                              uint32_t *count) ZUL_NOTHROW;
ZUL_API int Utf8nToU4nSwGD(const ZUL_RAW **src, const ZUL_RAW *src_end, uint32_t **dst,
                           uint32_t *dst_end) ZUL_NOTHROW;

ZUL_API int Utf8nToUtf16nSubstAll(const ZUL_RAW **src, const ZUL_RAW *src_end, ZUL_UTF16 **dst,
                                  ZUL_UTF16 *dst_end) ZUL_NOTHROW;
ZUL_API int Utf8nToUtf16nNoCCSubst(const ZUL_RAW **src, const ZUL_RAW *src_end, ZUL_UTF16 **dst,
                                   ZUL_UTF16 *dst_end, const ZUL_UTF16 *subst,
                                   uint32_t *count) ZUL_NOTHROW;
ZUL_API int Utf8nToUtf16nSubst(const ZUL_RAW **src, const ZUL_RAW *src_end, ZUL_UTF16 **dst,
                               ZUL_UTF16 *dst_end, const ZUL_UTF16 *subst,
                               uint32_t *count) ZUL_NOTHROW;
ZUL_API int Utf8nToUtf16nGD(const ZUL_RAW **src, const ZUL_RAW *src_end, ZUL_UTF16 **dst,
                            ZUL_UTF16 *dst_end) ZUL_NOTHROW;

ZUL_API int Utf8nToUtf16nSwNoCCSubst(const ZUL_RAW **src, const ZUL_RAW *src_end, ZUL_UTF16 **dst,
                                     ZUL_UTF16 *dst_end, const ZUL_UTF16 *subst,
                                     uint32_t *count) ZUL_NOTHROW;
ZUL_API int Utf8nToUtf16nSwSubst(const ZUL_RAW **src, const ZUL_RAW *src_end, ZUL_UTF16 **dst,
                                 ZUL_UTF16 *dst_end, const ZUL_UTF16 *subst,
                                 uint32_t *count) ZUL_NOTHROW;
ZUL_API int Utf8nToUtf16nSwGD(const ZUL_RAW **src, const ZUL_RAW *src_end, ZUL_UTF16 **dst,
                              ZUL_UTF16 *dst_end) ZUL_NOTHROW;

/* ---- To UTF-8 ---- */

ZUL_API int U2nToUtf8nNoCC(const ZUL_UTF16 **src, const ZUL_UTF16 *src_end, ZUL_RAW **dst,
                           ZUL_RAW *dst_end) ZUL_NOTHROW;
ZUL_API int U2nToUtf8n(const ZUL_UTF16 **src, const ZUL_UTF16 *src_end, ZUL_RAW **dst,
                       ZUL_RAW *dst_end) ZUL_NOTHROW;
ZUL_API int U2nSwToUtf8nNoCC(const ZUL_UTF16 **src, const ZUL_UTF16 *src_end, ZUL_RAW **dst,
                             ZUL_RAW *dst_end) ZUL_NOTHROW;
ZUL_API int U2nSwToUtf8n(const ZUL_UTF16 **src, const ZUL_UTF16 *src_end, ZUL_RAW **dst,
                         ZUL_RAW *dst_end) ZUL_NOTHROW;

ZUL_API int U4nToUtf8nGD(const uint32_t **src, const uint32_t *src_end, ZUL_RAW **dst,
                         ZUL_RAW *dst_end) ZUL_NOTHROW;
ZUL_API int U4nToUtf8nNoCC(const uint32_t **src, const uint32_t *src_end, ZUL_RAW **dst,
                           ZUL_RAW *dst_end) ZUL_NOTHROW;
ZUL_API int U4nToUtf8n(const uint32_t **src, const uint32_t *src_end, ZUL_RAW **dst,
                       ZUL_RAW *dst_end) ZUL_NOTHROW;
ZUL_API int U4nSwToUtf8nGD(const uint32_t **src, const uint32_t *src_end, ZUL_RAW **dst,
                           ZUL_RAW *dst_end) ZUL_NOTHROW;
ZUL_API int U4nSwToUtf8nNoCC(const uint32_t **src, const uint32_t *src_end, ZUL_RAW **dst,
                             ZUL_RAW *dst_end) ZUL_NOTHROW;
ZUL_API int U4nSwToUtf8n(const uint32_t **src, const uint32_t *src_end, ZUL_RAW **dst,
                         ZUL_RAW *dst_end) ZUL_NOTHROW;

ZUL_API int Utf16nToUtf8nSubstAll(const ZUL_UTF16 **src, const ZUL_UTF16 *src_end, ZUL_RAW **dst,
                                  ZUL_RAW *dst_end) ZUL_NOTHROW;
ZUL_API int Utf16nToUtf8nGD(const ZUL_UTF16 **src, const ZUL_UTF16 *src_end, ZUL_RAW **dst,
                            ZUL_RAW *dst_end) ZUL_NOTHROW;
ZUL_API int Utf16nToUtf8nNoCC(const ZUL_UTF16 **src, const ZUL_UTF16 *src_end, ZUL_RAW **dst,
                              ZUL_RAW *dst_end) ZUL_NOTHROW;
ZUL_API int Utf16nToUtf8n(const ZUL_UTF16 **src, const ZUL_UTF16 *src_end, ZUL_RAW **dst,
                          ZUL_RAW *dst_end) ZUL_NOTHROW;
ZUL_API int Utf16nSwToUtf8nGD(const ZUL_UTF16 **src, const ZUL_UTF16 *src_end, ZUL_RAW **dst,
                              ZUL_RAW *dst_end) ZUL_NOTHROW;
ZUL_API int Utf16nSwToUtf8nNoCC(const ZUL_UTF16 **src, const ZUL_UTF16 *src_end, ZUL_RAW **dst,
                                ZUL_RAW *dst_end) ZUL_NOTHROW;
ZUL_API int Utf16nSwToUtf8n(const ZUL_UTF16 **src, const ZUL_UTF16 *src_end, ZUL_RAW **dst,
                            ZUL_RAW *dst_end) ZUL_NOTHROW;

/* ---- Between the 16-bit and 32-bit forms ---- */

/* Surrogate pairs join; a high surrogate without a low one, and a lone low one, are stored as
 * they are; a high surrogate as the last unit is refused (class 512). */
ZUL_API int Utf16nToU4n(const ZUL_UTF16 **src, const ZUL_UTF16 *src_end, uint32_t **dst,
                        uint32_t *dst_end) ZUL_NOTHROW;
/* Values above 0xFFFF become surrogate pairs; values above 0x10FFFF become
 * rscpReplacementCharacter. */
ZUL_API int U4nToUtf16n(const uint32_t **src, const uint32_t *src_end, ZUL_UTF16 **dst,
                        ZUL_UTF16 *dst_end) ZUL_NOTHROW;
/* Copies, refusing half surrogates as Utf16nToUtf8n does. */
ZUL_API int Utf16nToUtf16n(const ZUL_UTF16 **src, const ZUL_UTF16 *src_end, ZUL_UTF16 **dst,
                           ZUL_UTF16 *dst_end) ZUL_NOTHROW;
/* Swaps the byte order of units 16-bit units in place. */
ZUL_API void SwapUnicodeBuffer(ZUL_UTF16 *buffer, size_t units) ZUL_NOTHROW;

/* ---- Wrappers on the system's 16-bit text ---- */

/* Utf16nToUtf8n with the arguments in destination-first order; cp is not used. */
ZUL_API int UcnToUtf8nCPFast(int cp, ZUL_RAW **dst, ZUL_RAW *dst_end, const ZUL_UTF16 **src,
                             const ZUL_UTF16 *src_end) ZUL_NOTHROW;
/* Utf8nToUtf16nSubst with rscpReplacementCharacter and no counter; cp is not used. */
ZUL_API int Utf8nToUcnCPFast(int cp, ZUL_UTF16 **dst, ZUL_UTF16 *dst_end, const ZUL_RAW **src,
                             const ZUL_RAW *src_end) ZUL_NOTHROW;

/* The same two with sizes: *length_out (may be null) gets the bytes or units written. Source and
 * destination may overlap. */
ZUL_API int UcnToUtf8nFastOverlap_2(ZUL_RAW *dst, size_t dst_size, size_t *length_out,
                                    const ZUL_UTF16 *src, size_t src_units) ZUL_NOTHROW;
ZUL_API int Utf8nToUcnFastOverlap_2(ZUL_UTF16 *dst, size_t dst_units, size_t *length_out,
                                    const ZUL_RAW *src, size_t src_bytes) ZUL_NOTHROW;

/* Zero-terminated forms. One unit (byte) of the destination's size is kept for the terminator,
 * which is written also after a failure; *length_out (may be null) gets what was written before
 * it. A destination of size 0 holds nothing and fails with class 32. */
ZUL_API int Utf8sToUcsFast(ZUL_UTF16 *dst, size_t dst_units, size_t *length_out,
                           const ZUL_RAW *src) ZUL_NOTHROW;
ZUL_API int UcsToUtf8sFast(ZUL_RAW *dst, size_t dst_size, size_t *length_out,
                           const ZUL_UTF16 *src) ZUL_NOTHROW;
/* The same for a source and destination that overlap: the result goes through a buffer of
 * rscpuc_next_buff first. */
ZUL_API int Utf8sToUcsFastOverlap(ZUL_UTF16 *dst, size_t dst_units, size_t *length_out,
                                  const ZUL_RAW *src) ZUL_NOTHROW;
ZUL_API int UcsToUtf8sFastOverlap(ZUL_RAW *dst, size_t dst_size, size_t *length_out,
                                  const ZUL_UTF16 *src) ZUL_NOTHROW;

/* ---- Volatile results ---- */

/* Answers a buffer of at least size bytes from the calling thread's ring of 40, reused in turn:
 * the 41st call overwrites the first result. The buffer belongs to the ring; the caller must not
 * free it. Never answers null: when memory runs out the process ends. */
ZUL_API void *rscpuc_next_buff(size_t size) ZUL_NOTHROW;
/* Counts the calls of rscpuc_next_buff that found no thread key and used the shared ring. */
ZUL_API int rscpuce_thread_error_count;

#endif /* ZUL_U16CONV_H */
