// Formatted input: the C library's sscanf is the oracle for ASCII text (a table and a seeded
// generator of formats and inputs), swscanf for non-ASCII units where both agree; the deliberate
// differences, files and hostile formats and inputs have their own tables.
#include <cwchar>
#include <random>

#include "trace_capture.h"
#include "u16_string_test_support.h"
#include "zul_u16scanf.h"
#include "zul_u16stdio.h"

namespace {

using u16test::W;

constexpr int kScanArgCount = 16;
constexpr size_t kScanRoom = 256;

// The arguments of one call: each a zeroed buffer, units for us, bytes for the C library.
struct ScanArgs {
  std::vector<std::vector<char16_t>> wide{kScanArgCount, std::vector<char16_t>(kScanRoom)};
  std::vector<std::vector<char>> narrow{kScanArgCount, std::vector<char>(kScanRoom)};
};

// Which arguments a format's conversions fill with text (%s %c %[), in argument order.
std::vector<bool> TextArgsOf(const std::string &format) {
  std::vector<bool> text;
  for (size_t i = 0; i < format.size(); ++i) {
    if (format[i] != '%' || ++i >= format.size()) continue;
    bool suppressed = format[i] == '*';
    while (i < format.size() && std::strchr("*0123456789hljztL", format[i]) != nullptr) ++i;
    if (i < format.size() && !suppressed) text.push_back(std::strchr("sc[", format[i]) != nullptr);
    if (i < format.size() && format[i] == '[') i = format.find(']', i + 2);
  }
  return text;
}

#define SCAN_ARGS(v)                                                                         \
  v[0].data(), v[1].data(), v[2].data(), v[3].data(), v[4].data(), v[5].data(), v[6].data(), \
      v[7].data(), v[8].data(), v[9].data(), v[10].data(), v[11].data(), v[12].data(),       \
      v[13].data(), v[14].data(), v[15].data()

// Both engines read input with format: the answers and every stored value must be equal.
::testing::AssertionResult ScansAsLibrary(const std::string &input, const std::string &format) {
  ScanArgs a;
  const int expected = std::sscanf(input.c_str(), format.c_str(), SCAN_ARGS(a.narrow));
  const int answer = sscanfU16(W(input).c_str(), W(format).c_str(), SCAN_ARGS(a.wide));
  if (answer != expected)
    return ::testing::AssertionFailure() << "\"" << format << "\" on \"" << input.substr(0, 60)
                                         << "\": " << answer << ", the library " << expected;
  const std::vector<bool> text = TextArgsOf(format);
  for (size_t k = 0; k < text.size() && k < kScanArgCount; ++k) {
    bool same = true;
    for (size_t i = 0; i < kScanRoom; ++i) {
      const char ours = text[k] ? static_cast<char>(a.wide[k][i])
                                : reinterpret_cast<const char *>(a.wide[k].data())[i];
      same = same && ours == a.narrow[k][i];
    }
    if (!same)
      return ::testing::AssertionFailure() << "\"" << format << "\" on \"" << input.substr(0, 60)
                                           << "\": argument " << k << " differs";
  }
  return ::testing::AssertionSuccess();
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-extra-args"

TEST(SscanfU16, AgreesWithTheLibraryOnItsTable) {
  // clang-format off
  const std::pair<std::string, std::string> cases[] = {
      {"12345 alpha 3.25 1f", "%d %15s %lf %x"}, {"-17 +42 0x1F 017 0", "%d %i %i %i %i"},
      {"12345", "%3d%d"}, {"1 2", "%*d %d"}, {"0xg", "%x%n"}, {"-0x", "%i%n"},
      {"99999999999999999999 -5", "%ld %lu"}, {"300 70000 5", "%hhd %hd %hhu"},
      {"777 1010", "%o %2o%n"}, {"(nil) (NIL) 0x10", "%p %p %p"}, {"(nix)", "%p"},
      {"  ab cd", "%c%3c%n"}, {"abcXYZ]x", "%[a-c]%[^]x]%n"}, {"]-a", "%[]-]%n"},
      {"1e+x 2.5e-3 0x1.8p1 .5", "%f%n %lf %Lf %f"},
      {"nan INF -Infinity infinit", "%f %lf %Lf %f"}, {"1.5e", "%lf%n"}, {"5,6", "%d,%d"},
      {"5;6", "%d,%d"}, {"", "%d"}, {"", "%n"}, {"   ", " %n%d"}, {"x", "%d"}, {"+", "%d"},
      {"12 34", "%1d%1d %n"}, {"abc", "%*s%n"}, {"42", "%jd%zu%td"}, {"-", "%f"}, {"0x", "%lf"},
      {"infinity", "%3f%n"}, {"infinity", "%4f"}
  };
  // clang-format on
  for (const auto &[input, format] : cases) EXPECT_TRUE(ScansAsLibrary(input, format));
}

// Random formats from the agreed subset, on inputs made of fitting and unfitting tokens.
TEST(SscanfU16, AgreesWithTheLibraryOnGeneratedFormats) {
  std::mt19937 random(20261125);
  const char *integers[] = {"d", "i", "u", "o", "x", "X"}, *floats[] = {"f", "e", "g", "a", "E"};
  const char *others[] = {"p", "s", "c", "[a-f0-9]", "[^ ,]", "n"};
  const char *int_modifiers[] = {"", "", "hh", "h", "l", "ll", "j", "z", "t"};
  const char *float_modifiers[] = {"", "l", "L"};
  const char *tokens[] = {
      "0",   "-12",   "+7",     "0x1A", "077", "4294967296", "-9223372036854775809",
      "3.5", "-1e10", "0x1p-3", "nan",  "Inf", "infinity",   "(nil)",
      "abc", "F00D",  ",",      "  ",   "\t",  "1e",         ".",
      "z9"};
  auto pick = [&](auto &list) { return std::string(list[random() % std::size(list)]); };
  for (int n = 0; n < 10000; ++n) {
    std::string format, input;
    for (int k = 1 + random() % 4; k > 0; --k) {
      format += random() % 5 == 0 ? "%*" : "%";
      if (random() % 3 == 0) format += std::to_string(1 + random() % 6);
      switch (random() % 3) {
        case 0:
          format += pick(int_modifiers) + pick(integers);
          break;
        case 1:
          format += pick(float_modifiers) + pick(floats);
          break;
        default:
          format += pick(others);
      }
      format += random() % 5 ? " " : ",";
    }
    for (int k = random() % 7; k > 0; --k) input += std::string(pick(tokens)) + " ";
    ASSERT_TRUE(ScansAsLibrary(input, format));
  }
}

TEST(SscanfU16, FieldsBeyondAnyBufferAgreeToo) {
  const std::string digits(100000, '7'), float_digits = "0." + std::string(10000, '3');
  EXPECT_TRUE(ScansAsLibrary(digits + " 1", "%d %d"));
  EXPECT_TRUE(ScansAsLibrary(float_digits + "e2", "%lf%n"));
  EXPECT_TRUE(ScansAsLibrary("x", "%99999999999d"));
  std::u16string big(100000, u'q');
  std::vector<char16_t> out(big.size() + 1);
  EXPECT_EQ(sscanfU16(big.c_str(), u"%s", out.data()), 1);
  EXPECT_EQ(std::u16string(out.data()), big);
}

#pragma GCC diagnostic pop

// Non-ASCII units in text fields and between numbers, where the wide C library reads alike.
TEST(SscanfU16, AgreesWithTheWideLibraryOnNonAsciiText) {
  const std::tuple<std::u16string, std::u16string, std::wstring> cases[] = {
      {u"\u00e4\u20ac\uffff 5", u"%s %n", L"%ls %n"},
      {u"\u0410\u0411x", u"%2c%n", L"%2lc%n"},
      {u"\u00e9\u00e8\u00e0", u"%[\u00e8\u00e9]%n", L"%l[\u00e8\u00e9]%n"}};
  for (const auto &[input, format, wformat] : cases) {
    const std::wstring winput(input.begin(), input.end());
    wchar_t wide[64] = {};
    char16_t units[64] = {};
    int wn = 0, n = 0;
    const int expected = std::swscanf(winput.c_str(), wformat.c_str(), wide, &wn);
    EXPECT_EQ(sscanfU16(input.c_str(), format.c_str(), units, &n), expected);
    EXPECT_EQ(std::u16string(units), std::u16string(wide, wide + std::wcslen(wide)));
    EXPECT_EQ(n, wn);
  }
}

// Where this engine reads differently from the C library on purpose.
TEST(SscanfU16, DeviationsFromTheLibrary) {
  // Input and format; the answer and the first argument as text, or its int value in decimal.
  const std::tuple<std::u16string, std::u16string, int, std::u16string> cases[] = {
      {u"1\u00a02", u"%d%d", 2, u"1"},   // U+00A0 is white space
      {u"ab\u3000cd", u"%s", 1, u"ab"},  // and U+3000
      {u"ab\u2028", u"%s%n", 1, u"ab"},  // and U+2028
      {u"%5", u"%%%d", 0, u"0"},         // "%%" is no conversion: the input ends
      {u"5 %", u"%d %%", 1, u"5"},
      {u"xyz", u"%ls", 1, u"xyz"},                      // 16-bit units whatever the modifier
      {u"\xdc01\xd800z", u"%hs", 1, u"\xdc01\xd800z"},  // unpaired surrogates are units too
      {u"1 2 3", u"%d %Q %d", 1, u"1"},                 // unknown letters end the input
      {u"1", u"%", 0, u"0"},
      {u"abc", u"%[abc", 0, u"0"},
      {u"abc", u"%[^", 0, u"0"},
      {u"7", u"%*n%d", 1, u"7"}};
  for (const auto &[input, format, answer, first] : cases) {
    char16_t text[32] = {};
    int n = 0, m = 0;
    const bool is_text = format.find_first_of(u"s[") != std::u16string::npos && answer > 0;
    void *out = is_text ? static_cast<void *>(text) : &n;
    EXPECT_EQ(sscanfU16(input.c_str(), format.c_str(), out, &m), answer) << tlm_test::Utf8(format);
    EXPECT_EQ(is_text ? std::u16string(text) : W(std::to_string(n)), first)
        << tlm_test::Utf8(format);
  }
}

TEST(FscanfU16, ReadsUtf8FilesAndGivesTheLastUnitBack) {
  FILE *f = tmpfile();
  ASSERT_NE(f, nullptr);
  std::fputs("12 \xc3\xa4\xe2\x82\xac \xf0\x9f\x98\x80 \xe2\x28z 7\xc3\xa4rest", f);
  std::rewind(f);
  int a = 0, b = 0;
  char16_t s1[8] = {}, s2[8] = {}, s3[8] = {};
  EXPECT_EQ(fscanfU16(f, u"%d %s %s %s %d", &a, s1, s2, s3, &b), 5);
  EXPECT_EQ(a, 12);
  EXPECT_EQ(std::u16string(s1), u"\u00e4\u20ac");
  EXPECT_EQ(std::u16string(s2), u"\ufffd");  // above U+FFFF
  EXPECT_EQ(std::u16string(s3), u"#(z");     // invalid UTF-8
  EXPECT_EQ(b, 7);
  EXPECT_EQ(fgetcU16(f), 0xE4);  // pushed back as its two bytes
  EXPECT_EQ(fscanfU16(f, u"%s%d", s1, &a), 1);
  EXPECT_EQ(fscanfU16(f, u"%d", &a), -1);
  std::fclose(f);
}

TEST(SscanfU16, RefusesMissingArguments) {
  EXPECT_EQ(sscanfU16(u"1", nullptr), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(sscanfU16(nullptr, u"%d"), -1);
  EXPECT_EQ(errno, EBADF);
}

}  // namespace
