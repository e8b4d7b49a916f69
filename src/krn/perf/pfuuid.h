// Internals of the identifier module, for its sources and tests.
#ifndef KRN_PERF_PFUUID_H
#define KRN_PERF_PFUUID_H

#include <cstddef>
#include <ctime>

#include "zul_pfuuid.h"

namespace pfuuid {

// A source of identifiers in the standard layout, shaped like uuid_generate_time.
using Generator = void (*)(unsigned char *out);

// Runs a shell command, shaped like systemU16: the wait status, or -1 with errno.
using CommandRunner = int (*)(const ZUL_UTF16 *command);

// Reads the clock, shaped like time().
using Clock = time_t (*)(time_t *);

// Re-orders in (standard layout) into this system's layout in out; the two must not overlap.
void order_bytes(ZUL_RAW *out, const ZUL_RAW *in) noexcept;

// count identifiers from generate into out under the creation lock (when lock), each re-ordered
// (when reorder) unless it failed the version check, which leaves its raw bytes. Answers the code
// of the last one.
int Create(Generator generate, ZUL_RAW *out, int count, bool lock, bool reorder) noexcept;

// Create of one locked, re-ordered identifier; on failure RandomUuid fills out. Answers the code
// of Create.
int CreateForced(Generator generate, ZUL_RAW *out) noexcept;

// The pseudo-random identifier of the forced form, from the low 16 bits of the process id and the
// time t; mixing of each word stops early once clock no longer reads t.
void RandomUuid(ZUL_RAW *out, unsigned pid16, time_t t, Clock clock) noexcept;

// The daemon test over the given program paths, tried in order, and command runner.
int LinuxUuiddTest(const ZUL_UTF16 *const *paths, size_t path_count, CommandRunner run) noexcept;

}  // namespace pfuuid

#endif  // KRN_PERF_PFUUID_H
