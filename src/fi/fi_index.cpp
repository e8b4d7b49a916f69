// Indexes of an Fi block and their handles. Handles live either in the process-wide table, which
// a mutex guards because any block's users share it, or in the block's own slots, which the
// caller's lock on the block guards.
#include <mutex>

#include "fi/fi_tree.h"

namespace {

FI_HANDLE process_handles[fi::kHandleSlots];  // guarded by process_handles_mutex
std::mutex process_handles_mutex;

bool InProcessTable(const FI_HANDLE *h) {
  return h >= process_handles && h < process_handles + fi::kHandleSlots;
}

FI_HANDLE *TakeSlot(FI_HANDLE *slots) {
  for (int i = 0; i < fi::kHandleSlots; ++i) {
    if (slots[i].used == 0) {
      slots[i].used = 1;
      return &slots[i];
    }
  }
  return nullptr;
}

// A free handle, from the block's slots for FI_OPEN_BLOCK_SLOT, else from the process table.
FI_HANDLE *TakeHandle(void *block, uint32_t mode) {
  if (mode == FI_OPEN_BLOCK_SLOT) return TakeSlot(fi::FiHeader(block)->slots);
  std::lock_guard<std::mutex> lock(process_handles_mutex);
  return TakeSlot(process_handles);
}

void ReleaseHandle(FI_HANDLE *h) {
  if (InProcessTable(h)) {
    std::lock_guard<std::mutex> lock(process_handles_mutex);
    h->used = 0;
  } else {
    h->used = 0;
  }
}

fi::FiIndexHeader *FindIndex(void *block, uint32_t id) {
  for (uint32_t off = fi::FiHeader(block)->first_index; off != 0;) {
    auto *ix = fi::At<fi::FiIndexHeader>(block, off);
    if (ix->id == id) return ix;
    off = ix->next;
  }
  return nullptr;
}

int OpenExisting(void *block, fi::FiIndexHeader *ix, uint32_t mode, const void *base,
                 FI_HDL *hdl_out) {
  FI_HANDLE *h = TakeHandle(block, mode);
  if (h == nullptr) return FI_NO_SPACE;
  h->index_id = ix->id;
  h->block = block;
  h->base = base;
  h->header_offset = fi::OffsetIn(block, ix);
  *hdl_out = h;
  return FI_OK;
}

void LinkIndex(fi::FiBlockHeader *h, fi::FiIndexHeader *ix, uint32_t offset) {
  ix->prev = 0;
  ix->next = h->first_index;
  if (h->first_index != 0) fi::At<fi::FiIndexHeader>(h, h->first_index)->prev = offset;
  h->first_index = offset;
  ++h->open_indexes;
}

void UnlinkIndex(fi::FiBlockHeader *h, fi::FiIndexHeader *ix) {
  if (ix->prev != 0)
    fi::At<fi::FiIndexHeader>(h, ix->prev)->next = ix->next;
  else
    h->first_index = ix->next;
  if (ix->next != 0) fi::At<fi::FiIndexHeader>(h, ix->next)->prev = ix->prev;
  --h->open_indexes;
}

}  // namespace

namespace fi {

bool Resolve(FI_HDL hdl, Index *out) {
  if (hdl == nullptr || hdl->used == 0 || !IsFiBlock(hdl->block)) return false;
  FiBlockHeader *h = FiHeader(hdl->block);
  uint32_t off = hdl->header_offset;
  if (off < h->index_area || off >= h->inner_area ||
      (off - h->index_area) % sizeof(FiIndexHeader) != 0)
    return false;
  auto *ix = At<FiIndexHeader>(h, off);
  if (ix->in_use == 0 || ix->id != hdl->index_id) return false;
  *out = Index{hdl->block, h, ix, hdl->base};
  return true;
}

void ReleaseProcessHandles(void *block) {
  std::lock_guard<std::mutex> lock(process_handles_mutex);
  for (FI_HANDLE &h : process_handles)
    if (h.used != 0 && h.block == block) h.used = 0;
}

}  // namespace fi

int FiOpenIndex(void *block, uint32_t id, uint32_t mode, const void *base, uint32_t key_length,
                FI_HDL *hdl_out) noexcept {
  if (!fi::IsFiBlock(block) || hdl_out == nullptr) return FI_BAD_ARG;
  if (fi::FiIndexHeader *ix = FindIndex(block, id)) {
    int rc = OpenExisting(block, ix, mode, base, hdl_out);
    return rc == FI_OK ? FI_INITIALIZED : rc;
  }
  if (key_length == 0 || key_length >= FI_LEAF_POSITION) return FI_BAD_ARG;
  fi::FiBlockHeader *h = fi::FiHeader(block);
  uint32_t off = fi::StackPop(block, &h->free_headers);
  if (off == 0) return FI_NO_SPACE;
  auto *ix = fi::At<fi::FiIndexHeader>(block, off);
  *ix = fi::FiIndexHeader{id, key_length, 0, 0, 0, 0, 1, 0};
  int rc = OpenExisting(block, ix, mode, base, hdl_out);
  if (rc != FI_OK) {
    ix->in_use = 0;
    fi::StackPush(block, &h->free_headers, off);
    return rc;
  }
  LinkIndex(h, ix, off);
  return FI_OK;
}

int FiAttachIndex(void *block, uint32_t id, const void *base, FI_HDL *hdl_out) noexcept {
  if (!fi::IsFiBlock(block) || hdl_out == nullptr) return FI_BAD_ARG;
  fi::FiIndexHeader *ix = FindIndex(block, id);
  if (ix == nullptr) return FI_NOT_FOUND;
  return OpenExisting(block, ix, 0, base, hdl_out);
}

int FiDetachIndex(FI_HDL hdl) noexcept {
  if (hdl == nullptr || hdl->used == 0) return FI_BAD_ARG;
  ReleaseHandle(hdl);
  return FI_OK;
}

int FiCloseIndex(FI_HDL hdl) noexcept {
  fi::Index x;
  if (!fi::Resolve(hdl, &x)) return FI_BAD_ARG;
  fi::RemoveTree(x, x.ix->root);
  UnlinkIndex(x.header, x.ix);
  x.ix->in_use = 0;
  fi::StackPush(x.block, &x.header->free_headers, fi::OffsetIn(x.block, x.ix));
  ReleaseHandle(hdl);
  return FI_OK;
}
