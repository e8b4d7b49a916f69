// The code table of the network interface: names, message formats, NiErrSet and the one shape
// in which every refused call reports.
#define DPTRC_MODULE u"nixxi"

#include <cstdarg>
#include <cstdio>
#include <iterator>

#include "ni/nixxi.h"
#include "zul_dptrace.h"
#include "zul_err.h"
#include "zul_u16string.h"

namespace {

struct CodeEntry {
  int code;
  const char16_t *name;
  const char16_t *text;
};

// Code 0 carries the success code's name, shared by all layers.
#define NI_CODE_ENTRY(name, code, text) {code, (code) == 0 ? u"ZUL_O_K" : u## #name, u"" text},
constexpr CodeEntry kCodes[] = {NI_RC_MAP(NI_CODE_ENTRY)};
#undef NI_CODE_ENTRY

constexpr const char16_t *kUnknown = u"" NI_NO_TEXT_STR;
constexpr const char16_t *kComponent = u"NI (network interface)";
constexpr int kComponentVersion = 40;

const CodeEntry *FindCode(int rc) noexcept {
  for (const CodeEntry &e : kCodes)
    if (e.code == rc) return &e;
  DPTRC_A7(1, tf, "%s: unknown error %d\n", "NiIErrorName", rc);
  return nullptr;
}

// A code's text as a format that prints itself: the reporter has no arguments for its "%s".
void TextAsFormat(int rc, char16_t *out, size_t size) noexcept {
  const char16_t *in = NiIErrorText(rc);
  size_t n = 0;
  for (; *in != 0 && n + 2 < size; ++in) {
    if (*in == u'%') out[n++] = u'%';
    out[n++] = *in;
  }
  out[n] = 0;
}

// An error or warning line at level 1 that names the caller's source and line, not this file's.
void TraceLocated(const char16_t *module, int line, int (*writer)(CTRC_HDL, const char *, ...),
                  const char *text) noexcept {
  if (ct_level < 1) return;
  char16_t traceModule[16];
  size_t n = 0;
  for (; module[n] != 0 && module[n] != u'.' && n + 1 < std::size(traceModule); ++n)
    traceModule[n] = module[n];
  traceModule[n] = 0;
  DpLock();
  EntLev = 1;
  CTrcSaveLocation(traceModule, line);
  writer(tf, "%s", text);
  EntLev = 2;
  DpUnlock();
}

}  // namespace

namespace ni {

void Narrow(const ZUL_UTF16 *in, char *out, size_t size) noexcept {
  size_t n = 0;
  for (; in != nullptr && in[n] != 0 && n + 1 < size; ++n)
    out[n] = in[n] < 0x80 ? static_cast<char>(in[n]) : '?';
  out[n] = '\0';
}

void Widen(const char *in, ZUL_UTF16 *out, size_t size, bool asFormat) noexcept {
  size_t n = 0;
  for (; *in != '\0'; ++in) {
    const bool doubled = asFormat && *in == '%';
    if (n + (doubled ? 2 : 1) >= size) break;
    if (doubled) out[n++] = u'%';
    out[n++] = static_cast<unsigned char>(*in);
  }
  out[n] = 0;
}

int Refuse(const char16_t *module, int line, int rc, int traceLevel, const char *format,
           ...) noexcept {
  char text[512];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  char16_t detail[1024];
  Widen(text, detail, std::size(detail), true);
  char16_t codeText[128];
  TextAsFormat(rc, codeText, std::size(codeText));
  ErrSet(kComponent, kComponentVersion, module, line, codeText, rc, detail);
  if (traceLevel > 1)
    DPTRC_A7(traceLevel, tf, "%s\n", text);
  else if (traceLevel == 1)
    TraceLocated(module, line, DpTrcWarnA7, text);
  return rc;
}

void SetSysError(const char16_t *module, int line, int rc, const char *text, const char *detail,
                 const ZUL_UTF16 *syscall, int errNo) noexcept {
  char16_t text16[512], detail16[1024];
  Widen(text, text16, std::size(text16), true);
  Widen(detail, detail16, std::size(detail16), true);
  ErrSetSys(kComponent, kComponentVersion, module, line, 0, text16, rc, detail16, syscall, errNo);
}

void TraceAt(const char16_t *module, int line, bool isError, const char *text) noexcept {
  if (isError)
    TraceLocated(module, line, DpTrcErrA7, text);
  else
    DPTRC_A7(1, tf, "%s", text);
}

}  // namespace ni

const ZUL_UTF16 *NiIErrorName(int rc) noexcept {
  const CodeEntry *e = FindCode(rc);
  return e != nullptr ? e->name : kUnknown;
}

const ZUL_UTF16 *NiIErrorText(int rc) noexcept {
  const CodeEntry *e = FindCode(rc);
  return e != nullptr ? e->text : kUnknown;
}

const ZUL_UTF16 *NiErrStr(int rc) noexcept { return NiIErrorName(rc); }

int NiErrSet(int rc) noexcept {
  if (rc == NIESNC_FAILURE || rc == NIEROUT_SNC_FAILURE) {
    ErrReplace(ERR_FLD_RC, rc);
    ErrReplace(ERR_FLD_COMPONENT, kComponent);
    return ZUL_O_K;
  }
  if (ErrIsAInfo()) {
    // Someone else's information stays: it is the first cause.
    if (strcmpU16(ErrGetFld(ERR_FLD_LOCATION), ErrGetMyLocation()) != 0) return ZUL_O_K;
    char16_t code[16];
    char buf[16];
    std::snprintf(buf, sizeof buf, "%d", rc);
    ni::Widen(buf, code, std::size(code));
    if (strcmpU16(ErrGetFld(ERR_FLD_COMPONENT), kComponent) == 0 &&
        strcmpU16(ErrGetFld(ERR_FLD_RC), code) == 0)
      return ZUL_O_K;
  }
  char16_t codeText[128];
  TextAsFormat(rc, codeText, std::size(codeText));
  ErrSet(kComponent, kComponentVersion, ni::kModPublic, __LINE__, codeText, rc, nullptr);
  return ZUL_O_K;
}
