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

/* ---- 7-bit and 8-bit forms ----
 * These never fail. The s forms write a terminator, the n forms don't (except where said);
 * byte strings are char, taken as unsigned. Functions that fill dst answer dst. */

/* Widen each byte to one unit. */
ZUL_API ZUL_UTF16 *A7sToUcs(ZUL_UTF16 *dst, const char *src) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *A7nToUcn(ZUL_UTF16 *dst, const char *src, size_t n) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *B7sToUcs(ZUL_UTF16 *dst, const char *src) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *B7nToUcn(ZUL_UTF16 *dst, const char *src, size_t n) ZUL_NOTHROW;

/* Values below 128 as they are, others become '#' and add one to the process-wide 7-bit error
 * counter (no lock; read and cleared by UcsToA7s_ErrCnt and UcsToA7s_ErrReset). */
ZUL_API char UcToA7(ZUL_UTF16 unit) ZUL_NOTHROW;
ZUL_API char B8ToA7(char byte) ZUL_NOTHROW;
ZUL_API char *UcnToA7n(char *dst, const ZUL_UTF16 *src, size_t n) ZUL_NOTHROW;
ZUL_API char *UcsToA7s(char *dst, const ZUL_UTF16 *src) ZUL_NOTHROW;
ZUL_API int UcsToA7s_ErrCnt(void) ZUL_NOTHROW;
ZUL_API void UcsToA7s_ErrReset(void) ZUL_NOTHROW;
/* Units above 127 become subst, or '#' when subst itself is above 127; nothing is counted. */
ZUL_API char *UcsToA7sSubst(char *dst, const ZUL_UTF16 *src, char subst) ZUL_NOTHROW;
ZUL_API char *UcnToA7nSubst(char *dst, const ZUL_UTF16 *src, size_t n, char subst) ZUL_NOTHROW;
/* Stop at the first unit above 127, write a terminator there and answer 1; answer 0 when all
 * converted (UcnToA7nCheck then writes no terminator). */
ZUL_API int UcsToA7sCheck(char *dst, const ZUL_UTF16 *src) ZUL_NOTHROW;
ZUL_API int UcnToA7nCheck(char *dst, const ZUL_UTF16 *src, size_t n) ZUL_NOTHROW;
/* As the A7 forms, without counting. */
ZUL_API char UcToB7(ZUL_UTF16 unit) ZUL_NOTHROW;
ZUL_API char *UcnToB7n(char *dst, const ZUL_UTF16 *src, size_t n) ZUL_NOTHROW;
ZUL_API char *UcsToB7s(char *dst, const ZUL_UTF16 *src) ZUL_NOTHROW;

/* EBCDIC (code page 1047) to and from the first 256 units. */
ZUL_API const ZUL_UTF16 rscpuc2_E2U[256];
ZUL_API const unsigned char rscpuc2_U2E[256];
ZUL_API ZUL_UTF16 E8ToUc(char byte) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *E8sToUcs(ZUL_UTF16 *dst, const char *src) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *E8nToUcn(ZUL_UTF16 *dst, const char *src, size_t n) ZUL_NOTHROW;
/* Units above 255 become 123, the EBCDIC '#', and add one to the process-wide EBCDIC error
 * counter (no lock; UcsToE8s_ErrCnt, UcsToE8s_ErrReset). */
ZUL_API char UcToE8(ZUL_UTF16 unit) ZUL_NOTHROW;
ZUL_API char *UcsToE8s(char *dst, const ZUL_UTF16 *src) ZUL_NOTHROW;
ZUL_API char *UcnToE8n(char *dst, const ZUL_UTF16 *src, size_t n) ZUL_NOTHROW;
ZUL_API int UcsToE8s_ErrCnt(void) ZUL_NOTHROW;
ZUL_API void UcsToE8s_ErrReset(void) ZUL_NOTHROW;
/* Stop at the first unit above 255, write a terminator there and answer 1; 0 when all converted
 * (UcnToE8nCheck then writes no terminator). */
ZUL_API int UcsToE8sCheck(char *dst, const ZUL_UTF16 *src) ZUL_NOTHROW;
ZUL_API int UcnToE8nCheck(char *dst, const ZUL_UTF16 *src, size_t n) ZUL_NOTHROW;
/* Bytes through the same tables; E8ToA7 counts as UcToA7 does. */
ZUL_API char E8ToB8(char byte) ZUL_NOTHROW;
ZUL_API char B8ToE8(char byte) ZUL_NOTHROW;
ZUL_API char A7ToE8(char byte) ZUL_NOTHROW;
ZUL_API char E8ToA7(char byte) ZUL_NOTHROW;
ZUL_API void A7nToE8nInPlace(char *buffer, size_t n) ZUL_NOTHROW;
ZUL_API void E8nToA7nInPlace(char *buffer, size_t n) ZUL_NOTHROW;

/* ---- Volatile results ---- */

/* Answers a buffer of at least size bytes from the calling thread's ring of 40, reused in turn:
 * the 41st call overwrites the first result. The buffer belongs to the ring; the caller must not
 * free it. Never answers null: when memory runs out the process ends. */
ZUL_API void *rscpuc_next_buff(size_t size) ZUL_NOTHROW;
/* Counts the calls of rscpuc_next_buff that found no thread key and used the shared ring. */
ZUL_API int rscpuce_thread_error_count;

/* Conversions into a buffer of rscpuc_next_buff: the result is zero-terminated, belongs to the
 * ring and stays valid until the calling thread has asked for 40 more buffers. A null source
 * counts as empty. The 7-bit, 8-bit and EBCDIC forms convert as their fill-in counterparts do;
 * the UTF-8 forms replace invalid input with U+FFFD. */
ZUL_API char *UcnToA7nVola(const ZUL_UTF16 *src, size_t n) ZUL_NOTHROW;
ZUL_API char *UcsToA7sVola(const ZUL_UTF16 *src) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *A7nToUcnVola(const char *src, size_t n) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *A7sToUcsVola(const char *src) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *E8sToUcsVola(const char *src) ZUL_NOTHROW;
ZUL_API char *UcsToE8sVola(const ZUL_UTF16 *src) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *Utf8sToUcsVola(const ZUL_RAW *src) ZUL_NOTHROW;
ZUL_API ZUL_RAW *UcsToUtf8sVola(const ZUL_UTF16 *src) ZUL_NOTHROW;


/* ---- UTF-7 ----
 * Direct characters are the letters, the digits and "'(),-./:?"; with option non-zero the optional
 * set "!\"#$%&*;<=>@[]^_`{|}" goes directly too. Everything else, blank, tab and line ends
 * included, goes into a shifted run that '+' opens; '+' itself is written "+-". A run is closed
 * with '-' only when the next byte is a Base64 digit or '-'; at the source's end it is closed
 * without one. flags is reserved: pass 0.
 *
 * When the destination is full (class 32) the encoder closes its run and stops before the
 * character that didn't fit: what it wrote decodes to exactly the source consumed, and a call with
 * more room continues. U4nToUtf7n writes values above 0xFFFF as surrogate pairs and refuses values
 * above 0x10FFFF with class 2048 ("Cannot convert 32 Bit to UTF-7").
 *
 * The decoders take any 7-bit byte outside a run as itself and "+-" as '+'. Bytes from 0x80, a '+'
 * followed by neither a Base64 digit nor '-', and a run whose last digit carries non-zero or too
 * many pad bits answer class 2048; a run that the source end cuts inside a unit answers 512. A run
 * that fails, or doesn't fit the destination, is given back whole: both pointers stand at its '+',
 * so what stands before them decodes alone.
 * Utf7aToU4a joins a surrogate pair inside one run into one value. An empty source answers 0. */
ZUL_API int U2nToUtf7n(const ZUL_UTF16 **src, const ZUL_UTF16 *src_end, ZUL_RAW **dst,
                       ZUL_RAW *dst_end, int option, int flags) ZUL_NOTHROW;
ZUL_API int U4nToUtf7n(const uint32_t **src, const uint32_t *src_end, ZUL_RAW **dst,
                       ZUL_RAW *dst_end, int option, int flags) ZUL_NOTHROW;
ZUL_API int Utf7nToU2n(const ZUL_RAW **src, const ZUL_RAW *src_end, ZUL_UTF16 **dst,
                       ZUL_UTF16 *dst_end) ZUL_NOTHROW;
ZUL_API int Utf7aToU4a(const ZUL_RAW **src, const ZUL_RAW *src_end, uint32_t **dst,
                       uint32_t *dst_end) ZUL_NOTHROW;

/* ---- Short helpers ---- */

/* Units before the terminator; Utf16sLen counts a surrogate pair as one character. */
ZUL_API size_t UcsLen(const ZUL_UTF16 *s) ZUL_NOTHROW;
ZUL_API size_t U2sLen(const ZUL_UTF16 *s) ZUL_NOTHROW;
ZUL_API size_t U4sLen(const uint32_t *s) ZUL_NOTHROW;
ZUL_API size_t Utf16sLen(const ZUL_UTF16 *s) ZUL_NOTHROW;
/* Copy with the terminator and answer dst. */
ZUL_API ZUL_UTF16 *U2sCpy(ZUL_UTF16 *dst, const ZUL_UTF16 *src) ZUL_NOTHROW;
ZUL_API uint32_t *U4sCpy(uint32_t *dst, const uint32_t *src) ZUL_NOTHROW;
/* Without a length limit: units below 256 become their byte, others '#'; bytes widen. */
ZUL_API char *UcsToB8sNolim(char *dst, const ZUL_UTF16 *src) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 *B8sToUcsNolim(ZUL_UTF16 *dst, const char *src) ZUL_NOTHROW;
/* One unit or byte: U2ToA7 as UcToA7 (counting), Utf8ToA7 a byte below 128 as it is and '#'
 * otherwise, E8ToU2 and U2ToE8 as E8ToUc and UcToE8. */
ZUL_API char U2ToA7(ZUL_UTF16 unit) ZUL_NOTHROW;
ZUL_API char Utf8ToA7(ZUL_RAW byte) ZUL_NOTHROW;
ZUL_API ZUL_UTF16 E8ToU2(char byte) ZUL_NOTHROW;
ZUL_API char U2ToE8(ZUL_UTF16 unit) ZUL_NOTHROW;

/* Aliases of the Fast forms above, with the same arguments and answers. */
ZUL_API int Utf8sToUcs(ZUL_UTF16 *dst, size_t dst_units, size_t *length_out,
                       const ZUL_RAW *src) ZUL_NOTHROW;
ZUL_API int UcsToUtf8s(ZUL_RAW *dst, size_t dst_size, size_t *length_out,
                       const ZUL_UTF16 *src) ZUL_NOTHROW;
ZUL_API int Utf8sToUcsOverlap(ZUL_UTF16 *dst, size_t dst_units, size_t *length_out,
                              const ZUL_RAW *src) ZUL_NOTHROW;
ZUL_API int UcsToUtf8sOverlap(ZUL_RAW *dst, size_t dst_size, size_t *length_out,
                              const ZUL_UTF16 *src) ZUL_NOTHROW;
ZUL_API int Utf8nToUcnOverlap_2(ZUL_UTF16 *dst, size_t dst_units, size_t *length_out,
                                const ZUL_RAW *src, size_t src_bytes) ZUL_NOTHROW;
ZUL_API int UcnToUtf8nOverlap_2(ZUL_RAW *dst, size_t dst_size, size_t *length_out,
                                const ZUL_UTF16 *src, size_t src_units) ZUL_NOTHROW;
ZUL_API int Utf8nToUcnCP(int cp, ZUL_UTF16 **dst, ZUL_UTF16 *dst_end, const ZUL_RAW **src,
                         const ZUL_RAW *src_end) ZUL_NOTHROW;
ZUL_API int UcnToUtf8nCP(int cp, ZUL_RAW **dst, ZUL_RAW *dst_end, const ZUL_UTF16 **src,
                         const ZUL_UTF16 *src_end) ZUL_NOTHROW;
ZUL_API int Utf8nToUcnCP_4(int cp, ZUL_UTF16 **dst, ZUL_UTF16 *dst_end, const ZUL_RAW **src,
                           const ZUL_RAW *src_end) ZUL_NOTHROW;
ZUL_API int UcnToUtf8nCP_4(int cp, ZUL_RAW **dst, ZUL_RAW *dst_end, const ZUL_UTF16 **src,
                           const ZUL_UTF16 *src_end) ZUL_NOTHROW;

/* ---- Identification ---- */

/* The code page numbers of UTF-16, four digits each: "41034102410341104103". */
ZUL_API const char *rscpg_utf16_cc(void) ZUL_NOTHROW;
/* Writes the library's version block, lines "FileVersion: ", "ProductVersion: ", "SpecialBuild: "
 * and "Platform: " each with its value, into buffer (cut and terminated when size is too small;
 * buffer may be null when size is 0) and answers the block's length: a result of at least size
 * tells the room needed. */
ZUL_API int GetZULFileVersion(char *buffer, size_t size) ZUL_NOTHROW;

#endif /* ZUL_U16CONV_H */
