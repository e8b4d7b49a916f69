// Passport texts: recognition, field readers with their fallbacks, trace levels and outgoing
// passports.
#include "tlm/tlmpassporthelper.h"

#include <deque>

#include "epp_start.h"
#include "passport_bytes.h"
#include "tlm/tlmplatformhelper.h"
#include "trace_capture.h"
#include "zul_epp.h"

namespace {

namespace pb = passport_bytes;

class PassportHelperTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(StartPassportLibrary(), 0u); }
  void TearDown() override {
    for (void *&h : handles_) PassportHelper::DestroyPassportHandle(h);
  }
  // The passport of a text, destroyed after the test.
  void *&Passport(const std::u16string &text) {
    handles_.push_back(PassportHelper::IsZULPassport(text.c_str()));
    return handles_.back();
  }
  void *&Passport(const pb::Bytes &bytes) { return Passport(pb::Hex(bytes)); }

  // True when the error line of text (given without its line end) is all that was traced since
  // the last call; "" for nothing traced.
  bool OnlyError(const std::u16string &text) {
    auto lines = trace_.Lines();
    trace_.Clear();
    if (text.empty()) return lines.empty();
    return lines.size() == 1 &&
           lines[0].find(u"*** ERROR => " + text + u" [tlmpassporth ") != std::u16string::npos;
  }

  tlm_test::TraceCapture trace_{1};

 private:
  std::deque<void *> handles_;  // stable references
};

// A new GUID: 32 capital hexadecimal digits, or empty text on a host that makes none.
bool IsGuid(const zulstring &s) {
  if (s.empty()) return TLMPlatformHelper::GetGUID().empty();
  return s.size() == 32 && s.find_first_not_of(u"0123456789ABCDEF") == zulstring::npos;
}

TEST_F(PassportHelperTest, TextsThatAreNoPassports) {
  std::u16string v1 = pb::Hex(pb::Version1(pb::SampleCore(1)));
  std::u16string lower = v1;
  lower[21] = u'f';  // in the component name: the stream is zero from there
  // Text, and whether it reached the parser, which refused it.
  const std::pair<std::u16string, bool> cases[] = {
      {u"", false}, {u"0123*925", false}, {u"00" + v1, false}, {u"2A54482A", true}, {lower, true}};
  for (const auto &[text, parsed] : cases) {
    EXPECT_EQ(Passport(text), nullptr) << tlm_test::Utf8(text.substr(0, 12));
    EXPECT_TRUE(OnlyError(parsed ? u"Bad ZUL passport format, deserialization failed!" : u""));
  }
  EXPECT_EQ(PassportHelper::IsZULPassport(nullptr), nullptr);
  // Such a text is then read as an application passport.
  EXPECT_EQ(PassportHelper::GetTraceFlagFromApplicationPassport(v1.c_str()), 0);
  EXPECT_TRUE(OnlyError(
      u"Application passport separater is missing when extract the traceFlag, use default flag "
      u"value!"));
}

TEST_F(PassportHelperTest, ApplicationPassports) {
  const struct {
    std::u16string text, guid;
    uint16_t flag;
  } cases[] = {
      {u"4F2A*925", u"4F2A", 925}, {u"*77", u"", 77},   {u"g*70000", u"g", 4464},
      {u"g*-1", u"g", 65535},      {u"a*b*3", u"a", 0},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(PassportHelper::GetTraceGuidFromApplicationPassport(c.text.c_str()), c.guid);
    EXPECT_EQ(PassportHelper::GetTraceFlagFromApplicationPassport(c.text.c_str()), c.flag);
  }
  EXPECT_TRUE(OnlyError(u""));
  EXPECT_TRUE(IsGuid(PassportHelper::GetTraceGuidFromApplicationPassport(u"no separator")));
  EXPECT_TRUE(
      OnlyError(u"Invalid application passport format encountered, use generated GUID instead!"));
}

TEST_F(PassportHelperTest, FieldsWithTheirFallbacks) {
  // The flag and GUID of a version 3 passport are the exported readers' test.
  void *&v3 = Passport(pb::Version3(pb::SampleCore(3)));
  EXPECT_EQ(PassportHelper::GetRootContextIdFromZULPassport(v3, 2), u"");
  EXPECT_EQ(PassportHelper::GetConnectionCounterFromZULPassport(v3, 1), 0u);
  void *&v2 = Passport(pb::Version2(pb::SampleCore(2)));
  EXPECT_EQ(PassportHelper::GetTraceGuidFromZULPassport(v2), u"T-0001" + std::u16string(26, u' '));
  void *&v1 = Passport(pb::Version1(pb::SampleCore(1)));
  EXPECT_EQ(PassportHelper::GetTraceGuidFromZULPassport(v1), u"");
  EXPECT_TRUE(OnlyError(u""));

  const std::u16string kUnreadable =
      u"Epp error encountered when extract the rootContextId/connectionId/connectionCounter, use "
      u"generated GUID instead!";
  EXPECT_TRUE(IsGuid(PassportHelper::GetTransactionIdFromZULPassport(v1)));
  EXPECT_TRUE(OnlyError(
      u"Epp error encountered when extract the transactionId, use generated GUID instead!"));
  EXPECT_EQ(PassportHelper::GetRootContextIdFromZULPassport(v1, 3), u"");  // despite the words
  EXPECT_TRUE(OnlyError(kUnreadable));
  EXPECT_EQ(PassportHelper::GetConnectionCounterFromZULPassport(v2, 3), 0u);
  EXPECT_TRUE(OnlyError(kUnreadable));
  void *none = nullptr;
  EXPECT_EQ(PassportHelper::GetTraceFlagFromZULPassport(none), 0);
  EXPECT_TRUE(
      OnlyError(u"Epp error encountered when extract the traceFlag, use default flag value!"));
  EXPECT_EQ(PassportHelper::GetPassportVersion(none), 0);
}

// The version, flag, connection counter and id of an outgoing passport text, as the next hop reads
// them.
typedef std::tuple<uint8_t, uint16_t, uint32_t, zulstring> Hop;

Hop Read(const zulstring &text) {
  void *h = PassportHelper::IsZULPassport(text.c_str());
  EXPECT_NE(h, nullptr);
  const uint8_t version = PassportHelper::GetPassportVersion(h);
  Hop hop{version, PassportHelper::GetTraceFlagFromZULPassport(h),
          PassportHelper::GetConnectionCounterFromZULPassport(h, version),
          PassportHelper::GetConnectionIdFromZULPassport(h, version)};
  PassportHelper::DestroyPassportHandle(h);
  return hop;
}

const ZUL_UTF16 kConnection[] = u"00112233445566778899AABBCCDDEEFF";

TEST_F(PassportHelperTest, OutgoingPassports) {
  const pb::Bytes none;
  const struct {
    const char *name;
    pb::Bytes incoming;
    uint16_t level;
    Hop expected;
  } cases[] = {
      {"no passport", none, 3, {3, 15, 7, kConnection}},
      {"version 2, level 3", pb::Version2(pb::SampleCore(2)), 3, {3, 3487, 7, kConnection}},
      {"version 2, level 2", pb::Version2(pb::SampleCore(2)), 2, {3, 2697, 7, kConnection}},
      {"version 2, level 1", pb::Version2(pb::SampleCore(2)), 1, {3, 0, 7, kConnection}},
      {"version 1 stays", pb::Version1(pb::SampleCore(1)), 3, {1, 0x0D8F, 0, u""}},
      {"version 3 flag", pb::Version3(pb::SampleCore(3)), 3, {3, 0x0D8F, 7, kConnection}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    void *&h = c.incoming.empty() ? Passport(u"") : Passport(c.incoming);
    EXPECT_EQ(Read(PassportHelper::CreateOutgoingPassport(h, kConnection, 7, c.level, u"Me")),
              c.expected);
    // The handle is the context's, changed in place; what the next hop doesn't change stays.
    ASSERT_NE(h, nullptr);
    if (std::get<0>(c.expected) == 3 && !c.incoming.empty()) {
      EXPECT_EQ(PassportHelper::GetTransactionIdFromZULPassport(h).substr(0, 6), u"T-0001");
    }
  }
}

}  // namespace
