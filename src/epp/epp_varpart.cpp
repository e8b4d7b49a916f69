// Variable parts and their items in memory. Every function here expects the passport's mutex to
// be held.
#include <cstring>

#include "epp/epp_internal.h"
#include "epp/epp_trace.h"

namespace epp {
namespace {

constexpr uint32_t kVarPartOwnSize = sizeof(VarPart);
constexpr uint32_t kItemOwnSize = sizeof(Item);

// How an item of a type is kept: the bytes accounted to the part, the length stored, and the
// bytes of its value block.
struct ItemShape {
  uint32_t accounted;
  uint8_t length;
  size_t value_bytes;
};

// Answers 0 and the shape, or 6 for a length out of range.
uint32_t ShapeOf(const ZUL_UTF16 *fn, uint8_t type, uint32_t length, ItemShape *shape) {
  switch (type) {
    case EPP_ITEM_BYTES:
      if (length < 1 || length > kItemMaxLength) {
        EPP_ERR(1, u"%s: invalid byte stream size (%lu), maximum size (%u)\n", fn,
                static_cast<unsigned long>(length), unsigned{kItemMaxLength});
        return EPP_RC_LENGTH;
      }
      *shape = {kItemOwnSize + length, static_cast<uint8_t>(length), length};
      return EPP_RC_OK;
    case EPP_ITEM_INT:
      *shape = {kItemOwnSize + 4, 4, 4};
      return EPP_RC_OK;
    case EPP_ITEM_UUID:
      *shape = {kItemOwnSize + EPP_UUID_LEN, EPP_UUID_LEN, EPP_UUID_LEN};
      return EPP_RC_OK;
    case EPP_ITEM_STRING: {
      if (length < 1 || length > kItemMaxLength) {
        EPP_ERR(1, u"%s: invalid string length (%lu), maximum length (%u)\n", fn,
                static_cast<unsigned long>(length), unsigned{kItemMaxLength});
        return EPP_RC_LENGTH;
      }
      uint32_t bytes = 2 * (length + 1);  // with a terminator
      *shape = {kItemOwnSize + bytes, static_cast<uint8_t>(length), bytes};
      return EPP_RC_OK;
    }
    default:
      *shape = {kItemOwnSize, 0, 0};
      return EPP_RC_OK;
  }
}

// Walks the part: answers 1 when application and key exist, 9 when the application has its five
// items already, else 0.
uint32_t CheckNewKey(const ZUL_UTF16 *fn, const VarPart *part, uint16_t application, uint16_t key) {
  uint32_t of_application = 0;
  for (const Item *item = part->first; item != nullptr; item = item->next) {
    if (item->application != application) continue;
    if (item->key == key) {
      EPP_ERR(0, u"%s: item %u for application %u already exists\n", fn, unsigned{key},
              unsigned{application});
      return EPP_RC_ITEM_EXISTS;
    }
    ++of_application;
  }
  if (of_application >= kItemsPerApplication) {
    EPP_ERR(0, u"%s: application %u has reached it's maximum number of items (%u)\n", fn,
            unsigned{application}, unsigned{kItemsPerApplication});
    return EPP_RC_TOO_MANY_ITEMS;
  }
  return EPP_RC_OK;
}

void CopyValue(Item *item, const void *value, const ItemShape &shape) {
  if (shape.value_bytes == 0) return;
  item->value = item + 1;
  if (item->type == EPP_ITEM_STRING) {
    size_t text_bytes = shape.value_bytes - sizeof(ZUL_UTF16);
    std::memcpy(item->value, value, text_bytes);
    static_cast<ZUL_UTF16 *>(item->value)[item->length] = 0;
  } else {
    std::memcpy(item->value, value, shape.value_bytes);
  }
}

}  // namespace

VarPart *eppFindVarPart(const Passport *p, uint16_t id) {
  for (VarPart *part : p->var_parts)
    if (part != nullptr && part->id == id) return part;
  return nullptr;
}

VarPart *eppCreateVarPart(Passport *p, uint16_t id) {
  VarPart **slot = nullptr;
  for (VarPart *&candidate : p->var_parts) {
    if (candidate == nullptr) {
      slot = &candidate;
      break;
    }
  }
  // Three ids are valid but two slots exist: a third part has no room.
  if (slot == nullptr) return nullptr;
  auto *part = static_cast<VarPart *>(eppAllocFunc(sizeof(VarPart)));
  if (part == nullptr) return nullptr;
  std::memcpy(part->eyecatcher, kEyecatcher, sizeof kEyecatcher);
  part->version = 1;
  part->used_size = kVarPartOwnSize;
  part->id = id;
  part->item_count = 0;
  part->first = nullptr;
  *slot = part;
  ++p->var_part_count;
  return part;
}

uint32_t eppCreateItem(const ZUL_UTF16 *fn, VarPart *part, uint16_t application, uint16_t key,
                       uint8_t type, uint32_t length, const void *value) {
  ItemShape shape;
  if (uint32_t rc = ShapeOf(fn, type, length, &shape)) return rc;
  if (shape.value_bytes > 0 && value == nullptr) return EPP_RC_INVALID;
  if (part->used_size + shape.accounted > kVarPartMaxSize) {
    EPP_ERR(0, u"%s: maximum length of the variable part (%lu) already reached (%u)\n", fn,
            static_cast<unsigned long>(kVarPartMaxSize), unsigned{part->used_size});
    return EPP_RC_PART_FULL;
  }
  if (uint32_t rc = CheckNewKey(fn, part, application, key)) return rc;
  auto *item = static_cast<Item *>(eppAllocFunc(sizeof(Item) + shape.value_bytes));
  if (item == nullptr) {
    EPP_ERR(0, u"%s: unable to allocate item\n", fn);
    return EPP_RC_NOT_INIT;
  }
  *item = Item{application, key, type, shape.length, nullptr, nullptr};
  CopyValue(item, value, shape);
  Item **tail = &part->first;
  while (*tail != nullptr) tail = &(*tail)->next;
  *tail = item;
  ++part->item_count;
  part->used_size = static_cast<uint16_t>(part->used_size + shape.accounted);
  return EPP_RC_OK;
}

void eppDeleteVarPart(Passport *p, VarPart *part) {
  for (Item *item = part->first; item != nullptr;) {
    Item *next = item->next;
    Free(item);
    item = next;
  }
  for (VarPart *&slot : p->var_parts) {
    if (slot == part) {
      slot = nullptr;
      --p->var_part_count;
    }
  }
  Free(part);
}

void DeleteVarParts(Passport *p) {
  for (VarPart *part : p->var_parts)
    if (part != nullptr) eppDeleteVarPart(p, part);
}

}  // namespace epp
