// The process's environment and command line: the tables behind getenvU16 and putenvU16, and
// getoptU over 16-bit argument vectors.

#include "i18n/zulu16/u16_env.h"
#include "u16_string_test_support.h"
#include "zul_u16sys.h"

namespace {

using u16test::TraceCapture;

// Unset and invalid variables are null; an empty value is a constant without a table line. A
// value set as UTF-8 by putenvU16 is read back in 16 bits; the 129th result clears the table and
// takes its first line.
TEST(GetenvU16, ResultsAndTheirTable) {
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

  ASSERT_EQ(putenvU16(u"TLM_U16SYS_VALUE=Gr\u00fc\u00dfe \u20ac"), 0);
  EXPECT_STREQ(getenv("TLM_U16SYS_VALUE"),
               "Gr\xc3\xbc\xc3\x9f"
               "e \xe2\x82\xac");
  TraceCapture trace(16);
  while (zulu16::GetenvTableUse() < zulu16::kGetenvTableLines)
    ASSERT_NE(getenvU16(u"TLM_U16SYS_VALUE"), nullptr);
  EXPECT_EQ(trace.Count("Entering cleanup_putenv_table()."), 0);
  ZUL_UTF16 *value = getenvU16(u"TLM_U16SYS_VALUE");
  ASSERT_NE(value, nullptr);
  EXPECT_EQ(std::u16string(value), u"Gr\u00fc\u00dfe \u20ac");
  EXPECT_EQ(zulu16::GetenvTableUse(), 1u);
  EXPECT_EQ(trace.Count("Entering cleanup_putenv_table(). \nAllocated table lines = 128\n"), 1);
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
  EXPECT_EQ(trace.Count("Entering cleanup_putenv_table()."), 1);
  EXPECT_EQ(trace.Count("Entries after shrinking: "), 1);
  EXPECT_EQ(trace.Count("Enlarging table to "), 0);
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
  EXPECT_EQ(trace.Count(grown), 1);
  for (const std::string &name : names) EXPECT_STREQ(getenv(name.c_str()), "1");
  for (const std::string &name : names) unsetenv(name.c_str());
}

struct Step {
  int option;
  std::u16string arg;  // expected optargU, empty for none
};

struct Case {
  std::vector<std::u16string> args;
  std::u16string optstring;
  std::vector<Step> steps;  // the answers before -1
  int optind_after;
  std::string stderr_text;
};

// Runs getoptU to its end over args; answers what it wrote to standard error.
std::string ParseAll(const Case &c) {
  std::vector<std::u16string> storage = c.args;
  std::vector<ZUL_UTF16 *> argv;
  for (auto &a : storage) argv.push_back(a.data());
  argv.push_back(nullptr);
  optindU = 0;
  testing::internal::CaptureStderr();
  for (const Step &step : c.steps) {
    EXPECT_EQ(getoptU(static_cast<int>(storage.size()), argv.data(), c.optstring.c_str()),
              step.option);
    EXPECT_EQ(optargU != nullptr ? std::u16string(optargU) : u"", step.arg);
  }
  EXPECT_EQ(getoptU(static_cast<int>(storage.size()), argv.data(), c.optstring.c_str()), -1);
  EXPECT_EQ(optindU, c.optind_after);
  return testing::internal::GetCapturedStderr();
}

// Strict order on ASCII vectors is compared with the system's getopt by the corpus replay of the
// getoptU fuzz target, which keeps the messages off; here the non-ASCII options and arguments and
// the messages.
TEST(GetoptU, FollowsTheSystemRules) {
  const Case cases[] = {
      {{u"prog", u"-ab", u"-bx\u00e9"}, u"ab:", {{'a', u""}, {'b', u"-bx\u00e9"}}, 3, ""},
      {{u"prog", u"-bx\u00e9"}, u"b:", {{'b', u"x\u00e9"}}, 2, ""},
      {{u"prog", u"-\u00fc"}, u"a\u00fc", {{0xFC, u""}}, 2, ""},
      {{u"prog", u"-x", u"-a"}, u"a", {{'?', u""}, {'a', u""}}, 3, "prog: illegal option -- x\n"},
      {{u"pr\u00f6g", u"-\u00df"},
       u"a",
       {{'?', u""}},
       2,
       "pr\xc3\xb6g: illegal option -- \xc3\x9f\n"},
      {{u"prog", u"-b"}, u"b:", {{'?', u""}}, 2, "prog: option requires an argument -- b\n"},
      // A leading colon silences both messages.
      {{u"prog", u"-b"}, u":b:", {{':', u""}}, 2, ""},
      {{u"prog", u"-x"}, u":a", {{'?', u""}}, 2, ""}};
  for (const Case &c : cases) {
    SCOPED_TRACE(testing::Message()
                 << "case with " << c.args.size() << " words, stderr " << c.stderr_text);
    EXPECT_EQ(ParseAll(c), c.stderr_text);
  }
  // opterrU 0 silences the messages; optoptU names the option.
  opterrU = 0;
  EXPECT_EQ(ParseAll({{u"prog", u"-b"}, u"b:", {{'?', u""}}, 2, ""}), "");
  opterrU = 1;
  EXPECT_EQ(optoptU, 'b');
}

TEST(U16SetCmdline, ConvertsTheCommandLineForGetoptU) {
  char arg0[] = "prog";
  char arg1[] = "-\xc3\xa4";
  char arg2[] = "wert";
  char *const argv[] = {arg0, arg1, arg2, nullptr};
  ZUL_UTF16 **wide = u16_set_cmdline(3, argv);
  ASSERT_NE(wide, nullptr);
  EXPECT_EQ(std::u16string(wide[1]), u"-\u00e4");
  EXPECT_EQ(wide[3], nullptr);
  optindU = 0;
  EXPECT_EQ(getoptU(3, wide, u"\u00e4:"), 0xE4);
  EXPECT_EQ(std::u16string(optargU), u"wert");
}

}  // namespace
