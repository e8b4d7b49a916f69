// The metric side of a timed component: one stat record update (start, sample, stop), the look-up
// of a record in the active section, and a whole timing record from start to end at the default
// scope. References: the same update of a plain struct under a pthread mutex, and the two
// gettimeofday calls that any timing of a component needs. The library runs threaded, as in a
// server, and the updating threads share one record, as components of one name do.
#include <benchmark/benchmark.h>
#include <pthread.h>
#include <sys/time.h>

#include <cstdint>

#include "tlm/tlmcontextcachemanager.h"
#include "tlm/tlmmtrecord.h"
#include "tlm/tlmmtstatrecord.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "tlm/tlmlibrary.h"
#include "tlm/tlmrecordsectioncachemanager.h"
#include "zul_thr.h"

namespace {

const zulstring kName = u"OrderService|placeOrder";

struct LibraryReady {
  LibraryReady() {
    ThrProcInit();
    TLMParameterHelper::ConfigParameters(nullptr, nullptr, 0);
    tlmlibrary::InstallSettings(
        std::make_unique<CProcessSettingsHolder>(CProcessSettings::FromConfiguration(u"", u"")));
    CContextCacheManager::Instance()->initialize();
    CRecordSectionCacheManager::Instance()->initialize(tlmlibrary::Settings());
  }
} library_ready;

std::shared_ptr<CMTStatRecord> SharedRecord() {
  int32_t version;
  return CRecordSectionCacheManager::Instance()->getStatRecordByName(kName, version);
}

void BM_StatRecordUpdate(benchmark::State &state) {
  std::shared_ptr<CMTStatRecord> record = SharedRecord();
  for (auto _ : state) {
    record->start();
    record->calStatRecord(12, -1, 12, -1);
    record->stop();
  }
}
BENCHMARK(BM_StatRecordUpdate)->Threads(1)->Threads(2);

// Reference: the same counters as plain fields, one mutex hold per call as above.
struct PlainStats {
  pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
  uint32_t active = 0, finished = 0, count = 0, elapsedSum = 0;
  int32_t elapsedMax = 0, elapsedMin = -1;
} plain;

void BM_PlainStructUpdateReference(benchmark::State &state) {
  for (auto _ : state) {
    pthread_mutex_lock(&plain.lock);
    ++plain.active;
    pthread_mutex_unlock(&plain.lock);
    pthread_mutex_lock(&plain.lock);
    plain.elapsedSum += 12;
    if (12 > plain.elapsedMax) plain.elapsedMax = 12;
    if (plain.elapsedMin < 0 || 12 < plain.elapsedMin) plain.elapsedMin = 12;
    ++plain.count;
    pthread_mutex_unlock(&plain.lock);
    pthread_mutex_lock(&plain.lock);
    if (plain.active != 0) --plain.active;
    ++plain.finished;
    pthread_mutex_unlock(&plain.lock);
  }
}
BENCHMARK(BM_PlainStructUpdateReference)->Threads(1)->Threads(2);

void BM_ActiveSectionLookup(benchmark::State &state) {
  SharedRecord();
  CRecordSectionCacheManager *sections = CRecordSectionCacheManager::Instance();
  for (auto _ : state) {
    int32_t version;
    benchmark::DoNotOptimize(sections->getStatRecordByName(kName, version));
  }
}
BENCHMARK(BM_ActiveSectionLookup)->Threads(1)->Threads(2);

void BM_TimingRecordStartEnd(benchmark::State &state) {
  const std::shared_ptr<const CProcessSettings> settings = tlmlibrary::CurrentSettings();
  for (auto _ : state) {
    CMTRecord record(kName, 2, nullptr, false, settings.get());
    record.startTiming();
    benchmark::DoNotOptimize(record.endTiming(true));
  }
}
BENCHMARK(BM_TimingRecordStartEnd)->Threads(1)->Threads(2);

void BM_TwoGettimeofdayFloor(benchmark::State &state) {
  for (auto _ : state) {
    timeval start, end;
    gettimeofday(&start, nullptr);
    gettimeofday(&end, nullptr);
    benchmark::DoNotOptimize(end.tv_usec - start.tv_usec);
  }
}
BENCHMARK(BM_TwoGettimeofdayFloor);

}  // namespace

BENCHMARK_MAIN();
