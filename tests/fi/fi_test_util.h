// Blocks for index tests: heap blocks of exactly the size asked for (so that ASan reports one
// byte written past the end), and records holding fixed-length keys in an Ft slot table.
#pragma once

#include "zul_fi.h"

using Block = std::unique_ptr<char, decltype(&std::free)>;

// malloc of exactly size bytes: 16-aligned, and no slack behind the end.
inline Block ExactBlock(size_t size) {
  return Block(static_cast<char *>(std::malloc(size)), &std::free);
}

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

// A record of key and value in the Ft table at table.
inline KeyRecord *AddRecord(void *table, const std::u16string &key, uint32_t value) {
  void *p = nullptr;
  EXPECT_EQ(FtAlloc(table, &p), FI_OK);
  auto *r = static_cast<KeyRecord *>(p);
  if (r != nullptr) {
    std::memcpy(r->key, PadKey(key).data(), sizeof r->key);
    r->value = value;
  }
  return r;
}

// An Ft table of KeyRecord, the base of the keys of an index.
struct RecordTable : Block {
  explicit RecordTable(uint32_t count)
      : Block(ExactBlock(FtGetAdmSize(0, count, sizeof(KeyRecord)))) {
    EXPECT_EQ(FtInit(get(), u"records", 0, count, sizeof(KeyRecord), nullptr), FI_OK);
  }
  KeyRecord *Add(const std::u16string &key, uint32_t value) { return AddRecord(get(), key, value); }
};

// The value of the record of a leaf.
inline uint32_t ValueAt(void *base, FI_NODE *node) {
  return static_cast<KeyRecord *>(FI_NODE_RECORD(base, node))->value;
}

// The block's statistics.
inline FI_PSTAT Pstat(void *block) {
  FI_PSTAT s{};
  EXPECT_EQ(FiGetPstat(block, &s), FI_OK);
  return s;
}
