// The exported passport and trace identity readers: of the session's transaction, and of a
// passport text alone.
#include "passport_bytes.h"
#include "tlm/tlmpassporthelper.h"
#include "tlm_core_fixture.h"

namespace {

namespace pb = passport_bytes;
using core_test::StartedTest;

const char16_t *ReaderSession() { return u"session A"; }

// A passport text of version 2 or 3 with the 16-bit trace flag, from the sample core.
std::u16string PassportText(uint8_t version, uint16_t flag) {
  pb::Core core = pb::SampleCore(version);
  core.flag[0] = static_cast<uint8_t>(flag);
  core.flag[1] = static_cast<uint8_t>(flag >> 8);
  return pb::Hex(version == 2 ? pb::Version2(core) : pb::Version3(core));
}

// A text result read through a function of the buffer rule, with room enough.
typedef std::function<int(ZUL_UTF16 *, int)> TextReader;
std::u16string Read(const TextReader &read) {
  ZUL_UTF16 buffer[600] = {u'x', 0};
  int length = read(buffer, 600);
  std::u16string text(buffer);
  EXPECT_EQ(static_cast<size_t>(length), text.size());
  return text;
}

// An element of a passport text, read through TLM_getPassportElement2.
std::u16string Element2(const std::u16string &text, uint16_t element) {
  return Read(
      [&](ZUL_UTF16 *o, int s) { return TLM_getPassportElement2(text.c_str(), element, o, s); });
}

bool IsHexIdentifier(const std::u16string &text) {
  return text.size() == 32 && text.find_first_not_of(u"0123456789ABCDEF") == std::u16string::npos;
}

class PassportApi : public StartedTest {
 protected:
  void SetUp() override { Start({{u"system_name", u"SYS"}}); }
  std::u16string ShortBufferLine(const std::u16string &function) {
    return trace_.ThreadPrefix() + function + u": buffer size is smaller than the required\n";
  }
};

TEST_F(PassportApi, ABufferOfTheTextsLengthGetsNothingAndTheLengthPlusOne) {
  const std::u16string passport = PassportText(3, 3487);
  TLM_initContext(passport.c_str());
  struct Case {
    const char16_t *function;
    TextReader read;
    bool traced;
  } cases[] = {
      {u"TLM_getPassport", TLM_getPassport, true},
      {u"TLM_getTraceGuid", TLM_getTraceGuid, false},
      {u"TLM_getPassportElement2",
       [&](ZUL_UTF16 *o, int s) { return TLM_getPassportElement2(passport.c_str(), 2, o, s); },
       true},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(tlm_test::Utf8(c.function));
    const size_t length = Read(c.read).size();
    ASSERT_GT(length, 0u);
    std::u16string buffer(length + 1, u'?');
    trace_.Clear();
    EXPECT_EQ(c.read(buffer.data(), static_cast<int>(length)), static_cast<int>(length + 1));
    EXPECT_EQ(buffer, std::u16string(length + 1, u'?'));
    EXPECT_EQ(trace_.Text(), c.traced ? ShortBufferLine(c.function) : u"");
    EXPECT_EQ(c.read(buffer.data(), static_cast<int>(length + 1)), static_cast<int>(length));
    EXPECT_EQ(buffer[length], 0);
  }
}

TEST_F(PassportApi, TransactionsNotTracedEndToEndHandNothingOn) {
  for (const char16_t *passport : {static_cast<const char16_t *>(nullptr), u"", u"G*8"}) {
    Start({});
    if (passport != nullptr) TLM_initContext(passport);  // null: no transaction
    ZUL_UTF16 buffer[8] = {u'x', 0};
    EXPECT_EQ(TLM_getPassport(buffer, 8), 0);
    EXPECT_EQ(buffer[0], 0);
    EXPECT_EQ(TLM_getTraceLevel(), 0);
  }
  EXPECT_EQ(TLM_getTraceFlag(), 8);
  EXPECT_EQ(Read(TLM_getTraceGuid), u"G");
}

TEST_F(PassportApi, ElementsOfTheIncomingPassport) {
  const std::u16string text = PassportText(3, 3471);  // level 2
  TLM_initContext(text.c_str());
  struct Case {
    uint16_t element;
    std::u16string value;
  } cases[] = {
      {0, u""},
      {1, u"T-0001" + std::u16string(26, u' ')},
      {2, u"000102030405060708090A0B0C0D0E0F"},
      {3, u"F0F1F2F3F4F5F6F7F8F9FAFBFCFDFEFF"},
      {4, u"16909060"},  // 0x01020304
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.element);
    EXPECT_EQ(Read([&](ZUL_UTF16 *o, int s) { return TLM_getPassportElement(c.element, o, s); }),
              c.value);
    EXPECT_EQ(Element2(text, c.element), c.value);
  }
  EXPECT_EQ(TLM_getTraceFlag(), 3471);
  EXPECT_EQ(TLM_getTraceLevel(), 2);
  EXPECT_EQ(Read(TLM_getTraceGuid),
            u"000102030405060708090A0B0C0D0E0FF0F1F2F3F4F5F6F7F8F9FAFBFCFDFEFF01020304");
}

// The previous component name of a passport text, without its padding.
std::u16string Previous(const std::u16string &text) {
  void *handle = PassportHelper::IsZULPassport(text.c_str());
  EXPECT_NE(handle, nullptr);
  ZUL_UTF16 previous[40] = {};
  uint32_t length = 0;
  eppGetPreComponentName(handle, 32, previous, &length);
  PassportHelper::DestroyPassportHandle(handle);
  std::u16string name(previous, length);
  return name.erase(name.find_last_not_of(u' ') + 1);
}

TEST_F(PassportApi, PassportsHandedOnWithoutASession) {
  char host[256] = {};
  ASSERT_EQ(gethostname(host, sizeof host), 0);
  const std::u16string previous = (u"SYS-App-" + tlm_test::Utf16(host)).substr(0, 32);

  // A passport of a traced transaction, as the next process receives it, and handed on.
  TLM_initContext(u"*1600");
  const std::u16string first = Read(TLM_getPassport);
  const std::u16string next =
      Read([&](ZUL_UTF16 *o, int s) { return TLM_getPassport2(first.c_str(), o, s); });
  for (const std::u16string *text : {&first, &next}) {
    EXPECT_EQ(Previous(*text), previous);
    EXPECT_EQ(TLM_getTraceLevel2(text->c_str()), 1);
  }
  EXPECT_EQ(Element2(next, 1), Element2(first, 1));
  EXPECT_TRUE(IsHexIdentifier(Element2(next, 3)));
  EXPECT_NE(Element2(next, 3), Element2(first, 3));
  EXPECT_EQ(Element2(next, 4), u"0");

  EXPECT_EQ(TLM_getTraceLevel2(PassportText(2, 2000).c_str()), 3);

  // Texts that are no hexadecimal passports give nothing and write nothing.
  for (const char16_t *text : {u"G*1600", u"", static_cast<const char16_t *>(nullptr)}) {
    ZUL_UTF16 buffer[4] = {u'x', 0};
    EXPECT_EQ(TLM_getPassport2(text, buffer, 4), 0);
    EXPECT_EQ(TLM_getPassportElement2(text, 1, buffer, 4), 0);
    EXPECT_EQ(TLM_getTraceLevel2(text), 0);
    EXPECT_EQ(buffer[0], u'x');
  }
}

TEST_F(PassportApi, ExSessions) {
  TLM_initContextEx(ReaderSession, u"*1600");
  EXPECT_EQ(TLM_getTraceLevelEx(ReaderSession), 3);
  EXPECT_EQ(TLM_getTraceFlagEx(ReaderSession), 1600);
  EXPECT_EQ(TLM_getTraceLevel(), 0);  // the thread's own session has no transaction
  // Without a session function the readers answer nothing.
  ZUL_UTF16 buffer[100] = {u'x', 0};
  EXPECT_EQ(TLM_getPassportEx(nullptr, buffer, 100), 0);
  EXPECT_EQ(buffer[0], u'x');
}

// Switched off, only the passport text readers answer; stopped, nothing answers.
TEST_F(PassportApi, GatesOfSessionAndPassportTextReaders) {
  const std::u16string text = PassportText(3, 3487);
  TLM_initContext(text.c_str());
  ZUL_UTF16 buffer[600];
  TLMParameterHelper::SetInstruLevelThreshold(0);
  EXPECT_EQ(TLM_getPassport(buffer, 600), 0);
  EXPECT_EQ(TLM_getTraceLevel(), 0);
  EXPECT_EQ(TLM_getTraceLevel2(text.c_str()), 3);
  TLM_ProcExit();
  EXPECT_EQ(TLM_getTraceLevel2(text.c_str()), 0);
  EXPECT_EQ(TLM_getPassport2(text.c_str(), buffer, 600), 0);
}

}  // namespace
