// Between the instrumentation and the passport library: recognises passport texts, reads their
// fields as text, derives the trace level from the trace flag, and builds the passport of an
// outgoing call.
//
// Two kinds of passport text reach the library: a binary passport as capital hexadecimal digits
// of its network form (starting and ending with "2A54482A"), and an application passport, free
// text of the form GUID "*" trace flag (decimal), whose GUID may be empty.
//
// Nothing here fails outward: a bad passport is an application passport or no passport, and a
// field that can't be read is replaced by a default or a new GUID, with an error line that says
// so. The functions keep no state; a sequence of them on one handle is not atomic.
#ifndef TLM_TLM_TLMPASSPORTHELPER_H
#define TLM_TLM_TLMPASSPORTHELPER_H

#include <cstddef>
#include <cstdint>

#include "i18n/zulu16/zulstring.h"

class PassportHelper {
 public:
  PassportHelper() = delete;

  // Trace flags of outgoing passports: a passport raised to version 3 for level 2 or 3, and a
  // passport made for a context that had none.
  static constexpr uint16_t kFlagLevelMedium = 2697;
  static constexpr uint16_t kFlagLevelHigh = 3487;
  static constexpr uint16_t kFlagNewPassport = 15;

  // The passport in a hexadecimal passport text, or null when text isn't one (it is then an
  // application passport). The caller owns the handle and frees it with DestroyPassportHandle.
  static void *IsZULPassport(const ZUL_UTF16 *text);
  // eppDelete, and the handle becomes null.
  static void DestroyPassportHandle(void *&handle);
  // The passport's version; 0 for a null handle or one that can't be read.
  static uint8_t GetPassportVersion(void *&handle);
  // The trace flag as a 16-bit value in the machine's order; 0 when it can't be read.
  static uint16_t GetTraceFlagFromZULPassport(void *&handle);
  // Version 3: 1 below 2697, 2 below 3487, else 3. Other versions (application passports count as
  // version 0): 0 below 9, 1 below 925, 2 below 1535, else 3.
  static uint16_t GetTraceLevelFromTraceFlag(uint16_t flag, uint8_t version);
  // The decimal number after the first "*", cut to 16 bits; 0 without a "*".
  static uint16_t GetTraceFlagFromApplicationPassport(const ZUL_UTF16 *text);
  // The text before the first "*", possibly empty; a new GUID without a "*".
  static zulstring GetTraceGuidFromApplicationPassport(const ZUL_UTF16 *text);
  // Version 3: root context id, connection id and counter ("%8.8X") in hexadecimal, joined, or a
  // new GUID when one can't be read. Version 2: the transaction id. Others: empty.
  static zulstring GetTraceGuidFromZULPassport(void *&handle);
  // The transaction id (blank-padded to 32 units when the passport came from the network), or a
  // new GUID when it can't be read.
  static zulstring GetTransactionIdFromZULPassport(void *&handle);
  // 32 hexadecimal digits for version 3; empty for other versions and when it can't be read.
  static zulstring GetRootContextIdFromZULPassport(void *&handle, uint8_t version);
  static zulstring GetConnectionIdFromZULPassport(void *&handle, uint8_t version);
  // The counter for version 3; 0 for other versions and when it can't be read.
  static uint32_t GetConnectionCounterFromZULPassport(void *&handle, uint8_t version);

  // The hexadecimal passport text for the next hop. A null handle gets a new passport with flag
  // 15; a version 2 passport is raised to version 3 with the outgoing flag of level; other
  // versions keep flag and version. Then connection id (hexadecimal text), counter and previous
  // component (the caller's component) are set, and the passport is serialised. The handle is
  // changed in place and stays the caller's. Empty text when the passport can't be serialised.
  static zulstring CreateOutgoingPassport(void *&handle, const ZUL_UTF16 *connection_id,
                                          uint32_t counter, uint16_t level,
                                          const ZUL_UTF16 *previous_component);

  // Converts pairs of capital hexadecimal digits into at most size bytes; the first character
  // that isn't one ends the conversion, an odd last digit gives a byte with low half 0, and the
  // rest of buffer is zeroed. Answers the bytes converted.
  static size_t HexStringToByteArray(const ZUL_UTF16 *text, ZUL_RAW *buffer, size_t size);
  // Two capital hexadecimal digits per byte (count below 2^32).
  static zulstring ByteArrayToHexString(const ZUL_RAW *bytes, size_t count);
};

#endif  // TLM_TLM_TLMPASSPORTHELPER_H
