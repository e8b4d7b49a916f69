// Searches in an Fi tree: exact, by pattern with resumption, and by longest covering key.
#include "fi/fi_tree.h"
#include "zul_u16string.h"

namespace {

// Pushes the children of node that can hold keys matching pattern.
bool PushPatternChildren(const fi::Index &x, fi::OffsetStack *stack, const FI_NODE *node,
                         const ZUL_UTF16 *pattern) {
  ZUL_UTF16 unit = pattern[node->position];
  if (unit == x.Fill()) {
    for (uint32_t c = node->newest_child; c != 0; c = x.Node(c)->next_sibling)
      if (!fi::StackPush(x.block, stack, c)) return false;
    return true;
  }
  uint32_t exact = fi::FindEdge(x, node, unit);
  if (exact != 0 && !fi::StackPush(x.block, stack, exact)) return false;
  if ((node->flags & FI_NODE_FILL_CHILD) != 0) {
    uint32_t fill = fi::FindEdge(x, node, x.Fill());
    if (fill != 0 && !fi::StackPush(x.block, stack, fill)) return false;
  }
  return true;
}

// A stored key covers the first length units of key when it matches them and ends there, or when
// the first difference is a fill unit of the stored key against a separator of the searched one.
bool Covers(const fi::Index &x, const ZUL_UTF16 *stored, const ZUL_UTF16 *key, uint32_t length,
            ZUL_UTF16 unit1, ZUL_UTF16 unit2) {
  for (uint32_t i = 0; i < length; ++i) {
    if (stored[i] != key[i]) return stored[i] == x.Fill() && (key[i] == unit1 || key[i] == unit2);
  }
  return length == x.KeyLength() || stored[length] == x.Fill();
}

}  // namespace

int FiFindExact(FI_HDL hdl, const ZUL_UTF16 *key, FI_NODE **node_out) noexcept {
  fi::Index x;
  if (!fi::Resolve(hdl, &x) || key == nullptr) return FI_BAD_ARG;
  uint32_t off = x.ix->root;
  if (off == 0) return FI_NOT_FOUND;
  FI_NODE *n = x.Node(off);
  while (!fi::IsLeaf(n)) {
    off = fi::FindEdge(x, n, key[n->position]);
    if (off == 0) return FI_NOT_FOUND;
    n = x.Node(off);
  }
  if (memcmpU16(key, x.Key(n), x.KeyLength()) != 0) return FI_NOT_FOUND;
  if (node_out != nullptr) *node_out = n;
  return FI_OK;
}

int FiFind(FI_HDL hdl, const ZUL_UTF16 *pattern, uint32_t max, FI_NODE **nodes_out,
           uint32_t *count_out, uint32_t *cont) noexcept {
  fi::Index x;
  if (!fi::Resolve(hdl, &x) || pattern == nullptr || max == 0 || nodes_out == nullptr ||
      count_out == nullptr || cont == nullptr)
    return FI_BAD_ARG;
  fi::OffsetStack *stack = &x.header->find;
  if (*cont == FI_FIND_START) {
    fi::StackClear(x.block, stack);
    if (x.ix->root != 0) fi::StackPush(x.block, stack, x.ix->root);
  }
  uint32_t count = 0;
  *cont = 0;
  for (uint32_t off = fi::StackPop(x.block, stack); off != 0; off = fi::StackPop(x.block, stack)) {
    FI_NODE *n = x.Node(off);
    if (!fi::IsLeaf(n)) {
      if (!PushPatternChildren(x, stack, n, pattern)) return FI_NO_SPACE;  // damaged block
      continue;
    }
    if (!fi::MatchesWithFill(x.Key(n), pattern, x.KeyLength(), x.Fill())) continue;
    nodes_out[count++] = n;
    if (count == max) {
      *cont = 1;
      break;
    }
  }
  *count_out = count;
  return count == 0 ? FI_NOT_FOUND : FI_OK;
}

int FiFindLongestPath(FI_HDL hdl, const ZUL_UTF16 *key, uint32_t length, ZUL_UTF16 unit1,
                      ZUL_UTF16 unit2, FI_NODE **node_out) noexcept {
  fi::Index x;
  if (!fi::Resolve(hdl, &x) || key == nullptr || length > x.KeyLength()) return FI_BAD_ARG;
  if (x.ix->root == 0) return FI_NOT_FOUND;
  fi::OffsetStack *stack = &x.header->work;
  fi::StackClear(x.block, stack);
  fi::StackPush(x.block, stack, x.ix->root);
  // Positions at or behind length have no unit of key: they are tested with the unit read last.
  ZUL_UTF16 unit = x.Fill();
  for (uint32_t off = fi::StackPop(x.block, stack); off != 0; off = fi::StackPop(x.block, stack)) {
    FI_NODE *n = x.Node(off);
    if (fi::IsLeaf(n)) {
      if (!Covers(x, x.Key(n), key, length, unit1, unit2)) continue;
      if (node_out != nullptr) *node_out = n;
      return FI_OK;
    }
    if (n->position < length) unit = key[n->position];
    // Pushed first, tried last: the fill edge after the exact one.
    uint32_t fill = (n->flags & FI_NODE_FILL_CHILD) != 0 ? fi::FindEdge(x, n, x.Fill()) : 0;
    uint32_t exact = fi::FindEdge(x, n, unit);
    if (fill != 0 && !fi::StackPush(x.block, stack, fill)) return FI_NO_SPACE;
    if (exact != 0 && exact != fill && !fi::StackPush(x.block, stack, exact)) return FI_NO_SPACE;
  }
  return FI_NOT_FOUND;
}

int FiFindLongestPathOld(FI_HDL hdl, const ZUL_UTF16 *key, uint32_t length, ZUL_UTF16 unit,
                         FI_NODE **node_out) noexcept {
  return FiFindLongestPath(hdl, key, length, unit, unit, node_out);
}
