#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "zul_pfuuid.h"

namespace {

using Bytes = std::vector<ZUL_RAW>;

Bytes BytesOf(const std::string &s) { return Bytes(s.begin(), s.end()); }

// Encodes all of in with room for room units; answers the code, the text, and the bytes consumed.
struct Encoded {
  int rc;
  std::u16string text;
  size_t consumed;
};

Encoded Base64(const Bytes &in, size_t room, int *line_groups = nullptr) {
  std::u16string buffer(room, u'#');
  ZUL_UTF16 *dst = buffer.data();
  const ZUL_RAW *src = in.data();
  int rc = pfuuid_encodeBase64Uc(&dst, buffer.data() + room, &src, in.data() + in.size(),
                                 line_groups);
  return {rc, buffer.substr(0, dst - buffer.data()), size_t(src - in.data())};
}

Encoded Base32(const Bytes &in, size_t room) {
  std::u16string buffer(room, u'#');
  ZUL_UTF16 *dst = buffer.data();
  const ZUL_RAW *src = in.data();
  int rc = pfuuid_encodeBase32Uc(&dst, buffer.data() + room, &src, in.data() + in.size());
  return {rc, buffer.substr(0, dst - buffer.data()), size_t(src - in.data())};
}

struct Decoded {
  int rc;
  Bytes bytes;
  size_t consumed;
};

using Decoder = int (*)(ZUL_RAW **, ZUL_RAW *, const ZUL_UTF16 **, const ZUL_UTF16 *);

Decoded Decode(Decoder decode, const std::u16string &text, size_t room) {
  Bytes buffer(room + 1);  // never empty, so that data() is a real pointer
  ZUL_RAW *dst = buffer.data();
  const ZUL_UTF16 *src = text.data();
  int rc = decode(&dst, buffer.data() + room, &src, text.data() + text.size());
  buffer.resize(dst - buffer.data());
  return {rc, buffer, size_t(src - text.data())};
}

TEST(PfuuidBase64, AlphabetOrderAndPadding) {
  struct Case {
    Bytes in;
    std::u16string text;
  } cases[] = {
      {{0x00, 0x10, 0x83}, u"0123"},
      {{0xFF, 0xFF, 0xFF}, u"}}}}"},
      {{0xFB}, u"{m=="},
      {{0x28}, u"A0=="},
      {{0x28, 0xB4}, u"ABG="},
  };
  for (const Case &c : cases) {
    Encoded e = Base64(c.in, 16);
    EXPECT_EQ(e.rc, PFUUID_OK);
    EXPECT_EQ(e.text, c.text);
    Decoded d = Decode(pfuuid_decodeBase64Uc, c.text, 16);
    EXPECT_EQ(d.rc, PFUUID_OK);
    EXPECT_EQ(d.bytes, c.in);
  }
}

TEST(PfuuidBase64, NewlineGoesBeforeTheTwentiethGroupOfALine) {
  Bytes in(60, 0x41);
  Encoded e57 = Base64(Bytes(in.begin(), in.begin() + 57), 200);
  EXPECT_EQ(e57.text.size(), 76u);
  EXPECT_EQ(e57.text.find(u'\n'), std::u16string::npos);

  Encoded e60 = Base64(in, 200);
  ASSERT_EQ(e60.text.size(), 81u);
  EXPECT_EQ(e60.text[76], u'\n');
  EXPECT_EQ(e60.text.find(u'\n', 77), std::u16string::npos);

  // The count carries over calls: 19 groups, then one more group on the next call.
  int groups = 0;
  Encoded first = Base64(Bytes(in.begin(), in.begin() + 57), 200, &groups);
  EXPECT_EQ(groups, 19);
  Encoded second = Base64(Bytes(3, 0x41), 200, &groups);
  EXPECT_EQ(second.text, u"\nGK51");
  EXPECT_EQ(groups, 1);
  EXPECT_EQ(first.text + second.text, e60.text);
}

TEST(PfuuidBase64, FullTargetStopsAfterTheLastWholeGroup) {
  Bytes in = BytesOf("abcdef");
  Encoded e = Base64(in, 3);
  EXPECT_EQ(e.rc, PFUUID_ERR_LOCK);
  EXPECT_EQ(e.consumed, 0u);
  EXPECT_TRUE(e.text.empty());

  e = Base64(in, 7);
  EXPECT_EQ(e.rc, PFUUID_ERR_LOCK);
  EXPECT_EQ(e.consumed, 3u);
  EXPECT_EQ(e.text.size(), 4u);

  // A due newline needs one unit more than the group.
  int groups = 19;
  e = Base64(BytesOf("abc"), 4, &groups);
  EXPECT_EQ(e.rc, PFUUID_ERR_LOCK);
  EXPECT_EQ(groups, 19);

  Decoded d = Decode(pfuuid_decodeBase64Uc, u"OM9aP{==", 2);
  EXPECT_EQ(d.rc, PFUUID_ERR_LOCK);
  EXPECT_TRUE(d.bytes.empty());
  EXPECT_EQ(d.consumed, 0u);
  d = Decode(pfuuid_decodeBase64Uc, u"OM9aP{==", 3);
  EXPECT_EQ(d.rc, PFUUID_ERR_LOCK);
  EXPECT_EQ(d.bytes.size(), 3u);
  EXPECT_EQ(d.consumed, 4u);
}

TEST(PfuuidBase64, DecoderSkipsForeignUnitsAndChecksTheLastGroup) {
  struct Case {
    std::u16string text;
    int rc;
    Bytes bytes;
  } cases[] = {
      {u"0=", PFUUID_ERR_ARG, {}},
      {u"AB==", PFUUID_OK, {0x28}},
      {u"AB=", PFUUID_ERR_ARG, {}},
      {u"AB===", PFUUID_ERR_ARG, {}},
      {u"A\nB \r=\t=", PFUUID_OK, {0x28}},     // newlines and blanks do no harm
      {u"==AB==", PFUUID_OK, {0x28}},          // a digit starts the count of "=" anew
      {u"0123AB==", PFUUID_OK, {0x00, 0x10, 0x83, 0x28}},
      {u"0123", PFUUID_OK, {0x00, 0x10, 0x83}},
      {u"", PFUUID_OK, {}},
      {u"ab+/", PFUUID_ERR_ARG, {}},           // '+' and '/' aren't digits here
  };
  for (const Case &c : cases) {
    Decoded d = Decode(pfuuid_decodeBase64Uc, c.text, 16);
    EXPECT_EQ(d.rc, c.rc) << std::string(c.text.begin(), c.text.end());
    if (c.rc == PFUUID_OK) {
      EXPECT_EQ(d.bytes, c.bytes);
    }
  }
}

TEST(PfuuidBase32, KnownVectors) {
  struct Case {
    const char *in;
    std::u16string text;
  } cases[] = {
      {"", u""},
      {"f", u"MY======"},
      {"fo", u"MZXQ===="},
      {"foo", u"MZXW6==="},
      {"foob", u"MZXW6YQ="},
      {"fooba", u"MZXW6YTB"},
      {"foobar", u"MZXW6YTBOI======"},
  };
  for (const Case &c : cases) {
    Encoded e = Base32(BytesOf(c.in), 32);
    EXPECT_EQ(e.rc, PFUUID_OK);
    EXPECT_EQ(e.text, c.text);
    Decoded d = Decode(pfuuid_decodeBase32Uc, c.text, 32);
    EXPECT_EQ(d.rc, PFUUID_OK);
    EXPECT_EQ(d.bytes, BytesOf(c.in));
  }
  EXPECT_EQ(Decode(pfuuid_decodeBase32Uc, u"MY=====", 32).rc, PFUUID_ERR_ARG);
  EXPECT_EQ(Decode(pfuuid_decodeBase32Uc, u"my======", 32).bytes, Bytes{});  // lower case skipped
  EXPECT_EQ(Base32(BytesOf("fooba!"), 15).rc, PFUUID_ERR_LOCK);
}

TEST(PfuuidCodecs, RoundTripsOfEveryLength) {
  std::mt19937 random(7);
  for (size_t length = 0; length < 200; ++length) {
    Bytes in(length);
    for (ZUL_RAW &b : in) b = static_cast<ZUL_RAW>(random());
    Encoded e64 = Base64(in, 400);
    ASSERT_EQ(e64.rc, PFUUID_OK);
    EXPECT_EQ(Decode(pfuuid_decodeBase64Uc, e64.text, length).bytes, in) << length;
    Encoded e32 = Base32(in, 400);
    ASSERT_EQ(e32.rc, PFUUID_OK);
    EXPECT_EQ(Decode(pfuuid_decodeBase32Uc, e32.text, length).bytes, in) << length;
  }
}

}  // namespace
