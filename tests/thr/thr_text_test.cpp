#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "zul_thr.h"

namespace {

std::u16string Widen(const char *s) { return std::u16string(s, s + std::strlen(s)); }

// Codes outside the table, on either side, get the default text.
TEST(ThrErrToStr, CodesOutsideTheTableHaveTheDefaultText) {
  EXPECT_EQ(std::u16string(ThrErrToStr(15)), u"Operation timed out.");
  for (int code : {16, -1})
    EXPECT_EQ(std::u16string(ThrErrToStr(code)), u"Error code not defined by the thread library.");
}

// A size below 1 answers null and writes nothing.
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
      {0, u""},
      {-1, u""},
  };
  for (const auto &c : cases) {
    std::vector<ZUL_UTF16> buf(std::max(c.size, 0) + 1, u'x');
    EXPECT_EQ(ThrStrError(EINTR, buf.data(), c.size), c.size > 0 ? buf.data() : nullptr) << c.size;
    if (c.size > 0) {
      EXPECT_EQ(std::u16string(buf.data()), c.want) << c.size;
    }
    EXPECT_EQ(buf.back(), u'x') << "nothing written past the size " << c.size;
  }
}

}  // namespace
