// Debug printers of Fi blocks, on standard output.
#include <cstdio>

#include "fi/fi_tree.h"
#include "zul_u16printf.h"

namespace {

// Visits every node of a tree depth first, with its depth (the root at 0). Follows the parent and
// sibling links, so it needs no stack.
template <typename Visit>
void WalkTree(const fi::Index &x, Visit visit) {
  uint32_t off = x.ix->root;
  uint32_t depth = 0;
  while (off != 0) {
    FI_NODE *n = x.Node(off);
    visit(n, depth);
    if (!fi::IsLeaf(n) && n->newest_child != 0) {
      off = n->newest_child;
      ++depth;
      continue;
    }
    while (off != x.ix->root && x.Node(off)->next_sibling == 0) {
      off = x.Node(off)->parent;
      --depth;
    }
    off = off == x.ix->root ? 0 : x.Node(off)->next_sibling;
  }
}

void PrintNode(const fi::Index &x, const FI_NODE *n, uint32_t depth) {
  int indent = static_cast<int>(2 * depth);
  ZUL_UTF16 edge = depth == 0 ? u'-' : n->edge;
  if (fi::IsLeaf(n)) {
    fprintfU16(stdout, u"%*s'%c' %.*s -> %u\n", indent, u"", edge, static_cast<int>(x.KeyLength()),
               x.Key(n), FI_NODE_RECORD_OFFSET(n));
  } else {
    fprintfU16(stdout, u"%*s'%c' [%u] %u children%s\n", indent, u"", edge, n->position,
               n->child_count, (n->flags & FI_NODE_FILL_CHILD) != 0 ? u" +fill" : u"");
  }
}

}  // namespace

int FiDisplay(FI_HDL hdl) noexcept {
  fi::Index x;
  if (!fi::Resolve(hdl, &x)) return FI_BAD_ARG;
  fprintfU16(stdout, u" PT : %d keys\n", static_cast<int>(x.ix->key_count));
  WalkTree(x, [&x](const FI_NODE *n, uint32_t depth) { PrintNode(x, n, depth); });
  return FI_OK;
}

int FiAnalyze(void *block) noexcept {
  FI_PSTAT s;
  if (FiGetPstat(block, &s) != FI_OK) return FI_BAD_ARG;
  fi::FiBlockHeader *h = fi::FiHeader(block);
  fprintfU16(stdout, u" PT : block \"%.*s\", %u bytes\n", FI_NAME_LENGTH, h->name, s.size);
  fprintfU16(stdout, u" PT : %u of %u indexes, %u of %u leaves, %u of %u inner nodes used\n",
             s.indexes, s.max_indexes, s.leaves - s.free_leaves, s.leaves,
             s.inner_nodes - s.free_inner_nodes, s.inner_nodes);
  for (uint32_t off = h->first_index; off != 0;) {
    auto *ix = fi::At<fi::FiIndexHeader>(block, off);
    fi::Index x{block, h, ix, nullptr};
    uint32_t depth = 0, inner = 0;
    WalkTree(x, [&](const FI_NODE *n, uint32_t d) {
      if (d > depth) depth = d;
      if (!fi::IsLeaf(n)) ++inner;
    });
    fprintfU16(stdout, u" PT : index %u: key length %u, %u keys, %u inner nodes, depth %u\n",
               ix->id, ix->key_length, ix->key_count, inner, depth);
    off = ix->next;
  }
  return FI_OK;
}
