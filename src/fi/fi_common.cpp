// Pieces shared by all index kinds: stacks of offsets, block names, offsets from a base.
#include "fi/fi_block.h"

namespace fi {

uint32_t StackInit(void *block, OffsetStack *s, uint32_t offset, uint32_t capacity) {
  s->bottom = offset;
  s->top = offset;
  s->last = offset + 4 * capacity;
  s->reserved = 0;
  for (uint32_t cell = s->bottom; cell <= s->last; cell += 4) *At<uint32_t>(block, cell) = 0;
  return static_cast<uint32_t>(offset + StackBytes(capacity));
}

void StackFill(void *block, OffsetStack *s, uint64_t first, uint32_t count, size_t item_size) {
  for (uint32_t i = count; i > 0; --i)
    StackPush(block, s, static_cast<uint32_t>(first + uint64_t{i - 1} * item_size));
}

void SetName(ZUL_UTF16 *field, const ZUL_UTF16 *name) {
  int i = 0;
  for (; i < FI_NAME_LENGTH && name[i] != 0; ++i) field[i] = name[i];
  for (; i < FI_NAME_LENGTH; ++i) field[i] = u' ';
}

bool SameName(const ZUL_UTF16 *field, const ZUL_UTF16 *name) {
  ZUL_UTF16 padded[FI_NAME_LENGTH];
  SetName(padded, name);
  for (int i = 0; i < FI_NAME_LENGTH; ++i)
    if (field[i] != padded[i]) return false;
  return true;
}

bool BaseOffset(const void *base, const void *p, uint64_t extra, uint32_t *offset) {
  auto b = reinterpret_cast<uintptr_t>(base);
  auto a = reinterpret_cast<uintptr_t>(p);
  if (p == nullptr || a < b) return false;
  uint64_t distance = a - b;
  if (distance + extra > UINT32_MAX) return false;
  *offset = static_cast<uint32_t>(distance);
  return true;
}

bool IsFiBlock(const void *block) {
  if (block == nullptr || !Aligned8(block)) return false;
  const auto *h = static_cast<const FiBlockHeader *>(block);
  return h->magic == kFiMagic && h->name[0] != 0;
}

uint32_t InnerNodeCount(uint32_t keys, uint32_t flags) {
  if ((flags & FI_FLAG_FULL_INNER) == 0 && keys > 999)
    return static_cast<uint32_t>(uint64_t{keys} * 60 / 100);
  return keys;
}

}  // namespace fi
