#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "zul_u16sys.h"

namespace {

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

TEST(GetoptU, FollowsTheSystemRules) {
  const Case cases[] = {
      {{u"prog", u"-a", u"-b", u"wert", u"datei"}, u"ab:", {{'a', u""}, {'b', u"wert"}}, 4, ""},
      {{u"prog", u"-ab", u"-bx\u00e9"}, u"ab:", {{'a', u""}, {'b', u"-bx\u00e9"}}, 3, ""},
      {{u"prog", u"-bx\u00e9"}, u"b:", {{'b', u"x\u00e9"}}, 2, ""},
      {{u"prog", u"-a", u"--", u"-b"}, u"ab", {{'a', u""}}, 3, ""},
      {{u"prog", u"-", u"-a"}, u"a", {}, 1, ""},
      {{u"prog", u"-\u00fc"}, u"a\u00fc", {{0xFC, u""}}, 2, ""},
      {{u"prog", u"-x", u"-a"}, u"a", {{'?', u""}, {'a', u""}}, 3, "prog: illegal option -- x\n"},
      {{u"pr\u00f6g", u"-\u00df"},
       u"a",
       {{'?', u""}},
       2,
       "pr\xc3\xb6g: illegal option -- \xc3\x9f\n"},
      {{u"prog", u"-b"}, u"b:", {{'?', u""}}, 2, "prog: option requires an argument -- b\n"},
      {{u"prog", u"-b"}, u":b:", {{':', u""}}, 2, ""},
      {{u"prog", u"-x"}, u":a", {{'?', u""}}, 2, ""},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(testing::Message()
                 << "case with " << c.args.size() << " words, stderr " << c.stderr_text);
    EXPECT_EQ(ParseAll(c), c.stderr_text);
  }
}

TEST(GetoptU, ErrorsNameTheOptionAndOpterrSilencesThem) {
  Case missing{{u"prog", u"-b"}, u"b:", {{'?', u""}}, 2, ""};
  opterrU = 0;
  EXPECT_EQ(ParseAll(missing), "");
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
