#include "thr/thr_statics.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <thread>

#include "zul_thr.h"

namespace {

TEST(ThrStatics, GrowableBuffersGrowByTheirStepUpToTheirLimit) {
  const struct {
    const char *name;
    const thr::GrowthRule &rule;
    size_t needed;  // the fake call answers ERANGE below this size
    bool ok;
    size_t final_size;
    int calls;
  } cases[] = {
      {"account fits at once", thr::kAccountGrowth, 100, true, 1024, 1},
      {"account grows twice", thr::kAccountGrowth, 2500, true, 3072, 3},
      {"account stops past 1 MiB", thr::kAccountGrowth, 0x200000, false, 0x100400, 1025},
      {"shadow steps by 1025", thr::kShadowGrowth, 1026, true, 2050, 2},
      {"login steps by 9", thr::kLoginGrowth, 20, true, 28, 3},
      {"ttyname stops past 1024", thr::kTtynameGrowth, 5000, false, 1088, 17},
  };
  for (const auto &c : cases) {
    thr::GrowableBuffer buffer = {nullptr, 0};
    int calls = 0;
    errno = 0;
    bool ok = thr::CallWithGrowableBuffer(&buffer, c.rule, [&](char *data, size_t size) {
      ++calls;
      data[size - 1] = 0;  // the whole buffer is usable
      return size < c.needed ? ERANGE : 0;
    });
    EXPECT_EQ(ok, c.ok) << c.name;
    EXPECT_EQ(buffer.size, c.final_size) << c.name;
    EXPECT_EQ(calls, c.calls) << c.name;
    if (!ok) {
      EXPECT_EQ(errno, ERANGE) << c.name;
    }
    std::free(buffer.data);
  }
}

TEST(ThrStatics, OtherErrorsEndTheLoopAndTheBufferIsKept) {
  thr::GrowableBuffer buffer = {nullptr, 0};
  int calls = 0;
  EXPECT_FALSE(thr::CallWithGrowableBuffer(&buffer, thr::kAccountGrowth, [&](char *, size_t) {
    ++calls;
    return ENOENT;
  }));
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(calls, 1);
  char *kept = buffer.data;
  EXPECT_TRUE(
      thr::CallWithGrowableBuffer(&buffer, thr::kAccountGrowth, [](char *, size_t) { return 0; }));
  EXPECT_EQ(buffer.data, kept);
  std::free(buffer.data);
}

TEST(ThrStatics, EachThreadGetsItsOwnRecordWithSeedOne) {
  ASSERT_EQ(ThrProcInit(), THR_ERR_OK);
  thr::ThrStatics *mine = thr::Statics();
  ASSERT_NE(mine, nullptr);
  EXPECT_EQ(thr::Statics(), mine);
  EXPECT_EQ(mine->rand_seed, 1u);
  mine->rand_seed = 99;
  thr::ThrStatics *other = nullptr;
  unsigned int other_seed = 0;
  std::thread t([&] {
    other = thr::Statics();
    other_seed = other->rand_seed;
  });  // its record is freed when it ends
  t.join();
  EXPECT_NE(other, mine);
  EXPECT_EQ(other_seed, 1u);

  ThrIDestructor(nullptr);  // frees this thread's record
  thr::ThrStatics *fresh = thr::Statics();
  ASSERT_NE(fresh, nullptr);
  EXPECT_EQ(fresh->rand_seed, 1u);
  ThrIDestructor(nullptr);
}

}  // namespace
