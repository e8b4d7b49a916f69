// The item calls of the variable parts.
#include <cstring>

#include "epp/epp_internal.h"
#include "epp/epp_trace.h"

namespace epp {
namespace {

uint32_t PartNotFound(const ZUL_UTF16 *fn) {
  EPP_ERR(0, u"%s: variable part not found\n", fn);
  return EPP_RC_NOT_FOUND;
}

uint32_t ItemNotFound(const ZUL_UTF16 *fn) {
  EPP_ERR(0, u"%s: item not found\n", fn);
  return EPP_RC_NOT_FOUND;
}

// Finds the part and the item of application and key; answers 0 or 2.
uint32_t FindItem(const ZUL_UTF16 *fn, const Passport *p, uint16_t part_id, uint16_t application,
                  uint16_t key, VarPart **part_out, Item **item_out) {
  VarPart *part = eppFindVarPart(p, part_id);
  if (part == nullptr) return PartNotFound(fn);
  for (Item *item = part->first; item != nullptr; item = item->next) {
    if (item->application == application && item->key == key) {
      if (part_out != nullptr) *part_out = part;
      *item_out = item;
      return EPP_RC_OK;
    }
  }
  return ItemNotFound(fn);
}

// Copies an item's value into capacity bytes of buffer: a string's units without terminator.
uint32_t CopyOut(const ZUL_UTF16 *fn, const Item *item, uint32_t capacity, void *buffer) {
  uint32_t bytes = item->type == EPP_ITEM_STRING ? 2u * item->length : item->length;
  if (bytes > capacity) {
    EPP_ERR(1, u"%s: output area to small for data (%u > %u)\n", fn, unsigned{bytes},
            unsigned{capacity});
    return EPP_RC_AREA_TOO_SMALL;
  }
  if (item->value != nullptr) std::memcpy(buffer, item->value, bytes);
  return EPP_RC_OK;
}

void TraceItemCall(const ZUL_UTF16 *fn, const ZUL_UTF16 *what, void *handle, uint16_t part_id,
                   uint16_t application, uint16_t key) {
  EPP_TRC(2, u"%s: %s item %u of application %u in variable part %u of passport %p\n", fn, what,
          unsigned{key}, unsigned{application}, unsigned{part_id}, handle);
}

}  // namespace
}  // namespace epp

using namespace epp;

uint32_t eppSetItem(void *handle, uint16_t part_id, uint16_t application, uint16_t key,
                    uint8_t type, uint32_t length, const void *value) noexcept {
  static constexpr ZUL_UTF16 kFn[] = u"eppSetItem";
  if (uint32_t rc = CheckInit()) return rc;
  TraceItemCall(kFn, u"setting", handle, part_id, application, key);
  PassportAccess p;
  if (uint32_t rc = p.OpenItems(kFn, handle, part_id)) return rc;
  VarPart *part = eppFindVarPart(p.get(), part_id);
  bool created = false;
  if (part == nullptr) {
    part = eppCreateVarPart(p.get(), part_id);
    if (part == nullptr) {
      EPP_ERR(0, u"%s: could not create variable part\n", kFn);
      return EPP_RC_NOT_INIT;
    }
    created = true;
  }
  uint32_t rc = eppCreateItem(kFn, part, application, key, type, length, value);
  if (rc != EPP_RC_OK) {
    if (created) eppDeleteVarPart(p.get(), part);
    EPP_ERR(0, u"%s: unable to set item (rc=%d)\n", kFn, static_cast<int>(rc));
  }
  return rc;
}

namespace {

// eppGetItem under the name fn.
uint32_t GetItem(const ZUL_UTF16 *fn, void *handle, uint16_t part_id, uint16_t application,
                 uint16_t key, uint32_t capacity, void *buffer, uint8_t *type, uint32_t *length) {
  if (uint32_t rc = CheckInit()) return rc;
  TraceItemCall(fn, u"getting", handle, part_id, application, key);
  PassportAccess p;
  if (uint32_t rc = p.OpenItems(fn, handle, part_id)) return rc;
  Item *item = nullptr;
  if (uint32_t rc = FindItem(fn, p.get(), part_id, application, key, nullptr, &item)) return rc;
  if (type != nullptr) *type = item->type;
  if (length != nullptr) *length = item->length;
  if (buffer == nullptr) return EPP_RC_OK;
  return CopyOut(fn, item, capacity, buffer);
}

}  // namespace

uint32_t eppGetItem(void *handle, uint16_t part_id, uint16_t application, uint16_t key,
                    uint32_t capacity, void *buffer, uint8_t *type, uint32_t *length) noexcept {
  return GetItem(u"eppGetItem", handle, part_id, application, key, capacity, buffer, type, length);
}

uint32_t eppGetItemWithNumber(void *handle, uint16_t part_id, uint16_t application, uint32_t number,
                              uint32_t capacity, uint16_t *out_application, uint16_t *out_key,
                              uint8_t *type, void *buffer, uint32_t *length) noexcept {
  static constexpr ZUL_UTF16 kFn[] = u"eppGetItemWithNumber";
  if (uint32_t rc = CheckInit()) return rc;
  EPP_TRC(2, u"%s: getting item number %u of variable part %u of passport %p\n", kFn,
          unsigned{number}, unsigned{part_id}, handle);
  PassportAccess p;
  if (uint32_t rc = p.OpenItems(kFn, handle, part_id)) return rc;
  (void)application;  // the number counts the items of every application
  const VarPart *part = eppFindVarPart(p.get(), part_id);
  if (part == nullptr) return PartNotFound(kFn);
  const Item *item = part->first;
  for (uint32_t i = 1; item != nullptr && i < number; ++i) item = item->next;
  if (number == 0 || item == nullptr) return ItemNotFound(kFn);
  if (out_application != nullptr) *out_application = item->application;
  if (out_key != nullptr) *out_key = item->key;
  if (type != nullptr) *type = item->type;
  if (length != nullptr) *length = item->length;
  if (capacity == 0 || buffer == nullptr) return EPP_RC_OK;
  return CopyOut(kFn, item, capacity, buffer);
}

uint32_t eppGetItemLength(void *handle, uint16_t part_id, uint16_t application, uint16_t key,
                          uint32_t *length) noexcept {
  return GetItem(u"eppGetItemLength", handle, part_id, application, key, 0, nullptr, nullptr,
                 length);
}

uint32_t eppGetItemType(void *handle, uint16_t part_id, uint16_t application, uint16_t key,
                        uint8_t *type) noexcept {
  return GetItem(u"eppGetItemType", handle, part_id, application, key, 0, nullptr, type, nullptr);
}

uint32_t eppGetItemCount(void *handle, uint16_t part_id, uint16_t application,
                         uint16_t *count) noexcept {
  static constexpr ZUL_UTF16 kFn[] = u"eppGetItemCount";
  if (uint32_t rc = CheckInit()) return rc;
  EPP_TRC(2, u"%s: counting items of application %u in variable part %u of passport %p\n", kFn,
          unsigned{application}, unsigned{part_id}, handle);
  PassportAccess p;
  if (uint32_t rc = p.OpenItems(kFn, handle, part_id)) return rc;
  if (count == nullptr) return EPP_RC_INVALID;
  const VarPart *part = eppFindVarPart(p.get(), part_id);
  *count = part != nullptr ? part->item_count : 0;
  return EPP_RC_OK;
}

uint32_t eppClearItem(void *handle, uint16_t part_id, uint16_t application, uint16_t key) noexcept {
  static constexpr ZUL_UTF16 kFn[] = u"eppClearItem";
  if (uint32_t rc = CheckInit()) return rc;
  EPP_TRC(1, u"%s: clearing item %u of application %u in variable part %u of passport %p\n", kFn,
          unsigned{key}, unsigned{application}, unsigned{part_id}, handle);
  PassportAccess p;
  if (uint32_t rc = p.OpenItems(kFn, handle, part_id)) return rc;
  VarPart *part = nullptr;
  Item *item = nullptr;
  if (uint32_t rc = FindItem(kFn, p.get(), part_id, application, key, &part, &item)) return rc;
  if (part->item_count <= 1) {
    eppDeleteVarPart(p.get(), part);
    return EPP_RC_OK;
  }
  Item **link = &part->first;
  while (*link != item) link = &(*link)->next;
  *link = item->next;
  Free(item);
  --part->item_count;
  return EPP_RC_OK;
}

uint32_t eppClearVarPart(void *handle, uint16_t part_id) noexcept {
  static constexpr ZUL_UTF16 kFn[] = u"eppClearVarPart";
  if (uint32_t rc = CheckInit()) return rc;
  EPP_TRC(1, u"%s: clearing variable part %u of passport %p\n", kFn, unsigned{part_id}, handle);
  PassportAccess p;
  if (uint32_t rc = p.OpenItems(kFn, handle, part_id)) return rc;
  if (VarPart *part = eppFindVarPart(p.get(), part_id)) eppDeleteVarPart(p.get(), part);
  return EPP_RC_OK;
}
