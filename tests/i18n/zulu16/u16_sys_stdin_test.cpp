#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio_ext.h>

#include <cerrno>

#include "i18n/zulu16/u16_stdin.h"
#include "u16_sys_test_util.h"
#include "zul_u16stdio.h"
#include "zul_u16sys.h"

namespace {

using u16systest::TempDir;
using u16test::StartsWith;
using u16test::TraceCapture;

// An unnamed temporary file of the given bytes, open for reading from its start.
using File = std::unique_ptr<FILE, int (*)(FILE *)>;
File Input(const std::string &bytes) {
  File f(tmpfile(), fclose);
  if (f != nullptr && fwrite(bytes.data(), 1, bytes.size(), f.get()) == bytes.size())
    rewind(f.get());
  return f;
}

// Standard input reads the given bytes for the life of the object.
class StdinFrom {
 public:
  explicit StdinFrom(const std::string &bytes) : file_(Input(bytes)), saved_(dup(0)) {
    if (file_ != nullptr) dup2(fileno(file_.get()), 0);
    __fpurge(stdin);
    clearerr(stdin);
  }
  ~StdinFrom() {
    dup2(saved_, 0);
    close(saved_);
    __fpurge(stdin);
    clearerr(stdin);
  }

 private:
  File file_;
  int saved_;
};

TEST(GetcUnlockedU16Errno, DecodesAndStopsAtBytesThatCannotFollow) {
  struct Read {
    int value;
    int error;
    std::vector<ZUL_RAW> raw;  // count and bytes, when error is EILSEQ
  };
  const struct {
    std::string bytes;
    std::vector<Read> reads;
  } cases[] = {
      {"A", {{'A', 0, {}}, {EOF, 0, {}}}},
      {"\xc3\xa9", {{0xE9, 0, {}}}},
      {"\xe2\x82\xac", {{0x20AC, 0, {}}}},
      {"\xf0\x9f\x98\x80", {{0x1F600, 0, {}}}},
      {"\xe2(", {{'#', EILSEQ, {1, 0xE2}}, {'(', 0, {}}}},
      {"\xf0\x9f(", {{'#', EILSEQ, {2, 0xF0, 0x9F}}, {'(', 0, {}}}},
      {"\x80x", {{'#', EILSEQ, {1, 0x80}}, {'x', 0, {}}}},
      {"\xff", {{'#', EILSEQ, {1, 0xFF}}}},
      {"\xe2\x82", {{EOF, 0, {}}}},  // the stream ends inside the character
  };
  for (const auto &c : cases) {
    File in = Input(c.bytes);
    ASSERT_NE(in, nullptr);
    for (const Read &expected : c.reads) {
      ZUL_RAW raw[U16_RAW_CHAR_SIZE] = {};
      int error = -1;
      errno = 0;
      EXPECT_EQ(getc_unlockedU16_errno(in.get(), raw, &error), expected.value) << c.bytes;
      EXPECT_EQ(error, expected.error) << c.bytes;
      if (expected.error == EILSEQ) {
        EXPECT_EQ(errno, EILSEQ);
        EXPECT_EQ(std::vector<ZUL_RAW>(raw, raw + 1 + raw[0]), expected.raw) << c.bytes;
      }
    }
  }
}

TEST(FgetcU16, AnswersReplacementAboveFfffAndHashWithEilseqForE228) {
  File in = Input("\xf0\x9f\x98\x80\xe2(");
  ASSERT_NE(in, nullptr);
  EXPECT_EQ(fgetcU16(in.get()), 0xFFFD);
  errno = 0;
  EXPECT_EQ(fgetcU16(in.get()), '#');
  EXPECT_EQ(errno, EILSEQ);
  EXPECT_EQ(fgetcU16(in.get()), '(');
  EXPECT_EQ(fgetcU16(in.get()), EOF);
}

TEST(FwriteU16, LoneHighSurrogateIsWrittenAsHash) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  FILE *out = fopenU16(dir.U16(u"out").c_str(), u"w");
  ASSERT_NE(out, nullptr);
  const ZUL_UTF16 units[] = {u'a', 0xD83D, u'\u00e9'};
  EXPECT_EQ(fwriteU16(units, 1, 3, out), 3u);
  fclose(out);
  EXPECT_EQ(u16systest::ReadBytes(dir.Bytes(u"out")), "a#\xc3\xa9");
}

TEST(FgetsU16, ReadsThroughNewlineWithinTheLimit) {
  File in = Input("eins\nzw\xc3\xb6lf\n\xe2(x");
  ASSERT_NE(in, nullptr);
  ZUL_UTF16 line[8];
  ASSERT_EQ(fgetsU16(line, 8, in.get()), line);
  EXPECT_EQ(std::u16string(line), u"eins\n");
  ASSERT_EQ(fgetsU16(line, 4, in.get()), line);
  EXPECT_EQ(std::u16string(line), u"zw\u00f6");
  ASSERT_EQ(fgetsU16(line, 8, in.get()), line);
  EXPECT_EQ(std::u16string(line), u"lf\n");
  TraceCapture trace(1);
  zulu16::ResetFgetcErrorCount();
  ASSERT_EQ(fgetsU16(line, 8, in.get()), line);
  EXPECT_EQ(std::u16string(line), u"#(x");
  char text[64];
  snprintf(text, sizeof text, "Invalid UTF-8 encountered by fgetsU16 (fileno 0x%x)\n",
           fileno(in.get()));
  ASSERT_FALSE(trace.Messages().empty());
  EXPECT_TRUE(StartsWith(trace.Messages()[0], text));
  EXPECT_EQ(fgetsU16(line, 8, in.get()), nullptr);
}

TEST(FreadU16, AnswersWholeElements) {
  File in = Input(
      "ab\xe2\x82\xac"
      "cde");
  ASSERT_NE(in, nullptr);
  ZUL_UTF16 units[8] = {};
  EXPECT_EQ(freadU16(units, 2, 4, in.get()), 3u);  // six units, the last element incomplete
  EXPECT_EQ(std::u16string(units, 6), u"ab\u20accde");
}

TEST(FgetForms, LinesWordsAndNumbersInBothForms) {
  const std::string text = "  42 -7 x9 99999999999\nzweite Zeile \xe2\x82\xac\n";
  File wide = Input(text), raw = Input(text);
  ASSERT_TRUE(wide != nullptr && raw != nullptr);
  int i = 0;
  long l = 0;
  EXPECT_EQ(fget_intU16(&i, wide.get()), 1);
  EXPECT_EQ(i, 42);
  EXPECT_EQ(fget_longU16(&l, wide.get()), 1);
  EXPECT_EQ(l, -7);
  EXPECT_EQ(fget_intU16(&i, wide.get()), 0);  // "x9"
  EXPECT_EQ(fget_intU16(&i, wide.get()), 0);  // beyond int
  EXPECT_EQ(i, 42);
  ZUL_UTF16 line[8];
  EXPECT_EQ(fget_lineU16(line, 8, wide.get()), 0);  // the rest of the first line
  EXPECT_EQ(fget_lineU16(line, 8, wide.get()), 7);  // "zweite ", the rest dropped
  EXPECT_EQ(std::u16string(line), u"zweite ");
  EXPECT_EQ(fget_lineU16(line, 8, wide.get()), EOF);

  EXPECT_EQ(fget_intR(&i, raw.get()), 1);
  EXPECT_EQ(fget_longR(&l, raw.get()), 1);
  char word[4];
  EXPECT_EQ(fget_strR(word, 4, raw.get()), 2);
  EXPECT_STREQ(word, "x9");
  EXPECT_EQ(fget_longR(&l, raw.get()), 1);
  EXPECT_EQ(l, 99999999999L);
  char bytes[32];
  EXPECT_EQ(fget_lineR(bytes, 32, raw.get()), 0);
  EXPECT_EQ(fget_lineR(bytes, 32, raw.get()), 16);
  EXPECT_STREQ(bytes, "zweite Zeile \xe2\x82\xac");
  EXPECT_EQ(fget_strR(bytes, 32, raw.get()), EOF);
}

TEST(GetsForms, ReadStandardInputAndRefuseLongLines) {
  StdinFrom input("kurz\nviel zu lang\n\xc3\xa4\xc3\xb6\nletzte");
  ZUL_UTF16 line[8];
  EXPECT_EQ(gets_sU16(line, 8), line);
  EXPECT_EQ(std::u16string(line), u"kurz");
  EXPECT_EQ(gets_sU16(line, 8), nullptr);
  EXPECT_EQ(line[0], 0);
  ZUL_UTF16 unbounded[32];
  EXPECT_EQ(getsU16(unbounded), unbounded);
  EXPECT_EQ(std::u16string(unbounded), u"\u00e4\u00f6");
  char bytes[8];
  EXPECT_EQ(gets_sRFB(bytes, 8), bytes);
  EXPECT_STREQ(bytes, "letzte");
  EXPECT_EQ(gets_sRFB(bytes, 8), nullptr);
}

// The report limit, with a clock that the test moves.
class FgetcErrorLimit : public ::testing::Test {
 protected:
  static int64_t Now() { return now_; }
  void SetUp() override {
    now_ = 1000;
    zulu16::SetFgetcErrorClock(&Now);
    zulu16::ResetFgetcErrorCount();
  }
  void TearDown() override {
    u16_set_fgetcU_error_parameters(100, 3600);
    zulu16::SetFgetcErrorClock(nullptr);
    zulu16::ResetFgetcErrorCount();
  }
  // Reads n invalid bytes with fgetcU16.
  static void ReadInvalid(int n) {
    File in = Input(std::string(static_cast<size_t>(n), '\xff'));
    ASSERT_NE(in, nullptr);
    for (int i = 0; i < n; ++i) ASSERT_EQ(fgetcU16(in.get()), '#');
  }
  static int Count(const TraceCapture &trace, const std::string &text) {
    int n = 0;
    for (const auto &m : trace.Messages()) n += StartsWith(m, text) ? 1 : 0;
    return n;
  }
  static inline int64_t now_ = 0;
};

constexpr char kInvalid[] = "Invalid UTF-8 encountered by fgetcU16 (fileno 0x";
constexpr char kSilence[] =
    "Too many invalid UTF-8 in fgetcU16, no more error message will be written for 3600 "
    "seconds\n";
constexpr char kReset[] = "fgetcU16 error counter reset\n";

TEST_F(FgetcErrorLimit, The101stErrorSilencesReportsUntilTheIntervalHasPassed) {
  TraceCapture trace(1);
  ReadInvalid(101);
  EXPECT_EQ(Count(trace, kInvalid), 100);
  EXPECT_EQ(Count(trace, kSilence), 1);

  now_ += 3599;
  ReadInvalid(5);
  EXPECT_EQ(Count(trace, kInvalid), 100);
  EXPECT_EQ(Count(trace, kReset), 0);

  now_ += 1;
  ReadInvalid(1);
  EXPECT_EQ(Count(trace, kReset), 1);
  EXPECT_EQ(Count(trace, kInvalid), 101);
  EXPECT_EQ(Count(trace, kSilence), 1);
}

TEST_F(FgetcErrorLimit, ParametersAreSetAndNegativeOnesKeepTheirValue) {
  {
    TraceCapture silent(0);  // nothing is reported without trace, nor counted toward the limit
    ReadInvalid(150);
    EXPECT_TRUE(silent.Messages().empty());
  }
  TraceCapture trace(1);
  u16_set_fgetcU_error_parameters(2, 10);
  u16_set_fgetcU_error_parameters(-1, -1);
  ReadInvalid(4);
  EXPECT_EQ(Count(trace, kInvalid), 2);
  EXPECT_EQ(Count(trace,
                  "Too many invalid UTF-8 in fgetcU16, no more error message will be written for "
                  "10 seconds\n"),
            1);
  now_ += 10;
  ReadInvalid(1);
  EXPECT_EQ(Count(trace, kReset), 1);
}

}  // namespace
