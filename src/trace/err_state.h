// The per-thread record of the error information and the pieces its functions share: the block
// layout, the eyecatcher test, and the trace of this module.
#ifndef TRACE_ERR_STATE_H
#define TRACE_ERR_STATE_H

#include <cstdio>

#define DPTRC_MODULE u"err_r_mt"
#include "zul_dptrace.h"
#include "zul_err.h"

// The record of one thread, kept under a key whose destructor is ErrFree. All pointers are owned
// and allocated with malloc.
struct ERR_THR_INFO {
  ZUL_UTF16 *block;  // ERR_MAX_UNITS units, allocated on first use
  uint32_t counter;  // errors set so far; survives ErrClear
  ZUL_UTF16 *location;
  ZUL_UTF16 *msg_file;  // set by ErrSetMsgFile
  uint32_t key_length;
  uint32_t length;  // units of the block; 0: no information
  FILE *msg_stream;
  ZUL_UTF16 *merged_text;    // translated error text, kMergedUnits units
  ZUL_UTF16 *merged_detail;  // translated detail
};

namespace err {

inline constexpr size_t kMaxUnits = ERR_MAX_UNITS;
inline constexpr size_t kMergedUnits = 2000;
// The limit of formatted texts and of the argument texts, before they are fitted into a block.
inline constexpr size_t kFormatUnits = 2000;
inline constexpr ZUL_UTF16 kEyecatcher[] = u"*ERR*";
inline constexpr ZUL_UTF16 kRelease[] = u"720";
inline constexpr ZUL_UTF16 kEmpty[] = u"";

// The labels that rows of a printed error show, by field.
extern const ZUL_UTF16 *const kLabels[ERR_FIELD_COUNT];

// The calling thread's record; created (zero-filled, key length 5) when create is set. Null
// without record, or when memory runs out.
ERR_THR_INFO *Info(bool create);
// The record with its block buffer allocated; null when memory runs out.
ERR_THR_INFO *InfoWithBlock();

// True when units units start with "*ERR*" and end with the string "*ERR*".
bool EyecatchersIntact(const ZUL_UTF16 *block, size_t units);
// Dumps a damaged block at level 2 under the title "bad err info".
void DumpBadBlock(const void *data, size_t bytes);
// Points fields at the strings of a block and answers the number of terminators in it. Fields
// beyond the strings present point to an empty string.
int SplitFields(const ZUL_UTF16 *block, size_t units, const ZUL_UTF16 *fields[ERR_FIELD_COUNT]);
// The units of a block made of these fields, terminators included. When at most kMaxUnits, the
// block is written to out.
size_t JoinFields(const ZUL_UTF16 *const fields[ERR_FIELD_COUNT], ZUL_UTF16 *out);

// Checks the thread's block as every reader does, tracing what is wrong: ERR_OK, ERR_NO_INFO,
// ERR_BAD_PARAM, ERR_EYECATCHER or ERR_INCOMPLETE. no_info is the trace line for ERR_NO_INFO.
int CheckBlock(const ERR_THR_INFO *info, const ZUL_UTF16 *no_info);

// The fields of the thread's block after CheckBlock, the keyed texts translated to lang unless it
// is ERR_NO_LANGUAGE; every field is empty when the answer isn't ERR_OK.
int ReadFields(ZUL_UTF16 lang, const ZUL_UTF16 *fields[ERR_FIELD_COUNT]);

// The decimal text of n, empty for 0, into buf of size units.
void NumberText(int n, ZUL_UTF16 *buf, size_t size);

}  // namespace err

#endif  // TRACE_ERR_STATE_H
