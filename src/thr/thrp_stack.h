// The stack size rule of thread creation, apart so that it can be checked without a thread.
#ifndef TLM_THR_THRP_STACK_H
#define TLM_THR_THRP_STACK_H

#include "zul_thr.h"

namespace thr {

inline constexpr uint64_t kMinStackSize = 16384;
inline constexpr uint64_t kMinDefaultStackSize = 0x80000;

// A requested size is raised to at least kMinStackSize. With 0, the default size that attr holds
// is raised to at least kMinDefaultStackSize; when it can't be read, attr stays as it is.
void ApplyStackSize(pthread_attr_t *attr, uint64_t requested);

}  // namespace thr

#endif  // TLM_THR_THRP_STACK_H
