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

// Each code maps to its own text; the texts themselves come from one table with the codes.
TEST(ThrErrToStr, CodesHaveTheirTextsAndOthersTheDefault) {
  const struct {
    int code;
    const char16_t *text;
  } cases[] = {
      {0, u"Operation completed successfully."},
      {9, u"Attempt was made to unlock a critical section which is not currently locked."},
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

}  // namespace
