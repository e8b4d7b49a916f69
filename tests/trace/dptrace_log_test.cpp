// Log entries in the trace and records for a system log host; the lock's hooks.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "trace_capture.h"
#include "zul_dptrace.h"

namespace {

using tlm_test::TraceCapture;

class DpLogTest : public ::testing::Test {
 protected:
  void SetUp() override {
    CTrcNewComp(u'N', &n_, nullptr);
    tf = n_;
    DpLock();
    CTrcSaveLocation(u"src/epp/eppxx", 321);
    DpUnlock();
    trace_.Clear();
  }
  TraceCapture trace_;
  CTRC_HDL n_ = nullptr;
  const std::u16string thr_ = TraceCapture::ThreadPrefix();
};

TEST_F(DpLogTest, ELogLines) {
  DpELog(u"Q01", u"a   b %d    c", 5);
  DpELogFun(u"Q02", u"left", u"right", u"%s", u"x  y");
  DpELogErr(nullptr, u"Q03", u"long   text");
  EXPECT_EQ(trace_.Text(), thr_ + u"N  ***LOG Q01=> a b 5 c [eppxx        321]\n" + thr_ +
                               u"N  ***LOG Q02=> left, right (x y) [eppxx        321]\n"
                               u"***LOG Q03=> long   text [eppxx        321]\n");
}

struct Record {
  int type;
  std::u16string id;
  std::u16string units;
};
std::vector<Record> records;
void Writer(int type, const ZUL_UTF16 *id, const ZUL_UTF16 *record, size_t units) {
  records.push_back({type, id, std::u16string(record, units)});
}
void Convert(ZUL_UTF16 *record, const ZUL_UTF16 *text, size_t units) {
  std::char_traits<char16_t>::copy(record, text, units);
}

TEST_F(DpLogTest, SLogRecordsByLength) {
  records.clear();
  DpSLog(u"S00", u"no hooks, no record");
  EXPECT_TRUE(records.empty());
  CTrcHookRslg(nullptr, Writer, Convert);
  std::u16string location = u"eppxx       321" + std::u16string(17, u'\0');
  DpSLog(u"S01", u"short %d", 1);
  DpSLog(u"S02", u"%s", std::u16string(60, u'L').c_str());
  DpSLogFun(u"S03", u"alpha", u"betagamma", u"fun");
  DpSLogErr(n_, u"S04", u"err");
  CTrcHookRslg(nullptr, nullptr, nullptr);
  ASSERT_EQ(records.size(), 4u);
  EXPECT_EQ(records[0].type, 108);
  EXPECT_EQ(records[0].id, u"S01");
  EXPECT_EQ(records[0].units, u"short 1" + std::u16string(45, u' ') + location);
  EXPECT_EQ(records[1].type, 32);
  EXPECT_EQ(records[1].units, std::u16string(60, u'L') + std::u16string(4, u' '));
  EXPECT_EQ(records[2].type, 109);
  EXPECT_EQ(records[2].units, u"fun" + std::u16string(35, u' ') + u"alpha  betagam" + location);
  EXPECT_EQ(records[3].type, 32);
  EXPECT_EQ(records[3].units, u"err" + std::u16string(97, u' ') + location);
}

int lock_calls = 0;
int unlock_calls = 0;
void LockHook(const ZUL_UTF16 *name) {
  EXPECT_EQ(std::u16string(name), u"DpTrcLock");
  ++lock_calls;
}
void UnlockHook() { ++unlock_calls; }

TEST(DpLock, HooksAndRecursionIndicator) {
  DpTrcSetCriticalSectionHook(LockHook, UnlockHook);
  DpLock();
  EXPECT_EQ(DpTrcGetRecursionCount(), 1);
  DpLock();  // recursive
  DpUnlock();
  DpUnlock();
  EXPECT_EQ(DpTrcGetRecursionCount(), 0);
  DpTrcSetCriticalSectionHook(nullptr, nullptr);
  EXPECT_EQ(lock_calls, 2);
  EXPECT_EQ(unlock_calls, 2);
}

}  // namespace
