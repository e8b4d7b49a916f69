// Shared driver of the conversion fuzz targets. The first two input bytes choose the destination
// size and the options, the rest is the source. Every member of the chosen directions runs on
// exactly sized heap buffers, so that AddressSanitizer sees any access beyond either end, and the
// pointer contract is checked after each run.
#ifndef FUZZ_U16_CONV_FUZZ_COMMON_H
#define FUZZ_U16_CONV_FUZZ_COMMON_H

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>

#include "../tests/support/u16_conv_members.h"

namespace convfuzz {

// Stops the fuzzer with a crash that names the broken rule.
#define CONV_FUZZ_CHECK(cond)                                          \
  do {                                                                 \
    if (!(cond)) {                                                     \
      __builtin_printf("check failed: %s (%s)\n", #cond, member_name); \
      std::abort();                                                    \
    }                                                                  \
  } while (0)

struct Options {
  size_t dst_units;
  bool subst;
  size_t misalign;  // 0 or 1: buffers at odd addresses
  const uint8_t *src;
  size_t src_size;
};

inline bool ParseOptions(const uint8_t *data, size_t size, Options *o) {
  if (size < 2) return false;
  o->dst_units = data[0];
  o->subst = (data[1] & 1) != 0;
  o->misalign = (data[1] >> 1) & 1;
  if ((data[1] & 4) != 0) o->dst_units *= 16;  // large enough to convert most inputs whole
  o->src = data + 2;
  o->src_size = size - 2;
  return true;
}

// Resuming an overflowed run into a large destination gives what one run into it gives.
inline void CheckResumeAfterOverflow(const convmembers::Member &m, const Options &o,
                                     const uint8_t *src_start, const uint8_t *src_end,
                                     const uint8_t *stop, const uint8_t *part,
                                     const uint8_t *part_end, uint32_t part_count) {
  const char *member_name = m.name;
  const size_t big = static_cast<size_t>(src_end - src_start) * 6 + 8 * m.dst_unit;
  std::unique_ptr<uint8_t[]> whole(new uint8_t[big]);
  std::unique_ptr<uint8_t[]> rest(new uint8_t[big]);
  const uint8_t *s1 = src_start;
  uint8_t *d1 = whole.get();
  uint32_t count1 = 0;
  const int rc1 = m.run(&s1, src_end, &d1, whole.get() + big, o.subst, &count1);
  const uint8_t *s2 = stop;
  uint8_t *d2 = rest.get();
  uint32_t count2 = 0;
  const int rc2 = m.run(&s2, src_end, &d2, rest.get() + big, o.subst, &count2);
  const size_t part_bytes = static_cast<size_t>(part_end - part);
  const size_t rest_bytes = static_cast<size_t>(d2 - rest.get());
  CONV_FUZZ_CHECK(rc1 == rc2 && s1 == s2);
  CONV_FUZZ_CHECK(count1 == part_count + count2);
  CONV_FUZZ_CHECK(static_cast<size_t>(d1 - whole.get()) == part_bytes + rest_bytes);
  CONV_FUZZ_CHECK(std::memcmp(whole.get(), part, part_bytes) == 0);
  CONV_FUZZ_CHECK(std::memcmp(whole.get() + part_bytes, rest.get(), rest_bytes) == 0);
}

inline void RunMember(const convmembers::Member &m, const Options &o) {
  const char *member_name = m.name;
  const size_t src_bytes = o.src_size / m.src_unit * m.src_unit;
  const size_t dst_bytes = o.dst_units * m.dst_unit;
  std::unique_ptr<uint8_t[]> src(new uint8_t[src_bytes + o.misalign]);
  std::unique_ptr<uint8_t[]> dst(new uint8_t[dst_bytes + o.misalign]);
  if (src_bytes > 0) std::memcpy(src.get() + o.misalign, o.src, src_bytes);
  const uint8_t *src_start = src.get() + o.misalign;
  const uint8_t *src_end = src_start + src_bytes;
  uint8_t *dst_start = dst.get() + o.misalign;
  uint8_t *dst_end = dst_start + dst_bytes;

  const uint8_t *s = src_start;
  uint8_t *d = dst_start;
  uint32_t count = 0;
  const int rc = m.run(&s, src_end, &d, dst_end, o.subst, &count);
  CONV_FUZZ_CHECK(s >= src_start && s <= src_end);
  CONV_FUZZ_CHECK(d >= dst_start && d <= dst_end);
  CONV_FUZZ_CHECK((s - src_start) % m.src_unit == 0);
  CONV_FUZZ_CHECK((d - dst_start) % m.dst_unit == 0);
  CONV_FUZZ_CHECK(rc == 0 || rc == 32 || rc == 512 || rc == 2048);
  CONV_FUZZ_CHECK(rc != 0 || s == src_end);
  CONV_FUZZ_CHECK(count <= src_bytes);
  if (rc == 32) CheckResumeAfterOverflow(m, o, src_start, src_end, s, dst_start, d, count);
}

inline void RunDirections(const uint8_t *data, size_t size,
                          std::initializer_list<convmembers::Direction> directions) {
  Options o;
  if (!ParseOptions(data, size, &o)) return;
  for (const convmembers::Member &m : convmembers::kMembers)
    for (convmembers::Direction dir : directions)
      if (m.direction == dir) RunMember(m, o);
}

}  // namespace convfuzz

#endif  // FUZZ_U16_CONV_FUZZ_COMMON_H
