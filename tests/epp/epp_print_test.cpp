// The printable form of a passport.
#include "epp_fixture.h"

namespace epp_test {
namespace {

using EppPrint = EppTest;

std::u16string Print(void *h, uint32_t capacity = 4096) {
  std::u16string out(capacity, u'#');
  EXPECT_EQ(eppPrint(h, out.data(), capacity), 0u);
  return out.substr(0, out.find(u'\0'));
}

TEST_F(EppPrint, Version3WithItems) {
  void *h = nullptr;
  ASSERT_EQ(Parse(passport_bytes::Version3(passport_bytes::SampleCore(3)), &h), 0u);
  ASSERT_EQ(eppSetUserId(h, u"alice", 5), 0u);
  const ZUL_RAW bytes[3] = {0x00, 0x7F, 0xFF};
  const ZUL_RAW uuid[16] = {0xAB, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
  int32_t number = -42;
  ASSERT_EQ(eppSetItem(h, 2, 1, 1, EPP_ITEM_BYTES, 3, bytes), 0u);
  ASSERT_EQ(eppSetItem(h, 2, 1, 2, EPP_ITEM_INT, 4, &number), 0u);
  ASSERT_EQ(eppSetItem(h, 2, 1, 3, EPP_ITEM_UUID, 16, uuid), 0u);
  ASSERT_EQ(eppSetItem(h, 2, 1, 4, EPP_ITEM_STRING, 2, u"hi"), 0u);
  ASSERT_EQ(eppSetItem(h, 2, 1, 5, 42, 0, nullptr), 0u);  // prints nothing
  std::u16string blanks25(25, u' ');
  EXPECT_EQ(Print(h),
            u"<epp version=\"3\"><trcFlag>143,13</trcFlag>"
            u"<componentName length=\"32\">ServerA" +
                blanks25 +
                u"</componentName>"
                u"<service>7</service><userId length=\"5\">alice</userId>"
                u"<action length=\"40\">checkout" +
                std::u16string(32, u' ') +
                u"</action>"
                u"<actionType>2</actionType>"
                u"<preComponentName length=\"32\">ClientB" +
                blanks25 +
                u"</preComponentName>"
                u"<transactionId length=\"32\">T-0001" +
                std::u16string(26, u' ') +
                u"</transactionId><client length=\"3\">100</client><component>8</component>"
                u"<rootContextId>000102030405060708090A0B0C0D0E0F</rootContextId>"
                u"<connectionId>F0F1F2F3F4F5F6F7F8F9FAFBFCFDFEFF</connectionId>"
                u"<connectionCounter>16909060</connectionCounter>"
                u"<varPart id=\"2\"><byteArrayItem app=\"1\" key=\"1\" >007FFF</byteArrayItem>"
                u"<intItem app=\"1\" key=\"2\" >-42</intItem>"
                u"<uuidItem app=\"1\" key=\"3\" >AB000000000000000000000000000001</uuidItem>"
                u"<stringItem app=\"1\" key=\"4\" >hi</stringItem></varPart></epp>");
}

TEST_F(EppPrint, Version1AndATooSmallBuffer) {
  void *h = New(1);
  std::u16string text = Print(h);
  EXPECT_EQ(text,
            u"<epp version=\"1\"><trcFlag>0,0</trcFlag><componentName length=\"0\">"
            u"</componentName><service>0</service><userId length=\"0\"></userId>"
            u"<action length=\"0\"></action><actionType>0</actionType>"
            u"<preComponentName length=\"0\"></preComponentName></epp>");
  // The terminator needs its unit too; a buffer that is too small stays untouched.
  std::u16string small(text.size(), u'#');
  EXPECT_EQ(eppPrint(h, small.data(), uint32_t(small.size())), 5u);
  EXPECT_EQ(small, std::u16string(text.size(), u'#'));
  std::string sizes = "(" + std::to_string(text.size()) + " < " + std::to_string(text.size() + 1);
  EXPECT_TRUE(Traced(u"eppPrint: given output buffer too small " +
                     std::u16string(sizes.begin(), sizes.end()) + u")\n"));
  EXPECT_EQ(Print(h, uint32_t(text.size() + 1)), text);
}

}  // namespace
}  // namespace epp_test
