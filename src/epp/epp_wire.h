// Offsets of the network form and the variable parts' share of it.
#ifndef TLM_EPP_EPP_WIRE_H
#define TLM_EPP_EPP_WIRE_H

#include <cstddef>
#include <cstdint>

#include "epp/epp_internal.h"

namespace epp::wire {

// The core, common to all versions.
inline constexpr size_t kVersion = 4;
inline constexpr size_t kTotalLength = 5;
inline constexpr size_t kTraceFlag = 7;
inline constexpr size_t kComponentName = 9;
inline constexpr size_t kService = 41;
inline constexpr size_t kUserId = 43;
inline constexpr size_t kAction = 75;
inline constexpr size_t kActionType = 115;
inline constexpr size_t kPreComponentName = 117;
// Version 1 has 7 zero bytes here; versions 2 and 3 the transaction id.
inline constexpr size_t kTransactionId = 149;
// Version 3.
inline constexpr size_t kClient = 181;
inline constexpr size_t kComponent = 184;
inline constexpr size_t kRootContextId = 186;
inline constexpr size_t kConnectionId = 202;
inline constexpr size_t kConnectionCounter = 218;
inline constexpr size_t kVarPartCount = 222;
inline constexpr size_t kVarPartOffset = 224;
inline constexpr size_t kVarParts = 226;
inline constexpr size_t kTrailer = 4;

// A variable part's header and an item's.
inline constexpr size_t kPartHeader = 12;
inline constexpr size_t kItemHeader = 7;

// Bytes of the variable parts in the network form, as the needed size counts them: 12 per part,
// 7 per item and each item's length (strings in units).
int VarPartsSize(const Passport *p);
// Writes the variable parts at out; answers the bytes written, at most VarPartsSize.
size_t WriteVarParts(const Passport *p, ZUL_RAW *out);
// Reads count parts of the stream [bytes, bytes + total) into the passport, starting at the
// offset stored in the stream, through eppSetItem; texts may run on to bytes + size. Answers 0 or
// the failure's code.
uint32_t ReadVarParts(void *handle, const ZUL_RAW *bytes, uint32_t size, int total, int count);

}  // namespace epp::wire

#endif  // TLM_EPP_EPP_WIRE_H
