// Start and stop of the library: the usage count, the order in which the singletons come up and
// go down, and the library's own trace file.
#include <cstdlib>
#include <fstream>

#define DPTRC_MODULE u"tlmmain"

#include "tlm.h"
#include "tlm/tlmapicall.h"
#include "tlm/tlmcontextcachemanager.h"
#include "tlm/tlmdispatchermanager.h"
#include "tlm/tlmfilename.h"
#include "tlm/tlmlibrary.h"
#include "tlm/tlmmainsession.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "tlm/tlmrecordsectioncachemanager.h"
#include "tlm/tlmswitchoffnotes.h"
#include "tlm/tlmtracesectioncachemanager.h"
#include "zul_dptrace.h"
#include "zul_epp.h"
#include "zul_pfuuid.h"

uint16_t s_process_usage = 0;

using tlmmain::textOf;

namespace {

typedef TLMParameterHelper Param;

constexpr const ZUL_UTF16 *kSelfMonitoringRecords[] = {
    u"~Zombie Context Count",
    u"~Empty Context Count",
    u"~Metric Sending Performance(ms)",
    u"~Trace Sending Performance(ms)",
};

// The records of the library's own figures, under the current prefix, created and zeroed.
void initSelfMonitoringRecords() {
  for (const ZUL_UTF16 *name : kSelfMonitoringRecords) {
    CRecordSectionCacheManager::Instance()->updateResource(
        name, [](CMTResourceRecord &record) { record.iniValue(0, true); });
  }
}

// Opens the library's trace file in logdir, or in the working directory when logdir can't be
// written: opening the full path for output (which creates or empties it) probes that.
void openTraceFile(const zulstring &component) {
  zulstring fileName = tlmfile::componentFilePart(component) + u"_tlm.trc";
  zulstring path = Param::GetLogDir() + u"/" + fileName;
  bool writable;
  {
    zulu16::FileNameBytes bytes(path);
    std::ofstream probe(bytes.c_str());
    writable = !probe.fail() && !probe.bad();
  }
  tf = CTrcInit(writable ? path.c_str() : fileName.c_str(), 1,
                static_cast<int>(Param::GetLibTraceLevel()));
}

// Start-up after the configuration is loaded, in its fixed order. initialMessage is the last line
// written, naming the start function.
void startLibrary(const zulstring &component, short pidOption, const ZUL_UTF16 *initialMessage) {
  openTraceFile(component);
  tlmlibrary::InstallSettings(std::make_unique<CProcessSettingsHolder>(
      CProcessSettings::FromConfiguration(component, CProcessSettings::PIDText(pidOption))));
  CDispatcherManager::Instance()->initialize();
  CContextCacheManager::Instance()->initialize();
  CTraceSectionCacheManager::Instance()->initialize(tlmlibrary::Settings());
  CRecordSectionCacheManager::Instance()->initialize(tlmlibrary::Settings());
  eppSetEnvironment(8, 3, std::malloc, std::free, eppTraceOutput,
                    static_cast<int32_t>(Param::GetLibTraceLevel()));
  if (pfuuid_init() != PFUUID_OK) DPTRC(1, tf, u"ERROR: UUID Initialization failed\n");
  if (!CDispatcherManager::Instance()->isActive()) CDispatcherManager::Instance()->startTimer();
  initSelfMonitoringRecords();
  DPTRC(1, tf, u"TLM library version 2.3.12 (unicode) loaded\n");
  DPTRC(1, tf, u"%s", initialMessage);
  TLM_checkActiveParameter();
}

// Counts one more use; true for the first, which is to start the library. A later use writes
// again, which names the start function that was called twice.
bool firstUse(const ZUL_UTF16 *again) {
  const uint16_t uses = __atomic_add_fetch(&s_process_usage, 1, __ATOMIC_SEQ_CST);
  if (uses == 1) return true;
  DPTRC(1, tf, u"%s", again);
  // A count that isn't above 0 as a signed number was left by TLM_ProcExitNestable calls while
  // stopped (0 wraps to 65535): this start only paid one of them back, and nothing is timed.
  if (static_cast<int16_t>(uses) <= 0) {
    DPTRC(1, tf,
          u"Instrumentation stays off: the library is stopped, and this start only made up for a "
          u"TLM_ProcExitNestable call made while it was stopped (usage count now %u, not 1); the "
          u"library starts at the start call that brings the count to 1\n",
          static_cast<unsigned>(uses));
  }
  return false;
}

// Runs one start function's body; an exception leaves the library as far as it came.
template <typename Body>
int start(const ZUL_UTF16 *function, Body body) noexcept {
  try {
    body();
  } catch (...) {
    tlmapi::traceAbsorbed(function);
  }
  return 0;
}

}  // namespace

int TLM_ProcInit(const ZUL_UTF16 *component, short pidOption) noexcept {
  return start(u"TLM_ProcInit", [&] {
    if (!firstUse(u"TLM_ProcInit API has been invoked before\n")) return;
    Param::LoadParameters();
    startLibrary(textOf(component), pidOption, u"TLM_ProcInit API invoked\n");
  });
}

// Deliberately with the messages of TLM_ProcInitWithParam when it was called twice, and of
// TLM_ProcInit once started.
int TLM_ProcInitWithProfilePath(const ZUL_UTF16 *component, short pidOption,
                                const ZUL_UTF16 *path) noexcept {
  return start(u"TLM_ProcInitWithProfilePath", [&] {
    if (!firstUse(u"TLM_ProcInitWithParam API has been invoked before\n")) return;
    Param::ConfigParameters(textOf(path));
    startLibrary(textOf(component), pidOption, u"TLM_ProcInit API invoked\n");
  });
}

int TLM_ProcInitWithParam(const ZUL_UTF16 *component, short pidOption, uint32_t count,
                          const ZUL_UTF16 *pairs[][2]) noexcept {
  return start(u"TLM_ProcInitWithParam", [&] {
    if (!firstUse(u"TLM_ProcInitWithParam API has been invoked before\n")) return;
    Param::ConfigPairs(count, pairs);
    startLibrary(textOf(component), pidOption, u"TLM_ProcInitWithParam API invoked\n");
  });
}

// Ends the library whatever the nesting. Calls of other threads still under way are waited for
// once the last flush is done, and later ones are turned away, so that nothing they use is freed
// under them.
void TLM_ProcExit(void) noexcept {
  try {
    if (static_cast<int16_t>(__atomic_load_n(&s_process_usage, __ATOMIC_SEQ_CST)) <= 0) return;
    DPTRC(1, tf, u"TLM_ProcExit API started\n");
    CDispatcherManager::Instance()->endTimer();
    CDispatcherManager::Instance()->checkCleanUp();
    TLM_outputMetricData();
    tlmapi::closeAndDrain();
    CTraceSectionCacheManager::release();
    CRecordSectionCacheManager::release();
    CContextCacheManager::release();
    CDispatcherManager::release();
    tlmlibrary::InstallSettings(nullptr);
    Param::CleanUp();
    DPTRC(1, tf, u"TLM_ProcExit API invoked\n");
    CTrcFileClose(tf);
    tf = nullptr;
    __atomic_store_n(&s_process_usage, 0, __ATOMIC_SEQ_CST);
  } catch (...) {
    tlmapi::traceAbsorbed(u"TLM_ProcExit");
  }
  tlmapi::reopen();
}

// No gate: with the count at 0 it wraps to 65535, and TLM_ProcExit then does nothing.
uint16_t TLM_ProcExitNestable(void) noexcept {
  if (__atomic_load_n(&s_process_usage, __ATOMIC_SEQ_CST) == 1) {
    TLM_ProcExit();
    return __atomic_load_n(&s_process_usage, __ATOMIC_SEQ_CST);
  }
  return __atomic_sub_fetch(&s_process_usage, 1, __ATOMIC_SEQ_CST);
}

int TLM_getCharSize(void) noexcept { return static_cast<int>(sizeof(ZUL_UTF16)); }

// The self-monitoring records are named from the prefix, so they must exist under the new one.
void TLM_setInstancePrefix(const ZUL_UTF16 *prefix) noexcept {
  tlmapi::run(u"TLM_setInstancePrefix", tlmapi::isSwitchedOn, [&] {
    zulstring instancePrefix = textOf(prefix);
    if (CProcessSettingsHolder *settings = tlmlibrary::Settings()) {
      settings->update([&](CProcessSettings &next) { next.instancePrefix = instancePrefix; });
    }
    initSelfMonitoringRecords();
  });
}

void TLM_checkActiveParameter(void) noexcept {
  tlmapi::run(u"TLM_checkActiveParameter", tlmapi::isStarted, [] {
    zulstring parameters = Param::GetParameters();
    if (tf == nullptr) return;
    DPTRC(1, tf, u"TLM configuration info begin----------------\n");
    DPTRC(1, tf, u"%s", parameters.c_str());
    DPTRC(1, tf, u"TLM configuration info end----------------\n");
    // A value that switches instrumentation off is said so in words after the report.
    const zulstring notes = tlmmain::switchOffNotes();
    if (!notes.empty()) DPTRC(1, tf, u"%s", notes.c_str());
  });
}
