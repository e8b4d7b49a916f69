// Thread-specific keys. The layer keeps a list of the keys it created, so that a caller's key
// variable holding a stale or foreign value is treated as not created. The key list mutex is
// taken only while threaded. A key variable may be read by several threads while one creates it,
// so it is loaded and stored atomically.
#include <cstdlib>

#include "thr/thr_state.h"

namespace {

struct ThrKeyEntry {
  THR_KEY_DESTRUCTOR destructor;
  THR_KEY key;
  ThrKeyEntry *next;
};

ThrKeyEntry *key_list = nullptr;  // new entries at the head; guarded by key_list_mutex

THR_KEY LoadKey(const THR_KEY *key) { return __atomic_load_n(key, __ATOMIC_ACQUIRE); }

bool InList(THR_KEY key) {
  for (ThrKeyEntry *e = key_list; e != nullptr; e = e->next)
    if (e->key == key) return true;
  return false;
}

void RemoveFromList(THR_KEY key) {
  for (ThrKeyEntry **link = &key_list; *link != nullptr; link = &(*link)->next) {
    if ((*link)->key == key) {
      ThrKeyEntry *gone = *link;
      *link = gone->next;
      std::free(gone);
      return;
    }
  }
}

// Holds the key list mutex for a scope, but only while the process is threaded.
class KeyListLock {
 public:
  KeyListLock() : locked_(thr::Threaded()) {
    if (locked_ && pthread_mutex_lock(&thr::key_list_mutex) != 0) {
      locked_ = false;
      failed_ = true;
    }
  }
  ~KeyListLock() {
    if (locked_) pthread_mutex_unlock(&thr::key_list_mutex);
  }
  bool failed() const { return failed_; }

 private:
  bool locked_;
  bool failed_ = false;
};

// A key created on first use accepts "created now" and "already exists" alike.
bool EnsureCreated(THR_KEY *key) {
  if (LoadKey(key) != THR_INVALID_KEY) return true;
  int rc = ThrKeyGet(key, nullptr);
  return rc == THR_ERR_OK || rc == THR_ERR_EXISTS;
}

}  // namespace

int ThrKeyGet(THR_KEY *key, THR_KEY_DESTRUCTOR destructor) noexcept {
  if (key == nullptr) return THR_ERR_INVALID_PARAM;
  KeyListLock lock;
  if (lock.failed()) return THR_ERR_OS;
  THR_KEY current = LoadKey(key);
  if (current != THR_INVALID_KEY && InList(current)) return THR_ERR_EXISTS;
  int rc = ThrPKeyGet(key, destructor);
  if (rc != THR_ERR_OK) return rc;
  auto *e = static_cast<ThrKeyEntry *>(std::malloc(sizeof(ThrKeyEntry)));
  if (e == nullptr) return THR_ERR_NO_MEMORY;  // the key stays created
  e->destructor = destructor;
  e->key = LoadKey(key);
  e->next = key_list;
  key_list = e;
  return THR_ERR_OK;
}

int ThrKeyDel(THR_KEY *key) noexcept {
  if (key == nullptr) return THR_ERR_INVALID_PARAM;
  KeyListLock lock;
  if (lock.failed()) return THR_ERR_OS;
  THR_KEY current = LoadKey(key);
  if (current == THR_INVALID_KEY) return THR_ERR_INVALID_PARAM;
  int rc = ThrPKeyDel(key);
  RemoveFromList(current);
  __atomic_store_n(key, THR_INVALID_KEY, __ATOMIC_RELEASE);
  return rc;
}

void *ThrKeyVarGet(THR_KEY *key) noexcept {
  if (key == nullptr || !EnsureCreated(key)) return nullptr;
  return ThrPKeyVarGet(key);
}

int ThrKeyVarSet(THR_KEY *key, void *value) noexcept {
  if (key == nullptr) return THR_ERR_INVALID_PARAM;
  if (LoadKey(key) == THR_INVALID_KEY) {
    int rc = ThrKeyGet(key, nullptr);
    if (rc != THR_ERR_OK && rc != THR_ERR_EXISTS) return rc;
  }
  return ThrPKeyVarSet(key, value);
}
