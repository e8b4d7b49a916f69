// The UTF-8 conversions of 16-bit text: results, refusals and pointer positions, edge tables.
#include <gtest/gtest.h>

#include <memory>

#include "u16_conv_test_util.h"

namespace {

using convtest::B;
using convtest::Bytes;
using convtest::Outcome;
using convtest::ScopedHookRecorder;

using FromUtf8Fn = int (*)(const ZUL_RAW **, const ZUL_RAW *, ZUL_UTF16 **, ZUL_UTF16 *,
                           const ZUL_UTF16 *, uint32_t *);
using ToUtf8Fn = int (*)(const ZUL_UTF16 **, const ZUL_UTF16 *, ZUL_RAW **, ZUL_RAW *);

// Runs f on in with a heap destination of exactly room units, so that a write beyond it is caught.
Outcome<char16_t> From8(FromUtf8Fn f, const Bytes &in, const char16_t *subst, size_t room = 64) {
  ScopedHookRecorder hook;
  auto src_buf = std::make_unique<ZUL_RAW[]>(in.size() + 1);
  std::copy(in.begin(), in.end(), src_buf.get());
  auto dst_buf = std::make_unique<ZUL_UTF16[]>(room + 1);
  const ZUL_RAW *s = src_buf.get();
  ZUL_UTF16 *d = dst_buf.get();
  uint32_t count = 0;
  int rc = f(&s, src_buf.get() + in.size(), &d, dst_buf.get() + room, subst, &count);
  return {rc, std::u16string(dst_buf.get(), d), static_cast<size_t>(s - src_buf.get()), count,
          hook.last_text()};
}

Outcome<ZUL_RAW> To8(ToUtf8Fn f, const std::u16string &in, size_t room = 64) {
  ScopedHookRecorder hook;
  auto src_buf = std::make_unique<ZUL_UTF16[]>(in.size() + 1);
  std::copy(in.begin(), in.end(), src_buf.get());
  auto dst_buf = std::make_unique<ZUL_RAW[]>(room + 1);
  const ZUL_UTF16 *s = src_buf.get();
  ZUL_RAW *d = dst_buf.get();
  int rc = f(&s, src_buf.get() + in.size(), &d, dst_buf.get() + room);
  return {rc, Bytes(dst_buf.get(), d), static_cast<size_t>(s - src_buf.get()), 0, hook.last_text()};
}

struct FromCase {
  const char *name;
  std::string in;
  bool with_subst;
  int rc;
  std::u16string out;
  size_t src_stop;
  uint32_t count;
  std::u16string text;
};

void CheckFrom(FromUtf8Fn f, const FromCase &c) {
  static const ZUL_UTF16 kSubst = u'?';
  auto r = From8(f, B(c.in), c.with_subst ? &kSubst : nullptr);
  EXPECT_EQ(r.rc, c.rc) << c.name;
  EXPECT_EQ(r.out, c.out) << c.name;
  EXPECT_EQ(r.src_stop, c.src_stop) << c.name;
  EXPECT_EQ(r.count, c.count) << c.name;
  EXPECT_EQ(r.text, c.text) << c.name;
}

TEST(Utf8nToU2nSubst, EdgeTable) {
  const FromCase cases[] = {
      {"empty", "", false, 0, u"", 0, 0, u""},
      {"ascii and latin", "A\xC3\xA9z", false, 0, u"A\u00E9z", 4, 0, u""},
      {"bounds", "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF", false, 0,
       u"\u007F\u0080\u07FF\u0800\uFFFF", 11, 0, u""},
      {"lone surrogate passes", "\xED\xA0\x80", false, 0, u"\xD800", 3, 0, u""},
      {"overlong refused", "\xC0\x80", false, 2048, u"", 0, 0, u"overlong UTF-8 sequence"},
      {"overlong replaced once", "\xC0\x80Z", true, 0, u"?Z", 3, 1, u""},
      {"overlong 3-byte", "a\xE0\x9F\xBF", false, 2048, u"a", 1, 0, u"overlong UTF-8 sequence"},
      {"beyond UCS-2 stops on last byte", "x\xF4\x90\x80\x80", false, 2048, u"x", 4, 0,
       u"UTF-8 bejond UCS-2"},
      {"beyond UCS-2 replaced", "\xF0\x90\x80\x80y", true, 0, u"?y", 5, 1, u""},
      {"5-byte beyond", "\xF8\x88\x80\x80\x80", false, 2048, u"", 4, 0, u"UTF-8 bejond UCS-2"},
      {"6-byte beyond", "\xFD\xBF\xBF\xBF\xBF\xBF", false, 2048, u"", 5, 0, u"UTF-8 bejond UCS-2"},
      {"5-byte overlong", "\xF8\x80\x80\x80\x80", false, 2048, u"", 0, 0,
       u"overlong UTF-8 sequence"},
      {"cut at end", "ab\xE2\x82", false, 512, u"ab", 2, 0, u"source exhausted within a char"},
      {"cut at end with subst", "\xE2\x82", true, 512, u"", 0, 0,
       u"source exhausted within a char"},
      {"illegal start", "a\x80", false, 2048, u"a", 1, 0, u"illegal start byte"},
      {"illegal start replaced", "\x80\xBF\xFE\xFF", true, 0, u"????", 4, 4, u""},
      {"FE refused", "\xFE", false, 2048, u"", 0, 0, u"illegal start byte"},
      {"illegal start near end is not exhaustion", "\xFF", false, 2048, u"", 0, 0,
       u"illegal start byte"},
      {"bad follow-up refused on lead", "a\xE2\x41\x42", false, 2048, u"a", 1, 0,
       u"illegal follow-up byte"},
      {"bad follow-up resumes behind lead", "\xE2\x41\x42", true, 0, u"?AB", 3, 1, u""},
      {"follow-up C0 is bad too", "\xE2\x82\xC0\x80", true, 0, u"???", 4, 3, u""},
      {"control codes pass", "\x01\x7F\xC2\x85", false, 0, u"\x01\x7F\u0085", 4, 0, u""},
  };
  for (const auto &c : cases) CheckFrom(Utf8nToU2nSubst, c);
}

TEST(Utf8nToUtf16nSubst, EdgeTable) {
  const FromCase cases[] = {
      {"supplementary", "\xF0\x9F\x98\x80", false, 0, u"\U0001F600", 4, 0, u""},
      {"bounds", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", false, 0, u"\U00010000\U0010FFFF", 8, 0, u""},
      {"beyond UTF-16", "\xF4\x90\x80\x80", false, 2048, u"", 3, 0, u"UTF-8 bejond UTF-32"},
      {"beyond UTF-16 replaced", "\xF4\x90\x80\x80!", true, 0, u"?!", 5, 1, u""},
      {"lone surrogate passes", "\xED\xB0\x80", false, 0, u"\xDC00", 3, 0, u""},
      {"overlong 4-byte", "\xF0\x8F\xBF\xBF", false, 2048, u"", 0, 0, u"overlong UTF-8 sequence"},
      {"cut 4-byte", "\xF0\x9F\x98", false, 512, u"", 0, 0, u"source exhausted within a char"},
  };
  for (const auto &c : cases) CheckFrom(Utf8nToUtf16nSubst, c);
}

TEST(Utf8nToUtf16nSubst, NullCountIsAllowed) {
  const Bytes in = B("\x80");
  const ZUL_RAW *s = in.data();
  ZUL_UTF16 out[2];
  ZUL_UTF16 *d = out;
  EXPECT_EQ(Utf8nToUtf16nSubst(&s, in.data() + 1, &d, out + 2, &rscpReplacementCharacter, nullptr),
            0);
  EXPECT_EQ(out[0], 0xFFFD);
}

TEST(Utf8nToUtf16nSubst, PairNeedsRoomForBothUnits) {
  auto r = From8(Utf8nToUtf16nSubst, B("a\xF0\x9F\x98\x80"), nullptr, 2);
  EXPECT_EQ(r.rc, 32);
  EXPECT_EQ(r.out, u"a");
  EXPECT_EQ(r.src_stop, 1u);
  EXPECT_EQ(r.text, u"dest buffer overflow");
}

TEST(Utf8nToU2nSubst, FullDestinationComesBeforeAnyOtherTest) {
  for (const char *in : {"\x80", "\xE2\x82", "A"}) {
    auto r = From8(Utf8nToU2nSubst, B(in), nullptr, 0);
    EXPECT_EQ(r.rc, 32) << in;
    EXPECT_EQ(r.src_stop, 0u);
    EXPECT_EQ(r.text, u"dest buffer overflow");
  }
}

struct ToCase {
  const char *name;
  std::u16string in;
  int rc;
  std::string out;
  size_t src_stop;
  std::u16string text;
};

void CheckTo(ToUtf8Fn f, const ToCase &c, size_t room = 64) {
  auto r = To8(f, c.in, room);
  EXPECT_EQ(r.rc, c.rc) << c.name;
  EXPECT_EQ(r.out, B(c.out)) << c.name;
  EXPECT_EQ(r.src_stop, c.src_stop) << c.name;
  EXPECT_EQ(r.text, c.text) << c.name;
}

TEST(U2nToUtf8n, EdgeTable) {
  const ToCase cases[] = {
      {"empty", u"", 0, "", 0, u""},
      {"bounds", u"\u007F\u0080\u07FF\u0800\uFFFF", 0,
       "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF", 5, u""},
      {"pair halves each three bytes", u"\U0001F600", 0, "\xED\xA0\xBD\xED\xB8\x80", 2, u""},
      {"control codes pass", u"\x01\u0085", 0, "\x01\xC2\x85", 2, u""},
  };
  for (const auto &c : cases) CheckTo(U2nToUtf8n, c);
}

TEST(Utf16nToUtf8n, EdgeTable) {
  const ToCase cases[] = {
      {"pair joins", u"a\U0001F600", 0, "a\xF0\x9F\x98\x80", 3, u""},
      {"last pair", u"\U0010FFFF", 0, "\xF4\x8F\xBF\xBF", 2, u""},
      {"high at end", u"ab\xD83D", 512, "ab", 2, u"Half surrogate at end"},
      {"high before non-low",
       u"a\xD83D"
       u"b",
       2048, "a", 1, u"Half surrogate in middle"},
      {"two highs", u"\xD83D\xD83D\xDE00", 2048, "", 0, u"Half surrogate in middle"},
      {"lone low", u"a\xDE00", 2048, "a", 1, u"Half low surrogate in middle"},
  };
  for (const auto &c : cases) CheckTo(Utf16nToUtf8n, c);
}

TEST(Utf16nToUtf8n, OverflowLeavesBothPointersBeforeTheCharacter) {
  // "a" + U+20AC (3 bytes) + U+1F600 (4 bytes, 2 units)
  const std::u16string in = u"a\u20AC\U0001F600";
  const struct {
    size_t room;
    const char *out;
    size_t src_stop;
  } rows[] = {
      {0, "", 0}, {1, "a", 1}, {3, "a", 1}, {4, "a\xE2\x82\xAC", 2}, {7, "a\xE2\x82\xAC", 2}};
  for (const auto &row : rows) {
    auto r = To8(Utf16nToUtf8n, in, row.room);
    EXPECT_EQ(r.rc, 32) << row.room;
    EXPECT_EQ(r.out, B(row.out)) << row.room;
    EXPECT_EQ(r.src_stop, row.src_stop) << row.room;
  }
  EXPECT_EQ(To8(Utf16nToUtf8n, in, 8).rc, 0);
}

TEST(ConversionErrorHook, ReceivesTheReportAndDecidesTheAnswer) {
  ScopedHookRecorder hook(77);
  const Bytes in = B("\xC0\x80");
  const ZUL_RAW *s = in.data();
  ZUL_UTF16 out[4];
  ZUL_UTF16 *d = out;
  EXPECT_EQ(Utf8nToU2nSubst(&s, in.data() + in.size(), &d, out + 4, nullptr, nullptr), 77);
  ASSERT_EQ(hook.calls().size(), 1u);
  const auto &call = hook.calls()[0];
  EXPECT_EQ(call.code, 2048);
  EXPECT_EQ(call.err_class, 79);
  EXPECT_EQ(call.key, -1);
  EXPECT_FALSE(call.module.empty());
  EXPECT_GT(call.location, 0);
  EXPECT_GT(call.line, 0);
  EXPECT_EQ(call.text, u"overlong UTF-8 sequence");
  EXPECT_TRUE(call.params_null);
}

TEST(ConversionErrorHook, NullRestoresTheDefault) {
  { ScopedHookRecorder hook(5); }
  EXPECT_EQ(rscpHook_rscpe__error(2048, 79, -1, nullptr, 1, 1, nullptr, nullptr, nullptr, nullptr,
                                  nullptr, nullptr),
            2048);
  const ZUL_UTF16 in[] = u"ab";
  const ZUL_UTF16 *s = in;
  ZUL_RAW bytes[1];
  ZUL_RAW *b = bytes;
  EXPECT_EQ(Utf16nToUtf8n(&s, in + 2, &b, bytes + 1), 32);
}

TEST(Utf8sToUcsFast, TerminatorAndSizes) {
  ZUL_UTF16 out[4];
  size_t len = 99;
  EXPECT_EQ(Utf8sToUcsFast(out, 4, &len, reinterpret_cast<const ZUL_RAW *>("ab\xC3\xA9")), 0);
  EXPECT_EQ(std::u16string(out), u"ab\u00E9");
  EXPECT_EQ(len, 3u);
  // Only three units fit before the terminator; the terminator is still written.
  EXPECT_EQ(Utf8sToUcsFast(out, 4, &len, reinterpret_cast<const ZUL_RAW *>("abcd")), 32);
  EXPECT_EQ(std::u16string(out), u"abc");
  EXPECT_EQ(len, 3u);
  // Invalid bytes become U+FFFD.
  EXPECT_EQ(Utf8sToUcsFast(out, 4, &len,
                           reinterpret_cast<const ZUL_RAW *>("\xFF"
                                                             "a")),
            0);
  EXPECT_EQ(std::u16string(out), u"\uFFFDa");
  // A source cut inside a character fails but terminates what was converted.
  EXPECT_EQ(Utf8sToUcsFast(out, 4, &len, reinterpret_cast<const ZUL_RAW *>("a\xE2\x82")), 512);
  EXPECT_EQ(std::u16string(out), u"a");
  out[0] = u'x';
  EXPECT_EQ(Utf8sToUcsFast(out, 0, &len, reinterpret_cast<const ZUL_RAW *>("")), 32);
  EXPECT_EQ(out[0], u'x');
  EXPECT_EQ(Utf8sToUcsFast(out, 1, nullptr, reinterpret_cast<const ZUL_RAW *>("")), 0);
  EXPECT_EQ(out[0], 0);
}

TEST(UcsToUtf8sFast, TerminatorAndSizes) {
  ZUL_RAW out[5];
  size_t len = 99;
  EXPECT_EQ(UcsToUtf8sFast(out, 5, &len, u"a\u20AC"), 0);
  EXPECT_EQ(Bytes(out), B("a\xE2\x82\xAC"));
  EXPECT_EQ(len, 4u);
  EXPECT_EQ(UcsToUtf8sFast(out, 4, &len, u"a\u20AC"), 32);
  EXPECT_EQ(Bytes(out), B("a"));
  EXPECT_EQ(len, 1u);
  EXPECT_EQ(UcsToUtf8sFast(out, 5, &len, u"a\xD800"), 512);
  EXPECT_EQ(Bytes(out), B("a"));
  EXPECT_EQ(UcsToUtf8sFast(out, 0, &len, u""), 32);
}

}  // namespace
