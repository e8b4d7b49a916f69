#include <cerrno>

#include "zul_thr.h"

namespace {

// Codes outside the table, on either side, get the default text.
TEST(ThrErrToStr, CodesOutsideTheTableHaveTheDefaultText) {
  EXPECT_EQ(std::u16string(ThrErrToStr(15)), u"Operation timed out.");
  for (int code : {16, -1})
    EXPECT_EQ(std::u16string(ThrErrToStr(code)), u"Error code not defined by the thread library.");
}

// The text fits, or is replaced by "(code) - error text too long" cut to the size; a size below 1
// answers null. Nothing is written past the size.
TEST(ThrStrError, FitsTheTextOrReplacesItCutToTheSize) {
  const char *text = std::strerror(EINTR);
  const std::u16string eintr(text, text + std::strlen(text));
  const int fits = static_cast<int>(eintr.size()) + 1;
  const std::pair<int, std::u16string> cases[] = {
      {fits, eintr}, {fits - 1, std::u16string(u"(4) - error text too long").substr(0, fits - 2)},
      {2, u"("},     {1, u""},
      {0, u""},      {-1, u""}};
  for (const auto &[size, want] : cases) {
    std::vector<ZUL_UTF16> buf(std::max(size, 0) + 1, u'x');
    EXPECT_EQ(ThrStrError(EINTR, buf.data(), size), size > 0 ? buf.data() : nullptr) << size;
    if (size > 0) {
      EXPECT_EQ(std::u16string(buf.data()), want) << size;
    }
    EXPECT_EQ(buf.back(), u'x') << "written past the size " << size;
  }
}

}  // namespace
