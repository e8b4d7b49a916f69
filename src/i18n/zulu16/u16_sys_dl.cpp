// Wrappers of the dynamic loader.
#include <dlfcn.h>

#include "i18n/zulu16/u16_sys.h"

namespace {

constexpr char kSource[] = "u16_sys_dl";

// Loader messages name the file, so they get a path's room.
struct DlerrorRecord {
  ZUL_UTF16 text[MAX_PATH_LN];
};

}  // namespace

void *dlopenU16(const ZUL_UTF16 *cpath, int flags) noexcept {
  U16_ARG(path, MAX_PATH_LN, cpath, "dlopenU16", "cpath");
  return dlopen(path.get(), flags);
}

void *dlsymU16(void *handle, const ZUL_UTF16 *cname) noexcept {
  U16_ARG(name, MAX_SYM_LN, cname, "dlsymU16", "cname");
  return dlsym(handle, name.get());
}

ZUL_UTF16 *dlerrorU16(void) noexcept {
  const char *text = dlerror();
  if (text == nullptr) return nullptr;
  auto *record = zulu16::ThreadRecordOf<DlerrorRecord>(zulu16::ThreadSlot::kDlerror, "dlerrorU16");
  if (record == nullptr) return nullptr;
  U16_RESULT(record->text, text, MAX_PATH_LN, "dlerrorU16", "result");
  return record->text;
}
