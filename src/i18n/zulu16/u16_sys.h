// Internal helpers of the system call wrappers: arguments converted on the stack, results in
// per-thread records, and exact UTF-8 copies for the calls that keep their strings.
#ifndef TLM_I18N_ZULU16_U16_SYS_H
#define TLM_I18N_ZULU16_U16_SYS_H

#include <cstddef>

#include "zul_thr.h"
#include "zul_u16sys.h"

namespace zulu16 {

// A 16-bit argument converted to UTF-8 in a stack buffer of N bytes, with the checks and reports
// of nlsui_U2sToUtf8s_checked. get() is null for a null argument, so the system sees the null.
template <size_t N>
class Utf8Arg {
 public:
  Utf8Arg(const ZUL_UTF16 *text, const char *limit_name, const char *function,
          const char *parameter, const char *source, int line) noexcept
      : null_(text == nullptr) {
    if (!null_) {
      rc_ =
          nlsui_U2sToUtf8s_checked(buffer_, text, N, source, line, function, parameter, limit_name);
    }
  }
  Utf8Arg(const Utf8Arg &) = delete;
  Utf8Arg &operator=(const Utf8Arg &) = delete;

  const char *get() const { return null_ ? nullptr : buffer_; }
  char *data() { return null_ ? nullptr : buffer_; }
  // True when the text was cut to fit.
  bool cut() const { return rc_ == NLSUI_CONV_TOO_LONG; }

 private:
  bool null_;
  int rc_ = NLSUI_CONV_OK;
  char buffer_[N];
};

// Declares `var`, the UTF-8 form of `text` within `limit`; reports name this file (each source
// file defines kSource) and the line.
#define U16_ARG(var, limit, text, function, parameter) \
  ::zulu16::Utf8Arg<limit> var(text, #limit, function, parameter, kSource, __LINE__)

// Converts an 8-bit result into dst, which holds `limit` units.
#define U16_RESULT(dst, src, limit, function, parameter) \
  nlsui_Utf8sToU2s_checked(dst, src, limit, kSource, __LINE__, function, parameter, #limit)

// Converts the 8-bit result src into the caller's buffer dst of `units` units (units > 0), with
// the checks of nlsui_Utf8sToU2s_checked but so that a result using every unit of dst, terminator
// included, still counts as complete. Answers as nlsui_Utf8sToU2s_checked.
int ResultToBuffer(ZUL_UTF16 *dst, size_t units, const char *src, const char *source, int line,
                   const char *function, const char *parameter, const char *limit_name) noexcept;

// Holds a THR_MTX for a scope (no-op while the process isn't threaded, as every THR_MTX).
class MtxGuard {
 public:
  explicit MtxGuard(THR_MTX *mtx) : mtx_(mtx) { ThrMtxLock(mtx_); }
  ~MtxGuard() { ThrMtxUnlock(mtx_); }
  MtxGuard(const MtxGuard &) = delete;
  MtxGuard &operator=(const MtxGuard &) = delete;

 private:
  THR_MTX *mtx_;
};

// The per-thread records of results. Each slot is allocated zeroed on first use, with the size
// its first user asks for, and freed when the thread ends.
enum class ThreadSlot : int {
  kDirent,
  kTmpnam,
  kDlerror,
  kTtyname,
  kStrerror,
  kCtime,
  kAsctime,
  kBasename,
  kDirname,
  kLocale,
  kGetpass,
  kRexecHost,
  kPasswd,
  kGroup,
  kServent,
  kHostent,
  kCount
};

// The calling thread's record in slot, of size bytes; null (reported) when memory or the thread
// key fails.
void *ThreadRecord(ThreadSlot slot, size_t size, const char *function) noexcept;

template <class T>
T *ThreadRecordOf(ThreadSlot slot, const char *function) noexcept {
  return static_cast<T *>(ThreadRecord(slot, sizeof(T), function));
}

// The UTF-8 length of text, unit by unit as U2nToUtf8n writes it, without terminator.
size_t Utf8Length(const ZUL_UTF16 *text, size_t units) noexcept;

// An exact UTF-8 copy of text in fresh memory of `factor` bytes per unit plus `factor` (which
// must be at least 3), for the calls that keep or pass on their strings without a length limit.
// Null (reported) when memory fails; the caller frees it.
char *DupUtf8(const ZUL_UTF16 *text, size_t factor, const char *function) noexcept;

}  // namespace zulu16

#endif  // TLM_I18N_ZULU16_U16_SYS_H
