// Access control lists of listeners: the list record and its parser, shared by the public calls,
// accept and the fuzz target.
#ifndef NI_NIXXACL_H
#define NI_NIXXACL_H

#include <cstddef>
#include <cstdint>
#include <ctime>

#include "ni/nixxi.h"

namespace ni::acl {

inline constexpr int kMaxRules = 256;
inline constexpr int kMaxLineUnits = 1023;  // units of a line that are used
enum NI_ACL_STAT : uint8_t { kPermit = 1, kDeny = 2 };

struct NI_ACL_RULE {
  uint8_t mState;  // kPermit or kDeny
  NI_NODEADDR addr, mask;
  uint32_t mTraceLevel;  // 1 to 3: the rule's hits are traced from this trace level on
  uint32_t mCount;       // hits
  uint32_t mLine;        // line of the text, from 1
};

// One listener's list, in lis.mAcl.
struct NIACLIMPL {
  uint32_t mRuleCount = 0;
  uint32_t mNoMatchCount = 0;
  uint8_t mDefaultDeny = 1;  // an address that no rule matches is refused
  int32_t mStatus = ZUL_O_K;
  NI_ACL_RULE mRules[kMaxRules];
  time_t mFlushTime = 0;
};

// Parses zero-terminated text into the list, appending rule by rule under *pLock (null: no lock,
// for a list nobody else sees). Stops at the first failing line, keeping the rules before it;
// NIEINVAL when no rule came. hdl names the listener in traces. Answers the load result.
int ParseString(NIACLIMPL *pAcl, const ZUL_UTF16 *pText, int hdl, THR_MTX *pLock) noexcept;

// The first matching rule decides (its hit count grows): ZUL_O_K or NIEACL_DENIED; no match
// applies the default. The caller holds the list's lock.
int CheckAddress(NIACLIMPL *pAcl, const NI_NODEADDR *pNodeAddr) noexcept;

}  // namespace ni::acl

#endif  // NI_NIXXACL_H
