#include "thr/thr_statics.h"

#include <cerrno>

namespace {

TEST(ThrStatics, GrowableBuffersGrowByTheirStepUpToTheirLimit) {
  const struct {
    const thr::GrowthRule &rule;
    size_t needed;  // the fake call answers ERANGE below this size
    int other_error;
    bool ok;
    size_t final_size;
  } cases[] = {
      {thr::kAccountGrowth, 2500, 0, true, 3072},
      {thr::kAccountGrowth, 0x200000, 0, false, 0x100400},  // stops past 1 MiB
      {thr::kShadowGrowth, 1026, 0, true, 2050},
      {thr::kLoginGrowth, 20, 0, true, 28},
      {thr::kTtynameGrowth, 5000, 0, false, 1088},
      {thr::kAccountGrowth, 5000, ENOENT, false, 1024},  // other errors do not grow
  };
  for (const auto &c : cases) {
    thr::GrowableBuffer buffer = {nullptr, 0};
    bool ok = thr::CallWithGrowableBuffer(&buffer, c.rule, [&](char *data, size_t size) {
      data[size - 1] = 0;  // the whole buffer is usable
      return size >= c.needed ? 0 : c.other_error != 0 ? c.other_error : ERANGE;
    });
    EXPECT_EQ(ok, c.ok) << c.needed;
    EXPECT_EQ(buffer.size, c.final_size) << c.needed;
    if (!ok) {
      EXPECT_EQ(errno, c.other_error != 0 ? c.other_error : ERANGE) << c.needed;
    }
    std::free(buffer.data);
  }
}

}  // namespace
