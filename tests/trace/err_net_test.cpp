// The network form and the copies of a block. Every received buffer is a heap allocation of
// exactly its length, so that ASan reports a byte read past its end.
#include "err_test_util.h"
#include "zul_u16conv.h"

namespace {

using err_test::ErrTest;
using err_test::Field;
using err_test::MakeBlock;

// ErrCpNetToInt on a copy of bytes in memory of exactly their size.
int NetToInt(const std::string &bytes) {
  std::unique_ptr<ZUL_RAW, decltype(&std::free)> buffer(
      static_cast<ZUL_RAW *>(std::malloc(bytes.size() + (bytes.empty() ? 1 : 0))), &std::free);
  std::memcpy(buffer.get(), bytes.data(), bytes.size());
  return ErrCpNetToInt(buffer.get(), bytes.size());
}

class ErrNetTest : public ErrTest {};

TEST_F(ErrNetTest, RoundTripThroughTheNetworkForm) {
  ASSERT_EQ(ErrSet(u"Komponente", 3, u"modul", 5, u"Grüße an %s", 1, u"詳細 %d", u"Zoë", 42),
            ERR_OK);
  std::u16string block = err_test::CurrentBlock();
  ZUL_RAW net[ERR_MAX_UNITS * 3];
  size_t length = 0;
  ASSERT_EQ(ErrCpIntToNet(net, &length, sizeof net), ERR_OK);
  EXPECT_EQ(std::string(reinterpret_cast<char *>(net), length), tlm_test::Utf8(block));

  ErrClear();
  ASSERT_EQ(NetToInt(std::string(reinterpret_cast<char *>(net), length)), ERR_OK);
  EXPECT_EQ(err_test::CurrentBlock(), block);
  EXPECT_EQ(Field(ERR_FLD_TEXT), u"Grüße an Zoë");
  EXPECT_EQ(Field(ERR_FLD_DETAIL), u"詳細 42");

  // The same from a given block; a buffer one byte short fails.
  ErrClear();
  EXPECT_EQ(ErrCpIntToNet(net, &length, sizeof net), ERR_NO_INFO);
  size_t again = 0;
  ASSERT_EQ(ErrCpIntToNet2(net, &again, sizeof net, block.data(), block.size()), ERR_OK);
  EXPECT_EQ(again, length);
  EXPECT_EQ(ErrCpIntToNet2(net, &again, length - 1, block.data(), block.size()), ERR_CONVERSION);
}

TEST_F(ErrNetTest, EbcdicPeerBlockIsWidened) {
  std::u16string block = err_test::SampleBlock();
  std::string ebcdic(block.size(), '\0');
  UcnToE8n(ebcdic.data(), block.data(), block.size());
  ASSERT_EQ(static_cast<unsigned char>(ebcdic[1]), 0xC5);
  ASSERT_EQ(NetToInt(ebcdic), ERR_OK);
  EXPECT_EQ(err_test::CurrentBlock(), block);
}

TEST_F(ErrNetTest, DamagedNetworkFormsGetTheirCodes) {
  const std::string good = tlm_test::Utf8(err_test::SampleBlock());
  std::u16string twenty = err_test::SampleBlock();
  twenty.erase(twenty.find(u"server A"), 9);  // the location with its terminator
  const struct {
    const char *name;
    std::string bytes;
    int net_rc;  // of ErrCpNetToInt
    int get_rc;  // of ErrGet afterwards
  } cases[] = {
      {"intact", good, ERR_OK, ERR_OK},
      {"invalid UTF-8 is replaced", tlm_test::Utf8(MakeBlock({u"*ERR*"})) + "\xFF" + good.substr(6),
       ERR_OK, ERR_OK},
      {"longer than a block", good + std::string(ERR_MAX_UNITS + 1 - good.size(), 'x'), ERR_AREA,
       ERR_NO_INFO},
      {"ends inside a character", good + "\xE4\xB8", ERR_CONVERSION, ERR_NO_INFO},
      {"first eyecatcher wrong", "*ERX*" + good.substr(5), ERR_EYECATCHER, ERR_EYECATCHER},
      {"last eyecatcher wrong", good.substr(0, good.size() - 3) + "X*" + '\0', ERR_EYECATCHER,
       ERR_EYECATCHER},
      {"last terminator missing", good.substr(0, good.size() - 1), ERR_EYECATCHER, ERR_EYECATCHER},
      {"no terminator at all", "*ERR*", ERR_EYECATCHER, ERR_EYECATCHER},
      {"shorter than an eyecatcher", "*ER", ERR_EYECATCHER, ERR_EYECATCHER},
      {"empty", "", ERR_EYECATCHER, ERR_NO_INFO},
      {"EBCDIC eyecatcher alone", "\x5C\xC5\xD9\xD9\x5C", ERR_EYECATCHER, ERR_EYECATCHER},
      {"twenty strings", tlm_test::Utf8(twenty), ERR_OK, ERR_INCOMPLETE},
      {"eyecatchers only", tlm_test::Utf8(MakeBlock({u"*ERR*", u"*ERR*"})), ERR_OK, ERR_INCOMPLETE},
  };
  for (const auto &c : cases) {
    ErrClear();
    EXPECT_EQ(NetToInt(c.bytes), c.net_rc) << c.name;
    EXPECT_EQ(err_test::GetAnswer(), c.get_rc) << c.name;
  }
  EXPECT_EQ(ErrCpNetToInt(nullptr, 4), ERR_BAD_PARAM);
}

TEST_F(ErrNetTest, FailuresTraceTheirMessages) {
  std::string big(ERR_MAX_UNITS + 1, 'x');
  NetToInt(big);
  EXPECT_TRUE(TraceStartsWithError(u"ErrCpNetToInt2: internal area too small (500<501)"));
  // A damaged block is dumped at level 2.
  trace_.Clear();
  NetToInt("*ERX*");
  std::vector<std::u16string> lines = trace_.Lines();
  ASSERT_GE(lines.size(), 3u);
  EXPECT_TRUE(TraceStartsWithError(u"ErrCpNetToInt: bad err info (eyecatcher destroyed)"));
  EXPECT_NE(lines[1].find(u"bad err info"), std::u16string::npos);
}

TEST_F(ErrNetTest, CopiesIntoAndOutOfTheRecord) {
  std::u16string block = err_test::SampleBlock();
  EXPECT_EQ(ErrCpTo(block.data(), 3), ERR_EYECATCHER);
  std::u16string large = MakeBlock({u"*ERR*", std::u16string(ERR_MAX_UNITS, u'x'), u"*ERR*"});
  EXPECT_EQ(ErrCpTo(large.data(), large.size()), ERR_AREA);
  EXPECT_EQ(
      trace_.Lines().back().rfind(ErrorLine(u"ErrCpTo: error info too large (1026 bytes)"), 0), 0u);

  // Taken over, the block counts as the thread's next error.
  ASSERT_EQ(ErrCpTo(block.data(), block.size()), ERR_OK);
  EXPECT_EQ(Field(ERR_FLD_COUNTER), u"1");
  ASSERT_EQ(ErrCpTo(block.data(), block.size()), ERR_OK);
  EXPECT_EQ(Field(ERR_FLD_COUNTER), u"2");
  EXPECT_EQ(Field(ERR_FLD_LOCATION), u"server A");

  std::u16string out(block.size(), u'#');
  EXPECT_EQ(ErrCpFrom(out.data(), out.size() - 1), ERR_AREA);
  ASSERT_EQ(ErrCpFrom(out.data(), out.size()), ERR_OK);
  std::u16string expected = block;  // with the counter (after the errno text) at 2
  expected[expected.find(u"Connection reset by peer") + 25] = u'2';
  EXPECT_EQ(out, expected);
  ErrClear();
  EXPECT_EQ(ErrCpFrom(out.data(), out.size()), ERR_NO_INFO);
}

}  // namespace
