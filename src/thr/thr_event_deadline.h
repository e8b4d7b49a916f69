// The absolute deadline of a timed event wait, apart so that its arithmetic can be checked.
#ifndef TLM_THR_THR_EVENT_DEADLINE_H
#define TLM_THR_THR_EVENT_DEADLINE_H

#include <sys/time.h>

#include <ctime>

#include "zul_thr.h"

namespace thr {

// now + ms: whole seconds from ms / 1000, nanoseconds from the microseconds and ms % 1000, with
// one second carried when the nanoseconds exceed 999999999.
timespec EventDeadline(const timeval &now, int32_t ms);

}  // namespace thr

#endif  // TLM_THR_THR_EVENT_DEADLINE_H
