// The exported timing functions and the workers that apply them to the session's context.
#define DPTRC_MODULE u"tlmmain"

#include "tlm.h"
#include "tlm/tlmapicall.h"
#include "tlm/tlmcontextcachemanager.h"
#include "tlm/tlmlibrary.h"
#include "tlm/tlmmainsession.h"
#include "tlm/tlmmtcontext.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "zul_dptrace.h"

using tlmapi::isSwitchedOn;
using tlmapi::run;
using tlmmain::externalSession;
using tlmmain::textOf;

namespace {

typedef TLMParameterHelper Param;

CContextCacheManager *registry() { return CContextCacheManager::Instance(); }

// The cheap rejection before any text work: a level passes when it is below either threshold.
bool levelPasses(uint16_t level) {
  return level < Param::GetInstruLevelThresholdForTrace() ||
         level < Param::GetInstruLevelThreshold();
}

// The record's metric name, component "|" operation, built in the thread's scratch text, which
// keeps its capacity from call to call. Valid until the thread's next call.
const zulstring &recordName(CThreadBlock &thread, const ZUL_UTF16 *component,
                            const ZUL_UTF16 *operation) {
  zulstring &name = thread.scratch;
  name.clear();
  if (component != nullptr) name += component;
  name += u'|';
  if (operation != nullptr) name += operation;
  return name;
}

// A session without a context gets one, made and started before the registry shows it; it is
// registered even when the record was skipped.
uint32_t startTiming(CThreadBlock &thread, const CSessionKey &session, const ZUL_UTF16 *component,
                     const ZUL_UTF16 *operation, uint16_t level) {
  CContextRef context = registry()->getContextByID(session);
  if (context && context->getStatus() == CMTContext::STATUS_TERMINATE) {
    DPTRC_ERR(tf,
              u"Previous context object is in the terminate status and was not cleaned up by "
              u"TLM_initContext API\n");
    return CMTContext::SKIPPED_COUNTER;
  }
  const zulstring &name = recordName(thread, component, operation);
  if (context) return context->startTiming(name, level);
  auto fresh = std::make_unique<CMTContext>(tlmlibrary::CurrentSettingsView());
  uint32_t id = fresh->startTiming(name, level);
  registry()->pushContextToCache(session, std::move(fresh));
  return id;
}

// A context still open is given up first; reset is how a terminated context becomes usable.
void initContext(const CSessionKey &session, const ZUL_UTF16 *passport) {
  zulstring text = textOf(passport);
  CContextRef context = registry()->getContextByID(session);
  if (!context) {
    registry()->pushContextToCache(session,
                                   std::make_unique<CMTContext>(tlmlibrary::CurrentSettingsView(),
                                                                text));
    return;
  }
  if (context->getStatus() == CMTContext::STATUS_OPEN) context->terminateTimingAll();
  context->reset(text, tlmlibrary::CurrentSettingsView());
}

// The end of the outermost record closes the context, and that destroys it.
void endTiming(const CSessionKey &session, uint32_t id, bool terminate) {
  CContextRef context = registry()->getContextByID(session);
  if (!context || context->getStatus() == CMTContext::STATUS_TERMINATE) return;
  if (terminate) {
    context->terminateTiming(id);
  } else {
    context->endTiming(id);
  }
  const bool closed = context->getStatus() == CMTContext::STATUS_CLOSE;
  context.reset();
  if (closed) registry()->removeContextByID(session);
}

// The context stays registered, terminated, until TLM_initContext or the sweep.
void terminateTimingAll(const CSessionKey &session) {
  CContextRef context = registry()->getContextByID(session);
  if (context && context->getStatus() != CMTContext::STATUS_TERMINATE) {
    context->terminateTimingAll();
  }
}

// A record id of 0, from a skipped start, costs nothing more than the gate.
void endForThread(const ZUL_UTF16 *function, uint32_t recordId, bool terminate) {
  run(function, isSwitchedOn, [&](CThreadBlock &thread) {
    if (recordId > CMTContext::SKIPPED_COUNTER) endTiming(thread.session(), recordId, terminate);
  });
}

void endForSession(const ZUL_UTF16 *function, TLM_SESSION_ID_FUNC session, uint32_t recordId,
                   bool terminate) {
  run(function, isSwitchedOn, [&] {
    zulstring id;
    if (recordId > CMTContext::SKIPPED_COUNTER && externalSession(session, id)) {
      endTiming(CSessionKey(id), recordId, terminate);
    }
  });
}

}  // namespace

void TLM_initContext(const ZUL_UTF16 *passport) noexcept {
  run(u"TLM_initContext", isSwitchedOn,
      [&](CThreadBlock &thread) { initContext(thread.session(), passport); });
}

void TLM_initContextEx(TLM_SESSION_ID_FUNC session, const ZUL_UTF16 *passport) noexcept {
  run(u"TLM_initContextEx", isSwitchedOn, [&] {
    zulstring id;
    if (externalSession(session, id)) initContext(CSessionKey(id), passport);
  });
}

uint32_t TLM_startTiming(const ZUL_UTF16 *component, const ZUL_UTF16 *operation,
                         uint16_t level) noexcept {
  return run(u"TLM_startTiming", isSwitchedOn, CMTContext::SKIPPED_COUNTER,
             [&](CThreadBlock &thread) {
               if (!levelPasses(level)) return CMTContext::SKIPPED_COUNTER;
               return startTiming(thread, thread.session(), component, operation, level);
             });
}

uint32_t TLM_startTimingEx(TLM_SESSION_ID_FUNC session, const ZUL_UTF16 *component,
                           const ZUL_UTF16 *operation, uint16_t level) noexcept {
  return run(u"TLM_startTimingEx", isSwitchedOn, CMTContext::SKIPPED_COUNTER,
             [&](CThreadBlock &thread) {
               zulstring id;
               if (!levelPasses(level) || !externalSession(session, id)) {
                 return CMTContext::SKIPPED_COUNTER;
               }
               return startTiming(thread, CSessionKey(id), component, operation, level);
             });
}

void TLM_endTiming(uint32_t recordId) noexcept { endForThread(u"TLM_endTiming", recordId, false); }

void TLM_endTimingEx(TLM_SESSION_ID_FUNC session, uint32_t recordId) noexcept {
  endForSession(u"TLM_endTimingEx", session, recordId, false);
}

void TLM_terminateTiming(uint32_t recordId) noexcept {
  endForThread(u"TLM_terminateTiming", recordId, true);
}

void TLM_terminateTimingEx(TLM_SESSION_ID_FUNC session, uint32_t recordId) noexcept {
  endForSession(u"TLM_terminateTimingEx", session, recordId, true);
}

void TLM_terminateTimingAll(void) noexcept {
  run(u"TLM_terminateTimingAll", isSwitchedOn,
      [](CThreadBlock &thread) { terminateTimingAll(thread.session()); });
}

void TLM_terminateTimingAllEx(TLM_SESSION_ID_FUNC session) noexcept {
  run(u"TLM_terminateTimingAllEx", isSwitchedOn, [&] {
    zulstring id;
    if (externalSession(session, id)) terminateTimingAll(CSessionKey(id));
  });
}
