// What the framed I/O files share: the time-out of a whole call, the trace level of a handle's
// lines, the rate limit of the EAGAIN reports, the test switches' random numbers and the mapping
// of a failed socket call to a code.
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

// 16-bit ASCII text as 8 bits, cut to size; null is empty.
void Narrow(const char16_t *in, char *out, size_t size) noexcept;

// The peer of a connection as "address:port" (8-bit), into buf.
const char *PeerText(const NITAB *p, char *buf, size_t size) noexcept;

// Turns a failed socket call into a code, error information and a trace line: the socket code's
// NIE code, and the message of that code with the peer filled in. sock is the socket that failed,
// siFunc the socket layer's call id (SI_FUNC_MAP). isError false writes the trace line at level 1
// instead of the error trace. extra (may be null) is added to the trace line.
int SystemError(int siRc, int siFunc, NITAB *p, SI_SOCK *sock, const char *extra, const char *func,
                int line, bool isError) noexcept;

// Error information alone, without a trace line: the code's text and the condition (a format
// filled with the arguments), from the internal module at line. Answers rc.
int SetError(int rc, int line, const char *format, ...) noexcept
    __attribute__((format(printf, 3, 4)));

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

// The socket layer's call ids used here.
inline constexpr int kSiSend = 15, kSiSendV = 16, kSiRecv = 21, kSiPoll = 42, kSiPeek = 43,
                     kSiSelect = 41;

}  // namespace ni::io

#endif  // NI_NIXXI_IO_H
