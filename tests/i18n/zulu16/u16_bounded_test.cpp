// The bounded copies, 16-bit and 8-bit forms alike: size 0 touches nothing and answers 0, a result
// that doesn't fit empties the destination and answers 34, success answers 0.
#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <string>

#include "zul_u16string.h"

namespace {

template <class Unit>
struct Forms {
  static constexpr auto cpy = strcpy_sU16, cat = strcat_sU16;
  static constexpr auto ncpy = strncpy_sU16, ncat = strncat_sU16;
  static constexpr auto mem = memcpy_sU16, move = memmove_sU16;
};
template <>
struct Forms<char> {
  static constexpr auto cpy = strcpy_sRFB, cat = strcat_sRFB;
  static constexpr auto ncpy = strncpy_sRFB, ncat = strncat_sRFB;
  static constexpr auto mem = memcpy_sRFB, move = memmove_sRFB;
};

template <class Unit>
std::basic_string<Unit> S(const char *text) {
  return {text, text + std::char_traits<char>::length(text)};
}

template <class T>
class Bounded : public testing::Test {};
using Widths = testing::Types<ZUL_UTF16, char>;
TYPED_TEST_SUITE(Bounded, Widths);

// Each form runs on a destination of 8 units that starts as `initial` and '-' units, at every
// size from 0 to 7; it fits from `fits_from` on.
TYPED_TEST(Bounded, EachFormFitsFromItsSizeOn) {
  using Unit = TypeParam;
  using F = Forms<Unit>;
  const auto abc = S<Unit>("abc"), cdef = S<Unit>("cdef");
  const struct {
    const char *name, *initial;
    size_t fits_from;
    const char *want;
    std::function<int(Unit *, size_t)> op;
  } rows[] = {
      {"cpy", "xy", 4, "abc", [&](Unit *d, size_t n) { return F::cpy(d, n, abc.c_str()); }},
      {"ncpy 2", "xy", 3, "ab", [&](Unit *d, size_t n) { return F::ncpy(d, n, abc.c_str(), 2); }},
      // "ab" + "cdef" needs 7 units; with size 1 or 2 "ab" has no terminator within size.
      {"cat", "ab", 7, "abcdef", [&](Unit *d, size_t n) { return F::cat(d, n, cdef.c_str()); }},
      {"ncat 2", "ab", 5, "abcd",
       [&](Unit *d, size_t n) { return F::ncat(d, n, cdef.c_str(), 2); }},
      {"mem 4", "", 4, "abc", [&](Unit *d, size_t n) { return F::mem(d, n, abc.c_str(), 4); }},
  };
  for (const auto &r : rows) {
    for (size_t size = 0; size <= 7; ++size) {
      SCOPED_TRACE(testing::Message() << r.name << " size " << size);
      std::basic_string<Unit> dst = S<Unit>(r.initial) + Unit(0);
      dst.resize(8, Unit('-'));
      const auto before = dst;
      const int rc = r.op(dst.data(), size);
      if (size == 0) {
        EXPECT_EQ(rc, 0);
        EXPECT_TRUE(dst == before);
      } else if (size < r.fits_from) {
        EXPECT_EQ(rc, ERANGE);
        EXPECT_EQ(dst[0], Unit(0));
      } else {
        EXPECT_EQ(rc, 0);
        EXPECT_TRUE(std::basic_string<Unit>(dst.c_str()) == S<Unit>(r.want));
      }
    }
  }
  auto buf = S<Unit>("abcdef");
  EXPECT_EQ(F::move(buf.data() + 1, 5, buf.data(), 4), 0);
  EXPECT_TRUE(buf == S<Unit>("aabcdf"));
  Unit dst[4] = {Unit('x')};
  EXPECT_EQ(F::cpy(dst, 4, nullptr), EINVAL);
  EXPECT_EQ(dst[0], Unit(0));
  EXPECT_EQ(F::cpy(nullptr, 4, dst), EINVAL);
  EXPECT_EQ(F::mem(dst, 4, nullptr, 1), EINVAL);
}

}  // namespace
