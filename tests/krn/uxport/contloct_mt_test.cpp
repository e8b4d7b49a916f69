#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "krn/uxport/contloct.h"

namespace {

constexpr time_t kBerlinDstStart = 1711846800;
constexpr time_t kBerlinDstEnd = 1729990800;
constexpr time_t kSpan = 2 * 3600;
constexpr time_t kStep = 13;

// Threads that ask for times around different switches make each other search and publish the
// switches again and again; every answer must still be the one a single thread gets.
TEST(ContLoctConcurrency, RacingThreadsGetTheSingleThreadedAnswers) {
  const char *saved = std::getenv("TZ");
  std::string saved_zone = saved != nullptr ? saved : "";
  setenv("TZ", "Europe/Berlin", 1);
  tzset();
  contloct::ForgetZone();
  ContLoct_Init(nullptr);

  const time_t centers[] = {kBerlinDstEnd, kBerlinDstStart};
  std::vector<time_t> times;
  for (time_t center : centers) {
    for (time_t t = center - kSpan; t < center + kSpan; t += kStep) times.push_back(t);
  }
  std::vector<time_t> expected;  // the readings as seconds, and their inverses
  std::vector<time_t> inverse;
  for (time_t t : times) {
    struct tm tm;
    ASSERT_NE(localtime_cont_r(&t, &tm), nullptr);
    expected.push_back(contloct::WallSeconds(tm));
    inverse.push_back(mktime_cont(&tm));
  }

  contloct::ForgetZone();
  std::vector<int> faults(4, 0);
  std::vector<std::thread> threads;
  for (int id = 0; id < 4; ++id) {
    threads.emplace_back([&, id] {
      for (int round = 0; round < 3; ++round) {
        // Even threads start at the autumn switch, odd ones at the spring switch.
        size_t half = times.size() / 2;
        for (size_t k = 0; k < times.size(); ++k) {
          size_t i = (k + (id % 2) * half) % times.size();
          struct tm tm;
          if (localtime_cont_r(&times[i], &tm) == nullptr ||
              contloct::WallSeconds(tm) != expected[i] || mktime_cont(&tm) != inverse[i]) {
            ++faults[id];
          }
        }
      }
    });
  }
  for (std::thread &t : threads) t.join();
  for (int id = 0; id < 4; ++id) EXPECT_EQ(faults[id], 0) << "thread " << id;

  if (saved != nullptr) {
    setenv("TZ", saved_zone.c_str(), 1);
  } else {
    unsetenv("TZ");
  }
  tzset();
  contloct::ForgetZone();
}

}  // namespace
