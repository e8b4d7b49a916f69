#include "tlm/tlmmtresourcerecord.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <functional>
#include <vector>

#include "metrics_test_support.h"

namespace {

using metrics_test::MetricsTest;

struct Numbers {
  int64_t initial, current, high, low;
  uint32_t count;
  bool keep;
};

Numbers Read(const CMTResourceRecord &r) {
  return {r.getInitialValue(), r.getCurrentValue(), r.getHighWatermark(),
          r.getLowWatermark(), r.getUpdateCount(),  r.getKeepValue()};
}

void ExpectNumbers(const CMTResourceRecord &r, const Numbers &want, const char *label) {
  Numbers got = Read(r);
  EXPECT_EQ(got.initial, want.initial) << label;
  EXPECT_EQ(got.current, want.current) << label;
  EXPECT_EQ(got.high, want.high) << label;
  EXPECT_EQ(got.low, want.low) << label;
  EXPECT_EQ(got.count, want.count) << label;
  EXPECT_EQ(got.keep, want.keep) << label;
}

TEST(ResourceRecord, ReportSequences) {
  typedef std::function<void(CMTResourceRecord &)> Steps;
  struct Case {
    const char *label;
    Steps steps;
    Numbers want;
  } cases[] = {
      {"a first value of 0 leaves the record unset, so the next one wipes the watermarks",
       [](CMTResourceRecord &r) {
         r.iniValue(0, true);
         r.iniValue(5, true);
       },
       {5, 5, 5, 5, 2, true}},
      {"later initialisations widen the watermarks",
       [](CMTResourceRecord &r) {
         r.iniValue(10, false);
         r.iniValue(4, true);
         r.iniValue(12, true);
       },
       {10, 12, 12, 4, 3, true}},
      {"increases count once and raise high",
       [](CMTResourceRecord &r) {
         r.incValue(3);
         r.incValue(2);
       },
       {0, 5, 5, 0, 1, true}},
      {"decreases lower low", [](CMTResourceRecord &r) { r.decValue(4); }, {0, -4, 0, -4, 1, true}},
      {"a report takes the watermarks as given, later ones widen them",
       [](CMTResourceRecord &r) {
         r.reportValue(7, 9, 2, 5, false);
         r.reportValue(3, 8, 1, 2, true);
       },
       {7, 3, 9, 1, 7, true}},
      {"changes at the type limits wrap",
       [](CMTResourceRecord &r) {
         r.decValue(INT64_MIN);
         r.incValue(INT64_MAX);
         r.incValue(INT64_MAX);
       },
       {0, INT64_MAX - 1, INT64_MAX - 1, INT64_MIN, 1, true}},
  };
  for (const Case &c : cases) {
    CMTResourceRecord record(u"r");
    EXPECT_FALSE(record.isUpdated());
    c.steps(record);
    ExpectNumbers(record, c.want, c.label);
    EXPECT_TRUE(record.isUpdated()) << c.label;
  }
}

TEST(ResourceRecord, ClearStartsAnInterval) {
  CMTResourceRecord kept(u"kept");
  kept.iniValue(10, true);
  kept.incValue(5);
  kept.decValue(20);
  kept.clear();
  ExpectNumbers(kept, {10, -5, -5, -5, 0, true}, "keep value");
  EXPECT_FALSE(kept.isUpdated());

  // A per-interval record goes back to 0, counts one update per clear and is sent again.
  CMTResourceRecord perInterval(u"per");
  perInterval.reportValue(7, 9, 2, 1, false);
  perInterval.clear();
  ExpectNumbers(perInterval, {7, 0, 9, 0, 2, false}, "per interval");
  EXPECT_TRUE(perInterval.isUpdated());
  perInterval.clear();
  EXPECT_EQ(perInterval.getUpdateCount(), 3u);
}

class ResourceRecordText : public MetricsTest {};

TEST_F(ResourceRecordText, CopyTakesNumbersAndKpis) {
  Start();
  CMTResourceRecord record(u"r");
  record.reportValue(3, 4, 1, 2, true);
  record.addKpiValue(u"k", 9);
  CMTResourceRecord copy(record);
  ExpectNumbers(copy, {3, 3, 4, 1, 2, true}, "copy");
  EXPECT_EQ(copy.getName(), u"r");
  EXPECT_TRUE(copy.isUpdated());
  EXPECT_NE(copy.toMetricString(2).find(u"r:k"), std::u16string::npos);
}

TEST_F(ResourceRecordText, ByAgentTypeAndKeepValue) {
  Start();
  CMTResourceRecord kept(u"Pool");
  kept.iniValue(10, true);
  kept.incValue(5);
  kept.decValue(8);
  kept.addKpiValue(u"waits", 3);
  kept.addKpiValue(u"busy", -2);
  kept.addKpiValue(u"waits", 4);
  EXPECT_EQ(
      kept.toMetricString(2),
      u"<metric type=\"LongCounter\" name=\"ZUL_TLM|Pool:Current Value\" value=\"7\" "
      u"max=\"15\" min=\"7\" count=\"1\" />\n"
      u"<metric type=\"LongCounter\" name=\"ZUL_TLM|Pool:busy\" value=\"-2\" count=\"1\" />\n"
      u"<metric type=\"LongCounter\" name=\"ZUL_TLM|Pool:waits\" value=\"4\" count=\"1\" />\n");
  EXPECT_EQ(kept.toMetricString(1),
            u"<metric type=\"LongCounter\" name=\"ZUL_TLM|Pool:Current Value\" value=\"7\" />\n"
            u"<metric type=\"LongCounter\" name=\"ZUL_TLM|Pool:High Watermark\" value=\"15\" />\n"
            u"<metric type=\"LongCounter\" name=\"ZUL_TLM|Pool:Low Watermark\" value=\"7\" />\n");

  CMTResourceRecord perInterval(u"Calls");
  perInterval.iniValue(INT64_MIN, false);
  perInterval.addKpiValue(u"ignored", 1);
  EXPECT_EQ(perInterval.toMetricString(2),
            u"<metric type=\"PerInterval\" name=\"ZUL_TLM|Calls:Current Value\" "
            u"value=\"-9223372036854775808\" />\n");
}

}  // namespace
