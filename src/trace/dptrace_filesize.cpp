// The size watch: plain lines check the trace file's size at most every 10 seconds against a
// limit and report when it is exceeded. The trace truncates nothing itself.
#include <sys/stat.h>

#include <ctime>

#include "trace/ctrc_state.h"
#include "zul_dptrace.h"

namespace {

constexpr int64_t kNoLimit = -1;
constexpr time_t kCheckInterval = 10;

int64_t size_limit = kNoLimit;  // guarded by DpLock
DPTRC_FILESIZE_CB size_callback = nullptr;

int64_t &LastCheck() {
  CTRC_THR_ADM *adm = ctrc::ThreadAdm();
  if (adm != nullptr && adm->last_size_check != -1) return adm->last_size_check;
  return ctrc::state.last_size_check;
}

}  // namespace

namespace dptrace {

void CheckFileSize(CTRC_HDL hdl, FILE *stream) {
  if (size_limit <= 0 || output_func != nullptr) return;
  time_t now = time(nullptr);
  int64_t &last = LastCheck();
  if (now - last <= kCheckInterval) return;
  last = now;
  struct stat st;
  if (fstat(fileno(stream), &st) != 0 || st.st_size <= size_limit) return;
  Print(stream, u"\nDpTrc: maximum file size reached: %lld\n", static_cast<long long>(size_limit));
  Flush(stream);
  if (size_callback != nullptr) size_callback(hdl, st.st_size);
}

}  // namespace dptrace

void DpTrcSetFileSizeHook(int64_t limit, DPTRC_FILESIZE_CB callback) noexcept {
  ctrc::Lock lock;
  size_limit = limit < 0 ? 0 : limit;
  size_callback = callback;
}

int64_t DpTrcGetFileSize(void) noexcept {
  ctrc::Lock lock;
  return size_limit;
}

void DpTrcRmFileSizeHook(void) noexcept {
  ctrc::Lock lock;
  size_callback = nullptr;
  size_limit = kNoLimit;
}
