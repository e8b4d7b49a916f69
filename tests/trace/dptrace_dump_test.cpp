// Hex dumps with hiding and masking, and stack dumps.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "trace_capture.h"
#include "zul_dptrace.h"
#include "zul_u16printf.h"

namespace {

using tlm_test::TraceCapture;

const std::u16string kDumpRule(72, u'-');

std::u16string Address(const void *p) {
  char16_t text[32];
  snprintfU16(text, 32, u"%p", p);
  return text;
}

TEST(PrBinAll, SeventeenBytesGiveTwoLines) {
  TraceCapture trace;
  const char data[] = "ABCDEFGHIJKLMNOPQ";
  PrBinAll(nullptr, u"title", data, 17, 0);
  const std::u16string thr = TraceCapture::ThreadPrefix();
  EXPECT_EQ(
      trace.Lines(),
      (std::vector<std::u16string>{
          thr + u"Adresse   Offset  title", thr + kDumpRule,
          thr + Address(data) + u"  000000  41424344 45464748 494a4b4c 4d4e4f50 |ABCDEFGHIJKLMNOP|",
          thr + Address(data + 16) + u"  000016  51" + std::u16string(34, u' ') + u"|Q" +
              std::u16string(15, u' ') + u"|",
          thr + kDumpRule}));
}

// The byte columns and the characters of the dump of data, without address and offset.
std::vector<std::u16string> Bodies(const std::vector<std::u16string> &lines) {
  std::vector<std::u16string> bodies;
  for (size_t i = 2; i + 1 < lines.size(); ++i) {
    size_t at = lines[i].find(u"  0000");
    bodies.push_back(lines[i].substr(at + 10));
  }
  return bodies;
}

TEST(PrBinAll, CharsetsAndHiding) {
  TraceCapture trace;
  const unsigned char ebcdic[] = {0xC1, 0xC2, 0x40, 0x15};
  PrBinAll(nullptr, u"", ebcdic, 4, 1);
  EXPECT_EQ(Bodies(trace.Lines())[0],
            u"c1c24015 " + std::u16string(27, u' ') + u"|AB ." + std::u16string(12, u' ') + u"|");

  trace.Clear();
  const char session[] = "..SID:ANON:1-ATT..";
  PrBinAll(nullptr, u"", session, 18, 0);
  EXPECT_EQ(Bodies(trace.Lines()),
            (std::vector<std::u16string>{
                u"2e2exxxx xxxxxxxx xxxxxxxx xxxxxxxx |................|",
                u"2e2e" + std::u16string(32, u' ') + u"|.." + std::u16string(14, u' ') + u"|"}))
      << tlm_test::Utf8(trace.Text());

  trace.Clear();
  dpTrcHidingActive = 0;
  PrBinAll(nullptr, u"", session, 18, 0);
  EXPECT_NE(trace.Text().find(u"SID:ANON:1-ATT"), std::u16string::npos);

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

}  // namespace
