// Helpers shared by the conversion tests: byte and unit strings from literals, and a scoped error
// hook that records every report.
#ifndef TESTS_I18N_ZULU16_U16_CONV_TEST_UTIL_H
#define TESTS_I18N_ZULU16_U16_CONV_TEST_UTIL_H

#include <cstdint>
#include <string>
#include <vector>

#include "zul_rscp.h"
#include "zul_u16conv.h"

namespace convtest {

using Bytes = std::basic_string<ZUL_RAW>;

inline Bytes B(const std::string &s) { return Bytes(s.begin(), s.end()); }

// One call of the error hook, with its texts copied.
struct HookCall {
  int code;
  int err_class;
  int key;
  std::u16string module;
  int location;
  int line;
  std::u16string text;
  bool params_null;
};

// Installs a hook that records its calls and answers `answer` (the code itself when negative);
// the destructor puts the default back.
class ScopedHookRecorder {
 public:
  explicit ScopedHookRecorder(int answer = -1) {
    calls_.clear();
    answer_ = answer;
    rscpSetHook_rscpe__error(&Record);
  }
  ~ScopedHookRecorder() { rscpSetHook_rscpe__error(nullptr); }
  const std::vector<HookCall> &calls() const { return calls_; }
  std::u16string last_text() const { return calls_.empty() ? u"" : calls_.back().text; }

 private:
  static int Record(int code, int err_class, int key, const ZUL_UTF16 *module, int location,
                    int line, const ZUL_UTF16 *text, const ZUL_UTF16 *p1, const ZUL_UTF16 *p2,
                    const ZUL_UTF16 *p3, const ZUL_UTF16 *p4, const ZUL_UTF16 *p5) {
    calls_.push_back(
        {code, err_class, key, module != nullptr ? module : u"", location, line,
         text != nullptr ? text : u"",
         p1 == nullptr && p2 == nullptr && p3 == nullptr && p4 == nullptr && p5 == nullptr});
    return answer_ < 0 ? code : answer_;
  }
  static inline std::vector<HookCall> calls_;
  static inline int answer_ = -1;
};

// The outcome of one conversion run: answer, units written, how far the source went.
template <class Unit>
struct Outcome {
  int rc;
  std::basic_string<Unit> out;
  size_t src_stop;
  uint32_t count;
  std::u16string text;
};

}  // namespace convtest

#endif  // TESTS_I18N_ZULU16_U16_CONV_TEST_UTIL_H
