// Ft: a table of fixed-size slots with a free list and a used list threaded through the slots'
// two links, so that the lists can be rebuilt from the slots alone after a crash.
//
// Links are block offsets of slots. A free slot: first link the previous free slot (0 at the head,
// whose predecessor is the header), second link the next one (0 at the end). A used slot: first
// link kUsed, second link the next used slot (0 at the end).
#include <cstring>

#include "fi/fi_block.h"

namespace {

using fi::At;
using fi::Round8;

constexpr uint32_t kFtMagic = 0x46545458;  // "FTTX"
constexpr uint32_t kUsed = 0xFFFFFFFF;

struct FtHeader {
  ZUL_UTF16 name[FI_NAME_LENGTH];
  uint32_t magic;
  uint32_t flags;
  uint32_t slot_count;
  uint32_t slot_size;
  uint32_t record_size;
  uint32_t free_head;
  uint32_t used_head;
  uint32_t first_record;
  uint32_t size;
  uint32_t reserved;
};

struct FtSlot {
  uint32_t link1;
  uint32_t link2;
};

uint64_t SlotSize(uint32_t record_size) { return Round8(uint64_t{record_size} + sizeof(FtSlot)); }
uint64_t FirstSlot() { return Round8(sizeof(FtHeader)); }
uint64_t TableSize(uint32_t count, uint32_t record_size) {
  return FirstSlot() + uint64_t{count} * SlotSize(record_size);
}

FtHeader *TableOf(void *block) {
  if (block == nullptr || !fi::Aligned8(block)) return nullptr;
  auto *h = static_cast<FtHeader *>(block);
  return h->magic == kFtMagic ? h : nullptr;
}

FtSlot *Slot(FtHeader *h, uint32_t off) { return At<FtSlot>(h, off); }
uint32_t SlotOffset(const FtHeader *h, uint32_t i) {
  return h->first_record - sizeof(FtSlot) + i * h->slot_size;
}

// The slot of a record in the table, or 0.
uint32_t SlotOfRecord(FtHeader *h, const void *record) {
  auto p = reinterpret_cast<uintptr_t>(record);
  auto first = reinterpret_cast<uintptr_t>(At<char>(h, h->first_record));
  if (p < first || (p - first) % h->slot_size != 0 || (p - first) / h->slot_size >= h->slot_count)
    return 0;
  return static_cast<uint32_t>(p - reinterpret_cast<uintptr_t>(h)) - sizeof(FtSlot);
}

void PushFree(FtHeader *h, uint32_t off) {
  FtSlot *s = Slot(h, off);
  s->link1 = 0;
  s->link2 = h->free_head;
  if (h->free_head != 0) Slot(h, h->free_head)->link1 = off;
  h->free_head = off;
}

// Rebuilds both lists, slot by slot in order, with is_free(slot offset) deciding each.
template <typename IsFree>
void Rebuild(FtHeader *h, IsFree is_free) {
  h->free_head = 0;
  h->used_head = 0;
  uint32_t tail = 0;
  for (uint32_t i = 0; i < h->slot_count; ++i) {
    uint32_t off = SlotOffset(h, i);
    if (is_free(off)) {
      PushFree(h, off);
      continue;
    }
    *Slot(h, off) = FtSlot{kUsed, 0};
    if (tail != 0)
      Slot(h, tail)->link2 = off;
    else
      h->used_head = off;
    tail = off;
  }
}

}  // namespace

size_t FtGetAdmSize(uint32_t /*flags*/, uint32_t count, uint32_t record_size) noexcept {
  uint64_t size = TableSize(count, record_size);
  return count == 0 || size > fi::kMaxBlockSize ? 0 : size;
}

int FtInit(void *block, const ZUL_UTF16 *name, uint32_t flags, uint32_t count, uint32_t record_size,
           void **hdl_out) noexcept {
  if (block == nullptr || !fi::Aligned8(block) || name == nullptr || count == 0) return FI_BAD_ARG;
  if ((flags & FT_FLAG_REFUSED) != 0) return FI_NOT_FOUND;
  FtHeader *existing = TableOf(block);
  if (existing != nullptr && fi::SameName(existing->name, name)) return FI_INITIALIZED;
  uint64_t size = TableSize(count, record_size);
  if (size > fi::kMaxBlockSize) return FI_NO_SPACE;

  auto *h = static_cast<FtHeader *>(block);
  std::memset(h, 0, sizeof *h);
  fi::SetName(h->name, name);
  h->flags = flags;
  h->slot_count = count;
  h->slot_size = static_cast<uint32_t>(SlotSize(record_size));
  h->record_size = record_size;
  h->first_record = static_cast<uint32_t>(FirstSlot() + sizeof(FtSlot));
  h->size = static_cast<uint32_t>(size);
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t off = SlotOffset(h, i);
    Slot(h, off)->link1 = i == 0 ? 0 : off - h->slot_size;
    Slot(h, off)->link2 = i + 1 == count ? 0 : off + h->slot_size;
  }
  h->free_head = SlotOffset(h, 0);
  h->magic = kFtMagic;
  if (hdl_out != nullptr) *hdl_out = block;
  return FI_OK;
}

int FtDestroy(void *block) noexcept {
  FtHeader *h = TableOf(block);
  if (h == nullptr) return FI_BAD_ARG;
  for (ZUL_UTF16 &unit : h->name) unit = u' ';
  h->magic = 0;
  return FI_OK;
}

int FtAlloc(void *block, void **record_out) noexcept {
  FtHeader *h = TableOf(block);
  if (h == nullptr || record_out == nullptr) return FI_BAD_ARG;
  uint32_t off = h->free_head;
  if (off == 0) return FI_NO_SPACE;
  FtSlot *s = Slot(h, off);
  h->free_head = s->link2;
  if (h->free_head != 0) Slot(h, h->free_head)->link1 = 0;
  *s = FtSlot{kUsed, h->used_head};
  h->used_head = off;
  *record_out = At<char>(h, off + sizeof(FtSlot));
  return FI_OK;
}

int FtFree(void *block, void *record) noexcept {
  FtHeader *h = TableOf(block);
  if (h == nullptr) return FI_BAD_ARG;
  uint32_t off = SlotOfRecord(h, record);
  if (off == 0 || Slot(h, off)->link1 != kUsed) return FI_NOT_FOUND;
  uint32_t *link = &h->used_head;
  for (uint32_t steps = 0; *link != off; ++steps) {
    if (*link == 0 || steps == h->slot_count) return FI_NOT_FOUND;
    link = &Slot(h, *link)->link2;
  }
  *link = Slot(h, off)->link2;
  PushFree(h, off);
  return FI_OK;
}

int FtRebuild(void *block, FT_IS_FREE is_free) noexcept {
  FtHeader *h = TableOf(block);
  if (h == nullptr || is_free == nullptr) return FI_BAD_ARG;
  Rebuild(h,
          [h, is_free](uint32_t off) { return is_free(At<char>(h, off + sizeof(FtSlot))) != 0; });
  return FI_OK;
}

int FtRebuild2(void *block, FT_IS_FREE2 is_free, void *context) noexcept {
  FtHeader *h = TableOf(block);
  if (h == nullptr || is_free == nullptr) return FI_BAD_ARG;
  Rebuild(h, [h, is_free, context](uint32_t off) {
    return is_free(context, At<char>(h, off + sizeof(FtSlot))) != 0;
  });
  return FI_OK;
}

int FtAutoRebuild(void *block) noexcept {
  FtHeader *h = TableOf(block);
  if (h == nullptr) return FI_BAD_ARG;
  Rebuild(h, [h](uint32_t off) {
    const FtSlot *s = Slot(h, off);
    return s->link1 != kUsed || s->link2 == kUsed;
  });
  return FI_OK;
}
