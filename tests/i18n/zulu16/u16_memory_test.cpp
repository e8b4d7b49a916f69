// Allocation in units, the checked copies and the 8-bit case functions.
#include <gtest/gtest.h>

#include <cstdlib>

#include "u16_string_test_support.h"

namespace {

using u16test::W;

TEST(U16Memory, AllocatorsCountUnitsAndRefuseOverflow) {
  auto *p = static_cast<ZUL_UTF16 *>(callocU(3, 2));
  ASSERT_NE(p, nullptr);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(p[i], 0);  // 6 zero units, 12 bytes
  p = static_cast<ZUL_UTF16 *>(reallocU(p, 10));
  ASSERT_NE(p, nullptr);
  p[9] = u'z';
  std::free(p);
  EXPECT_EQ(mallocU(SIZE_MAX / 2 + 1), nullptr);
  EXPECT_EQ(callocU(1, SIZE_MAX / 2 + 1), nullptr);

  ZUL_UTF16 buf[6] = {1, 2, 3, 4, 5, 6};
  memmoveU(buf + 1, buf, 4);
  EXPECT_EQ(std::u16string(buf, buf + 6), (std::u16string{1, 1, 2, 3, 4, 6}));
  memcpyU(buf, buf + 4, 2);
  EXPECT_EQ(buf[0], 4);
  EXPECT_EQ(buf[1], 6);
}

TEST(U16Memory, CheckedCopyReportsOverlapAndStillMoves) {
  u16test::TraceCapture capture(0);
  ZUL_UTF16 buf[6] = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(memcpyUChk(buf + 4, buf, 2, "caller", 42), buf + 4);  // disjoint: silent
  EXPECT_TRUE(capture.Messages().empty());
  EXPECT_EQ(memcpyUChk(buf + 1, buf, 3, "caller", 42), buf + 1);
  EXPECT_EQ(std::u16string(buf, buf + 4), (std::u16string{1, 1, 2, 3}));
  ASSERT_EQ(capture.Messages().size(), 1u);
  EXPECT_TRUE(u16test::StartsWith(capture.Messages()[0],
                                  "memcpyUChk(): ERROR: source and destination overlap: 3 units"));
  EXPECT_NE(capture.Messages()[0].find(W("[caller 42]")), std::u16string::npos);

  char bytes[] = "abcdef";
  memcpyRChk(bytes + 2, bytes, 3, nullptr, 0);
  EXPECT_STREQ(bytes, "ababcf");
  ASSERT_EQ(capture.Messages().size(), 2u);
  EXPECT_TRUE(u16test::StartsWith(capture.Messages()[1], "memcpyRChk(): ERROR"));
}

TEST(U16Raw, CaseFunctionsOnBytes) {
  char text[] = "MiXeD 123";
  EXPECT_STREQ(strtolowerR(text), "mixed 123");
  EXPECT_STREQ(strtoupperR(text), "MIXED 123");
  EXPECT_EQ(strcasecmpR("Hello", "hELLO"), 0);
  EXPECT_LT(strncasecmpR("abc", "ABD", 3), 0);
  EXPECT_EQ(strncasecmpR("abc", "ABD", 2), 0);
  EXPECT_EQ(strnlenRFB("abc", 2), 2u);
}

}  // namespace
