// The exported functions that attach name and value pairs to a record or to the transaction.
#define DPTRC_MODULE u"tlmmain"

#include "tlm.h"
#include "tlm/tlmapicall.h"
#include "tlm/tlmcontextcachemanager.h"
#include "tlm/tlmmainsession.h"
#include "tlm/tlmmtcontext.h"

namespace {

enum class Target { kRecord, kRecordList, kContext };

const ZUL_UTF16 kPassportInfoName[] = u"outbound.ZUL-PASSPORT";
const ZUL_UTF16 kParameterInfoPrefix[] = u"Method Call Parameter ";

// Applies the pair to the session's context unless it was given up; any failure is silent.
void append(const CSessionKey &session, Target target, uint32_t id, const ZUL_UTF16 *name,
            const ZUL_UTF16 *value) {
  CContextRef context = CContextCacheManager::Instance()->getContextByID(session);
  if (!context || context->getStatus() == CMTContext::STATUS_TERMINATE) return;
  switch (target) {
    case Target::kRecord:
      context->appendRecordInfo(id, tlmmain::textOf(name), tlmmain::textOf(value));
      break;
    case Target::kRecordList:
      context->appendRecordInfoToList(id, tlmmain::textOf(name), tlmmain::textOf(value));
      break;
    case Target::kContext:
      context->appendContextInfo(tlmmain::textOf(name), tlmmain::textOf(value));
      break;
  }
}

void appendForThread(const ZUL_UTF16 *function, Target target, uint32_t id, const ZUL_UTF16 *name,
                     const ZUL_UTF16 *value) {
  tlmapi::run(function, tlmapi::isSwitchedOn,
              [&](CThreadBlock &thread) { append(thread.session(), target, id, name, value); });
}

void appendForSession(const ZUL_UTF16 *function, TLM_SESSION_ID_FUNC session, Target target,
                      uint32_t id, const ZUL_UTF16 *name, const ZUL_UTF16 *value) {
  tlmapi::run(function, tlmapi::isSwitchedOn, [&] {
    zulstring sessionId;
    if (tlmmain::externalSession(session, sessionId)) append(CSessionKey(sessionId), target, id, name, value);
  });
}

// "Method Call Parameter " and the parameter's name, whatever its length.
zulstring parameterInfoName(const ZUL_UTF16 *parameter) {
  return kParameterInfoPrefix + tlmmain::textOf(parameter);
}

}  // namespace

void TLM_appendInfo(uint32_t recordId, const ZUL_UTF16 *name, const ZUL_UTF16 *value) noexcept {
  appendForThread(u"TLM_appendInfo", Target::kRecord, recordId, name, value);
}

void TLM_appendInfoEx(TLM_SESSION_ID_FUNC session, uint32_t recordId, const ZUL_UTF16 *name,
                      const ZUL_UTF16 *value) noexcept {
  appendForSession(u"TLM_appendInfoEx", session, Target::kRecord, recordId, name, value);
}

void TLM_appendInfoToList(uint32_t recordId, const ZUL_UTF16 *name,
                          const ZUL_UTF16 *value) noexcept {
  appendForThread(u"TLM_appendInfoToList", Target::kRecordList, recordId, name, value);
}

void TLM_appendInfoToListEx(TLM_SESSION_ID_FUNC session, uint32_t recordId, const ZUL_UTF16 *name,
                            const ZUL_UTF16 *value) noexcept {
  appendForSession(u"TLM_appendInfoToListEx", session, Target::kRecordList, recordId, name, value);
}

void TLM_appendExceptionInfo(uint32_t recordId, const ZUL_UTF16 *value) noexcept {
  TLM_appendInfo(recordId, u"Exception", value);
}

void TLM_appendExceptionInfoEx(TLM_SESSION_ID_FUNC session, uint32_t recordId,
                               const ZUL_UTF16 *value) noexcept {
  TLM_appendInfoEx(session, recordId, u"Exception", value);
}

void TLM_appendReturnInfo(uint32_t recordId, const ZUL_UTF16 *value) noexcept {
  TLM_appendInfo(recordId, u"Return Value", value);
}

void TLM_appendReturnInfoEx(TLM_SESSION_ID_FUNC session, uint32_t recordId,
                            const ZUL_UTF16 *value) noexcept {
  TLM_appendInfoEx(session, recordId, u"Return Value", value);
}

void TLM_appendParameterInfo(uint32_t recordId, const ZUL_UTF16 *parameter,
                             const ZUL_UTF16 *value) noexcept {
  tlmapi::run(u"TLM_appendParameterInfo", tlmapi::isSwitchedOn,
              [&] { TLM_appendInfo(recordId, parameterInfoName(parameter).c_str(), value); });
}

void TLM_appendParameterInfoEx(TLM_SESSION_ID_FUNC session, uint32_t recordId,
                               const ZUL_UTF16 *parameter, const ZUL_UTF16 *value) noexcept {
  tlmapi::run(u"TLM_appendParameterInfoEx", tlmapi::isSwitchedOn, [&] {
    TLM_appendInfoEx(session, recordId, parameterInfoName(parameter).c_str(), value);
  });
}

void TLM_appendPassportInfo(uint32_t recordId, const ZUL_UTF16 *value, int list) noexcept {
  if (list == 0) {
    TLM_appendInfo(recordId, kPassportInfoName, value);
  } else {
    TLM_appendInfoToList(recordId, kPassportInfoName, value);
  }
}

void TLM_appendPassportInfoEx(TLM_SESSION_ID_FUNC session, uint32_t recordId,
                              const ZUL_UTF16 *value, int list) noexcept {
  if (list == 0) {
    TLM_appendInfoEx(session, recordId, kPassportInfoName, value);
  } else {
    TLM_appendInfoToListEx(session, recordId, kPassportInfoName, value);
  }
}

void TLM_appendContextInfo(const ZUL_UTF16 *name, const ZUL_UTF16 *value) noexcept {
  appendForThread(u"TLM_appendContextInfo", Target::kContext, 0, name, value);
}

void TLM_appendContextInfoEx(TLM_SESSION_ID_FUNC session, const ZUL_UTF16 *name,
                             const ZUL_UTF16 *value) noexcept {
  appendForSession(u"TLM_appendContextInfoEx", session, Target::kContext, 0, name, value);
}

void TLM_appendUserID(const ZUL_UTF16 *value) noexcept { TLM_appendContextInfo(u"User ID", value); }

void TLM_appendUserIDEx(TLM_SESSION_ID_FUNC session, const ZUL_UTF16 *value) noexcept {
  TLM_appendContextInfoEx(session, u"User ID", value);
}
