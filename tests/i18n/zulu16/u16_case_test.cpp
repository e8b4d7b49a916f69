// Case mappings and character classes: equal to ICU (the reference implementation of the Unicode
// data) over the whole BMP, and to the C locale on ASCII for the classes ICU doesn't define alike.

#include <cctype>

#include "i18n/zulu16/u16_case_data.h"
#include "i18n/zulu16/u16_ctype_data.h"
#include "u16_string_test_support.h"

#ifdef TLM_TEST_HAVE_ICU
#include <unicode/uchar.h>
#endif

namespace {

using u16test::W;
using u16test::Z;

// The classes that the comparison with ICU below leaves out.
TEST(U16Ctype, AsciiGraphPunctAndHexDigitsEqualTheCLocale) {
  for (int c = 0; c < 128; ++c) {
    auto u = static_cast<ZUL_UTF16>(c);
    EXPECT_EQ(isgraphU(u) != 0, std::isgraph(c) != 0) << c;
    EXPECT_EQ(ispunctU(u) != 0, std::ispunct(c) != 0) << c;
    EXPECT_EQ(isxdigitU(u) != 0, std::isxdigit(c) != 0) << c;
  }
  EXPECT_EQ(toupperU(0x00FF), 0x0178);  // y with diaeresis has its capital in Latin Extended-A
  EXPECT_FALSE(isxdigitU(0xFF26));      // full-width F is a letter, not a hexadecimal digit
}

TEST(U16Case, StringFormsMapThroughThePointers) {
  std::u16string s = u"Stra\u00DFe \u00FF \u03A3\u03C3 \u0130";
  EXPECT_EQ(std::u16string(strtoupperU16(s.data())), u"STRA\u00DFE \u0178 \u03A3\u03A3 \u0130");
  EXPECT_EQ(std::u16string(strtolowerU16(s.data())), u"stra\u00DFe \u00FF \u03C3\u03C3 i");
  std::u16string t = W("abcdef");
  strntoupperU16(t.data(), 3);
  EXPECT_EQ(t, W("ABCdef"));
  ZUL_UTF16 out[8];
  EXPECT_EQ(std::u16string(strcpytolowerU16(out, Z(W("MiXeD")))), W("mixed"));
}

#ifdef TLM_TEST_HAVE_ICU

// The tables come from one version of the Unicode data, ICU from possibly another. Only
// characters assigned after the older of the two versions may differ; with equal versions (as
// with Unicode 15.0 tables and ICU 72) there is no difference at all.
bool AssignedAfterTables(UChar32 c) {
  UVersionInfo age, tables;
  u_charAge(c, age);
  u_versionFromString(tables, zulu16::kCaseDataVersion);
  return u_getIntPropertyValue(c, UCHAR_GENERAL_CATEGORY) == U_UNASSIGNED ||
         std::memcmp(age, tables, sizeof age) > 0;
}

TEST(U16Case, MappingsAndClassesEqualIcuOverTheBmp) {
  UVersionInfo icu_unicode;
  char icu_version[U_MAX_VERSION_STRING_LENGTH];
  u_getUnicodeVersion(icu_unicode);
  u_versionToString(icu_unicode, icu_version);
  const bool same_version = std::string(zulu16::kCaseDataVersion).rfind(icu_version, 0) == 0;
  ASSERT_STREQ(zulu16::kCaseDataVersion, zulu16::kClassDataVersion);
  int differences = 0;
  for (UChar32 c = 0; c <= 0xFFFF; ++c) {
    auto u = static_cast<ZUL_UTF16>(c);
    // u_isspace also counts U+001C..U+001F; these follow the C locale, where they aren't space.
    bool space = (c >= 0x1C && c <= 0x1F) ? false : u_isspace(c);
    bool same = toupperU16(u) == u_toupper(c) && tolowerU16(u) == u_tolower(c) &&
                !isalnumU16(u) == !u_isalnum(c) && !isalphaU16(u) == !u_isalpha(c) &&
                !iscntrlU16(u) == !u_iscntrl(c) && !islowerU16(u) == !u_islower(c) &&
                !isupperU16(u) == !u_isupper(c) && !isprintU16(u) == !u_isprint(c) &&
                !isspaceU16(u) == !space;
    if (same) continue;
    ++differences;
    if (same_version || !AssignedAfterTables(c)) {
      ADD_FAILURE() << std::hex << "U+" << c;
    }
  }
  if (same_version) {
    EXPECT_EQ(differences, 0);
  }
  RecordProperty("icu_unicode_version", icu_version);
}

#endif  // TLM_TEST_HAVE_ICU

}  // namespace
