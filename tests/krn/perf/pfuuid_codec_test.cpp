// Known texts, refusals and full targets of the Base64 and Base32 codecs. Round trips, and the
// line count and resumption carried from call to call, are asserted by the codecs' fuzz target.

#include "zul_pfuuid.h"

namespace {

using Bytes = std::vector<ZUL_RAW>;
Bytes BytesOf(const std::string &s) { return Bytes(s.begin(), s.end()); }

// One call of an encoder or decoder with room for room output units or bytes: its code, output,
// and how much input it took.
template <typename Out>
struct Result {
  int rc;
  Out out;
  size_t taken;
};

template <typename Out, typename In, typename Call>
Result<Out> Run(const In &in, size_t room, Call call) {
  Out buffer(room + 1, 0);  // never empty, so that data() is a real pointer
  auto *dst = buffer.data();
  const auto *src = in.data();
  int rc = call(&dst, buffer.data() + room, &src, in.data() + in.size());
  return {rc, Out(buffer.data(), dst), size_t(src - in.data())};
}

auto Base64(const Bytes &in, size_t room, int *line_groups = nullptr) {
  return Run<std::u16string>(in, room,
                             [&](auto... a) { return pfuuid_encodeBase64Uc(a..., line_groups); });
}
auto Base32(const Bytes &in, size_t room) {
  return Run<std::u16string>(in, room, [](auto... a) { return pfuuid_encodeBase32Uc(a...); });
}
auto From64(const std::u16string &in, size_t room) {
  return Run<Bytes>(in, room, [](auto... a) { return pfuuid_decodeBase64Uc(a...); });
}
auto From32(const std::u16string &in, size_t room) {
  return Run<Bytes>(in, room, [](auto... a) { return pfuuid_decodeBase32Uc(a...); });
}

TEST(PfuuidBase64, OwnAlphabetPaddingAndLines) {
  const std::pair<Bytes, std::u16string> cases[] = {{{0x00, 0x10, 0x83}, u"0123"},
                                                    {{0xFF, 0xFF, 0xFF}, u"}}}}"},
                                                    {{0xFB}, u"{m=="},
                                                    {{0x28, 0xB4}, u"ABG="}};
  for (const auto &[bytes, text] : cases) {
    EXPECT_EQ(Base64(bytes, 16).out, text);
    EXPECT_EQ(From64(text, 16).out, bytes);
  }
  // The newline goes before the twentieth group of a line.
  EXPECT_EQ(Base64(Bytes(60, 0x41), 200).out.find(u'\n'), 76u);
  // A full target stops after the last whole group; a due newline needs one unit more.
  auto e = Base64(BytesOf("abcdef"), 7);
  EXPECT_EQ(std::tuple(e.rc, e.taken, e.out.size()), std::tuple(PFUUID_ERR_LOCK, 3u, 4u));
  int groups = 19;
  EXPECT_EQ(Base64(BytesOf("abc"), 4, &groups).rc, PFUUID_ERR_LOCK);
  EXPECT_EQ(groups, 19);
}

TEST(PfuuidBase64, DecoderSkipsForeignUnitsAndChecksTheLastGroup) {
  const std::pair<std::u16string, int> cases[] = {
      {u"0=", PFUUID_ERR_ARG},    {u"AB=", PFUUID_ERR_ARG},
      {u"AB===", PFUUID_ERR_ARG}, {u"ab+/", PFUUID_ERR_ARG},  // '+' and '/' aren't digits here
      {u"AB==", PFUUID_OK},       {u"A\nB \r=\t=", PFUUID_OK},
      {u"==AB==", PFUUID_OK},  // a digit starts the count of "=" anew
  };
  for (const auto &[text, rc] : cases) {
    auto d = From64(text, 16);
    EXPECT_EQ(d.rc, rc) << std::string(text.begin(), text.end());
    if (rc == PFUUID_OK) {
      EXPECT_EQ(d.out, Bytes{0x28});
    }
  }
}

TEST(PfuuidBase32, KnownVectorsAndLastGroupCheck) {
  const std::pair<const char *, std::u16string> cases[] = {
      {"f", u"MY======"}, {"foob", u"MZXW6YQ="}, {"foobar", u"MZXW6YTBOI======"}};
  for (const auto &[bytes, text] : cases) {
    EXPECT_EQ(Base32(BytesOf(bytes), 32).out, text);
    EXPECT_EQ(From32(text, 32).out, BytesOf(bytes));
  }
  EXPECT_EQ(From32(u"MY=====", 32).rc, PFUUID_ERR_ARG);
  EXPECT_EQ(From32(u"my======", 32).out, Bytes{});  // lower case is skipped
  EXPECT_EQ(Base32(BytesOf("fooba!"), 15).rc, PFUUID_ERR_LOCK);
}

}  // namespace
