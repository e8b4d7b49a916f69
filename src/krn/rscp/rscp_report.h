// Failure reports of the code page kit: one cached module name per reporting source file, and the
// call of the error hook with the arguments every conversion failure carries.
#ifndef KRN_RSCP_RSCP_REPORT_H
#define KRN_RSCP_RSCP_REPORT_H

#include <atomic>
#include <cstdlib>

#include "zul_rscp.h"

namespace rscp {

// The component letter of the conversions.
inline constexpr int kConversionComponent = 79;

// Error classes of the conversions.
inline constexpr int kDestOverflow = 32;
inline constexpr int kSourceExhausted = 512;
inline constexpr int kInvalidInput = 2048;

// What ConvertSCCSID_w answers when it fails.
extern const ZUL_UTF16 kConvertSCCSIDFailed[];

// The module name of one source file, converted to 16-bit text on first use. The cache takes no
// lock: two threads that race both convert, and the loser frees its copy. Release and acquire
// order the text's contents before its pointer, at no cost on x86-64.
class SourceName {
 public:
  constexpr explicit SourceName(const char *id) : id_(id) {}

  const ZUL_UTF16 *Get() noexcept {
    const ZUL_UTF16 *name = cached_.load(std::memory_order_acquire);
    if (name != nullptr) return name;
    const ZUL_UTF16 *fresh = ConvertSCCSID_w(id_);
    if (fresh == kConvertSCCSIDFailed) return fresh;  // not cached: the next report tries again
    if (cached_.compare_exchange_strong(name, fresh, std::memory_order_acq_rel)) return fresh;
    std::free(const_cast<ZUL_UTF16 *>(fresh));
    return name;
  }

 private:
  const char *id_;
  std::atomic<const ZUL_UTF16 *> cached_{nullptr};
};

// Calls the error hook for one failure of a conversion and answers what the hook answers.
[[gnu::cold, gnu::noinline]] inline int ReportConversionError(SourceName &source, int error_class,
                                                              int location, int line,
                                                              const ZUL_UTF16 *text) noexcept {
  return rscpHook_rscpe__error(error_class, kConversionComponent, -1, source.Get(), location, line,
                               text, nullptr, nullptr, nullptr, nullptr, nullptr);
}

}  // namespace rscp

#endif  // KRN_RSCP_RSCP_REPORT_H
