// FiL: a doubly linked list of entries, each pointing to a leaf in the layout of Fi leaves, for
// small sets. Entries and leaves come from two free stacks in the block.
#include <cstdio>
#include <cstring>

#include "fi/fi_tree.h"
#include "zul_u16printf.h"
#include "zul_u16string.h"

namespace {

using fi::At;
using fi::OffsetStack;
using fi::Round8;

constexpr uint32_t kFiLMagic = 0x46494C58;  // "FILX"

struct FiLHeader {
  uint32_t magic;
  uint32_t count;
  uint32_t key_length;
  uint32_t capacity;
  ZUL_UTF16 fill;
  uint16_t reserved;
  uint32_t first;  // newest entry
  OffsetStack free_entries;
  OffsetStack free_leaves;
};

struct FiLEntry {
  uint32_t next;
  uint32_t prev;
  uint32_t leaf;
};
static_assert(sizeof(FiLEntry) == 12);

struct Layout {
  uint64_t entries, leaves, stacks, size;
};

Layout ComputeLayout(uint32_t capacity) {
  Layout l;
  l.entries = Round8(sizeof(FiLHeader));
  l.leaves = Round8(l.entries + uint64_t{capacity} * sizeof(FiLEntry));
  l.stacks = Round8(l.leaves + uint64_t{capacity} * sizeof(FI_NODE));
  l.size = l.stacks + 2 * fi::StackBytes(capacity);
  return l;
}

FiLHeader *ListOf(const FIL_HDL *hdl) {
  if (hdl == nullptr || hdl->block == nullptr || !fi::Aligned8(hdl->block)) return nullptr;
  auto *h = static_cast<FiLHeader *>(hdl->block);
  return h->magic == kFiLMagic ? h : nullptr;
}

FiLEntry *Entry(FiLHeader *h, uint32_t off) { return At<FiLEntry>(h, off); }
FI_NODE *Leaf(FiLHeader *h, uint32_t off) { return At<FI_NODE>(h, off); }
const ZUL_UTF16 *KeyOf(const FIL_HDL *hdl, const FI_NODE *leaf) {
  return At<ZUL_UTF16>(hdl->base, FI_NODE_KEY_OFFSET(leaf));
}

// The entry whose leaf is node, or 0.
uint32_t EntryOfLeaf(FiLHeader *h, const FI_NODE *node) {
  for (uint32_t e = h->first; e != 0; e = Entry(h, e)->next)
    if (Leaf(h, Entry(h, e)->leaf) == node) return e;
  return 0;
}
}  // namespace

size_t FiLGetAdmSize(uint32_t capacity) noexcept {
  if (capacity == 0) return 0;
  Layout l = ComputeLayout(capacity);
  return l.size <= fi::kMaxBlockSize ? l.size : 0;
}

int FiLInit(void *block, uint32_t capacity, uint32_t key_length, ZUL_UTF16 fill, const void *base,
            FIL_HDL *hdl_out) noexcept {
  if (block == nullptr || !fi::Aligned8(block) || capacity == 0 || key_length == 0)
    return FI_BAD_ARG;
  Layout l = ComputeLayout(capacity);
  if (l.size > fi::kMaxBlockSize) return FI_NO_SPACE;
  auto *h = static_cast<FiLHeader *>(block);
  std::memset(h, 0, sizeof *h);
  h->key_length = key_length;
  h->capacity = capacity;
  h->fill = fill;
  uint32_t at = static_cast<uint32_t>(l.stacks);
  at = fi::StackInit(block, &h->free_entries, at, capacity);
  fi::StackInit(block, &h->free_leaves, at, capacity);
  fi::StackFill(block, &h->free_entries, l.entries, capacity, sizeof(FiLEntry));
  fi::StackFill(block, &h->free_leaves, l.leaves, capacity, sizeof(FI_NODE));
  h->magic = kFiLMagic;
  if (hdl_out != nullptr) *hdl_out = FIL_HDL{block, base};
  return FI_OK;
}

int FiLDestroy(void *block) noexcept {
  FIL_HDL hdl{block, nullptr};
  FiLHeader *h = ListOf(&hdl);
  if (h == nullptr) return FI_BAD_ARG;
  h->magic = 0;
  h->count = 0;
  h->first = 0;
  return FI_OK;
}

int FiLFind(const FIL_HDL *hdl, const ZUL_UTF16 *key, FI_NODE **node_out) noexcept {
  FiLHeader *h = ListOf(hdl);
  if (h == nullptr || key == nullptr) return FI_BAD_ARG;
  for (uint32_t e = h->first; e != 0; e = Entry(h, e)->next) {
    FI_NODE *leaf = Leaf(h, Entry(h, e)->leaf);
    if (fi::MatchesWithFill(KeyOf(hdl, leaf), key, h->key_length, h->fill)) {
      if (node_out != nullptr) *node_out = leaf;
      return FI_OK;
    }
  }
  return FI_NOT_FOUND;
}

int FiLInsert(const FIL_HDL *hdl, const ZUL_UTF16 *key, const void *record,
              FI_NODE **node_out) noexcept {
  FiLHeader *h = ListOf(hdl);
  uint32_t key_off, record_off;
  if (h == nullptr || !fi::BaseOffset(hdl->base, key, uint64_t{h->key_length} * 2, &key_off) ||
      !fi::BaseOffset(hdl->base, record, 0, &record_off))
    return FI_BAD_ARG;
  for (uint32_t e = h->first; e != 0; e = Entry(h, e)->next) {
    FI_NODE *leaf = Leaf(h, Entry(h, e)->leaf);
    if (memcmpU16(KeyOf(hdl, leaf), key, h->key_length) == 0) {
      if (node_out != nullptr) *node_out = leaf;
      return FI_EXISTS;
    }
  }
  uint32_t e = fi::StackPop(h, &h->free_entries);
  if (e == 0) return FI_NO_SPACE;
  uint32_t leaf = fi::StackPop(h, &h->free_leaves);
  if (leaf == 0) {
    fi::StackPush(h, &h->free_entries, e);
    return FI_NO_SPACE;
  }
  fi::InitLeaf(Leaf(h, leaf), key_off, record_off);
  *Entry(h, e) = FiLEntry{h->first, 0, leaf};
  if (h->first != 0) Entry(h, h->first)->prev = e;
  h->first = e;
  ++h->count;
  if (node_out != nullptr) *node_out = Leaf(h, leaf);
  return FI_OK;
}

int FiLRemove(const FIL_HDL *hdl, FI_NODE *node) noexcept {
  FiLHeader *h = ListOf(hdl);
  if (h == nullptr) return FI_BAD_ARG;
  uint32_t e = node == nullptr ? 0 : EntryOfLeaf(h, node);
  if (e == 0) return FI_NOT_FOUND;
  FiLEntry *entry = Entry(h, e);
  if (entry->prev != 0)
    Entry(h, entry->prev)->next = entry->next;
  else
    h->first = entry->next;
  if (entry->next != 0) Entry(h, entry->next)->prev = entry->prev;
  node->position = 0;
  fi::StackPush(h, &h->free_leaves, entry->leaf);
  fi::StackPush(h, &h->free_entries, e);
  --h->count;
  return FI_OK;
}

int FiLDisplay(const FIL_HDL *hdl) noexcept {
  FiLHeader *h = ListOf(hdl);
  if (h == nullptr) return FI_BAD_ARG;
  fprintfU16(stdout, u"PTL: %d keys.\n", static_cast<int>(h->count));
  for (uint32_t e = h->first; e != 0; e = Entry(h, e)->next) {
    FI_NODE *leaf = Leaf(h, Entry(h, e)->leaf);
    fprintfU16(stdout, u"  %.*s -> %u\n", static_cast<int>(h->key_length), KeyOf(hdl, leaf),
               FI_NODE_RECORD_OFFSET(leaf));
  }
  return FI_OK;
}
