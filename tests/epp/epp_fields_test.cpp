// Getters and setters of the core fields, their version rules, and the frame around every call.

#include "epp/epp_internal.h"
#include "epp_fixture.h"

namespace epp_test {
namespace {

using Setter = uint32_t (*)(void *, const ZUL_UTF16 *, uint32_t);
using Getter = uint32_t (*)(void *, uint32_t, ZUL_UTF16 *, uint32_t *);

struct TextField {
  const char *name;
  Setter set;
  Getter get;
  uint32_t width;
  uint8_t min_version;
  std::u16string too_long;
};

const TextField kTextFields[] = {
    {"component name", eppSetComponentName, eppGetComponentName, 32, 1,
     u"eppSetComponentName: supplied component name too long\n"},
    {"user id", eppSetUserId, eppGetUserId, 32, 1, u"eppSetUserId: supplied user id too long\n"},
    {"action", eppSetAction, eppGetAction, 40, 1,
     u"eppSetAction: supplied action field too long\n"},
    {"previous component", eppSetPreComponentName, eppGetPreComponentName, 32, 1,
     u"eppSetPreComponentName: supplied previous component name too long\n"},
    {"transaction id", eppSetTransactionId, eppGetTransactionId, 32, 2,
     u"eppSetTransactionId: supplied transaction id too long\n"},
    {"client", eppSetClient, eppGetClient, 3, 3, u"eppSetClient: supplied client field too long\n"},
};

using EppFields = EppTest;

TEST_F(EppFields, TextFieldsKeepTheirWidthsAndVersions) {
  for (const TextField &f : kTextFields) {
    SCOPED_TRACE(f.name);
    for (uint8_t version = 1; version <= 3; ++version) {
      void *h = New(version);
      std::u16string full(f.width, u'x');
      std::u16string buffer(f.width + 4, u'?');
      uint32_t length = 0;
      if (version < f.min_version) {
        TraceLines().clear();
        EXPECT_EQ(f.set(h, full.data(), f.width), 4u);
        EXPECT_EQ(f.get(h, f.width, buffer.data(), &length), 4u);
        EXPECT_TRUE(Traced(u"this field can only be set for passports with version " +
                           std::u16string(1, char16_t(u'0' + f.min_version)) + u" or higher\n"));
        continue;
      }
      EXPECT_EQ(f.set(h, full.data(), f.width), 0u);
      TraceLines().clear();
      EXPECT_EQ(f.set(h, (full + u"y").data(), f.width + 1), 6u);
      EXPECT_TRUE(Traced(f.too_long));
      EXPECT_EQ(f.get(h, f.width - 1, buffer.data(), &length), 5u);
      EXPECT_TRUE(Traced(u"supplied output area too small\n"));
      // The rest of the capacity is filled with blanks; no terminator is written.
      EXPECT_EQ(f.set(h, u"ab", 2), 0u);
      EXPECT_EQ(f.get(h, f.width + 2, buffer.data(), &length), 0u);
      EXPECT_EQ(length, 2u);
      EXPECT_EQ(buffer, u"ab" + std::u16string(f.width, u' ') + u"??");
    }
  }
}

// The component is written to any version but read from version 3 only; the counter wraps.
TEST_F(EppFields, VersionRulesOfTheOtherFields) {
  void *v1 = New(1), *v3 = New(3);
  uint16_t number = 0;
  uint32_t counter = 0;
  EXPECT_EQ(eppSetComponent(v1, 5), 0u);
  EXPECT_EQ(eppGetComponent(v1, &number), 4u);
  EXPECT_EQ(eppGetComponent(v3, &number), 0u);
  EXPECT_EQ(number, 8);  // the active component
  EXPECT_EQ(eppSetConnectionCounter(v3, 0xFFFFFFFF), 0u);
  EXPECT_EQ(eppIncrConnectionCounter(v3, &counter), 0u);
  EXPECT_EQ(counter, 0u);
}

TEST_F(EppFields, FrameRefusesWhatIsNoPassport) {
  uint16_t service;
  EXPECT_EQ(eppGetService(nullptr, &service), 7u);
  EXPECT_TRUE(Traced(u"*** ERROR => eppGetService: passport handle not valid\n"));

  alignas(epp::Passport) unsigned char junk[sizeof(epp::Passport)] = {};
  TraceLines().clear();
  EXPECT_EQ(eppSetService(junk, 1), 7u);
  EXPECT_TRUE(Traced(u"eppSetService: core part eyecatcher invalid\n"));

  void *h = New(3);
  int32_t value = 1;
  ASSERT_EQ(eppSetItem(h, 0, 1, 1, EPP_ITEM_INT, 4, &value), 0u);
  auto *p = static_cast<epp::Passport *>(h);
  p->var_parts[0]->eyecatcher[0] = '#';
  TraceLines().clear();
  EXPECT_EQ(eppGetService(h, &service), 7u);
  EXPECT_TRUE(Traced(u"eppGetService: variable part eyecatcher invalid\n"));
  p->var_parts[0]->eyecatcher[0] = '*';
}

// Level 3 writes each call's own line, cut to the 254 units of its buffer; level 2 doesn't; level 1
// keeps the error lines that ask for no higher level.
TEST_F(EppFields, TraceLinesFollowTheLevel) {
  void *h = New(3);
  EXPECT_EQ(eppSetUserId(h, u"bob", 3), 0u);
  EXPECT_TRUE(Traced(u" to bob\n"));
  std::u16string long_text(400, u'n');
  TraceLines().clear();
  eppSetAction(h, long_text.data(), 400);
  EXPECT_EQ(TraceLines().front().size(), 254u);
  eppSetTraceLevel(2);
  TraceLines().clear();
  EXPECT_EQ(eppSetUserId(h, u"bob", 3), 0u);
  EXPECT_TRUE(TraceLines().empty());
  eppSetTraceLevel(1);
  EXPECT_EQ(eppSetUserId(h, long_text.data(), 33), 6u);
  EXPECT_TRUE(Traced(u"*** ERROR => eppSetUserId: supplied user id too long\n"));
  TraceLines().clear();
  EXPECT_EQ(eppSetClient(New(1), u"x", 1), 4u);
  EXPECT_TRUE(TraceLines().empty());
}

TEST(EppFrame, NothingWorksBeforeTheEnvironmentIsSet) {
  // A fresh process (the test binary run again for this test only), in which the library was never
  // started.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        void *h = nullptr;
        uint8_t active = eppGetActiveVersion();
        std::exit(eppInit(&h) == 8 && active == 8 && eppGetService(h, nullptr) == 8 ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace epp_test
