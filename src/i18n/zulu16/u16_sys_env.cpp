// getenvU16 and putenvU16 with their tables of converted strings.
//
// getenvU16 hands out converted copies that its callers never free, so it keeps them in a table
// of 128 lines and frees all of them when the table is full. putenvU16 hands putenv a UTF-8 copy
// that must live while it is in the environment; its table keeps the copies, frees those that
// have left the environment when it is full, and grows when too many remain.
//
// One mutex guards both tables; the environment itself is read and changed under it too, so that
// a string is never freed while another wrapper is reading it.
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "i18n/zulu16/u16_env.h"
#include "i18n/zulu16/u16_sys.h"
#include "i18n/zulu16/u16_trace.h"
#include "zul_thr.h"
#include "zul_u16conv.h"

namespace {

using zulu16::kGetenvTableLines;
using zulu16::kPutenvHeadroom;
using zulu16::kPutenvTableStep;
using zulu16::MtxGuard;

constexpr char kSource[] = "u16_sys_env";
constexpr int kEnvTraceLevel = 16;

// The answer for a variable that is set but empty; it takes no table line.
const ZUL_UTF16 kEmptyValue[1] = {0};

struct GetenvLine {
  ZUL_UTF16 *value;
  const char *source;  // what getenv answered
};

THR_MTX env_mutex = PTHREAD_MUTEX_INITIALIZER;
GetenvLine getenv_table[kGetenvTableLines];  // guarded by env_mutex
size_t getenv_use = 0;                       // guarded by env_mutex
char **putenv_table = nullptr;               // guarded by env_mutex
size_t putenv_count = 0;                     // guarded by env_mutex
size_t putenv_size = 0;                      // guarded by env_mutex

void TraceCleanup(size_t lines) {
  if (zulu16::TraceLevel() >= kEnvTraceLevel) {
    zulu16::TraceF(nullptr, 0, "Entering cleanup_putenv_table(). \nAllocated table lines = %i\n",
                   static_cast<int>(lines));
  }
}

// Frees every result in the getenvU16 table. Needs env_mutex.
void CleanupGetenvTable() {
  TraceCleanup(kGetenvTableLines);
  for (size_t i = 0; i < getenv_use; ++i) {
    std::free(getenv_table[i].value);
    getenv_table[i] = GetenvLine{};
  }
  getenv_use = 0;
}

bool InEnvironment(const char *entry) {
  for (char **e = environ; e != nullptr && *e != nullptr; ++e)
    if (*e == entry) return true;
  return false;
}

// Makes room for one more line in the putenvU16 table: allocates it on first use; when full,
// frees the strings that have left the environment and grows the table if it stays nearly full.
// Needs env_mutex; answers false (reported) when memory fails.
bool MakePutenvRoom() {
  if (putenv_table == nullptr) {
    putenv_table = static_cast<char **>(std::malloc(kPutenvTableStep * sizeof(char *)));
    if (putenv_table == nullptr) {
      nlsui_malloc_error("putenvU16", kSource, __LINE__, kPutenvTableStep * sizeof(char *));
      return false;
    }
    putenv_size = kPutenvTableStep;
  }
  if (putenv_count < putenv_size) return true;
  TraceCleanup(putenv_size);
  size_t kept = 0;
  for (size_t i = 0; i < putenv_count; ++i) {
    if (InEnvironment(putenv_table[i])) {
      putenv_table[kept++] = putenv_table[i];
    } else {
      std::free(putenv_table[i]);
    }
  }
  putenv_count = kept;
  bool tracing = zulu16::TraceLevel() >= kEnvTraceLevel;
  if (tracing) zulu16::TraceF(nullptr, 0, "Entries after shrinking: %i\n", static_cast<int>(kept));
  if (kept <= putenv_size - kPutenvHeadroom) return true;
  size_t size = putenv_size + kPutenvTableStep;
  if (tracing) zulu16::TraceF(nullptr, 0, "Enlarging table to %i\n", static_cast<int>(size));
  void *grown = std::realloc(putenv_table, size * sizeof(char *));
  if (grown == nullptr) {
    nlsui_malloc_error("putenvU16", kSource, __LINE__, size * sizeof(char *));
    return false;
  }
  putenv_table = static_cast<char **>(grown);
  putenv_size = size;
  return true;
}

}  // namespace

namespace zulu16 {

size_t GetenvTableUse() noexcept {
  zulu16::MtxGuard lock(&env_mutex);
  return getenv_use;
}

size_t PutenvTableCount() noexcept {
  MtxGuard lock(&env_mutex);
  return putenv_count;
}

size_t PutenvTableSize() noexcept {
  MtxGuard lock(&env_mutex);
  return putenv_size;
}

}  // namespace zulu16

ZUL_UTF16 *getenvU16(const ZUL_UTF16 *cname) noexcept {
  U16_ARG(name, MAX_ENV_LN, cname, "getenvU16", "cname");
  MtxGuard lock(&env_mutex);
  const char *value = getenv(name.get());
  if (value == nullptr) return nullptr;
  if (*value == 0) return const_cast<ZUL_UTF16 *>(kEmptyValue);
  size_t len = std::strlen(value);
  size_t size = 2 * len + 2;
  auto *copy = static_cast<ZUL_UTF16 *>(std::malloc(size));
  if (copy == nullptr) {
    nlsui_malloc_error("getenvU16", kSource, __LINE__, size);
    return nullptr;
  }
  const auto *s = reinterpret_cast<const ZUL_RAW *>(value);
  ZUL_UTF16 *d = copy;
  // No more units than bytes: the conversion fails only on invalid UTF-8.
  int rc = Utf8nToU2nSubst(&s, s + len, &d, copy + len, nullptr, nullptr);
  *d = 0;
  if (rc != 0) {
    nlsui_utf8conv_error("getenvU16", kSource, __LINE__, value, len);
    std::free(copy);
    return nullptr;
  }
  if (getenv_use == kGetenvTableLines) CleanupGetenvTable();
  getenv_table[getenv_use++] = GetenvLine{copy, value};
  return copy;
}

int putenvU16(const ZUL_UTF16 *text) noexcept {
  if (text == nullptr) {
    char *none = nullptr;  // the system decides what a null string means
    return putenv(none);
  }
  char *copy = zulu16::DupUtf8(text, 3, "putenvU16");
  if (copy == nullptr) return -1;
  MtxGuard lock(&env_mutex);
  if (!MakePutenvRoom()) {
    std::free(copy);
    return -1;
  }
  putenv_table[putenv_count++] = copy;
  return putenv(copy);
}
