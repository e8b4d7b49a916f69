#include "tlm/tlmrecordsection.h"

#include <gtest/gtest.h>

#include "metrics_test_support.h"

namespace {

class RecordSection : public metrics_test::MetricsTest {
 protected:
  void SetUp() override { Start(); }
};

// A late update through a reference taken before the reset lands in a record that no table
// holds: it never shows in a later interval's record of the same name.
TEST_F(RecordSection, RecordsOutlastTheResetButAreNeverReused) {
  CRecordSection section(1);
  CRecordSection::StatRef stat = section.getStatRecordByName(u"N");
  EXPECT_EQ(section.getStatRecordByName(u"N"), stat);
  stat->start();
  stat->calStatRecord(5, 5, 5, 5);
  CRecordSection::ResourceRef resource = section.getResourceRecordByName(u"R");
  resource->reportValue(3, 4, 1, 2, false);
  section.resetSection();
  EXPECT_TRUE(section.isStatMapEmpty());
  EXPECT_TRUE(section.isResourceMapEmpty());

  CRecordSection::StatRef fresh = section.getStatRecordByName(u"N");
  stat->stop();
  resource->incValue(1);
  EXPECT_NE(fresh, stat);
  EXPECT_EQ(fresh->getFinishedCounter(), 0u);
  EXPECT_EQ(fresh->getActiveCounter(), 0u);
  EXPECT_EQ(stat->getFinishedCounter(), 1u);
  EXPECT_FALSE(section.getResourceRecordByName(u"R")->isUpdated());
}

TEST_F(RecordSection, CarryOverKeepsComponentsInFlightAndEveryResource) {
  CRecordSection old(1);
  CRecordSection next(2);
  CRecordSection::StatRef inFlight = old.getStatRecordByName(u"InFlight");
  inFlight->start();
  inFlight->start();
  inFlight->calStatRecord(1, 1, 1, 1);
  inFlight->stop();
  old.getStatRecordByName(u"Done")->calStatRecord(1, 1, 1, 1);
  // A record that the target has already stays as it is.
  old.getStatRecordByName(u"Taken")->start();
  CRecordSection::StatRef taken = next.getStatRecordByName(u"Taken");
  old.getResourceRecordByName(u"Kept")->iniValue(8, true);
  old.getResourceRecordByName(u"PerInterval")->iniValue(8, false);

  old.copyStatData(&next);
  old.copyResourceData(&next);

  const CRecordSection::StatMap &stats = next.getStatMap();
  ASSERT_EQ(stats.size(), 2u);
  const CRecordSection::StatRef &carried = stats.at(u"InFlight");
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
