// What the framed I/O files share: the time-out of a whole call, the trace level of a handle's
// lines, the rate limit of the EAGAIN reports, the test switches' random numbers and the write
// claim of a handle.
#ifndef NI_NIXXI_IO_H
#define NI_NIXXI_IO_H

#include <atomic>
#include <cstdint>
#include <ctime>

#include "ni/nixxi.h"

namespace ni::io {

// The trace level of a line about a handle: a traced handle writes all its lines at level 1.
inline int Lvl(const NITAB *p, int level) noexcept { return p->mTrace != 0 ? 1 : level; }

// Milliseconds on the monotonic clock.
inline int64_t NowMs() noexcept {
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return int64_t{ts.tv_sec} * 1000 + ts.tv_nsec / 1000000;
}

// The time-out of one call, shared by all its waits: each wait gets what is left, so that a peer
// that trickles bytes can't stretch the call.
class Deadline {
 public:
  explicit Deadline(int timeout) noexcept : timeout_(timeout), start_(timeout > 0 ? NowMs() : 0) {}
  // What is left: negative for no limit, else 0 or more.
  int Remaining() const noexcept {
    if (timeout_ <= 0) return timeout_;
    int64_t left = timeout_ - (NowMs() - start_);
    return left > 0 ? static_cast<int>(left) : 0;
  }
  int timeout() const noexcept { return timeout_; }

 private:
  int timeout_;
  int64_t start_;
};

// Whether the n-th report of a repeated oddity goes to the error trace: the first ten, then each
// power of ten up to 100000, then every millionth. The others go to level 2.
inline bool ReportAsError(uint32_t n) noexcept {
  return n <= 10 || n == 100 || n == 1000 || n == 10000 || n == 100000 || n % 1000000 == 0;
}

// The process-wide counters that only steer the rate limit above; relaxed, as nothing else reads
// them.
struct Counters {
  std::atomic<uint32_t> readEagain{0};
  std::atomic<uint32_t> writeEagain{0};
  std::atomic<uint32_t> qtestBlocked{0};
};
extern Counters gCounters;

// 0 to 2147483647, as rand gives, from a generator of the calling thread; only the test switches
// (NIP_FRAGTEST, NIP_QTEST) draw from it.
uint32_t Rand31() noexcept;

// The test switches and the poll trace limit, read on every pass of a read or write. Relaxed
// loads: they only steer tests and traces, and taking the parameter lock on every message would
// cost the hot path more than the rest of its bookkeeping.
inline uint32_t LoadParam(const uint32_t &field) noexcept {
  return __atomic_load_n(&field, __ATOMIC_RELAXED);
}

// The start of a wait for CheckOverslept: time() when NIP_POLL_TRACE_LIMIT is set and the wait
// has a time-out, else 0.
inline time_t WaitStart(int timeout) noexcept {
  return timeout >= 0 && LoadParam(gParams.pollTraceLimit) != 0 ? time(nullptr) : 0;
}
// Warns when a wait that started at start (WaitStart) returned long after its time-out.
void CheckOverslept(time_t start, int timeout) noexcept;

// The peer of a connection as "address<sep>port" (8-bit), into buf.
inline const char *PeerText(const NITAB *p, char *buf, size_t size) noexcept {
  AddrPortText(&p->con.mPeerAddr, p->con.mPeerServ, buf, size);
  return buf;
}

// The write direction of a handle belongs to one caller at a time: the writing thread, or a
// read that answers a ping. ClaimWrite waits for the other to finish (a pong never waits on the
// socket); TryClaimWrite gives up at once.
void ClaimWrite(NITAB *p) noexcept;
bool TryClaimWrite(NITAB *p) noexcept;
inline void ReleaseWrite(NITAB *p) noexcept {
  __atomic_store_n(&p->mWriteBusy, 0, __ATOMIC_RELEASE);
}
// NiIWrite for a caller that holds the write claim.
int WriteClaimed(NITAB *p, const ZUL_RAW *pData, int dataLen, int timeout, int mode,
                 int *pWritten) noexcept;

}  // namespace ni::io

#endif  // NI_NIXXI_IO_H
