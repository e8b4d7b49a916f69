// Wrappers of the temporary file calls. A template is converted, the call replaces its six 'X'
// bytes, and those six ASCII characters are copied back over the six 'X' units of the caller's
// 16-bit template, which is edited in place as the 8-bit one is.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "i18n/zulu16/u16_sys.h"
#include "zul_u16string.h"

namespace {

constexpr char kSource[] = "u16_sys_temp";
constexpr size_t kXCount = 6;

struct TmpnamRecord {
  ZUL_UTF16 name[L_tmpnam];
};

// Copies the characters that replaced the X's in name (suffix_bytes of suffix behind them) to
// the template of `units` units (suffix_units behind the X's). An emptied name empties the
// template, as mktemp does on failure.
void CopyBackReplacedX(ZUL_UTF16 *pattern, size_t units, size_t suffix_units, const char *name,
                       size_t suffix_bytes) {
  size_t bytes = std::strlen(name);
  if (bytes == 0) {
    pattern[0] = 0;
    return;
  }
  if (bytes < kXCount + suffix_bytes || units < kXCount + suffix_units) return;
  for (size_t i = 0; i < kXCount; ++i) {
    pattern[units - suffix_units - kXCount + i] =
        static_cast<unsigned char>(name[bytes - suffix_bytes - kXCount + i]);
  }
}

// Runs make (mkstemps or mktemp in the shape of mkstemps) on the converted template.
template <class Make>
auto OnTemplate(ZUL_UTF16 *patternC, int suffix_len, const char *function, Make make) {
  size_t units = patternC != nullptr ? strlenU16(patternC) : 0;
  size_t suffix_units = suffix_len > 0 ? static_cast<size_t>(suffix_len) : 0;
  if (suffix_units > units) suffix_units = units;
  size_t suffix_bytes =
      patternC != nullptr ? zulu16::Utf8Length(patternC + units - suffix_units, suffix_units) : 0;
  U16_ARG(pattern, MAX_FILENAME_LN, patternC, function, "patternC");
  auto result = make(pattern.data(), static_cast<int>(suffix_bytes));
  // A cut template has its X's elsewhere; its result can't be mapped back.
  if (patternC != nullptr && !pattern.cut()) {
    CopyBackReplacedX(patternC, units, suffix_units, pattern.get(), suffix_bytes);
  }
  return result;
}

int MakeTempFile(ZUL_UTF16 *patternC, int suffix_len, const char *function) {
  char path_seen[MAX_FILENAME_LN] = "";
  int fd = OnTemplate(patternC, suffix_len, function, [&](char *pattern, int suffix_bytes) {
    int made = mkstemps(pattern, suffix_bytes);
    if (made >= 0) std::strcpy(path_seen, pattern);
    return made;
  });
  if (fd >= 0) u16_traceFopen(function, path_seen, fd);
  return fd;
}

}  // namespace

int mkstempU16(ZUL_UTF16 *patternC) noexcept { return MakeTempFile(patternC, 0, "mkstempU16"); }

int ZUL_mkstemps(ZUL_UTF16 *patternC, int suffix_len) noexcept {
  return MakeTempFile(patternC, suffix_len, "ZUL_mkstemps");
}

int ZUL_mkstempsR(char *patternC, int suffix_len) noexcept {
  int fd = mkstemps(patternC, suffix_len);
  if (fd >= 0) u16_traceFopen("ZUL_mkstempsR", patternC, fd);
  return fd;
}

ZUL_UTF16 *mktempU16(ZUL_UTF16 *patternC) noexcept {
  OnTemplate(patternC, 0, "mktempU16", [](char *pattern, int) { return mktemp(pattern); });
  return patternC;
}

ZUL_UTF16 *tempnamU16(const ZUL_UTF16 *cdir, const ZUL_UTF16 *cpfx) noexcept {
  U16_ARG(dir, MAX_FILENAME_LN, cdir, "tempnamU16", "fileC");
  U16_ARG(pfx, MAX_PREFIX_LN, cpfx, "tempnamU16", "cpfx");
  char *name = tempnam(dir.get(), pfx.get());
  if (name == nullptr) return nullptr;
  // One unit more than the bytes, so that a complete name never fills the buffer.
  size_t units = std::strlen(name) + 2;
  auto *result = static_cast<ZUL_UTF16 *>(std::malloc(units * sizeof(ZUL_UTF16)));
  if (result == nullptr) {
    nlsui_malloc_error("tempnamU16", kSource, __LINE__, units * sizeof(ZUL_UTF16));
  } else {
    nlsui_Utf8sToU2s_checked(result, name, units, kSource, __LINE__, "tempnamU16", "fileC",
                             "MAX_PATH_LN");
  }
  std::free(name);
  return result;
}

ZUL_UTF16 *tmpnamU16(ZUL_UTF16 *fileC) noexcept {
  ZUL_UTF16 *target = fileC;
  if (target == nullptr) {
    auto *record = zulu16::ThreadRecordOf<TmpnamRecord>(zulu16::ThreadSlot::kTmpnam, "tmpnamU16");
    if (record == nullptr) return nullptr;
    target = record->name;
  }
  char name[L_tmpnam];
  if (tmpnam(name) == nullptr) return nullptr;
  U16_RESULT(target, name, L_tmpnam, "tmpnamU16", "fileC");
  return target;
}
