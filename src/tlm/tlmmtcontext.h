// The state of one transaction on one session.
#ifndef TLM_TLMMTCONTEXT_H
#define TLM_TLMMTCONTEXT_H

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "i18n/zulu16/zulstring.h"
#include "tlm/tlmmtrecord.h"
#include "tlm/tlmprocesssettings.h"
#include "tlm/tlmrelaxed.h"

// The stack of open timings, the record tree when the transaction is traced, the identity that
// came with the passport, and the counters that decide when a trace document is sent whole, early,
// cut or promoted.
//
// A context has no lock: its session uses it from one thread at a time. The registry's sweep
// reads status, time stamps and flags from another thread (those are relaxed atomics) and may
// build a promoted or zombie trace of an idle context.
//
// Owns the root record and with it every record put in the tree; the stack owns each open record
// that is out of the tree, until it ends. Points to the process settings it was made (or reset)
// with, which must outlive it (the settings holder keeps every snapshot it published until the
// library stops): its records read their filters there, and it reads its component thresholds
// there.
class CMTContext {
 public:
  static constexpr uint16_t STATUS_INITIAL = 0;    // created, no record started yet
  static constexpr uint16_t STATUS_OPEN = 1;       // records started, stack not yet empty
  static constexpr uint16_t STATUS_CLOSE = 2;      // stack emptied by normal ends
  static constexpr uint16_t STATUS_TERMINATE = 3;  // given up by terminateTimingAll
  static constexpr uint16_t TRANS_TRACE_OFF = 0;
  static constexpr uint16_t TRANS_TRACE_ON = 1;
  static constexpr uint16_t TRACE_LEVEL_NONE = 0;
  static constexpr uint16_t TRACE_LEVEL_LOW = 1;
  static constexpr uint16_t TRACE_LEVEL_MEDIUM = 2;
  static constexpr uint16_t TRACE_LEVEL_HIGH = 3;
  static constexpr uint32_t BASE_COUNTER = 1;     // the id of a context's first record
  static constexpr uint32_t SKIPPED_COUNTER = 0;  // the id of a record that wasn't timed

  // A context without passport: global thresholds only, tracing as the EM enables it.
  explicit CMTContext(const CProcessSettings *settings);
  // A context whose identity, trace level and tracing come from passport (may be empty).
  CMTContext(const CProcessSettings *settings, const zulstring &passport);
  // The same with a snapshot of the holder (tlmlibrary::CurrentSettings()), which keeps it alive.
  explicit CMTContext(const std::shared_ptr<const CProcessSettings> &settings)
      : CMTContext(settings.get()) {}
  CMTContext(const std::shared_ptr<const CProcessSettings> &settings, const zulstring &passport)
      : CMTContext(settings.get(), passport) {}
  // Destroys the root record with its tree and the passport handle; ends no timing.
  ~CMTContext();
  CMTContext(const CMTContext &) = delete;
  CMTContext &operator=(const CMTContext &) = delete;

  // Makes the context ready for the next transaction of the session: drops the tree, the stack
  // (without ending its records) and the context info, and takes the identity from passport.
  // Unlike the constructor it traces a passport of level 1 and writes no diagnostics. The context
  // takes settings as its new snapshot.
  void reset(const zulstring &passport, const CProcessSettings *settings);
  void reset(const zulstring &passport, const std::shared_ptr<const CProcessSettings> &settings) {
    reset(passport, settings.get());
  }

  // Starts a record named name (component "|" operation) and answers its id, or SKIPPED_COUNTER
  // when level is not below the threshold that applies to the name.
  uint32_t startTiming(const zulstring &name, uint16_t level);
  // Ends the record id; records left open inside it are ended as interrupted. An id that was
  // never on the stack ends the whole context. Sends trace documents when due.
  void endTiming(uint32_t id);
  // As endTiming, counted as terminated, and silent about an id that was never on the stack.
  void terminateTiming(uint32_t id);
  // Abandons every open record; the context then times nothing until reset.
  void terminateTimingAll();
  // The threshold for name: a component threshold of the context's snapshot when the name's
  // first segments match a key, else the (trace) instrument threshold by traceSwitch.
  uint16_t getCalculatedThresholdLevel(const zulstring &name, uint16_t traceSwitch) const;

  // Attach a pair to the innermost open record, which must be id; only while tracing.
  void appendRecordInfo(uint32_t id, const zulstring &name, const zulstring &value);
  void appendRecordInfoToList(uint32_t id, const zulstring &name, const zulstring &value);
  // Sets a pair of the transaction, tracing or not.
  void appendContextInfo(const zulstring &name, const zulstring &value);

  // A new outgoing passport text for a call to another component; empty when the transaction
  // isn't traced end to end (trace level 0).
  zulstring getPassport();
  // Fields of the incoming passport: 1 transaction id, 2 root context id, 3 connection id,
  // 4 connection counter in decimal; anything else empty.
  zulstring getPassportElement(uint16_t element) const;
  // The identity of this context's outgoing connections, made on first use; renew makes a new one.
  zulstring getLocalConnId(bool renew);
  // The next outgoing connection counter (the first is 0); reset starts again from 0.
  uint32_t getIncConnCounter(bool reset);

  // Trace documents of the context (complete, early, promoted and the three error snapshots);
  // empty text when there is no root record.
  zulstring getEMTraceXML();
  zulstring getEMTraceXMLForPreviewTimeout();
  zulstring getEMTraceXMLForAutoPromotion();
  zulstring getErrorTraceForMaxComponents();
  zulstring getErrorTraceForLargeSize();
  zulstring getErrorTraceForZombie();

  uint16_t getStatus() const { return status_; }
  uint16_t getTraceFlag() const { return traceFlag_; }
  uint16_t getTraceLevel() const { return traceLevel_; }
  uint32_t getTraceSize() const { return traceSize_; }
  uint32_t getLastUsedTimestamp() const { return lastUsed_; }
  uint32_t getCreatedTimestamp() const { return created_; }
  bool isPromtedTraceSent() const { return promotedTraceSent_; }
  // The transaction's identity in traces. A GUID that the context made itself is created when
  // first asked for.
  const zulstring &getTraceGuid() const;
  bool isTransTrace() const { return transTrace_ == TRANS_TRACE_ON; }
  bool isTraceActive() const { return traceActive_; }
  size_t getStackDepth() const { return stack_.size(); }
  uint32_t getRecordCounter() const { return recordCounter_; }
  uint16_t getInstrumentThreshold() const { return instrumentThreshold_; }
  uint16_t getTraceInstrumentThreshold() const { return traceInstrumentThreshold_; }
  const zulstring &getPassportText() const { return passportText_; }
  // The first record of the transaction, owner of the tree; null before one was timed.
  CMTRecord *getRootRecord() const { return rootRecord_.get(); }
  const CProcessSettings &getSettings() const { return *settings_; }
  const std::map<zulstring, zulstring> &getContextInfo() const { return contextInfo_; }
  void setPromtedTraceSent(bool sent) { promotedTraceSent_ = sent; }
  void updateLastUsedTimestamp();
  // Stamps on the wrapping server clock, for contexts restored or aged from outside.
  void setCreatedTimestamp(uint32_t stamp) { created_ = stamp; }
  void setLastUsedTimestamp(uint32_t stamp) { lastUsed_ = stamp; }

 private:
  enum class Ending { kEnd, kTerminate };

  // The identity rules shared by the passport constructor and reset; fromReset selects reset's
  // trace rule and silence.
  void setIdentity(bool fromReset);
  // Identity from a binary passport, whose handle the context keeps.
  void takeZULPassport(void *handle, bool fromReset);
  // Identity from an application passport.
  void takeApplicationPassport(bool fromReset);
  // Trace on or off by level, and the trace instrument threshold that level implies.
  void setTraceByLevel(bool fromReset);
  // The trace size, active flag, threshold snapshots and time stamps of a new transaction.
  void startTransaction();
  void newGuid();

  // The part of endTiming and terminateTiming after the stack is settled.
  void endRecord(uint32_t id, Ending ending);
  // Pops and finishes the record id and answers its elapsed time, or -1 when none was taken.
  // Sets terminated when the id was never on the stack and the context was given up.
  int32_t popRecord(uint32_t id, Ending ending, bool &terminated);
  // An open record, and the record itself when it is out of the tree.
  struct OpenRecord {
    CMTRecord *record;
    CRecordPtr owned;
  };
  // Drops the tree and the stack, ending nothing.
  void dropRecords();
  // Abandons the top record: measured nothing, destroyed unless in the tree.
  void abandonTop();
  // The trace triggers after a record ended with elapsed time elapsed.
  void afterRecordEnded(int32_t elapsed);
  static void sendTrace(const zulstring &document);
  // Whether records are being traced: the field, not an argument.
  bool tracing() const { return transTrace_ == TRANS_TRACE_ON; }

  CRelaxed<uint16_t> status_ = STATUS_INITIAL;
  CRelaxed<uint16_t> transTrace_ = TRANS_TRACE_OFF;
  uint16_t traceFlag_ = 0;
  uint16_t traceLevel_ = TRACE_LEVEL_NONE;
  uint16_t instrumentThreshold_ = 0;
  uint16_t traceInstrumentThreshold_ = 0;
  uint32_t recordCounter_ = BASE_COUNTER;
  const CProcessSettings *settings_;
  std::vector<OpenRecord> stack_;  // the innermost last
  CRecordPtr rootRecord_;
  zulstring passportText_;
  mutable zulstring traceGuid_;
  mutable bool guidPending_ = false;  // traceGuid_ is to be a new GUID, made on first read
  void *passportHandle_ = nullptr;
  zulstring rootContextId_;
  zulstring connectionId_;
  uint32_t connectionCounter_ = 0;
  zulstring transactionId_;
  zulstring localConnId_;
  uint32_t outgoingConnCounter_ = 0;
  std::map<zulstring, zulstring> contextInfo_;
  CRelaxed<uint32_t> traceSize_ = 0;
  bool traceActive_ = true;
  bool hasComponentThresholds_ = false;
  bool hasComponentTraceThresholds_ = false;
  bool previewSent_ = false;
  CRelaxed<bool> promotedTraceSent_ = false;
  CRelaxed<uint32_t> created_ = 0;
  CRelaxed<uint32_t> lastUsed_ = 0;
};

#endif  // TLM_TLMMTCONTEXT_H
