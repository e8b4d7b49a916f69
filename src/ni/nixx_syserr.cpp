// Failures of the socket layer turned into codes, messages and traces of the network interface,
// and the two masks that decide which of them count as errors and which are traced.
#define DPTRC_MODULE u"nixxi"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "ni/nixxi.h"
#include "zul_dptrace.h"
#include "zul_err.h"

namespace ni {
std::atomic<uint64_t> gNiTraceMask{0x3004018000100001ull};
std::atomic<uint64_t> gSiTraceMask{0xFFFFull};
std::atomic<int> gOwnHigh{0};
}  // namespace ni

using namespace ni;

namespace {

// The ids of SiFunc against the names the socket layer gives them, checked at compile time.
struct FuncName {
  int id;
  const char *name;
};
#define NI_SI_FUNC_NAME(id, name, syscall) {id, name},
constexpr FuncName kSiNames[] = {SI_FUNC_MAP(NI_SI_FUNC_NAME)};
#undef NI_SI_FUNC_NAME
constexpr bool NamedAs(int id, std::string_view name) {
  for (const FuncName &f : kSiNames)
    if (f.id == id) return name == f.name;
  return false;
}
static_assert(NamedAs(kSiInit, "SiInit") && NamedAs(kSiSocket, "SiSocket") &&
              NamedAs(kSiClose, "SiClose") && NamedAs(kSiBind, "SiBind") &&
              NamedAs(kSiBind2, "SiBind2") && NamedAs(kSiListen, "SiListen") &&
              NamedAs(kSiAccept, "SiAccept") && NamedAs(kSiConnect, "SiConnect") &&
              NamedAs(kSiConnect2, "SiConnect2") && NamedAs(kSiSend, "SiSend") &&
              NamedAs(kSiSendV, "SiSendV") && NamedAs(kSiRecv, "SiRecv") &&
              NamedAs(kSiShutdown, "SiShutdown") && NamedAs(kSiGetSockName, "SiGetSockName") &&
              NamedAs(kSiGetPeerName, "SiGetPeerName") && NamedAs(kSiGetSockOpt, "SiGetSockOpt") &&
              NamedAs(kSiSetSockOpt, "SiSetSockOpt") &&
              NamedAs(kSiSetBlockMode, "SiSetBlockMode") &&
              NamedAs(kSiSetCloseExec, "SiSetCloseExec") && NamedAs(kSiSelect, "SiSelect") &&
              NamedAs(kSiPoll, "SiPoll") && NamedAs(kSiPeek, "SiPeek") &&
              NamedAs(kSiPeekPendConn, "SiPeekPendConn"));

bool IsBind(int f) { return f == kSiBind || f == kSiBind2; }
bool IsConnect(int f) { return f == kSiConnect || f == kSiConnect2 || f == kSiPeekPendConn; }
// The send calls are SiSend to SiSendMsg2 and SiSendSocket, the receive calls SiRecv to
// SiRecvMsg2 and SiRecvSocket.
bool IsSend(int f) { return (f >= kSiSend && f <= 20) || f == 45; }
bool IsReceive(int f) { return (f >= kSiRecv && f <= 26) || f == 46; }

bool NiBit(int bit) { return ((gNiTraceMask.load(std::memory_order_relaxed) >> bit) & 1) != 0; }

// The siTraceMask bits a code needs: code n has bit n-1 up to SI_EPORT_INUSE and n-2 from
// SI_ECONN_REFUSE on; SI_EINVAL needs bit 1 as well, SI_EINVAL_FAMI bit 3. Codes the mask has
// no bit for are always traced.
uint64_t SiBitsOf(int siRc) {
  if (siRc < SI_EINVAL || siRc > SI_EMFILE) return 0;
  uint64_t bits = 1ull << (siRc <= SI_EPORT_INUSE ? siRc - 1 : siRc - 2);
  if (siRc == SI_EINVAL) bits |= 1ull << 1;
  if (siRc == SI_EINVAL_FAMI) bits |= 1ull << 3;
  return bits;
}

// The message formats of the codes that a socket failure can become, as 8-bit text.
const char *Text8(int rc) {
#define NI_TEXT8_CASE(name, code, text) \
  case code:                            \
    return text;
  switch (rc) { NI_RC_MAP(NI_TEXT8_CASE) }
#undef NI_TEXT8_CASE
  return NI_NO_TEXT_STR;
}

void AddrText(const NI_NODEADDR *a, char *out, size_t size) {
  ZUL_UTF16 text[NI_NODEADDR_STR_LEN];
  if (NiAddrToStr(a, text, NI_NODEADDR_STR_LEN, 0) != ZUL_O_K) text[0] = 0;
  Narrow(text, out, size);
}

// What the message names: the partner as address and port, the service alone, or the address.
enum class Subject { kNone, kPartner, kService, kAddress };

}  // namespace

int NiISystemError(int siRc, int siFunc, NITAB *pHdl, const SI_SOCK *pSock, int errNo,
                   const char *pExtraText, const NI_NODEADDR *pSockAddr, const uint16_t *pPort,
                   const char *pFuncName, const char16_t *pFile, int line, int isError) noexcept {
  char siName[32], special[96] = "";
  Narrow(SiGetFuncName(siFunc), siName, sizeof siName);
  const char *fn = pFuncName != nullptr ? pFuncName : "NiISystemError";
  int rc = NIEINTERN;
  bool error = true;
  Subject subject = Subject::kNone;
  switch (siRc) {
    case SI_EINVAL:
    case SI_EINVAL_SOCK:
      rc = NIEINVAL;
      if (siRc == SI_EINVAL && siFunc == kSiShutdown) error = NiBit(kBitShutdownInval);
      break;
    case SI_EINVAL_FAMI:
      std::snprintf(special, sizeof special, "; %d", pSock != nullptr ? pSock->family : 0);
      break;
    case SI_EADDR_NAVAIL:
    case SI_ECONN_REFUSE:
      if (IsBind(siFunc)) {
        bool local = pSock != nullptr && pSock->family == SI_AF_UNIX;
        rc = local ? NIESERV_USED : NIEMYHOST_VERIFY;
        subject = local ? Subject::kService : Subject::kAddress;
        break;
      }
      rc = NIECONN_REFUSED;
      subject = Subject::kPartner;
      error = NiBit(kBitConnRefused);
      if (IsConnect(siFunc)) {
        std::snprintf(siName, sizeof siName, "connect");
        fn = siFunc == kSiConnect2 ? "NiPConnect2" : "NiPConnect";
      }
      break;
    case SI_EPORT_INUSE:
      rc = NIESERV_USED;
      subject = Subject::kService;
      break;
    case SI_ECONN_BROKEN:
      rc = NIECONN_BROKEN;
      subject = Subject::kPartner;
      if (IsSend(siFunc)) error = NiBit(kBitSendBroken);
      if (IsReceive(siFunc)) error = NiBit(kBitRecvBroken);
      if (pSockAddr == nullptr && pSock != nullptr) {
        // Without the partner's address, the local end tells which connection broke.
        NI_NODEADDR local = NI_ADDR_ANY_I4_INIT;
        SI_SOCK copy = *pSock;
        uint16_t port;
        char path[109];
        if (copy.family == SI_AF_UNIX || IQueryEnd(&copy, false, &local, &port, path) != SI_OK)
          local = NI_ADDR_ANY_I4_INIT;
        char text[NI_NODEADDR_STR_LEN];
        AddrText(&local, text, sizeof text);
        std::snprintf(special, sizeof special, "; L=%s", text);
      }
      break;
    case SI_ETIMEOUT:
      rc = IsConnect(siFunc) ? NIECONN_REFUSED : NIETIMEOUT;
      subject = IsConnect(siFunc) ? Subject::kPartner : Subject::kNone;
      break;
    case SI_EMFILE:
      rc = NIEINVAL;
      std::snprintf(special, sizeof special, "; own high %d; max hds %d",
                    gOwnHigh.load(std::memory_order_relaxed), gMaxHdls);
      break;
    default:  // SI_EINVAL_OPT, SI_EINTR, SI_ESYSCALL and the rest: internal errors
      break;
  }
  // The partner: the address given, else the peer of the handle, with the port.
  char addr[NI_NODEADDR_STR_LEN] = "", serv[8] = "", partner[NI_NODEADDR_STR_LEN + 8] = "";
  const NI_NODEADDR *peer = pSockAddr;
  uint16_t port = pPort != nullptr ? *pPort : 0;
  if (peer == nullptr && pHdl != nullptr && (pHdl->mType & 15) != 1) {
    peer = &pHdl->con.mPeerAddr;
    port = pHdl->con.mPeerServ;
  }
  if (peer != nullptr) AddrText(peer, addr, sizeof addr);
  if (peer != nullptr || pPort != nullptr)
    std::snprintf(serv, sizeof serv, "%u", NiHostServno(port));
  if (peer != nullptr) std::snprintf(partner, sizeof partner, "%s:%s", addr, serv);
  const char *what = subject == Subject::kPartner   ? partner
                     : subject == Subject::kService ? serv
                     : subject == Subject::kAddress ? addr
                                                    : "";
  char message[256];
  std::snprintf(message, sizeof message, Text8(rc), what);
  // The trace line, in the form of its case: without handle, with a socket, or a listener.
  char addrPart[NI_NODEADDR_STR_LEN + 12] = "", extraPart[128] = "", line1[640];
  char errText[128];
  Narrow(ErrPrErrno(errNo), errText, sizeof errText);
  if (partner[0] != '\0') std::snprintf(addrPart, sizeof addrPart, "; %s", partner);
  if (pExtraText != nullptr) std::snprintf(extraPart, sizeof extraPart, "; %s", pExtraText);
  int hdl = pHdl != nullptr ? pHdl->handle : -1;
  if (pSock != nullptr) {
    char family[16], type[16];
    Narrow(SiGetFamilyName(pSock->family), family, sizeof family);
    Narrow(SiGetTypeName(pSock->type), type, sizeof type);
    std::snprintf(line1, sizeof line1,
                  "%s: %s failed for hdl %d/sock %d\n    (%s/%d; %s; %s%s%s%s)\n", fn, siName, hdl,
                  pSock->socket, errText, errNo, family, type, addrPart, extraPart, special);
  } else if (pHdl != nullptr) {
    std::snprintf(line1, sizeof line1,
                  "%s: %s failed for hdl %d / sock %d - sock %d\n    (%s/%d%s%s%s)\n", fn, siName,
                  hdl, pHdl->lis.mIPSocket.socket, pHdl->lis.mUDSocket.socket, errText, errNo,
                  addrPart, extraPart, special);
  } else {
    std::snprintf(line1, sizeof line1, "%s: %s failed (%s/%d%s%s%s)\n", fn, siName, errText, errNo,
                  addrPart, extraPart, special);
  }
  const uint64_t need = SiBitsOf(siRc);
  const bool traced = (gSiTraceMask.load(std::memory_order_relaxed) & need) == need;
  if ((traced && error && ct_level > 0) || NiBit(kBitAlwaysErrInfo)) {
    // The detail is the trace line on one line.
    char detail[640];
    size_t n = 0;
    for (const char *c = line1; *c != '\0' && n + 1 < sizeof detail; ++c) {
      if (*c == '\n') {
        if (c[1] == '\0') break;
        detail[n++] = ' ';
        while (c[1] == ' ') ++c;
      } else {
        detail[n++] = *c;
      }
    }
    detail[n] = '\0';
    SetSysError(pFile, line, rc, message, detail, SiGetLibFuncName(siFunc), errNo);
  }
  if (traced) TraceAt(pFile, line, isError != 0 && error, line1);
  return rc;
}

// Each change of a mask is traced with the new value.
static void TraceMask(uint64_t value, const char *fn) noexcept {
  DPTRC_A7(2, tf, "%s: new mask %016lx\n", fn, static_cast<unsigned long>(value));
}

void NiEnableTrace(uint64_t mask) noexcept {
  TraceMask(gNiTraceMask.fetch_or(mask) | mask, "NiEnableTrace");
}
void NiDisableTrace(uint64_t mask) noexcept {
  TraceMask(gNiTraceMask.fetch_and(~mask) & ~mask, "NiDisableTrace");
}
void NiEnableSiTrace(uint64_t mask) noexcept {
  TraceMask(gSiTraceMask.fetch_or(mask) | mask, "NiEnableSiTrace");
}
void NiDisableSiTrace(uint64_t mask) noexcept {
  TraceMask(gSiTraceMask.fetch_and(~mask) & ~mask, "NiDisableSiTrace");
}
void NiSetSiTrace(uint64_t mask) noexcept {
  gSiTraceMask.store(mask);
  TraceMask(mask, "NiSetSiTrace");
}
uint64_t NiGetSiTrace() noexcept { return gSiTraceMask.load(); }
