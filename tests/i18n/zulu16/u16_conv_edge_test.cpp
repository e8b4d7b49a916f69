// Edge cases of the conversion family: results, refusals with their texts, and where the
// pointers stop; the error hook's arguments; the zero-terminated wrappers. The EBCDIC table, the
// volatile result ring and an overlapping wrapper. The element rules and error counters of the
// 7-bit, 8-bit and EBCDIC forms and the volatile conversions are asserted by the narrow forms'
// fuzz target.

#include <tuple>

#include "u16_conv_test_util.h"
#include "zul_u16conv.h"

namespace {

using namespace convtest;

struct Row {
  const char *member;
  Buffer in;
  bool subst;
  int rc;
  Buffer out;
  size_t stop;  // source units consumed
  const char16_t *text;
  size_t room = 64;
};

void CheckRows(const std::vector<Row> &rows) {
  for (const Row &r : rows) {
    const std::string where = std::string(r.member) + " row " + std::to_string(&r - rows.data());
    const Result got = Convert(r.member, r.in, r.subst, r.room);
    EXPECT_EQ(got.rc, r.rc) << where;
    EXPECT_EQ(got.out, r.out) << where;
    EXPECT_EQ(got.stop, r.stop * Find(r.member).src_unit) << where;
    EXPECT_EQ(got.text, std::u16string(r.text)) << where;
  }
}

TEST(ConversionFamily, EdgeTable) {
  const char *u2 = "Utf8nToU2nSubst", *u16 = "Utf8nToUtf16nSubst";
  CheckRows({
      // From UTF-8 to UCS-2.
      {u2, Buffer(), false, 0, Buffer(), 0, u""},
      {u2, Utf8("\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"), false, 0,
       U16({0x7F, 0x80, 0x7FF, 0x800, 0xFFFF}), 11, u""},
      {u2, Utf8("\xED\xA0\x80"), false, 0, U16({0xD800}), 3, u""},
      {u2, Utf8("\xC0\x80"), false, 2048, Buffer(), 0, u"overlong UTF-8 sequence"},
      {u2, Utf8("\xC0\x80Z"), true, 0, U16({'?', 'Z'}), 3, u""},
      {u2, Utf8("x\xF4\x90\x80\x80"), false, 2048, U16({'x'}), 4, u"UTF-8 bejond UCS-2"},
      {u2, Utf8("\xF0\x90\x80\x80y"), true, 0, U16({'?', 'y'}), 5, u""},
      {u2, Utf8("\xFD\xBF\xBF\xBF\xBF\xBF"), false, 2048, Buffer(), 5, u"UTF-8 bejond UCS-2"},
      {u2, Utf8("\xF8\x80\x80\x80\x80"), false, 2048, Buffer(), 0, u"overlong UTF-8 sequence"},
      {u2, Utf8("ab\xE2\x82"), false, 512, U16({'a', 'b'}), 2, u"source exhausted within a char"},
      {u2, Utf8("\xE2\x82"), true, 512, Buffer(), 0, u"source exhausted within a char"},
      {u2, Utf8("a\x80"), false, 2048, U16({'a'}), 1, u"illegal start byte"},
      {u2, Utf8("\xFF"), false, 2048, Buffer(), 0, u"illegal start byte"},
      {u2, Utf8("\x80\xBF\xFE\xFF"), true, 0, U16({'?', '?', '?', '?'}), 4, u""},
      {u2, Utf8("a\xE2\x41\x42"), false, 2048, U16({'a'}), 1, u"illegal follow-up byte"},
      // After a bad follow-up byte, Subst resumes right behind the lead byte.
      {u2, Utf8("\xE2\x41\x42"), true, 0, U16({'?', 'A', 'B'}), 3, u""},
      {u2, Utf8("\xE2\x82\xC0\x80"), true, 0, U16({'?', '?', '?'}), 4, u""},
      // A full destination is reported before anything else is looked at.
      {u2, Utf8("\x80"), false, 32, Buffer(), 0, u"dest buffer overflow", 0},
      // From UTF-8 to UTF-16.
      {u16, Utf8("\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"), false, 0,
       U16({0xD800, 0xDC00, 0xDBFF, 0xDFFF}), 8, u""},
      {u16, Utf8("\xF4\x90\x80\x80"), false, 2048, Buffer(), 3, u"UTF-8 bejond UTF-32"},
      {u16, Utf8("\xF4\x90\x80\x80!"), true, 0, U16({'?', '!'}), 5, u""},
      {u16, Utf8("\xF0\x8F\xBF\xBF"), false, 2048, Buffer(), 0, u"overlong UTF-8 sequence"},
      {u16, Utf8("a\xF0\x9F\x98\x80"), false, 32, U16({'a'}), 1, u"dest buffer overflow", 2},
      // To UTF-8.
      {"U2nToUtf8n", U16({0xD83D, 0xDE00}), false, 0, Utf8("\xED\xA0\xBD\xED\xB8\x80"), 2, u""},
      {"Utf16nToUtf8n", U16({'a', 0xD83D}), false, 512, Utf8("a"), 1, u"Half surrogate at end"},
      {"Utf16nToUtf8n", U16({0xD83D, 0xD83D, 0xDE00}), false, 2048, Buffer(), 0,
       u"Half surrogate in middle"},
      {"Utf16nToUtf8n", U16({'a', 0xDE00}), false, 2048, Utf8("a"), 1,
       u"Half low surrogate in middle"},
      {"Utf16nToUtf8n", U16({'a', 0x20AC}), false, 32, Utf8("a"), 1, u"dest buffer overflow", 3},
      {"U4nToUtf8n", U32({0x7FFFFFFF, 0x4000000}), false, 0,
       Utf8("\xFD\xBF\xBF\xBF\xBF\xBF\xFC\x84\x80\x80\x80\x80"), 2, u""},
      {"U4nToUtf8n", U32({'a', 0x80000000u}), false, 2048, Utf8("a"), 1,
       u"UCS-4 has only 31 bits."},
      // NoCC members refuse control codes, or replace them with subst.
      {"Utf8nToU2nNoCCSubst", Utf8("a\x01"), false, 2048, U16({'a'}), 1,
       u"control codes not allowed here"},
      {"Utf8nToU2nNoCCSubst", Utf8("\xC2\x85"), false, 2048, Buffer(), 0,
       u"control codes not allowed here"},
      {"Utf8nToU2nNoCCSubst", Utf8("\xC2\x9F\x7Fz"), true, 0, U16({'?', '?', 'z'}), 4, u""},
      {"Utf8nToU4nNoCCSubst", Utf8(" ~\xC2\xA0"), false, 0, U32({' ', '~', 0xA0}), 4, u""},
      {"U2nToUtf8nNoCC", U16({'a', 0x1F}), false, 2048, Utf8("a"), 1, u"control code not allowed"},
      {"Utf16nToUtf8nNoCC", U16({0x7F}), false, 2048, Buffer(), 0, u"control code not allowed"},
      {"U4nToUtf8nNoCC", U32({0x9F}), false, 2048, Buffer(), 0, u"control code not allowed"},
      {"U2nToUtf8nNoCC", U16({0x20, 0x7E, 0xA0}), false, 0, Utf8(" ~\xC2\xA0"), 3, u""},
      // GD members check only the source end and the room.
      // An illegal start byte converts to its own value but wants six more bytes behind it.
      {"Utf8nToU2nGD", Utf8("\200abcdef"), false, 0, U16({0x80, 'a', 'b', 'c', 'd', 'e', 'f'}), 7,
       u""},
      {"Utf8nToU2nGD", Utf8("a\200bc"), false, 512, U16({'a'}), 1, u"source exhausted"},
      {"Utf8nToU2nGD", Utf8("\xC3\x41"), false, 0, U16({0x81}), 2, u""},
      {"Utf8nToUtf16nGD", Utf8("\xF4\x90\x80\x80"), false, 0, U16({0xFFFD}), 4, u""},
      {"Utf16nToUtf8nGD", U16({0xD800, 'a'}), false, 0, Utf8("\xED\xA0\200a"), 2, u""},
      {"Utf16nToUtf8nGD", U16({0xD800}), false, 512, Buffer(), 0, u"Half surrogate at end"},
      {"U4nToUtf8nGD", U32({0x80000000u}), false, 0, Utf8("\xEF\xBF\xBD"), 1, u""},
      // SubstAll members can fail only for want of room.
      {"Utf8nToUtf16nSubstAll", Utf8("a\xE2\x82"), false, 0, U16({'a', 0xFFFD, 0xFFFD}), 3, u""},
      {"Utf8nToUtf16nSubstAll", Utf8("\xC0\x80\xF4\x90\x80\x80"), false, 0, U16({0xFFFD, 0xFFFD}),
       6, u""},
      {"Utf16nToUtf8nSubstAll", U16({0xD800, 'a', 0xDC00}), false, 0,
       Utf8("\xEF\xBF\275a\xEF\xBF\xBD"), 3, u""},
      {"Utf8nToUtf16nSubstAll", Utf8("\xFF\xFF"), false, 32, U16({0xFFFD}), 1,
       u"dest buffer overflow", 1},
      // Between 16-bit and 32-bit units: joins, splits and copies.
      {"Utf16nToU4n", U16({0xD83D, 0xDE00, 0xD800, 'a', 0xDC00}), false, 0,
       U32({0x1F600, 0xD800, 'a', 0xDC00}), 5, u""},
      {"Utf16nToU4n", U16({'a', 0xD800}), false, 512, U32({'a'}), 1, u"half surrogate at end"},
      {"U4nToUtf16n", U32({0x1F600, 0x110000}), false, 0, U16({0xD83D, 0xDE00, 0xFFFD}), 2, u""},
      {"U4nToUtf16n", U32({'a', 0x10000}), false, 32, U16({'a'}), 1, u"dest buffer overflow", 2},
      {"Utf16nToUtf16n", U16({'a', 0xD83D}), false, 512, U16({'a'}), 1, u"Half surrogate at end"},
      {"Utf16nToUtf16n", U16({0xD83D, 'b'}), false, 2048, Buffer(), 0, u"Half surrogate in middle"},
      {"Utf16nToUtf16n", U16({0xDE00}), false, 2048, Buffer(), 0, u"Half low surrogate in middle"},
  });
  // Subst counts the sequences it replaced.
  EXPECT_EQ(Convert("Utf8nToU2nSubst", Utf8("\x80\xC0\x80"), true).count, 2u);
}

TEST(ConversionErrorHook, ReceivesTheReportAndDecidesTheAnswer) {
  ScopedHookRecorder hook(77);
  const ZUL_RAW in[] = {0xC0, 0x80};
  const ZUL_RAW *s = in;
  ZUL_UTF16 out[4];
  ZUL_UTF16 *d = out;
  EXPECT_EQ(Utf8nToU2nSubst(&s, in + 2, &d, out + 4, nullptr, nullptr), 77);
  ASSERT_EQ(hook.calls().size(), 1u);
  const HookCall &call = hook.calls()[0];
  EXPECT_EQ(std::tie(call.code, call.err_class, call.key, call.module, call.text, call.params_null),
            std::make_tuple(2048, 79, -1, u"u16_conv_from_utf8", u"overlong UTF-8 sequence", true));
  EXPECT_TRUE(call.location > 0 && call.line > 0);
}

TEST(FastWrappers, TerminatorIsWrittenAlsoAfterAFailure) {
  // Input and room in units; the answer and the text written.
  const std::tuple<const char *, size_t, int, std::u16string> rows[] = {
      {"ab\xC3\xA9", 4, 0, u"ab\u00E9"},
      {"abcd", 4, 32, u"abc"},
      {"\377a", 4, 0, u"\uFFFDa"},
      {"a\xE2\x82", 4, 512, u"a"},
      {"", 1, 0, u""}};
  for (const auto &[in, units, rc, text] : rows) {
    ZUL_UTF16 out[4];
    size_t len = 99;
    EXPECT_EQ(Utf8sToUcsFast(out, units, &len, reinterpret_cast<const ZUL_RAW *>(in)), rc);
    EXPECT_EQ(std::u16string(out), text) << in;
    EXPECT_EQ(len, text.size());
  }
  ZUL_UTF16 untouched = u'x';
  EXPECT_EQ(Utf8sToUcsFast(&untouched, 0, nullptr, reinterpret_cast<const ZUL_RAW *>("")), 32);
  EXPECT_EQ(untouched, u'x');

  const std::tuple<const char16_t *, size_t, int, std::string> back[] = {
      {u"a\u20AC", 5, 0, "a\xE2\x82\xAC"}, {u"a\u20AC", 4, 32, "a"}, {u"a\xD800", 5, 512, "a"}};
  for (const auto &[in, bytes, rc, text] : back) {
    ZUL_RAW out[5];
    size_t len = 99;
    EXPECT_EQ(UcsToUtf8sFast(out, bytes, &len, in), rc) << text;
    EXPECT_EQ(reinterpret_cast<char *>(out), text);
    EXPECT_EQ(len, text.size());
  }
}

TEST(Ebcdic, TablesAreInverseAndKnownPointsHold) {
  for (int b = 0; b < 256; ++b) {
    ASSERT_LT(rscpuc2_E2U[b], 256);
    EXPECT_EQ(rscpuc2_U2E[rscpuc2_E2U[b]], b);
  }
  const std::tuple<unsigned char, char16_t> points[] = {
      {0x40, u' '},  {0xC1, u'A'}, {0x81, u'a'}, {0xF0, u'0'}, {0x7B, u'#'},
      {0x25, u'\n'}, {0xAD, u'['}, {0xBD, u']'}, {0x5F, u'^'}, {0x41, 0xA0}};
  for (const auto &[e, u] : points) {
    EXPECT_EQ(E8ToUc(static_cast<char>(e)), u) << int(e);
    EXPECT_EQ(static_cast<unsigned char>(B8ToE8(static_cast<char>(u))), e);
  }
}

TEST(VolatileRing, FortyFirstResultOverwritesTheFirst) {
  std::set<const void *> seen;
  ZUL_UTF16 *first = A7sToUcsVola("first");
  seen.insert(first);
  for (int i = 1; i < 40; ++i) seen.insert(A7sToUcsVola("other"));
  EXPECT_EQ(seen.size(), 40u);
  EXPECT_EQ(std::u16string(first), u"first");
  EXPECT_EQ(A7sToUcsVola("41st"), first);
  EXPECT_EQ(std::u16string(first), u"41st");
  // A larger request grows its slot; the slot keeps the larger buffer for smaller ones.
  const std::string big(5000, 'x');
  ZUL_UTF16 *grown = A7sToUcsVola(big.c_str());
  EXPECT_EQ(std::u16string(grown).size(), 5000u);
  for (int i = 0; i < 39; ++i) rscpuc_next_buff(1);
  EXPECT_EQ(rscpuc_next_buff(16), grown);
  EXPECT_EQ(rscpuce_thread_error_count, 0);
}

// That the overlapping forms give what the plain ones give is asserted by the fuzz targets; the
// sized form's answer for a destination too small is not.
TEST(Utf8sToUcsFastOverlap, SizedFormReportsWhatItWroteIntoASmallDestination) {
  alignas(2) ZUL_RAW buffer[16] = "h\xC3\xA9llo";
  size_t len = 0;
  EXPECT_EQ(Utf8nToUcnFastOverlap_2(reinterpret_cast<ZUL_UTF16 *>(buffer), 2, &len, buffer, 4), 32);
  EXPECT_EQ(len, 2u);
}

}  // namespace
