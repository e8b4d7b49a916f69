// Per-thread records of the wrappers' results: one thread key holds a table of slots, each
// allocated on first use and freed by the key's destructor when the thread ends.
#include <cstdlib>

#include "i18n/zulu16/u16_sys.h"
#include "zul_thr.h"

namespace {

constexpr char kSource[] = "u16_sys_thread";

struct ThreadRecords {
  void *slots[static_cast<int>(zulu16::ThreadSlot::kCount)];
};

THR_KEY records_key = THR_INVALID_KEY;

void FreeRecords(void *value) {
  auto *records = static_cast<ThreadRecords *>(value);
  for (void *slot : records->slots) std::free(slot);
  std::free(records);
}

ThreadRecords *CallerRecords(const char *function) {
  // A key created before with the destructor answers "exists", which is as good.
  if (__atomic_load_n(&records_key, __ATOMIC_ACQUIRE) == THR_INVALID_KEY) {
    int rc = ThrKeyGet(&records_key, FreeRecords);
    if (rc != THR_ERR_OK && rc != THR_ERR_EXISTS) return nullptr;
  }
  auto *records = static_cast<ThreadRecords *>(ThrKeyVarGet(&records_key));
  if (records != nullptr) return records;
  records = static_cast<ThreadRecords *>(std::calloc(1, sizeof(ThreadRecords)));
  if (records == nullptr) {
    nlsui_malloc_error(function, kSource, __LINE__, sizeof(ThreadRecords));
    return nullptr;
  }
  if (ThrKeyVarSet(&records_key, records) != THR_ERR_OK) {
    std::free(records);
    return nullptr;
  }
  return records;
}

}  // namespace

namespace zulu16 {

void *ThreadRecord(ThreadSlot slot, size_t size, const char *function) noexcept {
  ThreadRecords *records = CallerRecords(function);
  if (records == nullptr) return nullptr;
  void *&record = records->slots[static_cast<int>(slot)];
  if (record == nullptr) {
    record = std::calloc(1, size);
    if (record == nullptr) nlsui_malloc_error(function, kSource, __LINE__, size);
  }
  return record;
}

}  // namespace zulu16
