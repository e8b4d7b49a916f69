// Node operations of Fi trees. An inner node finds a child by the low 4 bits of its edge unit and
// the chain of that bucket; its children also form a doubly linked list, newest first.
#include "fi/fi_tree.h"

#include <cstring>

namespace fi {

void InitLeaf(FI_NODE *leaf, uint32_t key_offset, uint32_t record_offset) {
  std::memset(leaf, 0, sizeof *leaf);
  leaf->position = FI_LEAF_POSITION;
  FI_NODE_KEY_OFFSET(leaf) = key_offset;
  FI_NODE_RECORD_OFFSET(leaf) = record_offset;
}

void InitInner(FI_NODE *node, uint32_t position) {
  std::memset(node, 0, sizeof *node);
  node->position = position;
}

void FreeLeaf(const Index &x, uint32_t leaf) {
  x.Node(leaf)->position = 0;  // no longer a leaf: a second FiRemove finds nothing
  StackPush(x.block, &x.header->free_leaves, leaf);
}

void FreeInner(const Index &x, uint32_t node) { StackPush(x.block, &x.header->free_inner, node); }

uint32_t FindEdge(const Index &x, const FI_NODE *node, ZUL_UTF16 unit) {
  for (uint32_t c = node->bucket[unit & 15]; c != 0; c = x.Node(c)->chain_next)
    if (x.Node(c)->edge == unit) return c;
  return 0;
}

void AddChild(const Index &x, uint32_t parent, uint32_t child, ZUL_UTF16 unit) {
  FI_NODE *p = x.Node(parent);
  FI_NODE *c = x.Node(child);
  c->edge = unit;
  c->parent = parent;
  c->chain_next = p->bucket[unit & 15];
  p->bucket[unit & 15] = child;
  c->prev_sibling = 0;
  c->next_sibling = p->newest_child;
  if (p->newest_child != 0) x.Node(p->newest_child)->prev_sibling = child;
  p->newest_child = child;
  ++p->child_count;
  if (unit == x.Fill()) p->flags |= FI_NODE_FILL_CHILD;
}

bool RemoveChild(const Index &x, uint32_t parent, uint32_t child) {
  FI_NODE *p = x.Node(parent);
  FI_NODE *c = x.Node(child);
  uint32_t *link = &p->bucket[c->edge & 15];
  while (*link != 0 && *link != child) link = &x.Node(*link)->chain_next;
  if (*link == 0) return false;
  *link = c->chain_next;
  if (c->prev_sibling != 0)
    x.Node(c->prev_sibling)->next_sibling = c->next_sibling;
  else
    p->newest_child = c->next_sibling;
  if (c->next_sibling != 0) x.Node(c->next_sibling)->prev_sibling = c->prev_sibling;
  --p->child_count;
  if (c->edge == x.Fill()) p->flags &= ~FI_NODE_FILL_CHILD;
  return true;
}

void ReplaceChild(const Index &x, uint32_t parent, uint32_t old_child, uint32_t new_child) {
  FI_NODE *o = x.Node(old_child);
  FI_NODE *n = x.Node(new_child);
  n->edge = o->edge;
  n->parent = parent;
  if (parent == 0) {
    x.ix->root = new_child;
    n->chain_next = n->prev_sibling = n->next_sibling = 0;
    return;
  }
  FI_NODE *p = x.Node(parent);
  uint32_t *link = &p->bucket[o->edge & 15];
  while (*link != 0 && *link != old_child) link = &x.Node(*link)->chain_next;
  if (*link == 0) return;  // not reachable in a consistent tree
  *link = new_child;
  n->chain_next = o->chain_next;
  n->prev_sibling = o->prev_sibling;
  n->next_sibling = o->next_sibling;
  if (o->prev_sibling != 0)
    x.Node(o->prev_sibling)->next_sibling = new_child;
  else
    p->newest_child = new_child;
  if (o->next_sibling != 0) x.Node(o->next_sibling)->prev_sibling = new_child;
}

void RemoveTree(const Index &x, uint32_t root) {
  if (root == 0) return;
  OffsetStack *work = &x.header->work;
  StackClear(x.block, work);
  StackPush(x.block, work, root);
  for (uint32_t off = StackPop(x.block, work); off != 0; off = StackPop(x.block, work)) {
    FI_NODE *node = x.Node(off);
    if (IsLeaf(node)) {
      FreeLeaf(x, off);
      continue;
    }
    for (uint32_t c = node->newest_child; c != 0; c = x.Node(c)->next_sibling)
      StackPush(x.block, work, c);
    std::memset(node->bucket, 0, sizeof node->bucket);
    FreeInner(x, off);
  }
}

}  // namespace fi
