// A transaction context's stack of timings, its record tree and the triggers of its trace
// documents.
#include "tlm/tlmmtcontext.h"

#define DPTRC_MODULE u"tlmmtcontext"

#include "tlm/tlmmtrecord.h"
#include "tlm/tlmplatformhelper.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "tlm/tlmtracesectioncachemanager.h"
#include "zul_dptrace.h"

namespace {

typedef TLMParameterHelper Param;

// The trace size estimate of a record, a pair, and a value joined to a list.
uint32_t recordSize(const zulstring &name) { return 100 + static_cast<uint32_t>(name.size()); }
uint32_t pairSize(const zulstring &name, const zulstring &value) {
  return static_cast<uint32_t>(name.size() + value.size() + 30);
}

}  // namespace

void CMTContext::sendTrace(const zulstring &document) {
  CTraceSectionCacheManager::Instance()->addTransTraceString(document);
}

// Everything that can fail (memory) is done before the record joins the stack and the tree, so
// that a failure leaves the context as it was.
uint32_t CMTContext::startTiming(const zulstring &name, uint16_t level) {
  // Lower levels are more important: a record counts only below the threshold.
  if (getCalculatedThresholdLevel(name, transTrace_) <= level) return SKIPPED_COUNTER;
  CMTRecord *parent = stack_.empty() ? nullptr : stack_.back().record;
  CRecordPtr owned =
      CMTRecord::Make(name, recordCounter_, parent, transTrace_ == TRANS_TRACE_ON, settings_);
  CMTRecord *record = owned.get();
  if (tracing() && level >= getCalculatedThresholdLevel(name, 0)) {
    // In the trace, but not in the metric.
    record->setSkipReportingForTrace(true);
  }
  stack_.reserve(stack_.size() + 1);
  if (parent != nullptr && traceActive_) parent->reserveChild();
  record->startTiming();
  uint32_t id = recordCounter_++;
  traceSize_.add(recordSize(name));
  OpenRecord open{record, nullptr};
  if (parent != nullptr) {
    record->calculateOffset(static_cast<int32_t>(parent->getStartTimestamp()));
    if (traceActive_) {
      record->setInTraceStack(true);
      parent->appendChildRecord(std::move(owned));
    } else {
      open.owned = std::move(owned);
    }
  } else {
    // The wall clock text of the start is made only when a trace document shows it.
    record->setStartTimestampText(Param::GetAgentType() != 0);
    record->setInTraceStack(true);
    if (status_ == STATUS_INITIAL) {
      rootRecord_ = std::move(owned);
    } else {
      // Only a context that was given up can start a new outermost record (a caller that
      // bypassed the refusal of terminated contexts); the record belongs to no tree, so the stack
      // owns it.
      record->setInTraceStack(false);
      open.owned = std::move(owned);
    }
  }
  stack_.push_back(std::move(open));
  if (status_ == STATUS_INITIAL) status_ = STATUS_OPEN;
  if (traceActive_ && !tracing()) {
    // A context that isn't tracing keeps a bounded stack for a possible promoted trace.
    if (recordCounter_ > Param::GetMaxComponentsPerPromotedStack()) traceActive_ = false;
  } else if (traceActive_ && tracing()) {
    if (recordCounter_ > Param::GetMaxComponentsPerTransaction()) {
      sendTrace(getErrorTraceForMaxComponents());
      sendTrace(getEMTraceXML());
      traceActive_ = false;
    }
  }
  return id;
}

void CMTContext::endTiming(uint32_t id) { endRecord(id, Ending::kEnd); }

void CMTContext::terminateTiming(uint32_t id) { endRecord(id, Ending::kTerminate); }

void CMTContext::abandonTop() {
  OpenRecord top = std::move(stack_.back());
  stack_.pop_back();
  top.record->terminateTiming(false, false);
}

int32_t CMTContext::popRecord(uint32_t id, Ending ending, bool &terminated) {
  terminated = false;
  bool clean = true;
  if (stack_.back().record->getId() != id) {
    // An id above the top was never handed out by this context: nothing is timed.
    if (id > stack_.back().record->getId()) return -1;
    // Records left open inside id end as interrupted.
    while (!stack_.empty() && stack_.back().record->getId() > id) abandonTop();
    if (stack_.empty()) return -1;
    if (stack_.back().record->getId() != id) {
      // id lay between two open records: it was never on the stack. The record under it leaves
      // the stack without being ended, and the context is given up.
      stack_.pop_back();
      terminateTimingAll();
      if (ending == Ending::kEnd) {
        DPTRC_ERR(tf, u"Abnormal exception encountered, invalid recId input!\n");
      }
      terminated = true;
      return -1;
    }
    clean = false;
  }
  OpenRecord top = std::move(stack_.back());
  stack_.pop_back();
  int64_t endTime = ending == Ending::kEnd ? top.record->endTiming(clean)
                                           : top.record->terminateTiming(clean, true);
  if (endTime < 0) return -1;
  return static_cast<int32_t>(
      TLMPlatformHelper::GetServerTimeDiff(static_cast<uint32_t>(endTime), created_));
}

void CMTContext::endRecord(uint32_t id, Ending ending) {
  if (stack_.empty() || id == SKIPPED_COUNTER) return;
  bool terminated;
  int32_t elapsed = popRecord(id, ending, terminated);
  if (terminated) return;
  afterRecordEnded(elapsed);
}

// elapsed is the time since the context was created, -1 when none was taken; the comparisons are
// signed, so -1 never passes.
void CMTContext::afterRecordEnded(int32_t elapsed) {
  if (!promotedTraceSent_ && !tracing() &&
      elapsed > static_cast<int64_t>(Param::GetAutoTransactionTraceThreshold()) * 1000) {
    sendTrace(getEMTraceXMLForAutoPromotion());
    promotedTraceSent_ = true;
  }
  if (!stack_.empty()) {
    if (!tracing() || !traceActive_) return;
    if (traceSize_ > Param::GetTraceSizeThreshold()) {
      sendTrace(getErrorTraceForLargeSize());
      sendTrace(getEMTraceXML());
      traceActive_ = false;
      return;
    }
    if (!previewSent_ && elapsed > static_cast<int64_t>(Param::GetTracePreviewTimeout()) * 1000) {
      sendTrace(getEMTraceXMLForPreviewTimeout());
      previewSent_ = true;
    }
    return;
  }
  status_ = STATUS_CLOSE;
  if (tracing() && traceActive_) sendTrace(getEMTraceXML());
}

void CMTContext::terminateTimingAll() {
  while (!stack_.empty()) abandonTop();
  status_ = STATUS_TERMINATE;
  instrumentThreshold_ = 0;
}

void CMTContext::appendRecordInfo(uint32_t id, const zulstring &name, const zulstring &value) {
  if (!tracing() || id == SKIPPED_COUNTER || stack_.empty() || stack_.back().record->getId() != id) {
    return;
  }
  stack_.back().record->appendInfo(name, value);
  traceSize_.add(pairSize(name, value));
}

void CMTContext::appendRecordInfoToList(uint32_t id, const zulstring &name,
                                        const zulstring &value) {
  if (!tracing() || id == SKIPPED_COUNTER || stack_.empty() || stack_.back().record->getId() != id) {
    return;
  }
  if (stack_.back().record->appendInfoToList(name, value)) {
    traceSize_.add(static_cast<uint32_t>(value.size() + 1));
  } else {
    traceSize_.add(pairSize(name, value));
  }
}

void CMTContext::appendContextInfo(const zulstring &name, const zulstring &value) {
  auto found = contextInfo_.find(name);
  if (found == contextInfo_.end()) {
    contextInfo_.emplace(name, value);
    traceSize_.add(pairSize(name, value));
    return;
  }
  // The size follows the change of the value's length, which may be a decrease.
  traceSize_.add(static_cast<uint32_t>(value.size() - found->second.size()));
  found->second = value;
}
