#include "tlm/tlmmtresourcerecord.h"

#include <climits>

#include "metrics_test_support.h"

namespace {

// initial, current, high, low, update count, keep value.
typedef std::tuple<int64_t, int64_t, int64_t, int64_t, uint32_t, bool> Numbers;

Numbers Read(const CMTResourceRecord &r) {
  return {r.getInitialValue(), r.getCurrentValue(), r.getHighWatermark(),
          r.getLowWatermark(), r.getUpdateCount(),  r.getKeepValue()};
}

// Changes through the exported functions, and a per-interval record's clear, are tested with them
// and with the ring of sections.
TEST(ResourceRecord, ReportsAndClears) {
  typedef std::function<void(CMTResourceRecord &)> Steps;
  const std::tuple<const char *, Steps, Numbers> cases[] = {
      {"a first value of 0 leaves the record unset: the next one wipes the watermarks",
       [](CMTResourceRecord &r) { r.iniValue(0, true), r.iniValue(5, true); },
       {5, 5, 5, 5, 2, true}},
      {"later initialisations widen the watermarks",
       [](CMTResourceRecord &r) {
         r.iniValue(10, false), r.iniValue(4, true), r.iniValue(12, true);
       },
       {10, 12, 12, 4, 3, true}},
      {"a report takes the watermarks as given, later ones widen them",
       [](CMTResourceRecord &r) {
         r.reportValue(7, 9, 2, 5, false), r.reportValue(3, 8, 1, 2, true);
       },
       {7, 3, 9, 1, 7, true}},
      {"changes wrap at the type limits",
       [](CMTResourceRecord &r) {
         r.decValue(INT64_MIN), r.incValue(INT64_MAX), r.incValue(INT64_MAX);
       },
       {0, INT64_MAX - 1, INT64_MAX - 1, INT64_MIN, 1, true}},
      {"a clear keeps the value and restarts the watermarks at it",
       [](CMTResourceRecord &r) { r.iniValue(10, true), r.decValue(15), r.clear(); },
       {10, -5, -5, -5, 0, true}},
  };
  for (const auto &[label, steps, want] : cases) {
    CMTResourceRecord record(u"r");
    steps(record);
    EXPECT_EQ(Read(record), want) << label;
    // Updated, unless cleared with its value kept.
    EXPECT_EQ(record.isUpdated(), !std::get<5>(want) || std::get<4>(want) != 0) << label;
  }
}

class ResourceRecordText : public metrics_test::MetricsTest {};

TEST_F(ResourceRecordText, ByAgentTypeAndKeepValue) {
  Start();
  CMTResourceRecord kept(u"Pool");
  kept.iniValue(10, true);
  kept.incValue(5);
  kept.decValue(8);
  kept.addKpiValue(u"waits", 3);
  kept.addKpiValue(u"busy", -2);
  kept.addKpiValue(u"waits", 4);
  // Agent type 2 is the exported functions' test; type 1 shows no indicators.
  EXPECT_EQ(kept.toMetricString(1, *tlmlibrary::CurrentSettings()),
            u"<metric type=\"LongCounter\" name=\"ZUL_TLM|Pool:Current Value\" value=\"7\" />\n"
            u"<metric type=\"LongCounter\" name=\"ZUL_TLM|Pool:High Watermark\" value=\"15\" />\n"
            u"<metric type=\"LongCounter\" name=\"ZUL_TLM|Pool:Low Watermark\" value=\"7\" />\n");
  CMTResourceRecord perInterval(u"Calls");
  perInterval.iniValue(INT64_MIN, false);
  perInterval.addKpiValue(u"ignored", 1);
  EXPECT_EQ(perInterval.toMetricString(2, *tlmlibrary::CurrentSettings()),
            u"<metric type=\"PerInterval\" name=\"ZUL_TLM|Calls:Current Value\" "
            u"value=\"-9223372036854775808\" />\n");
}

}  // namespace
