// Differential test: for every format that both engines read alike, our output is the C library's
// output, unit for unit, with the same answer. Formats are drawn from grids of flags, widths,
// precisions, length modifiers and values by a fixed-seed generator, so every run checks the same
// tens of thousands of cases.
#include <gtest/gtest.h>
#include <sys/types.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "u16_printf_test_util.h"

namespace {

using u16_printf_test::Widen;

constexpr size_t kRoom = 16384;

// A %s argument: 8-bit text for the C library, its 16-bit copy for us.
struct Text {
  const char *narrow;
  const char16_t *wide;
};
template <typename T>
T Narrow(T value) {
  return value;
}
const char *Narrow(Text text) { return text.narrow; }
template <typename T>
T Wide(T value) {
  return value;
}
const char16_t *Wide(Text text) { return text.wide; }

std::string Show(const char16_t *units, int count) {
  std::string out;
  for (int i = 0; i < count; ++i) out += units[i] < 0x80 ? static_cast<char>(units[i]) : '?';
  return out;
}

template <typename... Args>
::testing::AssertionResult SameAsLibrary(const std::string &format, Args... args) {
  static char expected[kRoom];
  static char16_t actual[kRoom];
  int expected_answer = std::snprintf(expected, kRoom, format.c_str(), Narrow(args)...);
  std::u16string wide_format = Widen(format);
  int answer = snprintfU16(actual, kRoom, wide_format.c_str(), Wide(args)...);
  if (expected_answer < 0 || expected_answer >= static_cast<int>(kRoom)) {
    return ::testing::AssertionFailure() << "the library can't format " << format;
  }
  if (answer == expected_answer &&
      Widen(std::string(expected, expected_answer)) == std::u16string(actual, answer) &&
      actual[answer] == 0) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure()
         << "\"" << format << "\" gives \"" << Show(actual, answer < 0 ? 0 : answer) << "\" ("
         << answer << "), the library \"" << expected << "\" (" << expected_answer << ")";
}

// One drawn conversion specification: flags, width and precision, either of which may be '*'.
struct Spec {
  std::string flags;
  std::string width;      // digits, or empty
  std::string precision;  // ".", ".digits", or empty
  std::optional<int> star_width;
  std::optional<int> star_precision;

  std::string Format(const std::string &length, char letter) const {
    std::string f = "[%" + flags;
    f += star_width ? "*" : width;
    f += star_precision ? ".*" : precision;
    return f + length + letter + "]";
  }
};

// Passes the '*' arguments in front of the value.
template <typename V>
::testing::AssertionResult Check(const Spec &spec, const std::string &length, char letter,
                                 V value) {
  std::string f = spec.Format(length, letter);
  if (spec.star_width && spec.star_precision) {
    return SameAsLibrary(f, *spec.star_width, *spec.star_precision, value);
  }
  if (spec.star_width) return SameAsLibrary(f, *spec.star_width, value);
  if (spec.star_precision) return SameAsLibrary(f, *spec.star_precision, value);
  return SameAsLibrary(f, value);
}

class Grid {
 public:
  explicit Grid(uint32_t seed) : random_(seed) {}

  Spec Draw(bool with_star = true) {
    Spec s;
    static const char kFlags[] = "-+ #0";
    for (int i = 0; i < 5; ++i)
      if (Pick(3) == 0) s.flags += kFlags[i];
    switch (Pick(with_star ? 5 : 4)) {
      case 0:
      case 1:
        break;
      case 4:
        s.star_width = Pick(25) - 12;
        break;
      default:
        s.width = std::to_string(1 + Pick(12));
        break;
    }
    switch (Pick(with_star ? 6 : 5)) {
      case 0:
      case 1:
        break;
      case 2:
        s.precision = ".";
        break;
      case 5:
        s.star_precision = Pick(16) - 3;
        break;
      default:
        s.precision = "." + std::to_string(Pick(13));
        break;
    }
    return s;
  }

  int Pick(int n) { return static_cast<int>(random_() % static_cast<uint32_t>(n)); }
  template <typename T>
  const T &PickOf(const std::vector<T> &items) {
    return items[Pick(static_cast<int>(items.size()))];
  }

 private:
  std::mt19937 random_;
};

constexpr int kCasesPerLetter = 3000;

std::vector<long long> SignedValues64() {
  std::vector<long long> v = {0, 1, -1, LLONG_MIN, LLONG_MAX, INT_MIN, INT_MAX, 0x123456789aLL};
  for (long long p = 10;; p *= 10) {
    v.push_back(p);
    v.push_back(-p);
    v.push_back(p - 1);
    if (p > LLONG_MAX / 10) break;
  }
  return v;
}

const std::vector<int> kSignedValues32 = {0,     1,      -1,        INT_MIN,    INT_MAX,    42,
                                          -42,   127,    128,       -128,       -129,       255,
                                          256,   32767,  32768,     -32769,     65535,      65536,
                                          99999, 100000, 999999999, 1000000000, -1000000000};
const std::vector<unsigned> kUnsignedValues32 = {
    0u,     1u,     7u,          8u,       255u,        256u,       4095u,
    65535u, 65536u, 0x80000000u, UINT_MAX, 1000000000u, 0xdeadbeefu};
const std::vector<unsigned long long> kUnsignedValues64 = {0ull,
                                                           1ull,
                                                           8ull,
                                                           ULLONG_MAX,
                                                           1ull << 63,
                                                           0x123456789abcdefull,
                                                           10000000000000000000ull,
                                                           999999999999ull,
                                                           0xffffffffull,
                                                           0x100000000ull};

TEST(U16PrintfDifferential, SignedIntegers) {
  Grid grid(11);
  const std::vector<long long> wide = SignedValues64();
  const std::vector<std::string> lengths = {"", "hh", "h", "l", "ll", "j", "z", "t"};
  for (char letter : {'d', 'i'}) {
    for (int i = 0; i < kCasesPerLetter; ++i) {
      Spec spec = grid.Draw();
      const std::string &length = grid.PickOf(lengths);
      if (length.empty() || length[0] == 'h') {
        EXPECT_TRUE(Check(spec, length, letter, grid.PickOf(kSignedValues32)));
      } else if (length == "l") {
        EXPECT_TRUE(Check(spec, length, letter, static_cast<long>(grid.PickOf(wide))));
      } else if (length == "ll") {
        EXPECT_TRUE(Check(spec, length, letter, grid.PickOf(wide)));
      } else if (length == "j") {
        EXPECT_TRUE(Check(spec, length, letter, static_cast<intmax_t>(grid.PickOf(wide))));
      } else if (length == "z") {
        EXPECT_TRUE(Check(spec, length, letter, static_cast<ssize_t>(grid.PickOf(wide))));
      } else {
        EXPECT_TRUE(Check(spec, length, letter, static_cast<ptrdiff_t>(grid.PickOf(wide))));
      }
    }
  }
}

TEST(U16PrintfDifferential, UnsignedIntegers) {
  Grid grid(12);
  const std::vector<std::string> lengths = {"", "hh", "h", "l", "ll", "j", "z", "t"};
  for (char letter : {'u', 'o', 'x', 'X'}) {
    for (int i = 0; i < kCasesPerLetter; ++i) {
      Spec spec = grid.Draw();
      const std::string &length = grid.PickOf(lengths);
      if (length.empty() || length[0] == 'h') {
        EXPECT_TRUE(Check(spec, length, letter, grid.PickOf(kUnsignedValues32)));
      } else if (length == "l") {
        EXPECT_TRUE(Check(spec, length, letter,
                          static_cast<unsigned long>(grid.PickOf(kUnsignedValues64))));
      } else if (length == "ll") {
        EXPECT_TRUE(Check(spec, length, letter, grid.PickOf(kUnsignedValues64)));
      } else if (length == "j") {
        EXPECT_TRUE(
            Check(spec, length, letter, static_cast<uintmax_t>(grid.PickOf(kUnsignedValues64))));
      } else if (length == "z") {
        EXPECT_TRUE(
            Check(spec, length, letter, static_cast<size_t>(grid.PickOf(kUnsignedValues64))));
      } else {
        EXPECT_TRUE(
            Check(spec, length, letter, static_cast<ptrdiff_t>(grid.PickOf(kUnsignedValues64))));
      }
    }
  }
}

TEST(U16PrintfDifferential, CharactersStringsPointersAndPercent) {
  Grid grid(13);
  const std::vector<int> units = {'A', 'z', ' ', '~', '0'};
  const std::vector<Text> texts = {{"", u""},
                                   {"a", u"a"},
                                   {"hello", u"hello"},
                                   {"hello, world", u"hello, world"},
                                   {"0123456789abcdef", u"0123456789abcdef"}};
  int dummy = 0;
  const std::vector<const void *> pointers = {nullptr, reinterpret_cast<void *>(1),
                                              reinterpret_cast<void *>(0xbeef),
                                              reinterpret_cast<void *>(UINTPTR_MAX), &dummy};
  for (int i = 0; i < kCasesPerLetter; ++i) {
    EXPECT_TRUE(Check(grid.Draw(), "", 'c', grid.PickOf(units)));
    // %lc reads a wint_t in the library: the same for ASCII.
    EXPECT_TRUE(Check(grid.Draw(), "l", 'c', grid.PickOf(units)));
    EXPECT_TRUE(Check(grid.Draw(), "", 's', grid.PickOf(texts)));
    EXPECT_TRUE(Check(grid.Draw(), "", 'p', grid.PickOf(pointers)));
    // No '*' for "%%": whether it consumes an argument is not a shared behaviour.
    EXPECT_TRUE(SameAsLibrary(grid.Draw(false).Format("", '%')));
  }
}

std::vector<double> DoubleValues() {
  return {0.0,    -0.0,  1.0,   -1.0,     0.5,       1.5,       2.5,        -2.5,    0.125,
          0.1,    0.05,  0.15,  1e-5,     0.000123,  9.9999995, 123456.789, 1e15,    1e16,
          1e22,   1e100, 1e300, -1e300,   1e-300,    DBL_MAX,   -DBL_MAX,   DBL_MIN, DBL_TRUE_MIN,
          5e-320, NAN,   -NAN,  INFINITY, -INFINITY, 999.9995,  0.999999,   1e-7,    65536.0};
}

std::vector<long double> LongDoubleValues() {
  return {0.0L,      -0.0L,    1.0L,     0.1L,          2.5L,  -1.5L, 123456.789L, 1e4000L,
          -1e-4000L, LDBL_MAX, LDBL_MIN, LDBL_TRUE_MIN, 1e30L, NAN,   -INFINITY};
}

TEST(U16PrintfDifferential, FloatingPoint) {
  Grid grid(14);
  const std::vector<double> doubles = DoubleValues();
  const std::vector<long double> long_doubles = LongDoubleValues();
  for (char letter : {'e', 'E', 'f', 'F', 'g', 'G', 'a', 'A'}) {
    for (int i = 0; i < kCasesPerLetter; ++i) {
      Spec spec = grid.Draw();
      switch (grid.Pick(4)) {
        case 0:
          EXPECT_TRUE(Check(spec, "L", letter, grid.PickOf(long_doubles)));
          break;
        case 1:
          EXPECT_TRUE(Check(spec, "l", letter, grid.PickOf(doubles)));
          break;
        default:
          EXPECT_TRUE(Check(spec, "", letter, grid.PickOf(doubles)));
          break;
      }
    }
  }
}

// Literal text around and between conversions, several conversions in one format.
TEST(U16PrintfDifferential, MixedFormats) {
  EXPECT_TRUE(SameAsLibrary("no conversion at all"));
  EXPECT_TRUE(SameAsLibrary("100%% sure, %d%%", 42));
  EXPECT_TRUE(SameAsLibrary("%s|%s:%s\" value=\"%d\" max=\"%d\" min=\"%d\" count=\"%d\" />\n",
                            Text{"Frontend", u"Frontend"}, Text{"Servlets", u"Servlets"},
                            Text{"Average Response Time (ms)", u"Average Response Time (ms)"},
                            123456, 987654321, 12345, 7));
  EXPECT_TRUE(
      SameAsLibrary("%-10s|%+.3e|%#o|%c%c|%lld", Text{"ab", u"ab"}, 12345.678, 8u, 'x', 'y', -5LL));
  EXPECT_TRUE(SameAsLibrary("%*d|%-*d|%.*f|%*.*Lf", 6, 1, 6, 2, 2, 3.14159, 12, 4, 2.5L));
}

}  // namespace
