// The exported readers of passports and trace identity: those of the session's transaction, and
// those that act on a passport text alone.
#include "tlm.h"
#include "tlm/tlmapicall.h"
#include "tlm/tlmcontextcachemanager.h"
#include "tlm/tlmmainsession.h"
#include "tlm/tlmmtcontext.h"
#include "tlm/tlmpassporthelper.h"
#include "tlm/tlmplatformhelper.h"
#include "tlm/tlmlibrary.h"
#include "tlm/tlmpreviouscomponent.h"
#include "tlm/tlmtextresult.h"
#include "zul_u16printf.h"

using tlmapi::copyTextResult;
using tlmapi::isStarted;
using tlmapi::isSwitchedOn;
using tlmapi::run;

namespace {

// The session that a call acts on: the calling thread's, or the one that an Ex call's function
// answers.
struct CCaller {
  bool external;
  TLM_SESSION_ID_FUNC function;
};

constexpr CCaller kThreadCaller{false, nullptr};

CCaller sessionCaller(TLM_SESSION_ID_FUNC function) { return {true, function}; }

// Whether a too small buffer is reported in the trace; the trace identity's functions stay silent.
enum class ShortBuffer { kTraced, kSilent };

// Answers read(the caller's context, null when the session has none) behind the switch; failure
// when the library is stopped or switched off, or an Ex session is refused with its error line.
template <typename Result, typename Read>
Result readContext(const ZUL_UTF16 *function, CCaller caller, Result failure, Read read) noexcept {
  return run(function, isSwitchedOn, failure, [&](CThreadBlock &thread) -> Result {
    zulstring external;
    if (caller.external && !tlmmain::externalSession(caller.function, external)) return failure;
    CContextRef context = CContextCacheManager::Instance()->getContextByID(
        caller.external ? CSessionKey(external) : thread.session());
    return read(context.get());
  });
}

// A text of the caller's context, empty without one, handed over by the buffer rule.
template <typename Text>
int contextText(const ZUL_UTF16 *function, CCaller caller, ZUL_UTF16 *out, int size,
                ShortBuffer report, Text text) noexcept {
  return readContext(function, caller, 0, [&](CMTContext *context) {
    return copyTextResult(context == nullptr ? zulstring() : text(*context), out, size,
                          report == ShortBuffer::kTraced ? function : nullptr);
  });
}

// A number of the caller's context, 0 without one.
template <typename Number>
uint16_t contextNumber(const ZUL_UTF16 *function, CCaller caller, Number number) noexcept {
  return readContext(function, caller, uint16_t{0}, [&](CMTContext *context) -> uint16_t {
    return context == nullptr ? 0 : number(*context);
  });
}

zulstring passportOf(CMTContext &context) { return context.getPassport(); }
zulstring traceGuidOf(CMTContext &context) { return context.getTraceGuid(); }
uint16_t traceLevelOf(CMTContext &context) { return context.getTraceLevel(); }
uint16_t traceFlagOf(CMTContext &context) { return context.getTraceFlag(); }

// The passport of a hexadecimal passport text for the length of one call.
class CParsedPassport {
 public:
  explicit CParsedPassport(const ZUL_UTF16 *text) : handle_(PassportHelper::IsZULPassport(text)) {}
  ~CParsedPassport() {
    if (handle_ != nullptr) PassportHelper::DestroyPassportHandle(handle_);
  }
  CParsedPassport(const CParsedPassport &) = delete;
  CParsedPassport &operator=(const CParsedPassport &) = delete;

  // False when the text is no hexadecimal passport.
  bool valid() const { return handle_ != nullptr; }
  void *&handle() { return handle_; }
  uint8_t version() { return PassportHelper::GetPassportVersion(handle_); }
  // The trace level that the passport's flag asks for.
  uint16_t traceLevel() {
    return PassportHelper::GetTraceLevelFromTraceFlag(
        PassportHelper::GetTraceFlagFromZULPassport(handle_), version());
  }
  // 1 transaction id, 2 root context id, 3 connection id, 4 connection counter in decimal.
  zulstring element(uint16_t element) {
    switch (element) {
      case 1:
        return PassportHelper::GetTransactionIdFromZULPassport(handle_);
      case 2:
        return PassportHelper::GetRootContextIdFromZULPassport(handle_, version());
      case 3:
        return PassportHelper::GetConnectionIdFromZULPassport(handle_, version());
      case 4: {
        ZUL_UTF16 text[12];
        snprintfU16(text, 12, u"%d",
                    static_cast<int>(
                        PassportHelper::GetConnectionCounterFromZULPassport(handle_, version())));
        return zulstring(text);
      }
      default:
        return zulstring();
    }
  }

 private:
  void *handle_;
};

}  // namespace

int TLM_getPassport(ZUL_UTF16 *out, int size) noexcept {
  return contextText(u"TLM_getPassport", kThreadCaller, out, size, ShortBuffer::kTraced,
                     passportOf);
}

int TLM_getPassportEx(TLM_SESSION_ID_FUNC session, ZUL_UTF16 *out, int size) noexcept {
  return contextText(u"TLM_getPassportEx", sessionCaller(session), out, size, ShortBuffer::kTraced,
                     passportOf);
}

int TLM_getPassportElement(uint16_t element, ZUL_UTF16 *out, int size) noexcept {
  return contextText(u"TLM_getPassportElement", kThreadCaller, out, size, ShortBuffer::kTraced,
                     [=](CMTContext &context) { return context.getPassportElement(element); });
}

int TLM_getPassportElementEx(TLM_SESSION_ID_FUNC session, uint16_t element, ZUL_UTF16 *out,
                             int size) noexcept {
  return contextText(u"TLM_getPassportElementEx", sessionCaller(session), out, size,
                     ShortBuffer::kTraced,
                     [=](CMTContext &context) { return context.getPassportElement(element); });
}

int TLM_getTraceGuid(ZUL_UTF16 *out, int size) noexcept {
  return contextText(u"TLM_getTraceGuid", kThreadCaller, out, size, ShortBuffer::kSilent,
                     traceGuidOf);
}

int TLM_getTraceGuidEx(TLM_SESSION_ID_FUNC session, ZUL_UTF16 *out, int size) noexcept {
  return contextText(u"TLM_getTraceGuidEx", sessionCaller(session), out, size, ShortBuffer::kSilent,
                     traceGuidOf);
}

uint16_t TLM_getTraceLevel(void) noexcept {
  return contextNumber(u"TLM_getTraceLevel", kThreadCaller, traceLevelOf);
}

uint16_t TLM_getTraceLevelEx(TLM_SESSION_ID_FUNC session) noexcept {
  return contextNumber(u"TLM_getTraceLevelEx", sessionCaller(session), traceLevelOf);
}

uint16_t TLM_getTraceFlag(void) noexcept {
  return contextNumber(u"TLM_getTraceFlag", kThreadCaller, traceFlagOf);
}

uint16_t TLM_getTraceFlagEx(TLM_SESSION_ID_FUNC session) noexcept {
  return contextNumber(u"TLM_getTraceFlagEx", sessionCaller(session), traceFlagOf);
}

// The next hop's passport as a context would make it, but for a fresh connection id and counter 0.
int TLM_getPassport2(const ZUL_UTF16 *passport, ZUL_UTF16 *out, int size) noexcept {
  return run(u"TLM_getPassport2", isStarted, 0, [&] {
    CParsedPassport parsed(passport);
    if (!parsed.valid()) return 0;
    uint16_t level = parsed.traceLevel();
    zulstring previous =
        tlmpassport::previousComponent(tlmlibrary::CurrentSettings()->componentName);
    zulstring connection = TLMPlatformHelper::GetGUID();
    zulstring text = PassportHelper::CreateOutgoingPassport(parsed.handle(), connection.c_str(), 0,
                                                            level, previous.c_str());
    return copyTextResult(text, out, size, u"TLM_getPassport2");
  });
}

int TLM_getPassportElement2(const ZUL_UTF16 *passport, uint16_t element, ZUL_UTF16 *out,
                            int size) noexcept {
  return run(u"TLM_getPassportElement2", isStarted, 0, [&] {
    CParsedPassport parsed(passport);
    if (!parsed.valid()) return 0;
    return copyTextResult(parsed.element(element), out, size, u"TLM_getPassportElement2");
  });
}

uint16_t TLM_getTraceLevel2(const ZUL_UTF16 *passport) noexcept {
  return run(u"TLM_getTraceLevel2", isStarted, uint16_t{0}, [&]() -> uint16_t {
    CParsedPassport parsed(passport);
    return parsed.valid() ? parsed.traceLevel() : 0;
  });
}
