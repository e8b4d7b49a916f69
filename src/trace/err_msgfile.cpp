// Message texts by key and language, from the thread's message file.
#include <cerrno>
#include <cstdlib>

#include "trace/err_state.h"
#include "zul_u16stdio.h"
#include "zul_u16string.h"
#include "zul_u16sys.h"

namespace {

constexpr int kLineUnits = 256;

// The thread's message file stream, opened on first use; null when it can't be opened.
FILE *MessageStream(ERR_THR_INFO *info) {
  if (info->msg_stream != nullptr) return info->msg_stream;
  const ZUL_UTF16 *name = info->msg_file;
  if (name == nullptr) name = getenvU16(u"ERR_MSG_FILE");
  if (name == nullptr || name[0] == 0) name = u"errmsg";
  info->msg_stream = fopenU16(name, u"r");
  if (info->msg_stream == nullptr) {
    int error = errno;
    DPTRC(2, tf, u"ErrGetTxt: can't open file %s (%d %s)\n", name, error, ErrPrErrno(error));
  }
  return info->msg_stream;
}

}  // namespace

ERR_GET_TXT_FUNC ErrGetTxtPtr = ErrGetTxt;

int ErrGetTxt(const ZUL_UTF16 *key, ZUL_UTF16 lang, ZUL_UTF16 *buffer, int size) noexcept {
  if (key == nullptr || buffer == nullptr || size < 1) return 0;
  buffer[0] = 0;
  ERR_THR_INFO *info = err::Info(true);
  FILE *stream = info != nullptr ? MessageStream(info) : nullptr;
  if (stream == nullptr) return 0;
  rewind(stream);
  size_t key_units = strlenU16(key);
  ZUL_UTF16 line[kLineUnits];
  while (fgetsU16(line, kLineUnits, stream) != nullptr) {
    if (line[0] != lang || strncmpU16(line + 1, key, key_units) != 0) continue;
    size_t length = strlenU16(line);
    if (length > 0 && line[length - 1] == u'\n') line[--length] = 0;
    size_t start = key_units + 2;  // the language unit, the key, one unit between
    if (start < length) strncpy_sU16(buffer, static_cast<size_t>(size), line + start, size - 1);
    return 1;
  }
  return 0;
}

void ErrSetGetTxt(ERR_GET_TXT_FUNC func) noexcept {
  ErrGetTxtPtr = func != nullptr ? func : ErrGetTxt;
}

int ErrSetMsgFile(const ZUL_UTF16 *name) noexcept {
  if (name == nullptr) return ERR_BAD_PARAM;
  ERR_THR_INFO *info = err::Info(true);
  if (info == nullptr) return ERR_NO_MEMORY;
  if (info->msg_file != nullptr) return ERR_OK;
  info->msg_file = strdupU16(name);
  if (info->msg_file == nullptr) return ERR_NO_MEMORY;
  // A stream opened on the default name before gives way to the file named now.
  if (info->msg_stream != nullptr) {
    std::fclose(info->msg_stream);
    info->msg_stream = nullptr;
  }
  return ERR_OK;
}
