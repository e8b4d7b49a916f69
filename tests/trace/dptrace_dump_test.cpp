// Hex dumps with hiding and masking, stack dumps, the pattern watch and the file size watch.
#include "trace_capture.h"
#include "zul_dptrace.h"
#include "zul_u16printf.h"

namespace {

using tlm_test::Count;
using tlm_test::TraceCapture;

const std::u16string kDumpRule(72, u'-');

std::u16string Address(const void *p) {
  char16_t text[32];
  snprintfU16(text, 32, u"%p", p);
  return text;
}

// The byte columns and the characters of the dump of data, without address and offset.
std::vector<std::u16string> Bodies(const std::vector<std::u16string> &lines) {
  std::vector<std::u16string> bodies;
  for (size_t i = 2; i + 1 < lines.size(); ++i)
    bodies.push_back(lines[i].substr(lines[i].find(u"  0000") + 10));
  return bodies;
}

TEST(PrBinAll, LinesCharsetsAndHiding) {
  TraceCapture trace;
  const char data[] = "ABCDEFGHIJKLMNOPQ";
  PrBinAll(nullptr, u"title", data, 17, 0);
  const std::u16string thr = TraceCapture::ThreadPrefix(), pad(15, u' ');
  EXPECT_EQ(
      trace.Lines(),
      (std::vector<std::u16string>{
          thr + u"Adresse   Offset  title", thr + kDumpRule,
          thr + Address(data) + u"  000000  41424344 45464748 494a4b4c 4d4e4f50 |ABCDEFGHIJKLMNOP|",
          thr + Address(data + 16) + u"  000016  51" + std::u16string(34, u' ') + u"|Q" + pad +
              u"|",
          thr + kDumpRule}));

  trace.Clear();
  const unsigned char ebcdic[] = {0xC1, 0xC2, 0x40, 0x15};
  PrBinAll(nullptr, u"", ebcdic, 4, 1);
  EXPECT_EQ(Bodies(trace.Lines())[0],
            u"c1c24015 " + std::u16string(27, u' ') + u"|AB ." + std::u16string(12, u' ') + u"|");

  // A session id is hidden, unless hiding is off.
  trace.Clear();
  const char session[] = "..SID:ANON:1-ATT..";
  PrBinAll(nullptr, u"", session, 18, 0);
  EXPECT_EQ(Bodies(trace.Lines()),
            (std::vector<std::u16string>{
                u"2e2exxxx xxxxxxxx xxxxxxxx xxxxxxxx |................|",
                u"2e2e" + std::u16string(32, u' ') + u"|.." + std::u16string(14, u' ') + u"|"}));
  trace.Clear();
  dpTrcHidingActive = 0;
  PrBinAll(nullptr, u"", session, 18, 0);
  EXPECT_NE(trace.Text().find(u"SID:ANON:1-ATT"), std::u16string::npos);

  // Other charsets, no data and no length write nothing.
  trace.Clear();
  PrBinAll(nullptr, u"", session, 18, 3);
  PrBinAll(nullptr, u"", nullptr, 18, 0);
  PrBinAll(nullptr, u"", session, 0, 0);
  EXPECT_EQ(trace.Text(), u"");
}

TEST(PrAppcAll, MasksCredentialsInTheDumpOnly) {
  TraceCapture trace;
  std::vector<unsigned char> buffer(96, 'a');
  buffer[1] = 17;
  PrAppcAll(nullptr, u"", buffer.data(), buffer.size(), 0);
  auto bodies = Bodies(trace.Lines());
  ASSERT_EQ(bodies.size(), 6u);
  EXPECT_EQ(bodies[3].substr(0, 17), u"58585858 58585858");
  EXPECT_EQ(buffer[48], 'a');
  trace.Clear();
  PrAppc2All(nullptr, u"", buffer.data(), buffer.size(), 0);
  EXPECT_EQ(Bodies(trace.Lines())[3].substr(0, 8), u"61616161");
}

TEST(CTrcStack, FramesBetweenRules) {
  TraceCapture trace;
  CTrcStack2(nullptr);
  auto lines = trace.Lines();
  ASSERT_GE(lines.size(), 3u);
  const std::u16string thr = TraceCapture::ThreadPrefix();
  EXPECT_EQ(lines.front(), thr + u"------------------ C-STACK ----------------------");
  EXPECT_EQ(lines.back(), thr + u"-------------------------------------------------");
  // The caller, this test's body, is named from the program's symbol table.
  std::u16string caller = lines[1];
  EXPECT_NE(caller.find(u"FramesBetweenRules"), std::u16string::npos) << tlm_test::Utf8(caller);
  EXPECT_NE(caller.find(u"+0x"), std::u16string::npos);
  EXPECT_EQ(caller.back(), u']');
}

TEST(DpTrcPattern, WildcardMatching) {
  const std::tuple<const char16_t *, const char16_t *, bool> cases[] = {
      {u"abc", u"xxabcxx\n", true}, {u"a?c", u"xxabcxx\n", true},
      {u"a*c", u"xa--cx\n", true},  {u"a*c", u"xa--\n", false},
      {u"*c", u"abc\n", true},      {u"?bc", u"xabc\n", false},  // wildcards anchor at the start
      {u"?bc", u"abc\n", true},     {u"a\\*b", u"a*b\n", true},
      {u"a\\*b", u"axb\n", false},  {u"abcd", u"abc", false},
      {u"c\n", u"abc\n", true}};
  for (auto [pattern, line, match] : cases) {
    TraceCapture trace;
    ASSERT_EQ(DpTrcAddPattern(pattern, nullptr), 0);
    DpTrcNoTiNoThr(nullptr, u"%s", line);
    const std::u16string report =
        u"\nDpTrc: found match for pattern >" + std::u16string(pattern) + u"< in output\n";
    EXPECT_EQ(Count(trace.Text(), report) > 0, match)
        << tlm_test::Utf8(pattern) << " in " << tlm_test::Utf8(line);
  }
}

std::vector<std::u16string> seen_patterns;
void OnMatch(CTRC_HDL hdl, const ZUL_UTF16 *pattern) {
  EXPECT_EQ(hdl, nullptr);
  seen_patterns.push_back(pattern);
}

TEST(DpTrcPattern, AllMatchingPatternsFireInSlotOrderAndSlotsArePacked) {
  TraceCapture trace;
  seen_patterns.clear();
  DpTrcAddPattern(u"found", OnMatch);  // would match its own report
  DpTrcAddPattern(u"fo?nd", OnMatch);
  DpTrcAddPattern(u"never", OnMatch);
  DPTRC_STMT(1, DpTrcNoTiNoThr, nullptr, u"found it\n");
  DPTRC_ERR(nullptr, u"found again");
  EXPECT_EQ(seen_patterns, (std::vector<std::u16string>{u"found", u"fo?nd", u"found", u"fo?nd"}));
  EXPECT_EQ(Count(trace.Text(), u"DpTrc: found match"), 4u);
  // 32 slots, packed when a pattern is removed.
  DpTrcRmAllPattern();
  for (int i = 0; i < 32; ++i) ASSERT_EQ(DpTrcAddPattern(i % 2 ? u"odd" : u"even", nullptr), 0);
  EXPECT_EQ(DpTrcAddPattern(u"33rd", nullptr), -1);
  EXPECT_EQ(DpTrcRmPattern(u"odd"), 0);
  EXPECT_EQ(DpTrcRmPattern(u"absent"), 0);
  const ZUL_UTF16 *patterns[4] = {};
  EXPECT_EQ(DpTrcGetPatterns(patterns, 4), 16);
  for (const ZUL_UTF16 *p : patterns) EXPECT_EQ(std::u16string(p), u"even");
  EXPECT_EQ(DpTrcAddPattern(u"last", nullptr), 0);
  const ZUL_UTF16 *all[32] = {};
  ASSERT_EQ(DpTrcGetPatterns(all, 32), 17);
  EXPECT_EQ(std::u16string(all[16]), u"last");
  DpTrcRmAllPattern();
  EXPECT_EQ(DpTrcGetPatterns(all, 32), 0);
}

int64_t reported_size = 0;
void OnSize(CTRC_HDL, int64_t size) { reported_size = size; }

// The limit is reported once per interval; a negative one is 0 and checks nothing.
TEST(DpTrcFileSize, LimitIsReportedOncePerInterval) {
  for (int limit : {1, -5}) {
    tlm_test::TraceFileCapture trace;
    reported_size = 0;
    DpTrcSetFileSizeHook(limit, OnSize);
    EXPECT_EQ(DpTrcGetFileSize(), limit > 0 ? limit : 0);
    DPTRC_STMT(1, DpTrcNoTiNoThr, ctrc::state.global_file, u"grows\n");
    DPTRC_STMT(1, DpTrcNoTiNoThr, ctrc::state.global_file, u"again\n");
    EXPECT_EQ(Count(trace.Text(), u"\nDpTrc: maximum file size reached: 1\n"), limit > 0 ? 1u : 0u);
    EXPECT_EQ(reported_size > 1, limit > 0);
    DpTrcRmFileSizeHook();
    EXPECT_EQ(DpTrcGetFileSize(), -1);
  }
}

}  // namespace
