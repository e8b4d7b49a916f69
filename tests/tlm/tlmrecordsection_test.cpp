#include "tlm/tlmrecordsection.h"

#include <gtest/gtest.h>

#include "metrics_test_support.h"

namespace {

class RecordSection : public metrics_test::MetricsTest {
 protected:
  void SetUp() override { Start(); }
};

TEST_F(RecordSection, RecordsOutlastTheResetAndAreReusedByName) {
  CRecordSection section(1);
  CMTStatRecord *stat = section.getStatRecordByName(u"N");
  EXPECT_EQ(section.getStatRecordByName(u"N"), stat);
  stat->start();
  stat->calStatRecord(5, 5, 5, 5);
  CMTResourceRecord *resource = section.getResourceRecordByName(u"R");
  resource->reportValue(3, 4, 1, 2, false);
  resource->addKpiValue(u"k", 1);
  section.resetSection();

  // A late update through an old pointer is harmless and reaches no map.
  stat->stop();
  resource->incValue(1);
  EXPECT_TRUE(section.isStatMapEmpty());
  EXPECT_TRUE(section.isResourceMapEmpty());
  // The next record of the name is the old one, as new.
  EXPECT_NE(section.getStatRecordByName(u"Other"), stat);
  EXPECT_EQ(section.getStatRecordByName(u"N"), stat);
  EXPECT_EQ(stat->getActiveCounter(), 0u);
  EXPECT_EQ(stat->getFinishedCounter(), 0u);
  EXPECT_EQ(stat->getElapsedMin(), -1);
  EXPECT_EQ(section.getResourceRecordByName(u"R"), resource);
  EXPECT_FALSE(resource->isUpdated());
  EXPECT_TRUE(resource->getKeepValue());
  EXPECT_EQ(resource->toMetricString(2).find(u":k\""), zulstring::npos);
}

TEST_F(RecordSection, CarryOverKeepsComponentsInFlightAndEveryResource) {
  CRecordSection old(1);
  CRecordSection next(2);
  CMTStatRecord *inFlight = old.getStatRecordByName(u"InFlight");
  inFlight->start();
  inFlight->start();
  inFlight->calStatRecord(1, 1, 1, 1);
  inFlight->stop();
  old.getStatRecordByName(u"Done")->calStatRecord(1, 1, 1, 1);
  // A record that the target has already stays as it is.
  old.getStatRecordByName(u"Taken")->start();
  CMTStatRecord *taken = next.getStatRecordByName(u"Taken");
  old.getResourceRecordByName(u"Kept")->iniValue(8, true);
  old.getResourceRecordByName(u"PerInterval")->iniValue(8, false);

  old.copyStatData(&next);
  old.copyResourceData(&next);

  const CRecordSection::StatMap &stats = next.getStatMap();
  ASSERT_EQ(stats.size(), 2u);
  const CMTStatRecord *carried = stats.at(u"InFlight");
  EXPECT_EQ(carried->getActiveCounter(), 1u);
  EXPECT_EQ(carried->getFinishedCounter(), 0u);
  EXPECT_EQ(carried->getSampleCount(), 0u);
  EXPECT_EQ(stats.at(u"Taken"), taken);
  EXPECT_EQ(taken->getActiveCounter(), 0u);
  const CRecordSection::ResourceMap &resources = next.getResourceMap();
  ASSERT_EQ(resources.size(), 2u);
  EXPECT_FALSE(resources.at(u"Kept")->isUpdated());
  EXPECT_EQ(resources.at(u"Kept")->getCurrentValue(), 8);
  EXPECT_TRUE(resources.at(u"PerInterval")->isUpdated());
  EXPECT_EQ(resources.at(u"PerInterval")->getCurrentValue(), 0);
  EXPECT_EQ(old.getStatMap().size(), 3u);
}

}  // namespace
