// Platform layer of the keys: the only place that calls the POSIX key functions.
#include <cerrno>

#include "zul_thr.h"

int ThrPKeyGet(THR_KEY *key, THR_KEY_DESTRUCTOR destructor) noexcept {
  pthread_key_t k;
  if (pthread_key_create(&k, destructor) != 0) {
    __atomic_store_n(key, THR_INVALID_KEY, __ATOMIC_RELEASE);
    return THR_ERR_NO_RESOURCES;
  }
  __atomic_store_n(key, static_cast<THR_KEY>(k), __ATOMIC_RELEASE);
  return THR_ERR_OK;
}

int ThrPKeyDel(THR_KEY *key) noexcept {
  return pthread_key_delete(static_cast<pthread_key_t>(*key)) == 0 ? THR_ERR_OK
                                                                   : THR_ERR_INVALID_KEY;
}

void *ThrPKeyVarGet(THR_KEY *key) noexcept {
  return pthread_getspecific(static_cast<pthread_key_t>(__atomic_load_n(key, __ATOMIC_ACQUIRE)));
}

int ThrPKeyVarSet(THR_KEY *key, void *value) noexcept {
  switch (pthread_setspecific(static_cast<pthread_key_t>(__atomic_load_n(key, __ATOMIC_ACQUIRE)),
                              value)) {
    case 0:
      return THR_ERR_OK;
    case ENOMEM:
      return THR_ERR_NO_MEMORY;
    case EINVAL:
      return THR_ERR_INVALID_KEY;
    default:
      return THR_ERR_OS;
  }
}
