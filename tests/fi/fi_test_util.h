// Blocks for index tests: heap blocks of exactly the size asked for (so that ASan reports one
// byte written past the end), and records holding fixed-length keys in an Ft slot table.
#ifndef TESTS_FI_FI_TEST_UTIL_H
#define TESTS_FI_FI_TEST_UTIL_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "zul_fi.h"

struct FreeDeleter {
  void operator()(void *p) const { std::free(p); }
};
using Block = std::unique_ptr<char, FreeDeleter>;

// malloc of exactly size bytes: 16-aligned, and no slack behind the end.
inline Block ExactBlock(size_t size) { return Block(static_cast<char *>(std::malloc(size))); }

inline constexpr uint32_t kKeyUnits = 8;

// A record as the tests store it: the key first, then a value.
struct KeyRecord {
  ZUL_UTF16 key[kKeyUnits];
  uint32_t value;
};

// Fixed-length key from text, padded with blanks.
inline std::u16string PadKey(std::u16string text, uint32_t units = kKeyUnits) {
  text.resize(units, u' ');
  return text;
}

// An Ft table of KeyRecord, the base of the keys of an index.
class RecordTable {
 public:
  explicit RecordTable(uint32_t count) : size_(FtGetAdmSize(0, count, sizeof(KeyRecord))) {
    block_ = ExactBlock(size_);
    EXPECT_EQ(FtInit(block_.get(), u"records", 0, count, sizeof(KeyRecord), nullptr), FI_OK);
  }
  void *base() const { return block_.get(); }
  size_t size() const { return size_; }

  KeyRecord *Add(const std::u16string &key, uint32_t value) {
    return AddTo(block_.get(), key, value);
  }
  // A record of key and value in the Ft table at table.
  static KeyRecord *AddTo(void *table, const std::u16string &key, uint32_t value) {
    void *p = nullptr;
    EXPECT_EQ(FtAlloc(table, &p), FI_OK);
    auto *r = static_cast<KeyRecord *>(p);
    if (r != nullptr) {
      std::memcpy(r->key, PadKey(key).data(), sizeof r->key);
      r->value = value;
    }
    return r;
  }
  void Drop(KeyRecord *r) { EXPECT_EQ(FtFree(block_.get(), r), FI_OK); }

 private:
  size_t size_;
  Block block_;
};

#endif  // TESTS_FI_FI_TEST_UTIL_H
