// Insertion into and removal from an Fi tree.
//
// Every inner node tests one key position, and all keys below it agree on the units before that
// position. An insert walks down to some leaf, finds the first position p at which the new key
// differs from that leaf's key, and climbs back to where p belongs: either an inner node that
// tests p already, or a new inner node placed above the first node that tests a later position.
#include "fi/fi_tree.h"

namespace {

// The leaf that a walk reaches for key: by exact edges where there are any, else by the newest
// child, so that it always ends at a leaf.
uint32_t WalkToLeaf(const fi::Index &x, const ZUL_UTF16 *key) {
  uint32_t off = x.ix->root;
  for (FI_NODE *n = x.Node(off); !fi::IsLeaf(n); n = x.Node(off)) {
    uint32_t child = fi::FindEdge(x, n, key[n->position]);
    off = child != 0 ? child : n->newest_child;
  }
  return off;
}

uint32_t FirstDifference(const ZUL_UTF16 *a, const ZUL_UTF16 *b, uint32_t length) {
  uint32_t p = 0;
  while (p < length && a[p] == b[p]) ++p;
  return p;
}

// Hangs the new leaf at position p, above the path from the reached leaf. Answers FI_NO_SPACE
// when a new inner node is needed and none is left.
int Attach(const fi::Index &x, uint32_t leaf, uint32_t reached, const ZUL_UTF16 *key, uint32_t p) {
  uint32_t below = reached;
  uint32_t above = x.Node(reached)->parent;
  while (above != 0 && p < x.Node(above)->position) {
    below = above;
    above = x.Node(above)->parent;
  }
  if (above != 0 && x.Node(above)->position == p) {
    fi::AddChild(x, above, leaf, key[p]);
    return FI_OK;
  }
  uint32_t inner = fi::StackPop(x.block, &x.header->free_inner);
  if (inner == 0) return FI_NO_SPACE;
  fi::InitInner(x.Node(inner), p);
  fi::ReplaceChild(x, above, below, inner);
  // The subtree below shares every unit up to its own position with the reached leaf.
  fi::AddChild(x, inner, below, x.Key(x.Node(reached))[p]);
  fi::AddChild(x, inner, leaf, key[p]);
  return FI_OK;
}

// True when leaf hangs in the tree of this index.
bool InThisTree(const fi::Index &x, uint32_t leaf) {
  uint32_t off = leaf;
  for (uint32_t steps = 0; steps <= x.header->inner_nodes; ++steps) {
    uint32_t parent = x.Node(off)->parent;
    if (parent == 0) return off == x.ix->root;
    off = parent;
  }
  return false;
}

bool IsLeafOfBlock(const fi::Index &x, const FI_NODE *node) {
  auto p = reinterpret_cast<uintptr_t>(node);
  auto first = reinterpret_cast<uintptr_t>(x.Node(x.header->leaf_area));
  if (p < first || (p - first) % sizeof(FI_NODE) != 0) return false;
  return (p - first) / sizeof(FI_NODE) < x.header->leaves && fi::IsLeaf(node);
}

}  // namespace

int FiInsert(FI_HDL hdl, const ZUL_UTF16 *key, const void *record, FI_NODE **node_out) noexcept {
  fi::Index x;
  if (!fi::Resolve(hdl, &x)) return FI_BAD_ARG;
  uint32_t key_off, record_off;
  if (!fi::BaseOffset(x.base, key, uint64_t{x.KeyLength()} * 2, &key_off) ||
      !fi::BaseOffset(x.base, record, 0, &record_off))
    return FI_BAD_ARG;
  uint32_t leaf = fi::StackPop(x.block, &x.header->free_leaves);
  if (leaf == 0) return FI_NO_SPACE;
  fi::InitLeaf(x.Node(leaf), key_off, record_off);

  if (x.ix->root == 0) {
    x.ix->root = leaf;
  } else {
    uint32_t reached = WalkToLeaf(x, key);
    uint32_t p = FirstDifference(key, x.Key(x.Node(reached)), x.KeyLength());
    int rc = p == x.KeyLength() ? FI_EXISTS : Attach(x, leaf, reached, key, p);
    if (rc != FI_OK) {
      fi::FreeLeaf(x, leaf);
      if (rc == FI_EXISTS && node_out != nullptr) *node_out = x.Node(reached);
      return rc;
    }
  }
  ++x.ix->key_count;
  if (node_out != nullptr) *node_out = x.Node(leaf);
  return FI_OK;
}

int FiRemove(FI_HDL hdl, FI_NODE *node) noexcept {
  fi::Index x;
  if (!fi::Resolve(hdl, &x)) return FI_BAD_ARG;
  if (node == nullptr || !IsLeafOfBlock(x, node)) return FI_NOT_FOUND;
  uint32_t leaf = x.Offset(node);
  if (!InThisTree(x, leaf)) return FI_NOT_FOUND;

  uint32_t parent = node->parent;
  if (parent == 0) {
    x.ix->root = 0;
  } else {
    if (!fi::RemoveChild(x, parent, leaf)) return FI_NOT_FOUND;
    FI_NODE *p = x.Node(parent);
    if (p->child_count == 1) {
      // The remaining child takes its parent's place and edge.
      fi::ReplaceChild(x, p->parent, parent, p->newest_child);
      fi::FreeInner(x, parent);
    }
  }
  fi::FreeLeaf(x, leaf);
  --x.ix->key_count;
  return FI_OK;
}
