// The network form: golden streams of each version built from the layout, and parsing of
// malformed streams.
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "epp_fixture.h"

namespace epp_test {
namespace {

namespace pb = passport_bytes;

void SetText(uint32_t (*setter)(void *, const ZUL_UTF16 *, uint32_t), void *h,
             const std::string &ascii) {
  std::u16string text(ascii.begin(), ascii.end());
  ASSERT_EQ(setter(h, text.data(), uint32_t(text.size())), 0u);
}

// Sets every field of c that the passport's version has.
void Fill(void *h, const pb::Core &c) {
  ASSERT_EQ(eppSetTraceFlag(h, c.flag), 0u);
  SetText(eppSetComponentName, h, c.component_name);
  ASSERT_EQ(eppSetService(h, c.service), 0u);
  SetText(eppSetUserId, h, c.user_id);
  SetText(eppSetAction, h, c.action);
  ASSERT_EQ(eppSetActionType(h, c.action_type), 0u);
  SetText(eppSetPreComponentName, h, c.pre_component_name);
  if (c.version >= 2) SetText(eppSetTransactionId, h, c.transaction_id);
  if (c.version < 3) return;
  SetText(eppSetClient, h, c.client);
  ASSERT_EQ(eppSetComponent(h, c.component), 0u);
  ASSERT_EQ(eppSetRootContextId(h, c.root_context_id), 0u);
  ASSERT_EQ(eppSetConnectionId(h, c.connection_id), 0u);
  ASSERT_EQ(eppSetConnectionCounter(h, c.connection_counter), 0u);
}

std::u16string Padded(const std::string &ascii, size_t width) {
  std::u16string s(ascii.begin(), ascii.end());
  s.resize(width, u' ');
  return s;
}

using EppNetwork = EppTest;

TEST_F(EppNetwork, EachVersionSerialisesByteForByteAndParsesBack) {
  for (uint8_t version : {1, 2, 3}) {
    SCOPED_TRACE(version);
    pb::Core core = pb::SampleCore(version);
    Bytes golden = version == 1   ? pb::Version1(core)
                   : version == 2 ? pb::Version2(core)
                                  : pb::Version3(core);
    void *h = New(version);
    Fill(h, core);
    uint32_t needed = 0;
    ASSERT_EQ(eppNeededNetworkSize(h, &needed), 0u);
    EXPECT_EQ(needed, golden.size());
    EXPECT_EQ(Serialize(h), golden);

    void *parsed = nullptr;
    ASSERT_EQ(Parse(golden, &parsed), 0u);
    uint8_t parsed_version = 0;
    ASSERT_EQ(eppGetVersion(parsed, &parsed_version), 0u);
    EXPECT_EQ(parsed_version, version);
    // Fields from the network keep their padding blanks.
    EXPECT_EQ(GetText(parsed, eppGetUserId, 32), Padded("alice", 32));
    EXPECT_EQ(GetText(parsed, eppGetAction, 40), Padded("checkout", 40));
    EXPECT_EQ(Serialize(parsed), golden);
  }
}

TEST_F(EppNetwork, VariablePartsFollowTheCoreInSlotOrder) {
  void *h = New(3);
  Fill(h, pb::SampleCore(3));
  int32_t number = 0x11223344;
  ASSERT_EQ(eppSetItem(h, 1, 5, 1, EPP_ITEM_INT, 4, &number), 0u);
  ASSERT_EQ(eppSetItem(h, 1, 5, 2, EPP_ITEM_STRING, 3, u"abc"), 0u);
  const uint8_t raw[] = {0xDE, 0xAD};
  ASSERT_EQ(eppSetItem(h, 0, 9, 7, EPP_ITEM_BYTES, 2, raw), 0u);

  Bytes parts = pb::Join(
      {pb::Part(1, 2, pb::Join({pb::IntItem(5, 1, 0x11223344), pb::StringItem(5, 2, "abc")}),
                false),
       pb::Part(0, 1, pb::Item(9, 7, 1, {0xDE, 0xAD}), true)});
  Bytes golden = pb::Version3(pb::SampleCore(3), parts, 2);
  // The integer goes on the wire with its highest byte first.
  EXPECT_EQ(pb::IntItem(5, 1, 0x11223344)[7], 0x11);
  EXPECT_EQ(Serialize(h), golden);

  void *parsed = nullptr;
  ASSERT_EQ(Parse(golden, &parsed), 0u);
  EXPECT_EQ(Serialize(parsed), golden);
  int32_t got = 0;
  ASSERT_EQ(eppGetItem(parsed, 1, 5, 1, sizeof got, &got, nullptr, nullptr), 0u);
  EXPECT_EQ(got, 0x11223344);
}

TEST_F(EppNetwork, NeededSizeCountsPartsItemsAndLengths) {
  void *h = New(3);
  uint32_t needed = 0;
  ASSERT_EQ(eppNeededNetworkSize(h, &needed), 0u);
  EXPECT_EQ(needed, 230u);
  int32_t number = 1;
  ASSERT_EQ(eppSetItem(h, 0, 1, 1, EPP_ITEM_INT, 4, &number), 0u);
  ASSERT_EQ(eppSetItem(h, 0, 1, 2, EPP_ITEM_INT, 4, &number), 0u);
  ASSERT_EQ(eppNeededNetworkSize(h, &needed), 0u);
  EXPECT_EQ(needed, 226u + 12 + 14 + 8 + 4);
  EXPECT_EQ(Serialize(h).size(), 264u);
}

TEST_F(EppNetwork, TextLongerInUtf8IsCutToItsField) {
  void *h = New(3);
  std::u16string wide(32, u'\u00E4');  // 2 bytes each
  ASSERT_EQ(eppSetComponentName(h, wide.data(), 32), 0u);
  ASSERT_EQ(eppSetItem(h, 0, 1, 1, EPP_ITEM_STRING, 3, u"\u00E4\u00E4\u00E4"), 0u);
  uint32_t needed = 0;
  ASSERT_EQ(eppNeededNetworkSize(h, &needed), 0u);
  Bytes out = Serialize(h);
  // The string item's 3 units allow 3 bytes: one character of 2.
  EXPECT_EQ(out.size(), needed - 1);
  EXPECT_EQ(pb::GetBE16(out, 226 + 12 + 5), 7 + 2);
  Bytes field(out.begin() + 9, out.begin() + 41);
  Bytes expected;
  for (int i = 0; i < 16; ++i) expected.insert(expected.end(), {0xC3, 0xA4});
  EXPECT_EQ(field, expected);
}

TEST_F(EppNetwork, SerializeRefusesASmallArea) {
  void *h = New(3);
  Bytes out(229);
  uint32_t used = 0;
  EXPECT_EQ(eppSerialize(h, out.data(), 229, &used), 5u);
  EXPECT_TRUE(Traced(u"eppSerialize: supplied output area too small (229 < 230)\n"));
}

TEST_F(EppNetwork, VersionZeroNeedsNothingButWritesTheVersion1Layout) {
  void *h = New(0);
  uint32_t needed = 1;
  ASSERT_EQ(eppNeededNetworkSize(h, &needed), 0u);
  EXPECT_EQ(needed, 0u);
  Bytes out(160);
  uint32_t used = 0;
  EXPECT_EQ(eppSerialize(h, out.data(), 159, &used), 5u);
  ASSERT_EQ(eppSerialize(h, out.data(), 160, &used), 0u);
  EXPECT_EQ(used, 160u);
  EXPECT_EQ(out[4], 0);
  void *parsed = nullptr;
  ASSERT_EQ(Parse(out, &parsed), 0u);
}

TEST_F(EppNetwork, Version1StreamIgnoresItsSpareBytes) {
  Bytes stream = pb::Version1(pb::SampleCore(1));
  for (int i = 149; i < 156; ++i) stream[i] = 0xFF;
  void *h = nullptr;
  ASSERT_EQ(Parse(stream, &h), 0u);
  EXPECT_EQ(Serialize(h), pb::Version1(pb::SampleCore(1)));
}

TEST_F(EppNetwork, LaterSenderVersionsReadAsVersion3) {
  for (uint8_t version : {4, 9, 255}) {
    pb::Core core = pb::SampleCore(version);
    void *h = nullptr;
    ASSERT_EQ(Parse(pb::Version3(core), &h), 0u);
    uint8_t got = 0;
    ASSERT_EQ(eppGetVersion(h, &got), 0u);
    EXPECT_EQ(got, 3);
    // A version 3 reading needs the version 3 length.
    void *short_one = nullptr;
    EXPECT_EQ(Parse(pb::Version2(core), &short_one), 7u);
    EXPECT_EQ(short_one, nullptr);
  }
}

// A text field's conversion runs on past its field until 32 units are filled or a zero byte comes.
TEST_F(EppNetwork, MultiByteTextRunsOnIntoTheNextField) {
  pb::Core core = pb::SampleCore(1);
  core.component_name = "\xC3\xA4\xC3\xB6";  // two characters in 4 bytes
  core.service = 0x4142;                     // "AB"
  void *h = nullptr;
  ASSERT_EQ(Parse(pb::Version1(core), &h), 0u);
  std::u16string expected = u"\u00E4\u00F6" + std::u16string(28, u' ') + u"AB";
  EXPECT_EQ(GetText(h, eppGetComponentName, 32), expected);
}

TEST_F(EppNetwork, InvalidUtf8IsReplacedButACutCharacterFails) {
  pb::Core core = pb::SampleCore(1);
  core.user_id = "a\xFF";
  void *h = nullptr;
  ASSERT_EQ(Parse(pb::Version1(core), &h), 0u);
  EXPECT_EQ(GetText(h, eppGetUserId, 32).substr(0, 2), u"a\uFFFD");

  // A lead byte at the end of the field, followed by a zero byte: the text ends inside a
  // character.
  core = pb::SampleCore(1);
  core.component_name = std::string(31, 'x') + "\xC3";
  core.service = 0x0007;
  void *cut = nullptr;
  EXPECT_EQ(Parse(pb::Version1(core), &cut), 10u);
  EXPECT_EQ(cut, nullptr);
  EXPECT_TRUE(Traced(u"eppDeserialize: deserialization failed (rc=10)"));
}

struct BadStream {
  const char *name;
  Bytes stream;
  uint32_t rc;
  std::u16string message;
};

Bytes WithTotal(Bytes b, uint16_t total) {
  pb::PutBE16(b, 5, total);
  return b;
}
Bytes WithVersion(Bytes b, uint8_t version) {
  b[4] = version;
  return b;
}

TEST_F(EppNetwork, MalformedCoresEndAsNullHandles) {
  Bytes v1 = pb::Version1(pb::SampleCore(1));
  Bytes v3 = pb::Version3(pb::SampleCore(3));
  Bytes wrong_lead = v1;
  wrong_lead[0] = '#';
  Bytes wrong_trail = v1;
  wrong_trail[159] = '#';
  Bytes longer(v1);
  longer.push_back(0);
  const BadStream cases[] = {
      {"short", Bytes(v1.begin(), v1.end() - 1), 7,
       u"eppDeserialize: data stream invalid, not long enough (159)\n"},
      {"leading eyecatcher", wrong_lead, 7, u"could not find valid leading eyecatcher\n"},
      {"total past the stream", WithTotal(v1, 161), 7,
       u"eppDeserialize: inconsistend length of passport and bytestream (161 > 160)"},
      {"trailing eyecatcher", wrong_trail, 7, u"could not find valid trailing eyecatcher\n"},
      {"total 0x8000 leads before the stream", WithTotal(v1, 0x8000), 7,
       u"could not find valid trailing eyecatcher\n"},
      {"total 0xFFFF", WithTotal(v1, 0xFFFF), 7, u"could not find valid trailing eyecatcher\n"},
      {"total 3", WithTotal(v1, 3), 7, u"could not find valid trailing eyecatcher\n"},
      {"total 0", WithTotal(v1, 0), 7, u"could not find valid trailing eyecatcher\n"},
      {"version 2 of 184 bytes", WithVersion(WithTotal(longer, 160), 2), 7,
       u"not long enough (160)\n"},
      {"version 3 of 229 bytes", WithTotal(v3, 229), 7,
       u"could not find valid trailing eyecatcher\n"},
  };
  for (const BadStream &c : cases) {
    SCOPED_TRACE(c.name);
    TraceLines().clear();
    void *h = reinterpret_cast<void *>(1);
    EXPECT_EQ(Parse(c.stream, &h), c.rc);
    EXPECT_EQ(h, nullptr);
    EXPECT_TRUE(Traced(c.message));
  }
}

TEST_F(EppNetwork, TotalLengthsCheckedOnlyAsTheFormatSays) {
  // The inconsistency message has no line end.
  void *h = nullptr;
  Parse(WithTotal(pb::Version1(pb::SampleCore(1)), 200), &h);
  EXPECT_TRUE(Traced(u"(200 > 160)"));
  for (const auto &line : TraceLines())
    if (line.find(u"inconsistend") != std::u16string::npos) EXPECT_EQ(line.back(), u')');

  // A total of 4 finds the leading eyecatcher as its trailing one, and version 1 needs no more.
  ASSERT_EQ(Parse(WithTotal(pb::Version1(pb::SampleCore(1)), 4), &h), 0u);
  // A version 2 stream whose total stops at 184 is too short.
  Bytes v2 = pb::Version2(pb::SampleCore(2));
  Bytes cut(v2.begin(), v2.begin() + 184);
  pb::PutStar(cut, 180);
  EXPECT_EQ(Parse(WithTotal(cut, 184), &h), 7u);
  EXPECT_TRUE(Traced(u"not long enough (184)\n"));
  // A version 0 stream parses as version 0.
  ASSERT_EQ(Parse(WithVersion(pb::Version1(pb::SampleCore(1)), 0), &h), 0u);
  uint8_t version = 9;
  ASSERT_EQ(eppGetVersion(h, &version), 0u);
  EXPECT_EQ(version, 0);
}

Bytes V3WithParts(const Bytes &parts, uint16_t count) {
  return pb::Version3(pb::SampleCore(3), parts, count);
}

TEST_F(EppNetwork, MalformedVariablePartsEndAsNullHandles) {
  Bytes one_int = pb::Part(0, 1, pb::IntItem(1, 1, 5), true);
  Bytes wrong_eye = one_int;
  wrong_eye[1] = 'X';
  Bytes negative_offset = V3WithParts(one_int, 1);
  pb::PutBE16(negative_offset, 224, 0xFFF0);
  Bytes offset_past_end = V3WithParts(one_int, 1);
  pb::PutBE16(offset_past_end, 224, uint16_t(offset_past_end.size() - 11));
  Bytes part_too_long = one_int;
  pb::PutBE16(part_too_long, 5, 100);
  Bytes item_too_long = one_int;
  pb::PutBE16(item_too_long, 12 + 5, 100);
  const struct {
    const char *name;
    Bytes stream;
    uint32_t rc;
  } cases[] = {
      {"negative offset", negative_offset, 7},
      {"offset with fewer than 12 bytes left", offset_past_end, 7},
      {"part eyecatcher", V3WithParts(wrong_eye, 1), 7},
      {"part longer than the stream", V3WithParts(part_too_long, 1), 7},
      {"item longer than the stream", V3WithParts(item_too_long, 1), 7},
      {"item count says more", V3WithParts(pb::Part(0, 3, pb::IntItem(1, 1, 5), true), 1), 7},
      {"part count says more", V3WithParts(one_int, 2), 7},
      {"empty string", V3WithParts(pb::Part(0, 1, pb::StringItem(1, 1, ""), true), 1), 6},
      {"bytes of 65", V3WithParts(pb::Part(0, 1, pb::Item(1, 1, 1, Bytes(65, 1)), true), 1), 6},
      {"same item twice",
       V3WithParts(pb::Part(0, 2, pb::Join({pb::IntItem(1, 1, 5), pb::IntItem(1, 1, 6)}), true), 1),
       1},
      {"part id 3", V3WithParts(pb::Part(3, 1, pb::IntItem(1, 1, 5), true), 1), 7},
      {"a third part id",
       V3WithParts(pb::Join({pb::Part(0, 1, pb::IntItem(1, 1, 5), false),
                             pb::Part(1, 1, pb::IntItem(1, 1, 5), false),
                             pb::Part(2, 1, pb::IntItem(1, 1, 5), true)}),
                   3),
       8},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    void *h = reinterpret_cast<void *>(1);
    EXPECT_EQ(Parse(c.stream, &h), c.rc);
    EXPECT_EQ(h, nullptr);
  }
}

TEST_F(EppNetwork, PartsAndItemsNotUnderstoodAreSkipped) {
  // A part of version 2 keeps its place; unknown item types are left out.
  Bytes later = pb::Part(0, 1, pb::Item(1, 1, 4, {0xFF, 0xFE}), false, 2);
  Bytes known =
      pb::Part(1, 2, pb::Join({pb::Item(2, 2, 77, {1, 2, 3}), pb::IntItem(2, 3, -1)}), true);
  void *h = nullptr;
  ASSERT_EQ(Parse(V3WithParts(pb::Join({later, known}), 2), &h), 0u);
  uint16_t count = 9;
  ASSERT_EQ(eppGetItemCount(h, 0, 0, &count), 0u);
  EXPECT_EQ(count, 0);
  ASSERT_EQ(eppGetItemCount(h, 1, 0, &count), 0u);
  EXPECT_EQ(count, 1);
  // Items of one id in two parts are joined into one part.
  Bytes twice = pb::Join(
      {pb::Part(1, 1, pb::IntItem(1, 1, 5), false), pb::Part(1, 1, pb::IntItem(1, 2, 6), true)});
  ASSERT_EQ(Parse(V3WithParts(twice, 2), &h), 0u);
  ASSERT_EQ(eppGetItemCount(h, 1, 0, &count), 0u);
  EXPECT_EQ(count, 2);
}

TEST_F(EppNetwork, StringItemsReadAsZeroTerminatedText) {
  // An ASCII string fills its area exactly; a multi-byte one runs on into what follows.
  Bytes parts = pb::Part(
      0, 2, pb::Join({pb::StringItem(1, 1, "abc"), pb::StringItem(1, 2, "\xC3\xA4")}), true);
  void *h = nullptr;
  ASSERT_EQ(Parse(V3WithParts(parts, 1), &h), 0u);
  char16_t text[8] = {};
  uint32_t length = 0;
  ASSERT_EQ(eppGetItem(h, 0, 1, 1, sizeof text, text, nullptr, &length), 0u);
  EXPECT_EQ(std::u16string(text, length), u"abc");
  ASSERT_EQ(eppGetItem(h, 0, 1, 2, sizeof text, text, nullptr, &length), 0u);
  EXPECT_EQ(std::u16string(text, length), u"\u00E4*");  // the trailing eyecatcher follows
}

// The valid passports of the fuzz corpus, of each version and with items, parse and give back the
// same bytes.
TEST_F(EppNetwork, CorpusPassportsRoundTrip) {
  int seen = 0;
  for (const auto &entry :
       std::filesystem::directory_iterator(TLM_TEST_SOURCE_DIR "/fuzz/corpus/epp_deserialize")) {
    if (entry.path().filename().string().rfind("valid_", 0) != 0) continue;
    SCOPED_TRACE(entry.path().filename().string());
    std::ifstream in(entry.path(), std::ios::binary);
    Bytes bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    void *h = nullptr;
    ASSERT_EQ(Parse(bytes, &h), 0u);
    EXPECT_EQ(Serialize(h), bytes);
    ++seen;
  }
  EXPECT_EQ(seen, 4);
}

}  // namespace
}  // namespace epp_test
