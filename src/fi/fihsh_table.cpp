// FiHsh: a chained hash table whose entries hold a copy of the key and of the record.
//
// A key's bucket is the signed remainder of its hash by the bucket count, so hashes with the top
// bit set give negative buckets. The bucket heads therefore run from -(count - 1) to count - 1,
// and the head of bucket b sits at buckets + 4 * b: every remainder has its own head inside the
// block.
#include <cstring>

#include "fi/fi_block.h"
#include "zul_u16string.h"

namespace {

using fi::At;
using fi::Round8;

constexpr uint32_t kHshMagic = 0x48534858;  // "HSHX"

struct HshHeader {
  uint32_t magic;
  uint32_t id;
  uint32_t count;
  uint32_t key_length;
  uint32_t bucket_count;
  uint32_t entry_size;
  uint32_t record_size;
  uint32_t capacity;
  uint32_t buckets;     // head of bucket 0, in the middle of the heads
  uint32_t free_head;   // free entries, linked by next
  uint32_t entry_area;  // first entry
  uint32_t record_at;   // record behind the entry's start
};

struct HshEntry {
  uint32_t next;
  uint32_t key;  // offset of the key copy in the block
};

struct Layout {
  uint64_t heads, entries, entry_size, record_at, size;
};

bool ComputeLayout(uint32_t capacity, uint32_t key_length, uint32_t record_size, Layout *l) {
  uint64_t buckets = uint64_t{capacity} + 1;
  l->heads = Round8(sizeof(HshHeader));
  l->entries = Round8(l->heads + (2 * buckets - 1) * 4);
  l->record_at = Round8(sizeof(HshEntry) + uint64_t{key_length} * 2);
  l->entry_size = l->record_at + Round8(record_size);
  l->size = l->entries + uint64_t{capacity} * l->entry_size;
  return buckets <= INT32_MAX && l->size <= fi::kMaxBlockSize;
}

HshHeader *TableOf(void *hdl) {
  if (hdl == nullptr || !fi::Aligned8(hdl)) return nullptr;
  auto *h = static_cast<HshHeader *>(hdl);
  return h->magic == kHshMagic ? h : nullptr;
}

int32_t Bucket(const HshHeader *h, const ZUL_UTF16 *key) {
  uint32_t hash = 0;
  for (uint32_t i = 0; i < h->key_length; ++i) hash = hash ^ (hash << 5) ^ key[i];
  return static_cast<int32_t>(hash) % static_cast<int32_t>(h->bucket_count);
}

uint32_t *Head(HshHeader *h, int32_t bucket) {
  return At<uint32_t>(h, static_cast<uint32_t>(int64_t{h->buckets} + int64_t{bucket} * 4));
}
HshEntry *EntryAt(HshHeader *h, uint32_t off) { return At<HshEntry>(h, off); }
void *RecordOf(HshHeader *h, uint32_t entry) { return At<char>(h, entry + h->record_at); }

// The link that points to the entry of key in its chain; *link is 0 when the key is absent.
uint32_t *FindLink(HshHeader *h, const ZUL_UTF16 *key) {
  uint32_t *link = Head(h, Bucket(h, key));
  while (*link != 0 && memcmpU16(At<ZUL_UTF16>(h, EntryAt(h, *link)->key), key, h->key_length) != 0)
    link = &EntryAt(h, *link)->next;
  return link;
}

bool ValidEntry(const HshHeader *h, uint32_t off) {
  return off >= h->entry_area && (off - h->entry_area) % h->entry_size == 0 &&
         (off - h->entry_area) / h->entry_size < h->capacity;
}

// Answers the entry at pos->next, moving on to the next non-empty bucket when a chain ends.
void *Step(HshHeader *h, FI_HSH_POS *pos, const ZUL_UTF16 **key_out) {
  int32_t last = static_cast<int32_t>(h->bucket_count) - 1;
  if (pos->bucket < -last || pos->bucket > last) return nullptr;
  while (pos->next == 0) {
    if (pos->bucket >= last) return nullptr;
    ++pos->bucket;
    pos->next = *Head(h, pos->bucket);
  }
  if (!ValidEntry(h, pos->next)) return nullptr;
  uint32_t entry = pos->next;
  pos->next = EntryAt(h, entry)->next;
  if (key_out != nullptr) *key_out = At<ZUL_UTF16>(h, EntryAt(h, entry)->key);
  return RecordOf(h, entry);
}

}  // namespace

size_t FiHshGetAdmSize(uint32_t capacity, uint32_t key_length, uint32_t record_size) noexcept {
  Layout l;
  if (capacity == 0 || key_length == 0 || !ComputeLayout(capacity, key_length, record_size, &l))
    return 0;
  return l.size;
}

int FiHshInit(void *block, uint32_t id, uint32_t capacity, uint32_t key_length,
              uint32_t record_size, void **hdl_out) noexcept {
  if (block == nullptr || !fi::Aligned8(block) || capacity == 0 || key_length == 0)
    return FI_BAD_ARG;
  Layout l;
  if (!ComputeLayout(capacity, key_length, record_size, &l)) return FI_NO_SPACE;
  auto *h = static_cast<HshHeader *>(block);
  std::memset(block, 0, l.entries);
  h->id = id;
  h->key_length = key_length;
  h->bucket_count = capacity + 1;
  h->entry_size = static_cast<uint32_t>(l.entry_size);
  h->record_size = record_size;
  h->capacity = capacity;
  h->buckets = static_cast<uint32_t>(l.heads + uint64_t{capacity} * 4);
  h->entry_area = static_cast<uint32_t>(l.entries);
  h->record_at = static_cast<uint32_t>(l.record_at);
  for (uint32_t i = capacity; i > 0; --i) {
    uint32_t off = h->entry_area + (i - 1) * h->entry_size;
    EntryAt(h, off)->next = h->free_head;
    EntryAt(h, off)->key = off + sizeof(HshEntry);
    h->free_head = off;
  }
  h->magic = kHshMagic;
  if (hdl_out != nullptr) *hdl_out = block;
  return FI_OK;
}

int FiHshInsert(void *hdl, const ZUL_UTF16 *key, const void *record, void **record_out) noexcept {
  HshHeader *h = TableOf(hdl);
  if (h == nullptr || key == nullptr) return FI_BAD_ARG;
  uint32_t *link = FindLink(h, key);
  if (*link != 0) {
    if (record_out != nullptr) *record_out = RecordOf(h, *link);
    return FI_EXISTS;
  }
  uint32_t off = h->free_head;
  if (off == 0) return FI_NO_SPACE;
  HshEntry *e = EntryAt(h, off);
  h->free_head = e->next;
  std::memcpy(At<ZUL_UTF16>(h, e->key), key, size_t{h->key_length} * 2);
  if (record != nullptr)
    std::memcpy(RecordOf(h, off), record, h->record_size);
  else
    std::memset(RecordOf(h, off), 0, h->record_size);
  uint32_t *head = Head(h, Bucket(h, key));
  e->next = *head;
  *head = off;
  ++h->count;
  if (record_out != nullptr) *record_out = RecordOf(h, off);
  return FI_OK;
}

int FiHshRemove(void *hdl, const ZUL_UTF16 *key) noexcept {
  HshHeader *h = TableOf(hdl);
  if (h == nullptr || key == nullptr) return FI_BAD_ARG;
  uint32_t *link = FindLink(h, key);
  if (*link == 0) return FI_NOT_FOUND;
  uint32_t off = *link;
  *link = EntryAt(h, off)->next;
  EntryAt(h, off)->next = h->free_head;
  h->free_head = off;
  --h->count;
  return FI_OK;
}

void *FiHshFind(void *hdl, const ZUL_UTF16 *key) noexcept {
  HshHeader *h = TableOf(hdl);
  if (h == nullptr || key == nullptr) return nullptr;
  uint32_t *link = FindLink(h, key);
  return *link == 0 ? nullptr : RecordOf(h, *link);
}

void *FiHshFirst(void *hdl, FI_HSH_POS *pos, const ZUL_UTF16 **key_out) noexcept {
  HshHeader *h = TableOf(hdl);
  if (h == nullptr || pos == nullptr) return nullptr;
  pos->bucket = -static_cast<int32_t>(h->bucket_count - 1);
  pos->next = *Head(h, pos->bucket);
  return Step(h, pos, key_out);
}

void *FiHshNext(void *hdl, FI_HSH_POS *pos, const ZUL_UTF16 **key_out) noexcept {
  HshHeader *h = TableOf(hdl);
  if (h == nullptr || pos == nullptr) return nullptr;
  return Step(h, pos, key_out);
}
