// Helpers of the string function tests: 8-bit literals widened to 16-bit text, strings placed at
// any byte offset (odd ones included), pages with a guard page behind them, and trace capture.
#ifndef TLM_TESTS_I18N_ZULU16_U16_STRING_TEST_SUPPORT_H
#define TLM_TESTS_I18N_ZULU16_U16_STRING_TEST_SUPPORT_H

#include <sys/mman.h>
#include <unistd.h>

#include "zul_u16string.h"
#include "zul_u16trace.h"

namespace u16test {

// ASCII or Latin-1 text as 16-bit units.
inline std::u16string W(const std::string &text) {
  std::u16string out;
  for (unsigned char c : text) out.push_back(c);
  return out;
}

inline const ZUL_UTF16 *Z(const std::u16string &s) { return s.c_str(); }

// Units are moved with memcpy so that odd addresses stay well-defined.
inline void PutUnits(void *at, const std::u16string &units) {
  std::memcpy(at, units.data(), units.size() * sizeof(char16_t));
}

inline std::u16string GetUnits(const void *at, size_t count) {
  std::u16string out(count, u'\0');
  std::memcpy(out.data(), at, count * sizeof(char16_t));
  return out;
}

inline ZUL_UTF16 *AtByte(void *base, size_t offset) {
  return reinterpret_cast<ZUL_UTF16 *>(static_cast<unsigned char *>(base) + offset);
}

// A zero-terminated string placed at a byte offset of a 16-byte aligned buffer.
class PlacedString {
 public:
  PlacedString(const std::u16string &text, size_t byte_offset, size_t spare_units = 8)
      : bytes_(16 + (text.size() + 1 + spare_units) * 2 + 32, 0xEE) {
    base_ = reinterpret_cast<unsigned char *>((reinterpret_cast<uintptr_t>(bytes_.data()) + 15) &
                                              ~uintptr_t{15});
    s_ = AtByte(base_, byte_offset);
    PutUnits(s_, text + u'\0');
  }
  ZUL_UTF16 *get() { return s_; }

 private:
  std::vector<unsigned char> bytes_;
  unsigned char *base_;
  ZUL_UTF16 *s_;
};

// Two mapped pages, the second without any access: text placed to end at the guard is read
// right up to it.
class GuardedPage {
 public:
  GuardedPage() : page_(static_cast<size_t>(sysconf(_SC_PAGESIZE))) {
    void *p = mmap(nullptr, 2 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    base_ = p == MAP_FAILED ? nullptr : static_cast<unsigned char *>(p);
    if (base_ != nullptr) mprotect(base_ + page_, page_, PROT_NONE);
  }
  ~GuardedPage() {
    if (base_ != nullptr) munmap(base_, 2 * page_);
  }
  GuardedPage(const GuardedPage &) = delete;
  GuardedPage &operator=(const GuardedPage &) = delete;

  bool ok() const { return base_ != nullptr; }
  // Places text and its terminator so that they end `slack` bytes before the guard.
  ZUL_UTF16 *PlaceAtEnd(const std::u16string &text, size_t slack) {
    unsigned char *at = base_ + page_ - slack - (text.size() + 1) * 2;
    PutUnits(at, text + u'\0');
    return reinterpret_cast<ZUL_UTF16 *>(at);
  }

 private:
  size_t page_;
  unsigned char *base_;
};

// Collects the messages of the text runtime's trace while it lives, and restores the level.
class TraceCapture {
 public:
  explicit TraceCapture(int level) : saved_level_(u16_trace_level) {
    messages().clear();
    u16_trace_level = level;
    u16_set_trace_func(&Collect);
  }
  ~TraceCapture() {
    u16_set_trace_func(nullptr);
    u16_trace_level = saved_level_;
  }
  const std::vector<std::u16string> &Messages() const { return messages(); }
  void Clear() { messages().clear(); }
  // How many messages start with the given 8-bit text.
  int Count(const std::string &text) const {
    int n = 0;
    for (const auto &m : messages()) n += m.compare(0, text.size(), W(text)) == 0;
    return n;
  }

 private:
  static std::vector<std::u16string> &messages() {
    static std::vector<std::u16string> all;
    return all;
  }
  static void Collect(const ZUL_UTF16 *message) { messages().push_back(message); }
  int saved_level_;
};

// Whether a captured message starts with the given 8-bit text.
inline bool StartsWith(const std::u16string &message, const std::string &text) {
  return message.compare(0, text.size(), W(text)) == 0;
}

}  // namespace u16test

#endif  // TLM_TESTS_I18N_ZULU16_U16_STRING_TEST_SUPPORT_H
