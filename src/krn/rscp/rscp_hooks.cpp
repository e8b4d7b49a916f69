// The hooks of the code page kit other than the error hook: their defaults, setters and readers.
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include "zul_rscp.h"

namespace {

void *DefaultAlloc(size_t size) { return std::malloc(size); }
void DefaultFree(void *p) { std::free(p); }
void NoText(const ZUL_UTF16 *) {}
void NoOp() {}
int Zero() { return 0; }
unsigned int DefaultSleep(unsigned int seconds) { return sleep(seconds); }
char *DefaultSetlocale(int category, const char *locale) { return setlocale(category, locale); }
int NoExtension(int, void *) { return 0; }
const ZUL_UTF16 *NoParam(const ZUL_UTF16 *) { return nullptr; }
const ZUL_UTF16 *Utf16CodePage() { return u"4103"; }
const ZUL_UTF16 *EnglishLanguage() { return u"E"; }
const char *NoSemaphores() { return "Neither semaphores nor mutexes are used."; }
int NoNormalization(int) { return 0; }

}  // namespace

// Defines rscpHook_<name> with its default, and its setter.
#define RSCP_HOOK(type, name, fallback)                                         \
  type rscpHook_##name = fallback;                                              \
  void rscpSetHook_##name(type f) noexcept { rscpHook_##name = f != nullptr ? f : fallback; }

RSCP_HOOK(RSCP_ALLOC_HOOK, rstg_get, DefaultAlloc)
RSCP_HOOK(RSCP_FREE_HOOK, rstg_free, DefaultFree)
RSCP_HOOK(RSCP_TEXT_HOOK, rslgwri2, NoText)
RSCP_HOOK(RSCP_TEXT_HOOK, rslgw1param, NoText)
RSCP_HOOK(RSCP_TEXT_HOOK, rslgwparams, NoText)
RSCP_HOOK(RSCP_TEXT_HOOK, rslgtstamp, NoText)
RSCP_HOOK(RSCP_TEXT_HOOK, rstrswbptr, NoText)
RSCP_HOOK(RSCP_TEXT_HOOK, rstrcusr, NoText)
RSCP_HOOK(RSCP_VOID_HOOK, rstrfn_flush_next, NoOp)
RSCP_HOOK(RSCP_TEXT_HOOK, rstrw2usrU, NoText)
RSCP_HOOK(RSCP_TEXT_HOOK, rstrwcf__, NoText)
RSCP_HOOK(RSCP_TEXT_HOOK, rstrwrf__, NoText)
RSCP_HOOK(RSCP_TEXT_HOOK, rstrwefb__, NoText)
RSCP_HOOK(RSCP_TEXT_HOOK, rstrwlfb__, NoText)
RSCP_HOOK(RSCP_SLEEP_HOOK, rstr_sleep, DefaultSleep)
RSCP_HOOK(RSCP_SETLOCALE_HOOK, rstr_setlocale, DefaultSetlocale)
RSCP_HOOK(RSCP_DEXT_HOOK, zul_dext, NoExtension)
RSCP_HOOK(RSCP_PARAM_HOOK, zulgparam, NoParam)
RSCP_HOOK(RSCP_PARAM_HOOK, zulgfparam, NoParam)
RSCP_HOOK(RSCP_USER_HOOK, GetUserUsingCodePage, Utf16CodePage)
RSCP_HOOK(RSCP_USER_HOOK, GetUserUsingLang, EnglishLanguage)
RSCP_HOOK(RSCP_USER_HOOK, GetUserFrontCodePage, Utf16CodePage)
RSCP_HOOK(RSCP_INT_HOOK, Init1Semaphore, Zero)
RSCP_HOOK(RSCP_INT_HOOK, Init2Semaphore, Zero)
RSCP_HOOK(RSCP_INT_HOOK, GetSemaphore, Zero)
RSCP_HOOK(RSCP_INT_HOOK, RelSemaphore, Zero)
RSCP_HOOK(RSCP_DESCR_HOOK, DescrSemaphore, NoSemaphores)
RSCP_HOOK(RSCP_INT_HOOK, GetWritePermission, Zero)
RSCP_HOOK(RSCP_INT_HOOK, RelWritePermission, Zero)
RSCP_HOOK(RSCP_ALLOC_HOOK, AllocateCCCC, DefaultAlloc)
RSCP_HOOK(RSCP_FREE_HOOK, ReleaseCCCC, DefaultFree)
RSCP_HOOK(RSCP_WAIT_HOOK, WaitBefClearCCCC, default_WaitBefClearCCCC)
RSCP_HOOK(RSCP_NORM_HOOK, activateNormalization, NoNormalization)

RSCP_TEXT_HOOK rscpGetHook_rslgwri2(void) noexcept { return rscpHook_rslgwri2; }
RSCP_TEXT_HOOK rscpGetHook_rslgw1param(void) noexcept { return rscpHook_rslgw1param; }
RSCP_TEXT_HOOK rscpGetHook_rslgtstamp(void) noexcept { return rscpHook_rslgtstamp; }
RSCP_TEXT_HOOK rscpGetHook_rstrw2usrU(void) noexcept { return rscpHook_rstrw2usrU; }
RSCP_TEXT_HOOK rscpGetHook_rstrwcf__(void) noexcept { return rscpHook_rstrwcf__; }
RSCP_TEXT_HOOK rscpGetHook_rstrwrf__(void) noexcept { return rscpHook_rstrwrf__; }
RSCP_SETLOCALE_HOOK rscpGetHook_rstr_setlocale(void) noexcept { return rscpHook_rstr_setlocale; }

void default_WaitBefClearCCCC(unsigned int seconds) noexcept {
  std::fputs("WaitBeforeClearing...\n", stderr);
  rscpHook_rstr_sleep(seconds);
  std::fputs(" ...Clearing CCCC now.\n", stderr);
}
