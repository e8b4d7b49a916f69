// Structures, global state and shared helpers of the passport library.
#ifndef TLM_EPP_EPP_INTERNAL_H
#define TLM_EPP_EPP_INTERNAL_H

#include <atomic>
#include <cstdint>

#include "zul_epp.h"
#include "zul_thr.h"

namespace epp {

inline constexpr ZUL_RAW kEyecatcher[4] = {'*', 'T', 'H', '*'};

// A passport holds two variable part slots; part ids run from 0 to 2.
inline constexpr int kVarPartSlots = 2;
inline constexpr uint16_t kVarPartIds = 3;
// Memory accounted to a part, its own 24 bytes included.
inline constexpr uint32_t kVarPartMaxSize = 512;
inline constexpr uint32_t kItemsPerApplication = 5;
inline constexpr uint32_t kItemMaxLength = 64;

// One item; its value follows it in the same block.
struct Item {
  uint16_t application;
  uint16_t key;
  uint8_t type;
  uint8_t length;  // bytes for types 1 to 3, units for type 4, 0 for other types
  void *value;     // null for other types
  Item *next;      // in order of insertion
};

struct VarPart {
  ZUL_RAW eyecatcher[4];
  uint8_t version;
  uint16_t used_size;  // accounted memory, never reduced while the part lives
  uint16_t id;
  uint16_t item_count;
  Item *first;
};

// The sizes accounted for a part and an item are these structures' own.
static_assert(sizeof(VarPart) == 24 && sizeof(Item) == 24);

// A passport. Texts are zero-terminated and not padded in memory (a parsed passport keeps the
// blanks of its network form). The mutex guards every field but the eyecatcher.
struct Passport {
  ZUL_RAW eyecatcher[4];
  THR_REC_MTX mutex;
  uint8_t version;
  ZUL_RAW trace_flag[2];  // in the order of the network form
  ZUL_UTF16 component_name[EPP_COMPONENT_NAME_LEN + 1];
  uint16_t service;
  ZUL_UTF16 user_id[EPP_USER_ID_LEN + 1];
  ZUL_UTF16 action[EPP_ACTION_LEN + 1];
  uint16_t action_type;
  ZUL_UTF16 pre_component_name[EPP_PRE_COMPONENT_NAME_LEN + 1];
  ZUL_UTF16 transaction_id[EPP_TRANSACTION_ID_LEN + 1];
  ZUL_UTF16 client[EPP_CLIENT_LEN + 1];
  uint16_t component;
  ZUL_RAW root_context_id[EPP_UUID_LEN];
  ZUL_RAW connection_id[EPP_UUID_LEN];
  uint32_t connection_counter;
  uint16_t var_part_count;
  VarPart *var_parts[kVarPartSlots];
};

// Global settings; written by eppSetEnvironment only, read without a lock.
extern int eppIsInit;
extern uint8_t eppActVersion;
extern uint16_t eppActComponent;
extern EPP_ALLOC_FUNC eppAllocFunc;
extern EPP_FREE_FUNC eppFreeFunc;
// The first passport made while there is none becomes the default; passports may be made on any
// thread.
extern std::atomic<void *> eppDefaultHandle;

// Frees a block of eppAllocFunc (nothing happens without a free function).
void Free(void *block);

// Resets every field after the mutex to its state after eppInit. Frees no variable part.
void InitCore(Passport *p);
// Stores the version unchecked.
void eppISetVersion(Passport *p, uint8_t version);
// Bytes of the network form, passed through a signed 16-bit number as the format's length is.
int eppINeededNetworkSize(const Passport *p);

// Checks the eyecatchers of the core part and of every variable part; traces and answers 7 on a
// mismatch. The caller holds the passport's mutex.
uint32_t eppCheckPassport(const ZUL_UTF16 *fn, const Passport *p);

// Frame step 1: answers 0 when the library is initialised, else traces and answers 8.
uint32_t CheckInit();

// Frame steps 3 to 5 for one call: handle check, the passport's mutex (held until the object
// goes), version check.
class PassportAccess {
 public:
  PassportAccess() = default;
  PassportAccess(const PassportAccess &) = delete;
  PassportAccess &operator=(const PassportAccess &) = delete;
  ~PassportAccess();

  // Checks the handle, locks, and checks the passport's version against min_version. Answers 0,
  // or the code after tracing; the lock stays held either way until the object goes.
  uint32_t Open(const ZUL_UTF16 *fn, void *handle, uint8_t min_version);
  // Open for the item functions: part id 0 to 2 (else 7) and version 3 (else 4).
  uint32_t OpenItems(const ZUL_UTF16 *fn, void *handle, uint16_t part_id);

  Passport *operator->() const { return passport_; }
  Passport *get() const { return passport_; }

 private:
  // Checks the handle and locks its mutex.
  uint32_t OpenHandle(const ZUL_UTF16 *fn, void *handle);
  static uint32_t HandleNotValid(const ZUL_UTF16 *fn);
  uint32_t CheckVersion(const ZUL_UTF16 *fn, uint8_t min_version);
  uint32_t Lock();

  Passport *passport_ = nullptr;
  bool locked_ = false;
};

// Internal functions of the variable parts; the caller holds the passport's mutex.
VarPart *eppFindVarPart(const Passport *p, uint16_t id);
// Creates a part in the first free slot and counts it; null when memory or the slots run out.
VarPart *eppCreateVarPart(Passport *p, uint16_t id);
uint32_t eppCreateItem(const ZUL_UTF16 *fn, VarPart *part, uint16_t application, uint16_t key,
                       uint8_t type, uint32_t length, const void *value);
void eppDeleteVarPart(Passport *p, VarPart *part);
// Frees every variable part of p.
void DeleteVarParts(Passport *p);

}  // namespace epp

#endif  // TLM_EPP_EPP_INTERNAL_H
