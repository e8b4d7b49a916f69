// Formatted output: rendering rules of our own (16-bit %s, "(null)", "(nil)"), the limits,
// answers and terminators of each member, the argument check, unknown conversions, %n, file
// targets, values beyond the inline buffer, and the 8-bit bounded forms.

#include <cerrno>
#include <climits>

#include "u16_string_test_support.h"
#include "zul_u16printf.h"

namespace {

using u16test::W;

constexpr char16_t kFill = u'#';

// A buffer of 16 units preset to kFill, to see what a call touched.
struct Buffer {
  Buffer() { std::fill(std::begin(units), std::end(units), kFill); }
  std::u16string Text() const { return std::u16string(units); }
  char16_t units[16];
};

// sprintfU16 into a buffer of kFill units: its answer and the text up to the terminator.
template <typename... Args>
std::pair<int, std::u16string> Printed(const char16_t *format, Args... args) {
  std::vector<char16_t> buffer(64, kFill);
  const int answer = sprintfU16(buffer.data(), format, args...);
  return {answer, buffer.data()};
}

// A whole output: its length and its text.
std::pair<int, std::u16string> Whole(const std::u16string &text) {
  return {static_cast<int>(text.size()), text};
}

TEST(U16PrintfFormat, OwnRenderingRules) {
  const char16_t *null = nullptr;
  EXPECT_EQ(Printed(u"[%s]", null), Whole(u"[(null)]"));
  EXPECT_EQ(Printed(u"[%.3s]", null), Whole(u"[(nu]"));
  EXPECT_EQ(Printed(u"[%8s]", null), Whole(u"[  (null)]"));
  EXPECT_EQ(Printed(u"[%p|%-7p|%07p]", nullptr, nullptr, nullptr),
            Whole(u"[(nil)|(nil)  |  (nil)]"));
  // %s reads 16-bit text whatever the length modifier, and a precision stops at a terminator.
  EXPECT_EQ(Printed(u"%s %ls %hs %.2s", u"\u0142\u00e9", u"x", u"y", u"abc"),
            Whole(u"\u0142\u00e9 x y ab"));
  EXPECT_EQ(Printed(u"[%.10s]", u"abc"), Whole(u"[abc]"));
  EXPECT_EQ(Printed(u"%c%c", 0x20AC, 0x10041), Whole(u"\u20acA"));
  // The store of %n follows the length modifier, with units that didn't fit counted too.
  int at_two = -1, at_seven = -1;
  EXPECT_EQ(Printed(u"ab%n%5d%n!", &at_two, 3, &at_seven), Whole(u"ab    3!"));
  EXPECT_EQ(std::tie(at_two, at_seven), std::make_tuple(2, 7));
  struct {
    signed char small;
    char guard[7];
  } bytes = {};
  long long wide = -1;
  EXPECT_EQ(Printed(u"%s%hhn%lln", u"xyz", &bytes.small, &wide), Whole(u"xyz"));
  EXPECT_EQ(std::tie(bytes.small, bytes.guard[0], wide), std::make_tuple(3, 0, 3));
  Buffer buffer;
  int counted = -1;
  EXPECT_EQ(snprintfU16(buffer.units, 3, u"%d%n", 123456, &counted), 6);
  EXPECT_EQ(counted, -1);  // the output stopped before: the buffer was full
}

TEST(U16PrintfLimits, AnswersAndTerminatorsOfEachMember) {
  using Member = int (*)(ZUL_UTF16 *, size_t, const ZUL_UTF16 *, ...);
  const Member n = snprintfU16, s = sprintf_sU16, ns = snprintf_sU16;
  // Member, count, format and its two arguments; the answer and the text up to the terminator.
  const std::tuple<Member, size_t, const char16_t *, const char16_t *, const char16_t *, int,
                   std::u16string>
      cases[] = {
          // A 10-unit result in a count of 4: three units and a terminator. How the three members
          // answer a cut output, and a count of 0, the format fuzz target asserts on its corpus.
          {n, 4, u"0123456789%s%s", u"", u"", 10, u"012"},
          // Exactly as many units as the count: the last one gives way to the terminator; one unit
          // less fits whole.
          {s, 4, u"%s%s", u"ab", u"cd", -1, u"abc"},
          {s, 4, u"%s%s", u"a", u"bc", 3, u"abc"},
          // The output stops after the piece that filled the buffer: the second string isn't
          // counted.
          {n, 4, u"%s%s", u"12345", u"67890", 5, u"123"},
          // A count of 1 holds only the terminator.
          {ns, 1, u"%s%s", u"ab", u"cd", 0, u""},
          // The empty format still terminates.
          {n, 4, u"", u"", u"", 0, u""},
          // An unknown conversion keeps and terminates the text before it.
          {s, 16, u"ab%s%Q", u"x", u"", -1, u"abx"},
          {ns, 16, u"%s%", u"x", u"", -1, u"x"}};
  for (auto [member, count, format, a, b, answer, text] : cases) {
    Buffer buffer;
    EXPECT_EQ(member(buffer.units, count, format, a, b), answer) << "count " << count;
    EXPECT_EQ(buffer.Text(), text) << "count " << count;
  }
}

// The engine: a null limit is no limit, and so is all ones.
TEST(U16PrintfLimits, EngineLimitPointer) {
  auto engine = [](ZUL_UTF16 *out, const size_t *limit, const char16_t *format, ...) {
    va_list args;
    va_start(args, format);
    int rc = vvfprintfU16(nullptr, out, limit, format, args);
    va_end(args);
    return rc;
  };
  Buffer buffer;
  const size_t all_ones = SIZE_MAX, three = 3;
  EXPECT_EQ(engine(buffer.units, nullptr, u"%05u", 7u), 5);
  EXPECT_EQ(buffer.Text(), u"00007");
  EXPECT_EQ(engine(buffer.units, &all_ones, u"%x", 0xbeefu), 4);
  EXPECT_EQ(buffer.Text(), u"beef");
  EXPECT_EQ(engine(buffer.units, &three, u"%x", 0xbeefu), 4);
  EXPECT_EQ(buffer.Text(), u"be");
}

TEST(U16PrintfArgs, CheckArgs) {
  Buffer buffer;
  ZUL_UTF16 *out = buffer.units;
  const struct {
    std::function<int()> call;
    int answer;
    int error;  // errno after the call, which starts at 0
  } cases[] = {
      {[] { return sprintfU16(nullptr, u"x"); }, -1, EBADF},
      {[] { return fprintfU16(nullptr, u"x"); }, -1, EBADF},
      {[] { return snprintfU16(nullptr, 8, u"x"); }, -1, EBADF},
      {[] { return snprintfU16(nullptr, 0, u"x"); }, 0, 0},  // no target, no limit: nothing to do
      {[=] { return sprintfU16(out, nullptr); }, -1, EINVAL},
      {[] { return snprintf_sRFB(nullptr, 4, "x"); }, -1, EBADF}};
  for (const auto &c : cases) {
    errno = 0;
    EXPECT_EQ(c.call(), c.answer) << "case " << &c - cases;
    EXPECT_EQ(errno, c.error) << "case " << &c - cases;
  }
  EXPECT_EQ(buffer.units[0], kFill);
}

TEST(U16PrintfUnknown, DropsTheRestAndReportsAboveLevelThree) {
  for (int level : {3, 4}) {
    u16test::TraceCapture trace(level);
    Buffer buffer;
    // The format is shown cut to 8 bits: U+0141 shows as 'A'.
    EXPECT_EQ(sprintfU16(buffer.units, u"\u0141%-5Sx%d", 5), -1);
    EXPECT_EQ(buffer.Text(), u"\u0141");
    ASSERT_EQ(trace.Messages().size(), level > 3 ? 1u : 0u);
    if (level > 3) {
      EXPECT_EQ(trace.Messages()[0].rfind(u"Error in format string at or near 'S':\nA%-5Sx%d\n", 0),
                0u);
    }
  }
}

TEST(U16PrintfFile, WritesUtf8AndAnswersUnits) {
  FILE *file = tmpfile();
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(fprintfU16(file, u"\u00e9%s=%-4d|%c", u"\u20ac", 42, 0), 9);
  EXPECT_EQ(fprintfU(file, u"%05.1f", 2.25), 5);
  rewind(file);
  char bytes[32] = {};
  EXPECT_EQ(fread(bytes, 1, sizeof bytes, file), 16u);
  // The %c of 0 counts but isn't written.
  EXPECT_STREQ(bytes, "\xc3\xa9\xe2\x82\xac=42  |002.2");
  fclose(file);

  // A stream that refuses the bytes fails the call.
  FILE *read_only = fmemopen(bytes, sizeof bytes, "r");
  ASSERT_NE(read_only, nullptr);
  EXPECT_EQ(fprintfU16(read_only, u"abc%d", 1), -1);
  fclose(read_only);
}

TEST(U16PrintfHuge, WidthsAndPrecisionsBeyondTheInlineBuffer) {
  std::vector<char16_t> big(200010, kFill);
  EXPECT_EQ(sprintfU16(big.data(), u"%100000d|", 7), 100001);
  EXPECT_EQ(std::u16string(big.data() + 99998), u" 7|");

  // Padding is counted, not written, once a limited buffer is full.
  Buffer buffer;
  EXPECT_EQ(snprintfU16(buffer.units, 16, u"%-100000s", u"x"), 100000);
  EXPECT_EQ(buffer.Text(), u"x" + std::u16string(14, u' '));

  // Integer precision: the value takes an allocated buffer.
  EXPECT_EQ(sprintfU16(big.data(), u"%-+.100000d", -12), 100001);
  EXPECT_EQ(std::u16string(big.data(), 2), u"-0");
  EXPECT_EQ(std::u16string(big.data() + 99999), u"12");

  // Floating point above the inline buffer equals the C library's.
  std::vector<char> expected(big.size());
  for (const char *format : {"%.5000f", "%#.1500g"}) {
    int n = std::snprintf(expected.data(), expected.size(), format, 1.0 / 3.0);
    EXPECT_EQ(sprintfU16(big.data(), W(format).c_str(), 1.0 / 3.0), n) << format;
    EXPECT_EQ(std::u16string(big.data()), W(expected.data())) << format;
  }
}

TEST(RfbPrintf, BoundsAroundTheLibrary) {
  // sprintf_sRFB or snprintf_sRFB, size and argument; the answer and the text ("#": untouched).
  const std::tuple<bool, size_t, const char *, int, const char *> cases[] = {
      {false, 4, "0123456789", 4, "012"},
      {false, 8, "42", 2, "42"},
      {false, 0, "42", 0, "#"},
      {true, 4, "0123456789", -1, ""},
      {true, 4, "0123", -1, ""},
      {true, 4, "012", 3, "012"},
      {true, 0, "1", -1, "#"}};
  for (auto [sprintf_s, size, arg, answer, text] : cases) {
    char buffer[8] = "#";
    EXPECT_EQ(
        sprintf_s ? sprintf_sRFB(buffer, size, "%s", arg) : snprintf_sRFB(buffer, size, "%s", arg),
        answer)
        << arg << " in " << size;
    EXPECT_TRUE((answer < 0 && size > 0) || std::string(buffer) == text) << arg << " in " << size;
  }
}

}  // namespace
