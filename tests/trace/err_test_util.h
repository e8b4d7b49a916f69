// Helpers of the error information tests: blocks built from field texts, and a fixture that
// captures the trace and leaves the thread without a record.
#ifndef TESTS_TRACE_ERR_TEST_UTIL_H
#define TESTS_TRACE_ERR_TEST_UTIL_H

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "trace_capture.h"
#include "zul_err.h"

namespace err_test {

// A block: each field with its terminator, one behind the other.
inline std::u16string MakeBlock(std::initializer_list<std::u16string> fields) {
  std::u16string block;
  for (const std::u16string &f : fields) block += f + u'\0';
  return block;
}

// A complete block of 21 fields, every one with a text of its own kind.
inline std::u16string SampleBlock() {
  // clang-format off
  return MakeBlock({u"*ERR*", u"1", u"connect failed", u"-10", u"NI (network interface)", u"720",
                    u"", u"nixxi", u"1234", u"peer reset the connection", u"Mon Jan  5 12:34:56 2026",
                    u"connect", u"104", u"Connection reset by peer", u"9", u"server A", u"", u"", u"",
                    u"", u"*ERR*"});
  // clang-format on
}

inline std::u16string Field(int n) { return ErrGetFld(n); }

// ErrGet without any output, for its answer.
inline int GetAnswer() {
  return ErrGet(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                nullptr, nullptr, nullptr, nullptr, nullptr);
}

// The thread's block as it is now.
inline std::u16string CurrentBlock() {
  ZUL_UTF16 *block = nullptr;
  size_t length = 0;
  if (ErrGetAttr(&block, &length) != ERR_OK) return {};
  return std::u16string(block, length);
}

// Each test starts and ends without error information; the trace goes to memory at level 2.
class ErrTest : public ::testing::Test {
 protected:
  void SetUp() override { ErrFree(nullptr); }
  void TearDown() override { ErrFree(nullptr); }
  // A trace line of this thread.
  static std::u16string Thr(const std::u16string &text) {
    return tlm_test::TraceCapture::ThreadPrefix() + text;
  }
  // The error line of this module, as the trace writes it (line number left out).
  static std::u16string ErrorLine(const std::u16string &text) {
    return Thr(u"*** ERROR => " + text + u" [err_r_mt");
  }
  // Whether the trace starts with the error line of text.
  bool TraceStartsWithError(const std::u16string &text) const {
    return trace_.Text().rfind(ErrorLine(text), 0) == 0;
  }
  tlm_test::TraceCapture trace_{2};
};

}  // namespace err_test

#endif  // TESTS_TRACE_ERR_TEST_UTIL_H
