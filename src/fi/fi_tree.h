// The view of one open Fi index, and the node operations that insert, remove and the walks share.
#ifndef FI_FI_TREE_H
#define FI_FI_TREE_H

#include "fi/fi_block.h"

namespace fi {

// A handle resolved to the block, its header, the index header and the base of keys.
struct Index {
  void *block;
  FiBlockHeader *header;
  FiIndexHeader *ix;
  const void *base;

  FI_NODE *Node(uint32_t offset) const { return At<FI_NODE>(block, offset); }
  uint32_t Offset(const FI_NODE *node) const { return OffsetIn(block, node); }
  const ZUL_UTF16 *Key(const FI_NODE *leaf) const {
    return At<ZUL_UTF16>(base, FI_NODE_KEY_OFFSET(leaf));
  }
  uint32_t KeyLength() const { return ix->key_length; }
  ZUL_UTF16 Fill() const { return header->fill; }
};

// Checks that the handle is in use and still names a live index of an Fi block.
bool Resolve(FI_HDL hdl, Index *out);
// Frees the process-wide handles that point into block.
void ReleaseProcessHandles(void *block);

inline bool IsLeaf(const FI_NODE *node) { return node->position == FI_LEAF_POSITION; }

// Equal unit by unit, where the fill unit on either side matches anything.
inline bool MatchesWithFill(const ZUL_UTF16 *a, const ZUL_UTF16 *b, uint32_t length,
                            ZUL_UTF16 fill) {
  for (uint32_t i = 0; i < length; ++i)
    if (a[i] != b[i] && a[i] != fill && b[i] != fill) return false;
  return true;
}

// Node life: taken from and returned to the block's free stacks.
void InitLeaf(FI_NODE *leaf, uint32_t key_offset, uint32_t record_offset);
void InitInner(FI_NODE *node, uint32_t position);
void FreeLeaf(const Index &x, uint32_t leaf);
void FreeInner(const Index &x, uint32_t node);

// The child of an inner node on the edge unit, or 0.
uint32_t FindEdge(const Index &x, const FI_NODE *node, ZUL_UTF16 unit);
// Hangs child below parent on the edge unit, as its newest child.
void AddChild(const Index &x, uint32_t parent, uint32_t child, ZUL_UTF16 unit);
// Unhooks child from parent; false when parent has no such edge.
bool RemoveChild(const Index &x, uint32_t parent, uint32_t child);
// Puts new_child where old_child hangs below parent (0: the root), with the same edge.
void ReplaceChild(const Index &x, uint32_t parent, uint32_t old_child, uint32_t new_child);
// Returns every node of the subtree to the free stacks.
void RemoveTree(const Index &x, uint32_t root);

}  // namespace fi

#endif  // FI_FI_TREE_H
