// The bounded copies, 16-bit and 8-bit forms alike: size 0 touches nothing and answers 0, a result
// that doesn't fit empties the destination and answers 34, success answers 0.
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "zul_u16string.h"

namespace {

struct Wide {
  using Unit = ZUL_UTF16;
  static int Copy(Unit *d, size_t n, const Unit *s) { return strcpy_sU16(d, n, s); }
  static int CopyN(Unit *d, size_t n, const Unit *s, size_t c) { return strncpy_sU16(d, n, s, c); }
  static int Cat(Unit *d, size_t n, const Unit *s) { return strcat_sU16(d, n, s); }
  static int CatN(Unit *d, size_t n, const Unit *s, size_t c) { return strncat_sU16(d, n, s, c); }
  static int Mem(Unit *d, size_t n, const Unit *s, size_t c) { return memcpy_sU16(d, n, s, c); }
  static int Move(Unit *d, size_t n, const Unit *s, size_t c) { return memmove_sU16(d, n, s, c); }
};

struct Raw {
  using Unit = char;
  static int Copy(Unit *d, size_t n, const Unit *s) { return strcpy_sRFB(d, n, s); }
  static int CopyN(Unit *d, size_t n, const Unit *s, size_t c) { return strncpy_sRFB(d, n, s, c); }
  static int Cat(Unit *d, size_t n, const Unit *s) { return strcat_sRFB(d, n, s); }
  static int CatN(Unit *d, size_t n, const Unit *s, size_t c) { return strncat_sRFB(d, n, s, c); }
  static int Mem(Unit *d, size_t n, const Unit *s, size_t c) { return memcpy_sRFB(d, n, s, c); }
  static int Move(Unit *d, size_t n, const Unit *s, size_t c) { return memmove_sRFB(d, n, s, c); }
};

template <class T>
class Bounded : public testing::Test {
 protected:
  using Unit = typename T::Unit;
  using Str = std::basic_string<Unit>;
  static Str S(const char *text) { return Str(text, text + std::char_traits<char>::length(text)); }

  // Runs op on a destination of 8 units that starts as `initial` followed by '-' units, and
  // checks the answer and the destination: untouched at size 0, dst[0] == 0 after an error,
  // `want` after success.
  template <class Op>
  void Expect(const char *initial, size_t size, Op op, int want_rc, const char *want) {
    SCOPED_TRACE(testing::Message() << "initial '" << initial << "' size " << size);
    Str dst = S(initial) + Unit(0);
    dst.resize(8, Unit('-'));
    const Str before = dst;
    EXPECT_EQ(op(dst.data(), size), want_rc);
    if (size == 0) {
      EXPECT_TRUE(dst == before);
    } else if (want_rc != 0) {
      EXPECT_EQ(dst[0], Unit(0));
    } else {
      EXPECT_TRUE(Str(dst.c_str()) == S(want));
    }
  }
};

using Widths = testing::Types<Wide, Raw>;
TYPED_TEST_SUITE(Bounded, Widths);

TYPED_TEST(Bounded, CopyNeedsRoomForTheTerminator) {
  const auto src = this->S("abc");
  for (size_t size = 0; size <= 6; ++size) {
    int rc = size == 0 ? 0 : size <= 3 ? ERANGE : 0;
    this->Expect(
        "xy", size, [&](auto *d, size_t n) { return TypeParam::Copy(d, n, src.c_str()); }, rc,
        "abc");
    // At most 2 units of src: fits from size 3 on.
    this->Expect(
        "xy", size, [&](auto *d, size_t n) { return TypeParam::CopyN(d, n, src.c_str(), 2); },
        size == 0   ? 0
        : size <= 2 ? ERANGE
                    : 0,
        "ab");
  }
}

TYPED_TEST(Bounded, AppendCountsTheExistingTextAndRefusesAnUnterminatedOne) {
  const auto src = this->S("cdef");
  for (size_t size = 0; size <= 7; ++size) {
    // "ab" + "cdef" needs 7 units; with size 1 or 2 "ab" has no terminator within size.
    this->Expect(
        "ab", size, [&](auto *d, size_t n) { return TypeParam::Cat(d, n, src.c_str()); },
        size == 0   ? 0
        : size <= 6 ? ERANGE
                    : 0,
        "abcdef");
    this->Expect(
        "ab", size, [&](auto *d, size_t n) { return TypeParam::CatN(d, n, src.c_str(), 2); },
        size == 0   ? 0
        : size <= 4 ? ERANGE
                    : 0,
        "abcd");
  }
}

TYPED_TEST(Bounded, MemoryCopiesFitWhenCountIsAtMostSize) {
  const auto src = this->S("pqr");
  for (size_t size = 0; size <= 4; ++size) {
    this->Expect(
        "", size, [&](auto *d, size_t n) { return TypeParam::Mem(d, n, src.c_str(), 4); },
        size == 0  ? 0
        : size < 4 ? ERANGE
                   : 0,
        "pqr");
  }
  auto buf = this->S("abcdef");
  EXPECT_EQ(TypeParam::Move(buf.data() + 1, 5, buf.data(), 4), 0);
  EXPECT_TRUE(buf == this->S("aabcdf"));
}

TYPED_TEST(Bounded, NullPointersAnswerEinval) {
  using Unit = typename TypeParam::Unit;
  Unit dst[4] = {Unit('x'), 0, 0, 0};
  EXPECT_EQ(TypeParam::Copy(dst, 4, nullptr), EINVAL);
  EXPECT_EQ(dst[0], Unit(0));
  EXPECT_EQ(TypeParam::Copy(nullptr, 4, dst), EINVAL);
  EXPECT_EQ(TypeParam::Mem(dst, 4, nullptr, 1), EINVAL);
}

}  // namespace
