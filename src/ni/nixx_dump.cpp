// Text dumps of handles: one entry into a buffer or to the trace, and all entries in use.
#define DPTRC_MODULE u"nixx"

#include <cstdio>
#include <cstring>
#include <ctime>

#include "ni/nixxi.h"
#include "zul_dptrace.h"

using namespace ni;

namespace {

// "address<sep>port" of one end of a socket, and its path for a local socket; "-" when unknown.
void EndText(const SI_SOCK &sock, bool peer, char *out, size_t size, char *path) {
  std::snprintf(out, size, "-");
  path[0] = '\0';
  if (sock.socket == NI_INVALID_SOCK) return;
  SI_SOCK copy = sock;
  NI_NODEADDR addr;
  uint16_t port;
  if (IQueryEnd(&copy, peer, &addr, &port, path) == SI_OK)
    AddrPortText(&addr, NiNetServno(port), out, size);
}

// The dump of an entry in use; the buffer's check is the caller's.
int Dump(NITAB *p, ZUL_UTF16 *pBuffer, int bufferLen, const char *fn) noexcept {
  char text[1024];
  if (!IHdlDumpText(p, text, sizeof text))
    return Refuse(kModPublic, __LINE__, NIEINTERN, 1, "%s: dump of hdl %d too long", fn, p->handle);
  if (pBuffer == nullptr) {
    DPTRC_A7(1, tf, "%s", text);
    return ZUL_O_K;
  }
  size_t len = std::strlen(text);
  if (bufferLen < 0 || len >= static_cast<size_t>(bufferLen))
    return Refuse(kModPublic, __LINE__, NIETOO_SMALL, 1,
                  "%s: parameter invalid (strlen(text) >= bufferLen)", fn);
  for (size_t k = 0; k <= len; ++k) pBuffer[k] = static_cast<unsigned char>(text[k]);
  return ZUL_O_K;
}

void DumpToTrace(NITAB *p, void *) { Dump(p, nullptr, 0, "NiDumpNiHdls"); }

}  // namespace

bool ni::IHdlDumpText(const NITAB *p, char *out, size_t size) noexcept {
  const bool listener = (p->mType & 15) == 1;
  // A reverse-invoke pseudo listener keeps its socket where a listener keeps its IP socket.
  const SI_SOCK &own = (p->mType & 15) == 2 ? p->lis.mIPSocket : p->con.mSocket;
  char when[32] = "\n", sock[32], proto[32], local[NI_NODEADDR_STR_LEN + 8], remote[sizeof local];
  char path[109], ignored[109];
  tm t{};
  if (localtime_r(&p->mStartTime, &t) != nullptr)
    std::strftime(when, sizeof when, "%a %b %e %H:%M:%S %Y\n", &t);
  if (listener)
    std::snprintf(sock, sizeof sock, "%d - %d", p->lis.mIPSocket.socket, p->lis.mUDSocket.socket);
  else
    std::snprintf(sock, sizeof sock, "%d", own.socket);
  Narrow(NiGetProtoName(IGetHdlProto(p)), proto, sizeof proto);
  if (listener) {
    EndText(p->lis.mIPSocket, false, local, sizeof local, ignored);
    EndText(p->lis.mUDSocket, false, remote, sizeof remote, path);  // only its path counts
    std::snprintf(remote, sizeof remote, "-");                      // a listener has no peer
  } else {
    EndText(own, false, local, sizeof local, path);
    EndText(own, true, remote, sizeof remote, ignored);
  }
  int n = std::snprintf(
      out, size,
      "\nHANDLE   = %-5d\nTIME     = %sSOCKET   = %s\nSTAT     = %s\nTYPE     = %s\nOUT      = "
      "%lu messages %lu bytes\nIN       = %lu messages %lu bytes\nLOCAL    = %s %s\nREMOTE   = "
      "%s\nOPTIONS  = %s%s%s\n",
      p->handle, when, sock, StatName8(p->mType), proto,
      static_cast<unsigned long>(listener ? 0 : p->mOutMsgs),
      static_cast<unsigned long>(listener ? 0 : p->mOutOctets),
      static_cast<unsigned long>(listener ? 0 : p->mInMsgs),
      static_cast<unsigned long>(listener ? 0 : p->mInOctets), local, path, remote,
      p->mTrace != 0 ? "TRACE " : "", p->mpXhdl != nullptr ? "BUFFERED " : "", NiBufIGetExtText(p));
  return n >= 0 && static_cast<size_t>(n) < size;
}

int NiHdlDump(int hdl, ZUL_UTF16 *pBuffer, int bufferLen) noexcept {
  NITAB *p = CheckHdl(hdl, "NiHdlDump");
  return p != nullptr ? Dump(p, pBuffer, bufferLen, "NiHdlDump") : NIEINVAL;
}

int NiHdlDump2(int hdl, ZUL_UTF16 *pBuffer, int bufferLen) noexcept {
  // Also an entry that isn't connected or listening yet: only a free entry is refused.
  const char *fn = "NiHdlDump2";
  if (hdl < 0 || gTab == nullptr || (hdl >> 3) >= gMaxHdls || gTab[hdl >> 3].mType == NI_FREE ||
      gTab[hdl >> 3].handle != hdl)
    return Refuse(kModPublic, __LINE__, NIEINVAL, hdl == -1 ? 2 : 1, "%s: invalid hdl %d", fn, hdl);
  return Dump(&gTab[hdl >> 3], pBuffer, bufferLen, fn);
}

void NiDumpNiHdls() noexcept { NiIWalkNitab(DumpToTrace, nullptr); }
