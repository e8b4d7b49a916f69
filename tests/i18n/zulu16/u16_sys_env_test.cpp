#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "i18n/zulu16/u16_env.h"
#include "u16_sys_test_util.h"
#include "zul_u16sys.h"

namespace {

using u16test::StartsWith;
using u16test::TraceCapture;

int CountStartingWith(const TraceCapture &trace, const std::string &text) {
  int n = 0;
  for (const auto &m : trace.Messages()) n += StartsWith(m, text) ? 1 : 0;
  return n;
}

TEST(GetenvU16, UnsetAndInvalidAreNullAndEmptyIsAConstantWithoutTableLine) {
  unsetenv("TLM_U16SYS_UNSET");
  EXPECT_EQ(getenvU16(u"TLM_U16SYS_UNSET"), nullptr);

  setenv("TLM_U16SYS_EMPTY", "", 1);
  size_t used = zulu16::GetenvTableUse();
  ZUL_UTF16 *first = getenvU16(u"TLM_U16SYS_EMPTY");
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first[0], 0);
  EXPECT_EQ(getenvU16(u"TLM_U16SYS_EMPTY"), first);
  setenv("TLM_U16SYS_BAD", "a\xe2(b", 1);
  EXPECT_EQ(getenvU16(u"TLM_U16SYS_BAD"), nullptr);
  EXPECT_EQ(zulu16::GetenvTableUse(), used);
}

TEST(GetenvU16, The129thResultClearsTheTableAndTakesItsFirstLine) {
  setenv("TLM_U16SYS_VALUE",
         "Gr\xc3\xbc\xc3\x9f"
         "e \xe2\x82\xac",
         1);
  TraceCapture trace(16);
  while (zulu16::GetenvTableUse() < zulu16::kGetenvTableLines) {
    ASSERT_NE(getenvU16(u"TLM_U16SYS_VALUE"), nullptr);
  }
  EXPECT_EQ(CountStartingWith(trace, "Entering cleanup_putenv_table()."), 0);

  ZUL_UTF16 *value = getenvU16(u"TLM_U16SYS_VALUE");
  ASSERT_NE(value, nullptr);
  EXPECT_EQ(std::u16string(value), u"Gr\u00fc\u00dfe \u20ac");
  EXPECT_EQ(zulu16::GetenvTableUse(), 1u);
  EXPECT_EQ(
      CountStartingWith(trace, "Entering cleanup_putenv_table(). \nAllocated table lines = 128\n"),
      1);
}

TEST(PutenvU16, ValueIsSetAsUtf8AndReadBack) {
  ASSERT_EQ(putenvU16(u"TLM_U16SYS_PUT=\u00e4\u20ac"), 0);
  EXPECT_STREQ(getenv("TLM_U16SYS_PUT"), "\xc3\xa4\xe2\x82\xac");
  ZUL_UTF16 *value = getenvU16(u"TLM_U16SYS_PUT");
  ASSERT_NE(value, nullptr);
  EXPECT_EQ(std::u16string(value), u"\u00e4\u20ac");
}

// Replacing one variable again and again leaves one live string: the cleanup of the full table
// frees the others and the table keeps its size.
TEST(PutenvU16, FullTableDropsStringsThatLeftTheEnvironment) {
  ASSERT_EQ(putenvU16(u"TLM_U16SYS_REPEAT=0"), 0);
  size_t size = zulu16::PutenvTableSize();
  TraceCapture trace(16);
  for (int i = 0; zulu16::PutenvTableCount() < size; ++i) {
    std::u16string text = u"TLM_U16SYS_REPEAT=" + u16test::W(std::to_string(i));
    ASSERT_EQ(putenvU16(text.c_str()), 0);
  }
  ASSERT_EQ(putenvU16(u"TLM_U16SYS_REPEAT=last"), 0);
  EXPECT_EQ(CountStartingWith(trace, "Entering cleanup_putenv_table()."), 1);
  EXPECT_EQ(CountStartingWith(trace, "Entries after shrinking: "), 1);
  EXPECT_EQ(CountStartingWith(trace, "Enlarging table to "), 0);
  EXPECT_EQ(zulu16::PutenvTableSize(), size);
  EXPECT_LT(zulu16::PutenvTableCount(), size - zulu16::kPutenvHeadroom);
  EXPECT_STREQ(getenv("TLM_U16SYS_REPEAT"), "last");
}

TEST(PutenvU16, TableGrowsWhenTooManyStringsAreStillInUse) {
  ASSERT_EQ(putenvU16(u"TLM_U16SYS_FIRST=1"), 0);  // the table exists from here on
  size_t size = zulu16::PutenvTableSize();
  TraceCapture trace(16);
  std::vector<std::string> names;
  while (zulu16::PutenvTableSize() == size && names.size() < 3 * size) {
    names.push_back("TLM_U16SYS_G" + std::to_string(names.size()));
    std::u16string text = u16test::W(names.back() + "=1");
    ASSERT_EQ(putenvU16(text.c_str()), 0);
  }
  EXPECT_EQ(zulu16::PutenvTableSize(), size + zulu16::kPutenvTableStep);
  std::string grown =
      "Enlarging table to " + std::to_string(size + zulu16::kPutenvTableStep) + "\n";
  EXPECT_EQ(CountStartingWith(trace, grown), 1);
  for (const std::string &name : names) EXPECT_STREQ(getenv(name.c_str()), "1");
  for (const std::string &name : names) unsetenv(name.c_str());
}

}  // namespace
