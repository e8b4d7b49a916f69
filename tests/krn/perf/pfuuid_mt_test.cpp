#include <gtest/gtest.h>

#include <array>
#include <set>
#include <thread>
#include <vector>

#include "zul_pfuuid.h"
#include "zul_thr.h"

namespace {

using Uuid = std::array<ZUL_RAW, PFUUID_LEN>;

// Under the creation lock, threads that create at once never get the same identifier.
TEST(PfuuidConcurrency, IdentifiersOfRacingThreadsAreUnique) {
  ASSERT_EQ(ThrProcInit(), THR_ERR_OK);
  constexpr int kThreads = 4;
  constexpr int kEach = 2000;
  std::vector<std::vector<Uuid>> made(kThreads, std::vector<Uuid>(kEach));
  std::vector<int> failures(kThreads, 0);
  std::vector<std::thread> threads;
  for (int id = 0; id < kThreads; ++id) {
    threads.emplace_back([&, id] {
      for (int i = 0; i < kEach; i += 2) {
        if (pfcreate_zul_uuid(made[id][i].data()) != PFUUID_OK) ++failures[id];
        if (pfcreate_zul_uuids(made[id][i + 1].data(), 1) != PFUUID_OK) ++failures[id];
      }
    });
  }
  for (std::thread &t : threads) t.join();
  std::set<Uuid> all;
  for (int id = 0; id < kThreads; ++id) {
    EXPECT_EQ(failures[id], 0);
    all.insert(made[id].begin(), made[id].end());
  }
  EXPECT_EQ(all.size(), size_t{kThreads * kEach});
}

}  // namespace
