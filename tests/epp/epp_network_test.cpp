// The network form: golden streams of each version built from the layout, and parsing of
// malformed streams.
#include "epp_fixture.h"

namespace epp_test {
namespace {

namespace pb = passport_bytes;
using EppNetwork = EppTest;

// A passport with every field of c that its version has: eppInitAndSet at c's version as the
// active one, which skips the fields above it.
void *Make(const pb::Core &c) {
  auto w = [](const std::string &s) { return std::u16string(s.begin(), s.end()); };
  const std::u16string name = w(c.component_name), user = w(c.user_id), action = w(c.action),
                       pre = w(c.pre_component_name), tx = w(c.transaction_id), cli = w(c.client);
  EXPECT_EQ(eppSetEnvironment(c.component, c.version, std::malloc, std::free, CaptureTrace, 3), 0u);
  void *h = nullptr;
  EXPECT_EQ(eppInitAndSet(c.flag, name.data(), uint32_t(name.size()), c.service, user.data(),
                          uint32_t(user.size()), action.data(), uint32_t(action.size()),
                          c.action_type, pre.data(), uint32_t(pre.size()), tx.data(),
                          uint32_t(tx.size()), cli.data(), uint32_t(cli.size()), c.root_context_id,
                          c.connection_id, c.connection_counter, &h),
            0u);
  EXPECT_EQ(eppSetEnvironment(8, 3, std::malloc, std::free, CaptureTrace, 3), 0u);
  return h;
}

uint8_t VersionOf(void *h) {
  uint8_t version = 0;
  EXPECT_EQ(eppGetVersion(h, &version), 0u);
  return version;
}

// Each version, and version 3 with variable parts behind the core in slot order, serialises to
// the layout and parses back.
TEST_F(EppNetwork, EachVersionSerialisesByteForByteAndParsesBack) {
  void *v3 = Own(Make(pb::SampleCore(3)));
  int32_t number = 0x11223344;
  const ZUL_RAW raw[] = {0xDE, 0xAD};
  ASSERT_EQ(eppSetItem(v3, 1, 5, 1, EPP_ITEM_INT, 4, &number), 0u);
  ASSERT_EQ(eppSetItem(v3, 1, 5, 2, EPP_ITEM_STRING, 3, u"abc"), 0u);
  ASSERT_EQ(eppSetItem(v3, 0, 9, 7, EPP_ITEM_BYTES, 2, raw), 0u);
  // The integer goes on the wire with its highest byte first.
  Bytes parts = pb::Join({pb::Part(1, 2,
                                   pb::Join({pb::Item(5, 1, 2, {0x11, 0x22, 0x33, 0x44}),
                                             pb::StringItem(5, 2, "abc")}),
                                   false),
                          pb::Part(0, 1, pb::Item(9, 7, 1, {0xDE, 0xAD}), true)});
  const std::pair<void *, Bytes> cases[] = {
      {Own(Make(pb::SampleCore(1))), pb::Version1(pb::SampleCore(1))},
      {Own(Make(pb::SampleCore(2))), pb::Version2(pb::SampleCore(2))},
      {Own(Make(pb::SampleCore(3))), pb::Version3(pb::SampleCore(3))},
      {v3, pb::Version3(pb::SampleCore(3), parts, 2)}};
  for (const auto &[h, expected] : cases) {
    SCOPED_TRACE(expected.size());
    EXPECT_EQ(Needed(h), h == v3 ? 226u + 2 * 12 + 3 * 7 + 4 + 3 + 2 + 4 : expected.size());
    EXPECT_EQ(Serialize(h), expected);
    void *parsed = nullptr;
    ASSERT_EQ(Parse(expected, &parsed), 0u);
    EXPECT_EQ(VersionOf(parsed), VersionOf(h));
    // Fields from the network keep their padding blanks.
    EXPECT_EQ(GetText(parsed, eppGetUserId, 32), u"alice" + std::u16string(27, u' '));
    EXPECT_EQ(Serialize(parsed), expected);
  }
  // A version 1 stream's spare bytes are ignored.
  Bytes spare = cases[0].second;
  for (int i = 149; i < 156; ++i) spare[i] = 0xFF;
  void *h = nullptr;
  ASSERT_EQ(Parse(spare, &h), 0u);
  EXPECT_EQ(Serialize(h), cases[0].second);
}

TEST_F(EppNetwork, SerialisingNeedsTheLayoutsRoom) {
  void *h = New(3);
  Bytes out(230);
  uint32_t used = 0;
  EXPECT_EQ(eppSerialize(h, out.data(), 229, &used), 5u);
  EXPECT_TRUE(Traced(u"eppSerialize: supplied output area too small (229 < 230)\n"));
  // Version 0 needs nothing, but is written in the version 1 layout.
  ASSERT_EQ(eppSetVersion(h, 0), 0u);
  EXPECT_EQ(Needed(h), 0u);
  EXPECT_EQ(eppSerialize(h, out.data(), 159, &used), 5u);
  ASSERT_EQ(eppSerialize(h, out.data(), 160, &used), 0u);
  EXPECT_EQ(used, 160u);
  EXPECT_EQ(out[4], 0);
}

Bytes With(Bytes b, size_t at, std::initializer_list<uint8_t> bytes) {
  for (uint8_t byte : bytes) b[at++] = byte;
  return b;
}

TEST_F(EppNetwork, CoresParseAsTheFormatSays) {
  Bytes v1 = pb::Version1(pb::SampleCore(1));
  Bytes v2 = pb::Version2(pb::SampleCore(2));
  Bytes v3 = pb::Version3(pb::SampleCore(3));
  const struct {
    const char *name;
    Bytes stream;
    uint32_t rc;
    std::u16string message;  // a part of the error line, or the version read
  } cases[] = {
      {"short", Bytes(v1.begin(), v1.end() - 1), 7, u"not long enough (159)\n"},
      {"leading eyecatcher", With(v1, 0, {'#'}), 7, u"could not find valid leading eyecatcher\n"},
      {"trailing eyecatcher", With(v1, 159, {'#'}), 7, u"find valid trailing eyecatcher\n"},
      // Spelled so, without line end.
      {"total past the stream", With(v1, 5, {0, 161}), 7,
       u"eppDeserialize: inconsistend length of passport and bytestream (161 > 160)"},
      // Negative totals pass that test and lead before the stream, where no eyecatcher is found.
      {"total 0x8000", With(v1, 5, {0x80, 0}), 7, u"find valid trailing eyecatcher\n"},
      // A total of 4 finds the leading eyecatcher, and version 1 needs no more.
      {"total 4", With(v1, 5, {0, 4}), 0, u"1"},
      {"version 3 of 229 bytes", With(With(v3, 5, {0, 229}), 225, {'*', 'T', 'H', '*'}), 7,
       u"not long enough (229)\n"},
      {"version 0", With(v1, 4, {0}), 0, u"0"},
      // A sender's later version is read as version 3, with its length.
      {"version 255", With(v3, 4, {255}), 0, u"3"},
      {"version 9 of version 2 length", With(v2, 4, {9}), 7, u"not long enough (185)\n"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    TraceLines().clear();
    void *h = reinterpret_cast<void *>(1);
    EXPECT_EQ(Parse(c.stream, &h), c.rc);
    if (c.rc == 0) {
      EXPECT_EQ(VersionOf(h), c.message[0] - u'0');
      continue;
    }
    EXPECT_EQ(h, nullptr);
    EXPECT_TRUE(Traced(c.message));
  }
}

Bytes V3With(const Bytes &parts, uint16_t count) {
  return pb::Version3(pb::SampleCore(3), parts, count);
}

TEST_F(EppNetwork, MalformedVariablePartsEndAsNullHandles) {
  Bytes one = pb::Part(0, 1, pb::IntItem(1, 1, 5), true);
  auto part = [](uint16_t id, bool last) { return pb::Part(id, 1, pb::IntItem(1, 1, 5), last); };
  const struct {
    const char *name;
    Bytes stream;
    uint32_t rc;
  } cases[] = {
      {"negative offset", With(V3With(one, 1), 224, {0xFF, 0xF0}), 7},
      {"part eyecatcher", V3With(With(one, 1, {'X'}), 1), 7},
      {"part past the end", V3With(With(one, 5, {0, 100}), 1), 7},
      {"item past the end", V3With(With(one, 12 + 5, {0, 100}), 1), 7},
      {"empty string", V3With(pb::Part(0, 1, pb::StringItem(1, 1, ""), true), 1), 6},
      {"an item twice",
       V3With(pb::Part(0, 2, pb::Join({pb::IntItem(1, 1, 5), pb::IntItem(1, 1, 6)}), true), 1), 1},
      {"part id 3", V3With(pb::Part(3, 1, pb::IntItem(1, 1, 5), true), 1), 7},
      {"a third part id", V3With(pb::Join({part(0, false), part(1, false), part(2, true)}), 3), 8},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    void *h = reinterpret_cast<void *>(1);
    EXPECT_EQ(Parse(c.stream, &h), c.rc);
    EXPECT_EQ(h, nullptr);
  }
}

TEST_F(EppNetwork, WhatIsNotUnderstoodIsSkipped) {
  // A part of version 2 keeps its place; unknown item types are left out; items of one id in two
  // parts are joined.
  Bytes later = pb::Part(0, 1, pb::Item(1, 1, 4, {0xFF, 0xFE}), false, 2);
  Bytes known = pb::Part(1, 2, pb::Join({pb::Item(2, 2, 77, {1}), pb::IntItem(2, 3, -1)}), false);
  Bytes again = pb::Part(1, 1, pb::IntItem(2, 4, 6), true);
  void *h = nullptr;
  ASSERT_EQ(Parse(V3With(pb::Join({later, known, again}), 3), &h), 0u);
  uint16_t counts[2] = {9, 9};
  ASSERT_EQ(eppGetItemCount(h, 0, 0, &counts[0]), 0u);
  ASSERT_EQ(eppGetItemCount(h, 1, 0, &counts[1]), 0u);
  EXPECT_EQ(counts[0], 0);
  EXPECT_EQ(counts[1], 2);

  // A part and an item of length 0 are read in place as often as the counts say (here 32767
  // times 65535); reading them once more than once changes nothing, and must not take minutes.
  Bytes in_place =
      With(With(pb::Part(0, 0xFFFF, pb::Item(1, 1, 77, {}), true), 5, {0, 0}), 12 + 5, {0, 0});
  ASSERT_EQ(Parse(With(V3With(in_place, 1), 222, {0x7F, 0xFF}), &h), 0u);
  ASSERT_EQ(eppGetItemCount(h, 0, 0, &counts[0]), 0u);
  EXPECT_EQ(counts[0], 0);
  EXPECT_EQ(Parse(V3With(With(pb::Part(0, 3, pb::IntItem(1, 1, 5), true), 12 + 5, {0, 0}), 1), &h),
            1u);
}

}  // namespace
}  // namespace epp_test
