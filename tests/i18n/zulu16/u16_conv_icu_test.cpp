// Differential tests on valid text: every UTF-8 and UTF-16 conversion agrees with ICU.
#include <gtest/gtest.h>

#ifdef TLM_TEST_HAVE_ICU
#include <unicode/ustring.h>

#include <random>

#include "u16_conv_test_util.h"

namespace {

using convtest::Bytes;

// Random code points with the given weights of ASCII, Latin-1, BMP (no surrogates), CJK,
// supplementary planes, and the edges of every sequence length.
std::u32string RandomText(std::mt19937 &rng, size_t length) {
  static const char32_t kEdges[] = {0x7F,   0x80,   0x7FF,   0x800,   0xD7FF,   0xE000,
                                    0xFFFD, 0xFFFF, 0x10000, 0x1F600, 0x10FFFF, 0};
  std::uniform_int_distribution<int> kind(0, 9);
  std::u32string text;
  for (size_t i = 0; i < length; ++i) {
    char32_t c;
    switch (kind(rng)) {
      case 0:
      case 1:
        c = std::uniform_int_distribution<char32_t>(0, 0x7F)(rng);
        break;
      case 2:
        c = std::uniform_int_distribution<char32_t>(0x80, 0xFF)(rng);
        break;
      case 3:
        c = std::uniform_int_distribution<char32_t>(0x100, 0xD7FF)(rng);
        break;
      case 4:
        c = std::uniform_int_distribution<char32_t>(0x4E00, 0x9FFF)(rng);
        break;
      case 5:
        c = std::uniform_int_distribution<char32_t>(0xE000, 0xFFFF)(rng);
        break;
      case 6:
        c = std::uniform_int_distribution<char32_t>(0x10000, 0x10FFFF)(rng);
        break;
      case 7:
        c = std::uniform_int_distribution<char32_t>(0x1F300, 0x1FAFF)(rng);
        break;
      default:
        c = kEdges[std::uniform_int_distribution<size_t>(0, 11)(rng)];
        break;
    }
    text.push_back(c);
  }
  return text;
}

std::u16string IcuUtf16(const std::u32string &text) {
  std::u16string out(text.size() * 2, u'\0');
  int32_t len = 0;
  UErrorCode err = U_ZERO_ERROR;
  u_strFromUTF32(reinterpret_cast<UChar *>(out.data()), static_cast<int32_t>(out.size()), &len,
                 reinterpret_cast<const UChar32 *>(text.data()), static_cast<int32_t>(text.size()),
                 &err);
  EXPECT_TRUE(U_SUCCESS(err));
  out.resize(static_cast<size_t>(len));
  return out;
}

Bytes IcuUtf8(const std::u16string &text) {
  std::string out(text.size() * 3, '\0');
  int32_t len = 0;
  UErrorCode err = U_ZERO_ERROR;
  u_strToUTF8(out.data(), static_cast<int32_t>(out.size()), &len,
              reinterpret_cast<const UChar *>(text.data()), static_cast<int32_t>(text.size()),
              &err);
  EXPECT_TRUE(U_SUCCESS(err));
  return Bytes(out.begin(), out.begin() + len);
}

class IcuDifferential : public ::testing::Test {
 protected:
  std::mt19937 rng_{20240611};
};

TEST_F(IcuDifferential, Utf8AndUtf16AgreeWithIcu) {
  for (int round = 0; round < 400; ++round) {
    const size_t length = std::uniform_int_distribution<size_t>(0, round < 200 ? 40 : 700)(rng_);
    const std::u32string text = RandomText(rng_, length);
    const std::u16string utf16 = IcuUtf16(text);
    const Bytes utf8 = IcuUtf8(utf16);

    std::u16string got16(utf16.size() + 1, u'\0');
    const ZUL_RAW *s8 = utf8.data();
    ZUL_UTF16 *d16 = got16.data();
    ASSERT_EQ(Utf8nToUtf16nSubst(&s8, utf8.data() + utf8.size(), &d16, d16 + got16.size(), nullptr,
                                 nullptr),
              0);
    EXPECT_EQ(s8, utf8.data() + utf8.size());
    got16.resize(static_cast<size_t>(d16 - got16.data()));
    EXPECT_EQ(got16, utf16) << "round " << round;

    Bytes got8(utf8.size() + 1, 0);
    const ZUL_UTF16 *s16 = utf16.data();
    ZUL_RAW *d8 = got8.data();
    ASSERT_EQ(Utf16nToUtf8n(&s16, utf16.data() + utf16.size(), &d8, d8 + got8.size()), 0);
    EXPECT_EQ(s16, utf16.data() + utf16.size());
    got8.resize(static_cast<size_t>(d8 - got8.data()));
    EXPECT_EQ(got8, utf8) << "round " << round;

    // The zero-terminated wrappers agree too (no zero in the text by construction of a copy).
    if (text.find(U'\0') == std::u32string::npos) {
      std::u16string z16(utf16.size() + 1, u'x');
      size_t len = 0;
      EXPECT_EQ(Utf8sToUcsFast(z16.data(), z16.size(), &len, Bytes(utf8).c_str()), 0);
      EXPECT_EQ(std::u16string(z16.data(), len), utf16);
      Bytes z8(utf8.size() + 1, 'x');
      EXPECT_EQ(UcsToUtf8sFast(z8.data(), z8.size(), &len, utf16.c_str()), 0);
      EXPECT_EQ(Bytes(z8.data(), len), utf8);
    }
  }
}

}  // namespace
#endif  // TLM_TEST_HAVE_ICU
