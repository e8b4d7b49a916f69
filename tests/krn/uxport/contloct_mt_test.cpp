#include "contloct_test_zone.h"

namespace {

// Threads that ask for times around different switches make each other search and publish the
// switches again and again; every answer must still be the one a single thread gets.
TEST(ContLoctConcurrency, RacingThreadsGetTheSingleThreadedAnswers) {
  ZoneScope zone("Europe/Berlin");
  ContLoct_Init(nullptr);
  std::vector<time_t> times, readings, inverses;
  for (time_t center : {kBerlinDstEnd, kBerlinDstStart}) {
    for (time_t t = center - 2 * kHour; t < center + 2 * kHour; t += 13) times.push_back(t);
  }
  for (time_t t : times) {
    struct tm tm;
    ASSERT_NE(localtime_cont_r(&t, &tm), nullptr);
    readings.push_back(contloct::WallSeconds(tm));
    inverses.push_back(mktime_cont(&tm));
  }

  contloct::ForgetZone();
  std::vector<int> faults(4, 0);
  std::vector<std::thread> threads;
  for (int id = 0; id < 4; ++id) {
    threads.emplace_back([&, id] {
      for (size_t k = 0; k < 3 * times.size(); ++k) {
        size_t i = (k + id * times.size() / 4) % times.size();  // each starts elsewhere
        struct tm tm;
        bool ok = localtime_cont_r(&times[i], &tm) != nullptr &&
                  contloct::WallSeconds(tm) == readings[i] && mktime_cont(&tm) == inverses[i];
        faults[id] += !ok;
      }
    });
  }
  for (std::thread &t : threads) t.join();
  for (int id = 0; id < 4; ++id) EXPECT_EQ(faults[id], 0) << "thread " << id;
}

}  // namespace
