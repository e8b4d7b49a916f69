// Fi blocks: size, layout, initialisation and destruction.
#include <cstring>

#include "fi/fi_block.h"
#include "fi/fi_tree.h"

namespace {

using fi::Round8;

// Where the parts of an Fi block start, for given capacities.
struct FiLayout {
  uint32_t inner;
  uint64_t index_area, inner_area, leaf_area, stack_area, size;
};

bool ComputeLayout(uint32_t indexes, uint32_t keys, uint32_t flags, FiLayout *l) {
  if (indexes == 0 || keys < 2) return false;
  if (flags != 0 && (flags & FI_FLAG_FULL_INNER) == 0) return false;
  l->inner = fi::InnerNodeCount(keys, flags);
  uint64_t nodes = uint64_t{keys} + l->inner;
  l->index_area = Round8(sizeof(fi::FiBlockHeader));
  l->inner_area = Round8(l->index_area + uint64_t{indexes} * sizeof(fi::FiIndexHeader));
  l->leaf_area = Round8(l->inner_area + uint64_t{l->inner} * sizeof(FI_NODE));
  l->stack_area = Round8(l->leaf_area + uint64_t{keys} * sizeof(FI_NODE));
  l->size = l->stack_area + 2 * fi::StackBytes(nodes) + fi::StackBytes(indexes) +
            fi::StackBytes(l->inner) + fi::StackBytes(keys);
  return l->size <= fi::kMaxBlockSize;
}
}  // namespace

size_t FiGetAdmSize(uint32_t indexes, uint32_t keys, uint32_t /*record_size*/,
                    uint32_t flags) noexcept {
  FiLayout l;
  return ComputeLayout(indexes, keys, flags, &l) ? l.size : 0;
}

int FiInit(void *block, const ZUL_UTF16 *name, uint32_t flags, uint32_t indexes, uint32_t keys,
           uint32_t record_size, ZUL_UTF16 fill, ZUL_UTF16 fill2, void **hdl_out) noexcept {
  if (block == nullptr || !fi::Aligned8(block) || name == nullptr || keys < 2 || indexes == 0)
    return FI_BAD_ARG;
  if (flags != 0 && (flags & FI_FLAG_FULL_INNER) == 0) return FI_BAD_ARG;
  if (fi::IsFiBlock(block) && fi::SameName(fi::FiHeader(block)->name, name)) return FI_INITIALIZED;
  FiLayout l;
  if (!ComputeLayout(indexes, keys, flags, &l)) return FI_NO_SPACE;

  fi::FiBlockHeader *h = fi::FiHeader(block);
  std::memset(h, 0, sizeof *h);
  fi::SetName(h->name, name);
  h->fill = fill;
  h->fill2 = fill2;
  h->max_indexes = indexes;
  h->leaves = keys;
  h->record_size = record_size;
  h->inner_nodes = l.inner;
  h->size = static_cast<uint32_t>(l.size);
  h->flags = flags;
  h->index_area = static_cast<uint32_t>(l.index_area);
  h->inner_area = static_cast<uint32_t>(l.inner_area);
  h->leaf_area = static_cast<uint32_t>(l.leaf_area);
  std::memset(fi::At<char>(block, h->index_area), 0, l.inner_area - l.index_area);

  uint32_t nodes = keys + l.inner;
  uint32_t at = static_cast<uint32_t>(l.stack_area);
  at = fi::StackInit(block, &h->work, at, nodes);
  at = fi::StackInit(block, &h->find, at, nodes);
  at = fi::StackInit(block, &h->free_headers, at, indexes);
  at = fi::StackInit(block, &h->free_inner, at, l.inner);
  fi::StackInit(block, &h->free_leaves, at, keys);
  fi::StackFill(block, &h->free_headers, l.index_area, indexes, sizeof(fi::FiIndexHeader));
  fi::StackFill(block, &h->free_inner, l.inner_area, l.inner, sizeof(FI_NODE));
  fi::StackFill(block, &h->free_leaves, l.leaf_area, keys, sizeof(FI_NODE));
  h->magic = fi::kFiMagic;
  if (hdl_out != nullptr) *hdl_out = block;
  return FI_OK;
}

int FiDestroy(void *block) noexcept {
  if (!fi::IsFiBlock(block)) return FI_BAD_ARG;
  fi::ReleaseProcessHandles(block);
  fi::FiBlockHeader *h = fi::FiHeader(block);
  std::memset(h->name, 0, sizeof h->name);
  h->magic = 0;
  return FI_OK;
}

int FiGetPstat(const void *block, FI_PSTAT *stat_out) noexcept {
  if (!fi::IsFiBlock(block) || stat_out == nullptr) return FI_BAD_ARG;
  const auto *h = static_cast<const fi::FiBlockHeader *>(block);
  stat_out->max_indexes = h->max_indexes;
  stat_out->indexes = h->open_indexes;
  stat_out->leaves = h->leaves;
  stat_out->free_leaves = fi::StackDepth(h->free_leaves);
  stat_out->inner_nodes = h->inner_nodes;
  stat_out->free_inner_nodes = fi::StackDepth(h->free_inner);
  stat_out->record_size = h->record_size;
  stat_out->size = h->size;
  return FI_OK;
}
