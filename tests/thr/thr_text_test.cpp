#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "zul_thr.h"

namespace {

std::u16string Widen(const char *s) { return std::u16string(s, s + std::strlen(s)); }

TEST(ThrErrToStr, EveryCodeHasItsTextAndOthersTheDefault) {
  const struct {
    int code;
    const char16_t *text;
  } cases[] = {
      {0, u"Operation completed successfully."},
      {1, u"Thread still alive."},
      {2, u"Invalid parameter passed."},
      {3, u"Attempt was made to initialize an item which already exists."},
      {4, u"Thread library internal error."},
      {5, u"Thread ID is invalid."},
      {6, u"Thread specific data key is invalid."},
      {7, u"Error occurred while attempting to allocate memory."},
      {8, u"Thread library not yet initialized."},
      {9, u"Attempt was made to unlock a critical section which is not currently locked."},
      {10, u"Attempt was made to unlock a critical section owned by another thread."},
      {11, u"Threads not supported on this platform."},
      {12, u"Operating system error occurred."},
      {13, u"Operation would cause the calling thread to deadlock."},
      {14, u"Operation failed due to lack of resources."},
      {15, u"Operation timed out."},
      {16, u"Error code not defined by the thread library."},
      {-1, u"Error code not defined by the thread library."},
  };
  for (const auto &c : cases) EXPECT_EQ(std::u16string(ThrErrToStr(c.code)), c.text) << c.code;
}

TEST(ThrStrError, FitsTheTextOrReplacesItCutToTheSize) {
  const std::u16string eintr = Widen(std::strerror(EINTR));
  const int fits = static_cast<int>(eintr.size()) + 1;
  const struct {
    int size;
    std::u16string want;
  } cases[] = {
      {64, eintr},
      {fits, eintr},
      {fits - 1, std::u16string(u"(4) - error text too long").substr(0, fits - 2)},
      {10, u"(4) - err"},
      {2, u"("},
      {1, u""},  // "(" cut by the size: only the terminator
  };
  for (const auto &c : cases) {
    std::vector<ZUL_UTF16> buf(c.size + 1, u'x');
    EXPECT_EQ(ThrStrError(EINTR, buf.data(), c.size), buf.data()) << c.size;
    EXPECT_EQ(std::u16string(buf.data()), c.want) << c.size;
    EXPECT_EQ(buf[c.size], u'x') << "nothing written past the size " << c.size;
  }
}

TEST(ThrStrError, SizeBelowOneAnswersNull) {
  ZUL_UTF16 buf[1] = {u'x'};
  EXPECT_EQ(ThrStrError(EINTR, buf, 0), nullptr);
  EXPECT_EQ(ThrStrError(EINTR, buf, -1), nullptr);
  EXPECT_EQ(buf[0], u'x');
}

TEST(ThrReentrant, FormsAnswerWhatTheCLibraryAnswers) {
  unsigned int ours = 1, theirs = 1;
  for (int i = 0; i < 5; ++i) EXPECT_EQ(ThrRand(&ours), rand_r(&theirs));

  const time_t t = 1700000000;
  struct tm got, want;
  ASSERT_EQ(ThrGmtime(&t, &got), &got);
  gmtime_r(&t, &want);
  EXPECT_EQ(got.tm_year, want.tm_year);
  EXPECT_EQ(got.tm_hour, want.tm_hour);
  ASSERT_EQ(ThrLocaltime(&t, &got), &got);
  localtime_r(&t, &want);
  EXPECT_EQ(got.tm_hour, want.tm_hour);

  char text[26];
  ZUL_UTF16 text16[26];
  EXPECT_EQ(std::u16string(ThrCtime(&t, text16)), Widen(ctime_r(&t, text)));
  EXPECT_EQ(std::u16string(ThrAsctime(&want, text16)), Widen(asctime_r(&want, text)));

  ZUL_UTF16 line[] = u"a,b;;c";
  ZUL_UTF16 *save = nullptr;
  std::vector<std::u16string> tokens;
  for (ZUL_UTF16 *tok = ThrStrtok(line, u",;", &save); tok != nullptr;
       tok = ThrStrtok(nullptr, u",;", &save))
    tokens.emplace_back(tok);
  EXPECT_EQ(tokens, (std::vector<std::u16string>{u"a", u"b", u"c"}));
}

}  // namespace
