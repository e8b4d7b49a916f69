// Differential test: for every format that both engines read alike, our output is the C library's
// output, unit for unit, with the same answer. A fixed-seed generator draws about 57000 formats
// from grids of flags, widths, precisions ('*' included), length modifiers and values.

#include <cfloat>
#include <climits>
#include <cmath>
#include <random>

#include "u16_string_test_support.h"
#include "zul_u16printf.h"

namespace {

using u16test::W;

constexpr size_t kRoom = 16384;
constexpr int kCasesPerLetter = 3000;

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

template <typename... Args>
::testing::AssertionResult SameAsLibrary(const std::string &format, Args... args) {
  static char expected[kRoom];
  static char16_t actual[kRoom];
  const int expected_answer = std::snprintf(expected, kRoom, format.c_str(), Narrow(args)...);
  const int answer = snprintfU16(actual, kRoom, W(format).c_str(), Wide(args)...);
  if (answer == expected_answer && answer >= 0 &&
      W(std::string(expected, answer)) == std::u16string(actual, answer) && actual[answer] == 0)
    return ::testing::AssertionSuccess();
  std::string shown;
  for (int i = 0; i < answer; ++i) shown += static_cast<char>(actual[i]);
  return ::testing::AssertionFailure()
         << "\"" << format << "\" gives \"" << shown << "\" (" << answer << "), the library \""
         << expected << "\" (" << expected_answer << ")";
}

// Draws specifications; '*' width and precision values go in front of the converted value.
class Grid {
 public:
  explicit Grid(uint32_t seed) : random_(seed) {}

  template <typename V>
  ::testing::AssertionResult Check(const std::string &length, char letter, V value) {
    std::string f = "[%";
    for (char flag : std::string("-+ #0"))
      if (Pick(3) == 0) f += flag;
    const int width_kind = Pick(5), precision_kind = Pick(6);
    const int width = Pick(25) - 12, precision = Pick(16) - 3;
    if (width_kind == 4) f += "*";
    if (width_kind >= 2 && width_kind < 4) f += std::to_string(1 + Pick(12));
    if (precision_kind == 5) f += ".*";
    if (precision_kind == 2) f += ".";
    if (precision_kind >= 3 && precision_kind < 5) f += "." + std::to_string(Pick(13));
    f += length + letter + "]";
    if (letter == '%') return SameAsLibrary(f);
    if (width_kind == 4 && precision_kind == 5) return SameAsLibrary(f, width, precision, value);
    if (width_kind == 4) return SameAsLibrary(f, width, value);
    if (precision_kind == 5) return SameAsLibrary(f, precision, value);
    return SameAsLibrary(f, value);
  }

  int Pick(int n) { return static_cast<int>(random_() % static_cast<uint32_t>(n)); }
  template <typename T>
  const T &PickOf(const std::vector<T> &items) {
    return items[Pick(static_cast<int>(items.size()))];
  }

 private:
  std::mt19937 random_;
};

std::vector<long long> IntegerValues() {
  std::vector<long long> v = {0,   1,     -1,     LLONG_MIN, LLONG_MAX,  INT_MIN,     INT_MAX,
                              127, 128,   -129,   255,       32767,      -32769,      65535,
                              8,   65536, 100000, UINT_MAX,  0xdeadbeef, 0x123456789a};
  for (long long p = 10; p <= LLONG_MAX / 10; p *= 10) v.insert(v.end(), {p, -p, p - 1});
  return v;
}

// Each length modifier gets its own C type; only the value is drawn from one list.
TEST(U16PrintfDifferential, Integers) {
  Grid grid(11);
  const std::vector<long long> values = IntegerValues();
  const std::vector<std::string> lengths = {"", "hh", "h", "l", "ll", "j", "z", "t"};
  for (char letter : std::string("diuoxX")) {
    const bool is_signed = letter == 'd' || letter == 'i';
    for (int i = 0; i < kCasesPerLetter; ++i) {
      const std::string &length = grid.PickOf(lengths);
      const long long v = grid.PickOf(values);
      if (length.empty() || length[0] == 'h') {
        EXPECT_TRUE(is_signed ? grid.Check(length, letter, static_cast<int>(v))
                              : grid.Check(length, letter, static_cast<unsigned>(v)));
      } else if (length == "ll") {
        EXPECT_TRUE(is_signed ? grid.Check(length, letter, v)
                              : grid.Check(length, letter, static_cast<unsigned long long>(v)));
      } else if (is_signed || length == "t") {  // long, intmax_t, ssize_t, ptrdiff_t
        EXPECT_TRUE(grid.Check(length, letter, static_cast<long>(v)));
      } else {  // unsigned long, uintmax_t, size_t
        EXPECT_TRUE(grid.Check(length, letter, static_cast<unsigned long>(v)));
      }
    }
  }
}

TEST(U16PrintfDifferential, CharactersStringsPointersAndPercent) {
  Grid grid(13);
  const std::vector<int> units = {'A', 'z', ' ', '~', '0'};
  const std::vector<Text> texts = {
      {"", u""}, {"a", u"a"}, {"hello, world", u"hello, world"}, {"0123456789", u"0123456789"}};
  const std::vector<const void *> pointers = {nullptr, reinterpret_cast<void *>(1),
                                              reinterpret_cast<void *>(0xbeef),
                                              reinterpret_cast<void *>(UINTPTR_MAX), &grid};
  for (int i = 0; i < kCasesPerLetter; ++i) {
    EXPECT_TRUE(grid.Check("", 'c', grid.PickOf(units)));
    EXPECT_TRUE(grid.Check("l", 'c', grid.PickOf(units)));  // a wint_t there: alike for ASCII
    EXPECT_TRUE(grid.Check("", 's', grid.PickOf(texts)));
    EXPECT_TRUE(grid.Check("", 'p', grid.PickOf(pointers)));
    EXPECT_TRUE(grid.Check("", '%', 0));  // flags and width don't apply; '*' isn't passed
  }
}

TEST(U16PrintfDifferential, FloatingPoint) {
  Grid grid(14);
  const std::vector<double> doubles = {
      0.0,          -0.0,   1.0,  -1.0,  0.5,      1.5,       2.5,        -2.5,
      0.125,        0.05,   0.15, 1e-5,  1e-7,     9.9999995, 999.9995,   0.999999,
      1e15,         1e16,   1e22, 1e300, -1e300,   1e-300,    DBL_MAX,    DBL_MIN,
      DBL_TRUE_MIN, 5e-320, NAN,  -NAN,  INFINITY, -INFINITY, 123456.789, 65536.0};
  const std::vector<long double> long_doubles = {
      0.0L,      -0.0L,    1.0L,     0.1L,          2.5L,  -1.5L, 123456.789L, 1e4000L,
      -1e-4000L, LDBL_MAX, LDBL_MIN, LDBL_TRUE_MIN, 1e30L, NAN,   -INFINITY};
  for (char letter : std::string("eEfFgGaA")) {
    for (int i = 0; i < kCasesPerLetter; ++i) {
      const int kind = grid.Pick(4);
      EXPECT_TRUE(kind == 0 ? grid.Check("L", letter, grid.PickOf(long_doubles))
                            : grid.Check(kind == 1 ? "l" : "", letter, grid.PickOf(doubles)));
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
      SameAsLibrary("%*d|%-*d|%.*f|%*.*Lf|%c%c", 6, 1, 6, 2, 2, 3.14159, 12, 4, 2.5L, 'x', 'y'));
}

}  // namespace
