// Global settings of the passport library and the call that sets them.
#include "epp/epp_internal.h"
#include "epp/epp_trace.h"

EPP_TRACE_FUNC eppTraceFunc = nullptr;
int32_t eppTraceLevel = 0;

namespace epp {

int eppIsInit = 0;
uint8_t eppActVersion = 0;
uint16_t eppActComponent = 0;
EPP_ALLOC_FUNC eppAllocFunc = nullptr;
EPP_FREE_FUNC eppFreeFunc = nullptr;
std::atomic<void *> eppDefaultHandle{nullptr};

void Free(void *block) {
  if (block != nullptr && eppFreeFunc != nullptr) eppFreeFunc(block);
}

}  // namespace epp

using namespace epp;

uint32_t eppSetEnvironment(uint16_t component, uint8_t version, EPP_ALLOC_FUNC alloc_func,
                           EPP_FREE_FUNC free_func, EPP_TRACE_FUNC trace_func,
                           int32_t trace_level) noexcept {
  if (component < 1 || component > 9 || version < 1 || version > 3 || alloc_func == nullptr ||
      trace_level < 0)
    return EPP_RC_INVALID;
  // Passport mutexes come from the thread layer, whose structures must be ready for their
  // deletion to succeed.
  ThrIProcInit();
  eppActComponent = component;
  eppActVersion = version;
  eppAllocFunc = alloc_func;
  eppFreeFunc = free_func;
  eppTraceFunc = trace_func;
  eppTraceLevel = trace_level;
  EPP_TRC(1,
          u"%s: set component = %u, version = %u, allocFunc = %p, freeFunc = %p, "
          u"traceFunc = %p, traceLevel = %u\n",
          u"eppSetEnvironment", unsigned{component}, unsigned{version},
          reinterpret_cast<void *>(alloc_func), reinterpret_cast<void *>(free_func),
          reinterpret_cast<void *>(trace_func), static_cast<unsigned>(trace_level));
  eppIsInit = 1;
  return EPP_RC_OK;
}

void eppSetTraceLevel(int32_t level) noexcept {
  EPP_TRC(1, u"%s: changing trace level to %d\n", u"eppSetTraceLevel", int{level});
  eppTraceLevel = level;
}

uint8_t eppGetActiveVersion(void) noexcept {
  return eppIsInit == 1 ? eppActVersion : EPP_RC_NOT_INIT;
}
