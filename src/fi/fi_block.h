// Layout shared by the index structures: offsets inside a block, stacks of offsets, and the
// header, index headers and handles of Fi blocks.
#ifndef FI_FI_BLOCK_H
#define FI_FI_BLOCK_H

#include <cstdint>

#include "zul_fi.h"

// An open index. The same 32 bytes serve as a slot of the process-wide table and as one of a
// block's own handle slots.
struct FI_HANDLE {
  uint32_t index_id;
  uint32_t reserved;
  void *block;
  const void *base;
  uint32_t header_offset;
  uint32_t used;
};
static_assert(sizeof(FI_HANDLE) == 32);

namespace fi {

inline constexpr uint64_t kMaxBlockSize = 0x7FFFFFFF;
inline constexpr int kHandleSlots = 256;

inline uint64_t Round8(uint64_t n) { return (n + 7) & ~uint64_t{7}; }
inline bool Aligned8(const void *p) { return (reinterpret_cast<uintptr_t>(p) & 7) == 0; }

template <typename T>
T *At(void *block, uint32_t offset) {
  return reinterpret_cast<T *>(static_cast<char *>(block) + offset);
}
template <typename T>
const T *At(const void *block, uint32_t offset) {
  return reinterpret_cast<const T *>(static_cast<const char *>(block) + offset);
}
inline uint32_t OffsetIn(const void *block, const void *p) {
  return static_cast<uint32_t>(static_cast<const char *>(p) - static_cast<const char *>(block));
}

// A stack of non-zero offsets in an array of cells. The cell below the first is a zero sentinel,
// so the stack is empty when its top cell holds 0. All three fields are block offsets.
struct OffsetStack {
  uint32_t top;     // the top cell
  uint32_t bottom;  // the sentinel cell
  uint32_t last;    // the highest cell
  uint32_t reserved;
};

// Bytes of a stack of capacity cells and its sentinel.
inline uint64_t StackBytes(uint64_t capacity) { return Round8((capacity + 1) * 4); }
// Lays out a stack of capacity cells at offset; answers the offset behind it.
uint32_t StackInit(void *block, OffsetStack *s, uint32_t offset, uint32_t capacity);
inline void StackClear(void *block, OffsetStack *s) {
  s->top = s->bottom;
  *At<uint32_t>(block, s->bottom) = 0;
}
inline uint32_t StackPop(void *block, OffsetStack *s) {
  uint32_t *cell = At<uint32_t>(block, s->top);
  uint32_t value = *cell;
  if (value == 0) return 0;
  *cell = 0;
  s->top -= 4;
  return value;
}
inline bool StackPush(void *block, OffsetStack *s, uint32_t value) {
  if (s->top >= s->last) return false;
  s->top += 4;
  *At<uint32_t>(block, s->top) = value;
  return true;
}
// Pushes count items of item_size bytes from offset first, so that pops answer them in ascending
// order.
void StackFill(void *block, OffsetStack *s, uint64_t first, uint32_t count, size_t item_size);
inline uint32_t StackDepth(const OffsetStack &s) { return (s.top - s.bottom) / 4; }

// Copies a name into a field of FI_NAME_LENGTH units, blank padded.
void SetName(ZUL_UTF16 *field, const ZUL_UTF16 *name);
bool SameName(const ZUL_UTF16 *field, const ZUL_UTF16 *name);

// The offset of p from base, when p lies from base to 4 GiB - 1 - extra bytes behind it.
bool BaseOffset(const void *base, const void *p, uint64_t extra, uint32_t *offset);

// ---- Fi blocks ----

inline constexpr uint32_t kFiMagic = 0x46494258;  // "FIBX"

struct FiIndexHeader {
  uint32_t id;
  uint32_t key_length;
  uint32_t key_count;
  uint32_t root;
  uint32_t prev;
  uint32_t next;
  uint32_t in_use;
  uint32_t reserved;
};

struct FiBlockHeader {
  ZUL_UTF16 name[FI_NAME_LENGTH];
  ZUL_UTF16 fill;
  ZUL_UTF16 fill2;
  uint32_t max_indexes;
  uint32_t leaves;
  uint32_t record_size;
  uint32_t inner_nodes;
  uint32_t open_indexes;
  uint32_t magic;
  uint32_t size;
  uint32_t flags;
  FI_HANDLE slots[kHandleSlots];  // handles of FiOpenIndex with FI_OPEN_BLOCK_SLOT
  uint32_t first_index;           // head of the list of index headers in use
  uint32_t index_area;            // first index header
  uint32_t inner_area;            // first inner node
  uint32_t leaf_area;             // first leaf
  OffsetStack work;               // walks that finish within one call
  OffsetStack find;               // the walk of FiFind, kept for resumption
  OffsetStack free_headers;
  OffsetStack free_inner;
  OffsetStack free_leaves;
};

bool IsFiBlock(const void *block);
inline FiBlockHeader *FiHeader(void *block) { return static_cast<FiBlockHeader *>(block); }

// The inner nodes of a block for these capacities.
uint32_t InnerNodeCount(uint32_t keys, uint32_t flags);

}  // namespace fi

#endif  // FI_FI_BLOCK_H
