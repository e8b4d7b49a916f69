// Number conversion, differentially against the C library on widened ASCII input (the corpus
// replay of the readers' fuzz target compares more texts), plus the behaviour that is this
// runtime's own: base errors, Unicode white space, the NaN spellings and the strtod trace.

#include <cerrno>
#include <cmath>

#include "u16_string_test_support.h"

namespace {

using u16test::W;
using u16test::Z;

// Texts at the limits of each type, and prefixes and digits that the corpus doesn't hold.
// clang-format off
const char *const kIntegers[] = {"", "-", "\t\n\v\f\r 42", "\x1c 7", "-0x10", "08", "0b101", "zZ",
    "9223372036854775807", "-9223372036854775808", "18446744073709551615", "-18446744073709551615"};
// clang-format on

template <class Int, class Ours, class Theirs>
void ExpectSameAsC(const char *name, Ours ours, Theirs theirs) {
  for (const char *text : kIntegers) {
    for (int base : {0, 2, 8, 10, 16, 36}) {
      SCOPED_TRACE(testing::Message() << name << "(\"" << text << "\", " << base << ")");
      const std::u16string wide = W(text);
      ZUL_UTF16 *our_end = nullptr;
      char *their_end = nullptr;
      errno = 0;
      Int our_value = ours(Z(wide), &our_end, base);
      int our_errno = errno;
      errno = 0;
      Int their_value = theirs(text, &their_end, base);
      EXPECT_EQ(our_value, their_value);
      EXPECT_EQ(our_errno, errno);
      EXPECT_EQ(our_end - Z(wide), their_end - text);
    }
  }
}

TEST(U16Strtol, IntegersAsTheCLibraryReadsThem) {
  ExpectSameAsC<long>("strtolU16", strtolU16, strtol);
  ExpectSameAsC<unsigned long>("strtoulU16", strtoulU16, strtoul);
  ExpectSameAsC<long long>("strtollU16", strtollU16, strtoll);
  ExpectSameAsC<unsigned long long>("strtoullU16", strtoullU16, strtoull);
}

// The answer, errno and end for an illegal base the readers' fuzz target compares with the C
// library; the report is the runtime's own.
TEST(U16Strtol, IllegalBaseIsReportedAboveLevel15) {
  const std::u16string s = W("  12");
  for (int base : {-1, 1, 37}) {
    for (int level : {15, 16}) {
      u16test::TraceCapture capture(level);
      strtolU16(Z(s), nullptr, base);
      ASSERT_EQ(capture.Messages().size(), level > 15 ? 1u : 0u);
      EXPECT_TRUE(level == 15 ||
                  u16test::StartsWith(capture.Messages()[0],
                                      "Illegal base " + std::to_string(base) + " in strtolU16\n"));
    }
  }
}

TEST(U16Strtol, UnicodeWhiteSpaceIsSkipped) {
  const std::u16string s = u"\u3000\u00A0\u2003-42x";
  ZUL_UTF16 *end = nullptr;
  EXPECT_EQ(strtolU16(Z(s), &end, 10), -42);
  EXPECT_EQ(end, Z(s) + 6);
  const std::u16string blank = u" \u3000";
  EXPECT_EQ(strtolU16(Z(blank), &end, 0), 0);
  EXPECT_EQ(end, Z(blank));
}

// Besides NaN and infinity, which the fuzz target leaves out, texts unlike the corpus's ones.
// clang-format off
const char *const kDoubles[] = {
    "", "1", "-1.5", ".5", "5.", ".", "-", "1e10", "1e", "1E-5", "  3.25xyz", "0x1p3", "0x.8",
    "inf", "-INF", "Infinity", "INFINITY", "infin", "nan", "NaN", "NAN", "-nan", "Nan", "-1e400",
    "1e-400", "4.9e-324", "123456789012345678901234567890", "00012", "1e5e5"};
// clang-format on

TEST(U16Strtod, DoublesAsTheCLibraryReadsThem) {
  for (const char *text : kDoubles) {
    SCOPED_TRACE(text);
    const std::u16string wide = W(text);
    ZUL_UTF16 *our_end = nullptr;
    char *their_end = nullptr;
    errno = 0;
    double ours = strtodU16(Z(wide), &our_end);
    int our_errno = errno;
    errno = 0;
    double theirs = std::strtod(text, &their_end);
    if (std::isnan(theirs)) {
      EXPECT_TRUE(std::isnan(ours));
      EXPECT_EQ(std::signbit(ours), std::signbit(theirs));
    } else {
      EXPECT_EQ(ours, theirs);
    }
    EXPECT_EQ(our_errno, errno);
    EXPECT_EQ(our_end - Z(wide), their_end - text);
  }
}

// Spellings that the C library accepts but this runtime doesn't, or accepts only in part.
TEST(U16Strtod, OnlyTheListedNanAndInfinitySpellingsAreNumbers) {
  const struct {
    const char *text;
    bool nan;
    size_t end;
  } cases[] = {{"nAn", false, 0},    {"NAn", false, 0}, {"iNf", false, 0},
               {"nan(12)", true, 3}, {"naN", true, 3},  {"infInity", false, 3}};
  for (const auto &c : cases) {
    SCOPED_TRACE(c.text);
    const std::u16string wide = W(c.text);
    ZUL_UTF16 *end = nullptr;
    double v = strtodU16(Z(wide), &end);
    EXPECT_EQ(std::isnan(v), c.nan);
    EXPECT_EQ(static_cast<size_t>(end - Z(wide)), c.end);
  }
}

TEST(U16Strtod, PartlyAcceptedTextIsTracedAboveLevel0) {
  const std::u16string s = W(" 1e+");
  for (int level : {0, 1}) {
    u16test::TraceCapture capture(level);
    strtodU16(Z(s), nullptr);  // 1.0, up to the 'e', as the C library reads it
    ASSERT_EQ(capture.Messages().size(), level > 0 ? 1u : 0u);
    EXPECT_TRUE(level == 0 || u16test::StartsWith(capture.Messages()[0],
                                                  "strtod accepted 1 characters (expected 3)\n"));
  }
}

TEST(U16Ecvt, DigitsAsTheCLibraryGivesThem) {
  for (double v : {0.0, 1.0 / 3, -123.456, 1e300, 5e-324, HUGE_VAL}) {
    for (int ndigit : {-1, 0, 1, 5, 17, 30}) {
      SCOPED_TRACE(testing::Message() << v << " " << ndigit);
      int our_decpt = 0, our_sign = 0, decpt = 0, sign = 0;
      char digits[64];
      ASSERT_EQ(ecvt_r(v, ndigit, &decpt, &sign, digits, sizeof digits), 0);
      ZUL_UTF16 *ours = ecvtU16(v, ndigit, &our_decpt, &our_sign);
      ASSERT_NE(ours, nullptr);
      EXPECT_EQ(std::u16string(ours), W(digits));
      EXPECT_EQ(our_decpt, decpt);
      EXPECT_EQ(our_sign, sign);
    }
  }
}

}  // namespace
