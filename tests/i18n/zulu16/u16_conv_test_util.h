// Helpers of the conversion tests: a scoped error hook that records every report, byte buffers of
// text in the member's units, and one run of a family member on exactly sized heap buffers.
#ifndef TESTS_I18N_ZULU16_U16_CONV_TEST_UTIL_H
#define TESTS_I18N_ZULU16_U16_CONV_TEST_UTIL_H

#include <initializer_list>

#include "u16_conv_members.h"
#include "zul_rscp.h"

namespace convtest {

using Buffer = std::vector<uint8_t>;
using convmembers::Member;

// One call of the error hook, texts copied.
struct HookCall {
  int code, err_class, key;
  std::u16string module;
  int location, line;
  std::u16string text;
  bool params_null;
};

// Installs a hook that records its calls and answers `answer` (its code when negative); the
// destructor puts the default back.
class ScopedHookRecorder {
 public:
  explicit ScopedHookRecorder(int answer = -1) {
    calls_.clear();
    answer_ = answer;
    rscpSetHook_rscpe__error(&Record);
  }
  ~ScopedHookRecorder() { rscpSetHook_rscpe__error(nullptr); }
  const std::vector<HookCall> &calls() const { return calls_; }
  std::u16string last_text() const { return calls_.empty() ? u"" : calls_.back().text; }

 private:
  static int Record(int code, int err_class, int key, const ZUL_UTF16 *module, int location,
                    int line, const ZUL_UTF16 *text, const ZUL_UTF16 *p1, const ZUL_UTF16 *p2,
                    const ZUL_UTF16 *p3, const ZUL_UTF16 *p4, const ZUL_UTF16 *p5) {
    const bool none = !p1 && !p2 && !p3 && !p4 && !p5;
    calls_.push_back(
        {code, err_class, key, module ? module : u"", location, line, text ? text : u"", none});
    return answer_ < 0 ? code : answer_;
  }
  static inline std::vector<HookCall> calls_;
  static inline int answer_ = -1;
};

inline const Member &Find(const char *name) {
  for (const Member &m : convmembers::kMembers)
    if (std::strcmp(m.name, name) == 0) return m;
  ADD_FAILURE() << "no member " << name;
  return convmembers::kMembers[0];
}

inline Buffer Utf8(const std::string &s) { return Buffer(s.begin(), s.end()); }

// Units of `size` bytes in little-endian order.
inline Buffer Units(unsigned size, std::initializer_list<uint32_t> values) {
  Buffer b;
  for (uint32_t v : values)
    for (unsigned i = 0; i < size; ++i) b.push_back(static_cast<uint8_t>(v >> (8 * i)));
  return b;
}
inline Buffer U16(std::initializer_list<uint32_t> v) { return Units(2, v); }
inline Buffer U32(std::initializer_list<uint32_t> v) { return Units(4, v); }

struct Result {
  int rc;
  Buffer out;
  size_t stop;  // source bytes consumed
  uint32_t count;
  std::u16string text;
};

// Converts src[from, to) into dst_units units; both buffers are heap blocks of exactly their
// size (moved to an odd address by misalign), so that any access beyond them is caught.
inline Result Convert(const Member &m, const Buffer &src, size_t from, size_t to, size_t dst_units,
                      bool subst, size_t misalign = 0) {
  ScopedHookRecorder hook;
  const size_t dst_bytes = dst_units * m.dst_unit;
  auto source = std::make_unique<uint8_t[]>(to + misalign);
  auto dest = std::make_unique<uint8_t[]>(dst_bytes + misalign);
  if (to > 0) std::memcpy(source.get() + misalign, src.data(), to);
  std::memset(dest.get(), 0xA5, dst_bytes + misalign);
  const uint8_t *base = source.get() + misalign;
  const uint8_t *s = base + from;
  uint8_t *d = dest.get() + misalign;
  uint32_t count = 0;
  const int rc = m.run(&s, base + to, &d, dest.get() + misalign + dst_bytes, subst, &count);
  const size_t written = static_cast<size_t>(d - dest.get() - misalign);
  const size_t stop = static_cast<size_t>(s - base);
  EXPECT_TRUE(stop >= from && stop <= to && (stop - from) % m.src_unit == 0) << m.name;
  EXPECT_TRUE(written <= dst_bytes && written % m.dst_unit == 0) << m.name;
  EXPECT_TRUE(rc != 0 || stop == to) << m.name << ": success must consume the source";
  const uint8_t *beyond = dest.get() + misalign + written;
  EXPECT_EQ(std::count(beyond, beyond + (dst_bytes - written), 0xA5), dst_bytes - written)
      << m.name << ": bytes beyond the output were changed";
  return {rc, Buffer(dest.get() + misalign, d), stop, count, hook.last_text()};
}

inline Result Convert(const char *name, const Buffer &src, bool subst = false, size_t room = 64) {
  return Convert(Find(name), src, 0, src.size(), room, subst);
}

}  // namespace convtest

#endif  // TESTS_I18N_ZULU16_U16_CONV_TEST_UTIL_H
