// UTF-7: the encodings the character classes give, resumption after every cut of the encoder's
// destination, refused input, and agreement with ICU's converter.

#include <random>

#include "zul_u16conv.h"

#ifdef TLM_TEST_HAVE_ICU
#include <unicode/ucnv.h>
#endif

namespace {

// One call of a converter: its answer, what it wrote, and how much of the source it took.
template <typename Out>
struct Result {
  int rc;
  Out out;
  size_t consumed;
};
using Encoded = Result<std::string>;
using Decoded = Result<std::u16string>;

Encoded EncodeU2(const std::u16string &text, size_t room, int option = 0) {
  std::string out(room, '\0');
  const ZUL_UTF16 *s = text.data();
  auto *d = reinterpret_cast<ZUL_RAW *>(out.data());
  int rc = U2nToUtf7n(&s, text.data() + text.size(), &d, d + room, option, 0);
  out.resize(static_cast<size_t>(d - reinterpret_cast<ZUL_RAW *>(out.data())));
  return {rc, out, static_cast<size_t>(s - text.data())};
}

std::string Utf7(const std::u16string &text, int option = 0) {
  Encoded e = EncodeU2(text, 5 * text.size() + 8, option);
  EXPECT_EQ(e.rc, 0);
  return e.out;
}

Decoded DecodeU2(const std::string &bytes, size_t room) {
  std::u16string out(room, u'\0');
  auto *s = reinterpret_cast<const ZUL_RAW *>(bytes.data());
  ZUL_UTF16 *d = out.data();
  int rc = Utf7nToU2n(&s, s + bytes.size(), &d, d + room);
  out.resize(static_cast<size_t>(d - out.data()));
  return {rc, out, static_cast<size_t>(s - reinterpret_cast<const ZUL_RAW *>(bytes.data()))};
}

std::u16string FromUtf7(const std::string &bytes) {
  Decoded d = DecodeU2(bytes, bytes.size() + 1);
  EXPECT_EQ(d.rc, 0) << bytes;
  EXPECT_EQ(d.consumed, bytes.size()) << bytes;
  return d.out;
}

const std::u16string kMixed =
    u"Hi ~Mom+ -\u263A-! A\u2262\u0391. \u65E5\u672C\u8A9E x\U0001F600y+-\t\"q\"";

TEST(Utf7, EncodingsOfTheCharacterClasses) {
  const struct {
    std::u16string text;
    int option;
    std::string utf7;
  } cases[] = {
      {u"A+B", 0, "A+-B"},
      {u"A B", 0, "A+ACA-B"},
      // A run ends bare before a direct character that isn't a Base64 digit, with a dash before
      // one that is, before a dash or a plus, and bare at the end.
      {u"~.~A~-~+~", 0, "+AH4.+AH4-A+AH4--+AH4-+-+AH4"},
      {u"A\u2262\u0391.\u65E5\u672C\u8A9E", 0, "A+ImIDkQ.+ZeVnLIqe"},
      {u"'(),-./:?!", 0, "'(),-./:?+ACE"},
      {u"!~", 1, "!+AH4"},
      {u"", 0, ""},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(Utf7(c.text, c.option), c.utf7);
    EXPECT_EQ(FromUtf7(c.utf7), c.text) << c.utf7;
  }
}

TEST(Utf7, EveryUnitRoundTrips) {
  std::u16string all(0x10000, u'\0');
  for (size_t i = 0; i < all.size(); ++i) all[i] = static_cast<char16_t>(i);
  for (int option : {0, 1}) EXPECT_EQ(FromUtf7(Utf7(all, option)), all);
}

// Decoding cuts are the fuzz target's.
TEST(Utf7, EveryDestinationCutOfTheEncoderResumes) {
  const size_t full = Utf7(kMixed).size();
  for (size_t room = 0; room <= full; ++room) {
    Encoded first = EncodeU2(kMixed, room);
    EXPECT_EQ(first.rc, room == full ? 0 : 32) << room;
    // What the cut call wrote decodes to exactly what it consumed.
    EXPECT_EQ(FromUtf7(first.out), kMixed.substr(0, first.consumed)) << room;
    Encoded rest = EncodeU2(kMixed.substr(first.consumed), 2 * full);
    ASSERT_EQ(rest.rc, 0);
    EXPECT_EQ(FromUtf7(first.out) + FromUtf7(rest.out), kMixed) << room;
  }
}

TEST(Utf7, RefusedInputLeavesThePointersAtTheFault) {
  const struct {
    std::string bytes;
    int rc;
    size_t consumed;
    std::u16string units;
  } cases[] = {
      {"+", 512, 0, u""},      {"a+AH", 512, 1, u"a"},     {"+A", 512, 0, u""},
      {"\x80", 2048, 0, u""},  {"ab\xff", 2048, 2, u"ab"}, {"+!", 2048, 0, u""},
      {"+AH5-", 2048, 0, u""}, {"x+AAAA.", 2048, 1, u"x"},
  };
  for (const auto &c : cases) {
    Decoded d = DecodeU2(c.bytes, 16);
    EXPECT_EQ(d.rc, c.rc) << c.bytes;
    EXPECT_EQ(d.consumed, c.consumed) << c.bytes;
    EXPECT_EQ(d.out, c.units) << c.bytes;
  }
  for (uint32_t bad : {0x110000u, 0x80000000u}) {
    const uint32_t text[] = {0x7E, bad};
    const uint32_t *s = text;
    ZUL_RAW out[16], *d = out;
    EXPECT_EQ(U4nToUtf7n(&s, text + 2, &d, out + 16, 0, 0), 2048);
    EXPECT_EQ(s, text + 1);
    EXPECT_EQ(std::string(out, d), "+AH4-");  // the run is closed: the output stands alone
  }
  const ZUL_RAW *s = nullptr;
  ZUL_UTF16 *d = nullptr;
  EXPECT_EQ(Utf7nToU2n(&s, s, &d, d), 0);
}

// Random valid text, mostly ASCII, some BMP, some beyond it, with its 16-bit form.
std::pair<std::u32string, std::u16string> RandomText(std::mt19937 &rng) {
  std::uniform_int_distribution<int> kind(0, 9), length(0, 60);
  std::uniform_int_distribution<char32_t> ascii(0, 127), bmp(0x80, 0xFFFF),
      astral(0x10000, 0x10FFFF);
  std::u32string text;
  std::u16string units;
  for (int i = length(rng); i > 0; --i) {
    int k = kind(rng);
    char32_t c = k < 6 ? ascii(rng) : k < 9 ? bmp(rng) : astral(rng);
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    text += c;
    if (c < 0x10000) {
      units += char16_t(c);
    } else {
      units += {char16_t(0xD800 + ((c - 0x10000) >> 10)), char16_t(0xDC00 + (c & 0x3FF))};
    }
  }
  return {text, units};
}

// Random text: the 32-bit forms agree with the 16-bit ones, and ICU's converter reads what we
// write and writes what we read.
TEST(Utf7, ThirtyTwoBitFormsAndIcuAgreeOnRandomText) {
  std::mt19937 rng(7);
#ifdef TLM_TEST_HAVE_ICU
  UErrorCode status = U_ZERO_ERROR;
  UConverter *icu = ucnv_open("UTF-7", &status);
  ASSERT_TRUE(U_SUCCESS(status));
#endif
  for (int round = 0; round < 500; ++round) {
    const auto [text, units] = RandomText(rng);
    const std::string ours = Utf7(units, round & 1);
    std::vector<ZUL_RAW> utf7(8 * text.size() + 8);
    auto *s = reinterpret_cast<const uint32_t *>(text.data());
    ZUL_RAW *d = utf7.data();
    ASSERT_EQ(U4nToUtf7n(&s, s + text.size(), &d, d + utf7.size(), round & 1, 0), 0);
    EXPECT_EQ(std::string(utf7.data(), d), ours);
    std::u32string back(text.size() + 1, 0);
    const ZUL_RAW *bs = utf7.data();
    auto *bd = reinterpret_cast<uint32_t *>(back.data());
    ASSERT_EQ(Utf7aToU4a(&bs, d, &bd, bd + back.size()), 0);
    EXPECT_EQ(back.substr(0, size_t(bd - reinterpret_cast<uint32_t *>(back.data()))), text);
#ifdef TLM_TEST_HAVE_ICU
    std::u16string icu_units(units.size() + 1, u'\0');
    status = U_ZERO_ERROR;
    int32_t n = ucnv_toUChars(icu, icu_units.data(), int32_t(icu_units.size()), ours.data(),
                              int32_t(ours.size()), &status);
    ASSERT_TRUE(U_SUCCESS(status)) << ours;
    EXPECT_EQ(icu_units.substr(0, size_t(n)), units) << ours;
    std::string icu_bytes(5 * units.size() + 8, '\0');
    status = U_ZERO_ERROR;
    n = ucnv_fromUChars(icu, icu_bytes.data(), int32_t(icu_bytes.size()), units.data(),
                        int32_t(units.size()), &status);
    ASSERT_TRUE(U_SUCCESS(status));
    EXPECT_EQ(FromUtf7(icu_bytes.substr(0, size_t(n))), units);
#endif
  }
#ifdef TLM_TEST_HAVE_ICU
  ucnv_close(icu);
#endif
}

}  // namespace
