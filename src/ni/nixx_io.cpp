// The public face of framed I/O: argument checks, then the internal read, write, wait and check
// calls. A buffered handle's extension answers reads, writes and waits itself.
#define DPTRC_MODULE u"nixx"

#include "ni/nixxi_io.h"
#include "zul_dptrace.h"

using namespace ni;
using namespace ni::io;

namespace {

// A connection for a data call: valid, and not a listener (whose connection fields are unused).
NITAB *Connection(int hdl, const char *fn) {
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return nullptr;
  if (p->mType == NI_LISTEN || p->mType == NI_RI_LISTEN) {
    Refuse(kModPublic, __LINE__, NIEINVAL, 1,
           "%s: parameter invalid (pHdl->mType == NI_LISTEN || pHdl->mType == NI_RI_LISTEN)", fn);
    return nullptr;
  }
  return p;
}

// The checks of a read's or write's arguments; names are the parameters' as the texts quote them.
int CheckArgs(const char *fn, const void *buffer, int length, const int *pDone, bool write) {
  if (length < 0)
    return Refuse(
        kModPublic, __LINE__, NIEINVAL, 1,
        write ? "%s: parameter invalid (dataLen < 0)" : "%s: parameter invalid (bufferLen < 0)",
        fn);
  if (buffer == nullptr && length != 0)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                  write ? "%s: parameter invalid (pData == NULL && dataLen != 0)"
                        : "%s: parameter invalid (pBuffer == NULL && bufferLen != 0)",
                  fn);
  if (pDone == nullptr)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                  write ? "%s: parameter invalid (pWritten == NULL)"
                        : "%s: parameter invalid (pRead == NULL)",
                  fn);
  return ZUL_O_K;
}

int Read(const char *fn, int hdl, void *pBuffer, int bufferLen, int timeout, int *pRead, int mode) {
  NITAB *p = Connection(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  if (int rc = CheckArgs(fn, pBuffer, bufferLen, pRead, false); rc != ZUL_O_K) return rc;
  auto *buffer = static_cast<ZUL_RAW *>(pBuffer);
  if (mode != NI_RAW_IO && p->mpXhdl != nullptr)
    return p->mpXhdlOps->read(p, p->mpXhdl, buffer, bufferLen, timeout, pRead);
  int rc = NiIRead(p, buffer, bufferLen, timeout, mode, pRead);
  // Only a message of a check's length, or one as long as a control message, can be one.
  if (mode == NI_RAW_IO || rc != ZUL_O_K || (*pRead != 8 && *pRead < 24)) return rc;
  int peerRc = 0;
  rc = NiBufIProcMsg(p, nullptr, buffer, pRead, &peerRc, nullptr);
  if (rc == NIEOPCODE) return peerRc != 0 ? peerRc : NIEPING;
  return rc;
}

int Write(const char *fn, int hdl, const void *pData, int dataLen, int timeout, int *pWritten,
          int mode) {
  NITAB *p = Connection(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  if (mode == NI_RAW_IO && pData == nullptr)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pData == NULL)", fn);
  if (int rc = CheckArgs(fn, pData, dataLen, pWritten, true); rc != ZUL_O_K) return rc;
  if (mode != NI_RAW_IO && p->mpXhdl != nullptr)
    return p->mpXhdlOps->write(p, p->mpXhdl, static_cast<const ZUL_RAW *>(pData), dataLen,
                               timeout, pWritten);
  return NiIWrite(p, static_cast<const ZUL_RAW *>(pData), dataLen, timeout, mode, pWritten);
}

}  // namespace

int NiRead(int hdl, void *pBuffer, int bufferLen, int timeout, int *pRead) noexcept {
  return Read("NiRead", hdl, pBuffer, bufferLen, timeout, pRead, NI_MESG_IO);
}

int NiRawRead(int hdl, void *pBuffer, int bufferLen, int timeout, int *pRead) noexcept {
  return Read("NiRawRead", hdl, pBuffer, bufferLen, timeout, pRead, NI_RAW_IO);
}

int NiWrite(int hdl, const void *pData, int dataLen, int timeout, int *pWritten) noexcept {
  return Write("NiWrite", hdl, pData, dataLen, timeout, pWritten, NI_MESG_IO);
}

int NiRawWrite(int hdl, const void *pData, int dataLen, int timeout, int *pWritten) noexcept {
  return Write("NiRawWrite", hdl, pData, dataLen, timeout, pWritten, NI_RAW_IO);
}

int NiPeekEx(int hdl, int mode, int raw, int timeout) noexcept {
  const char *fn = "NiPeekEx";
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  if (mode != NI_READ && mode != NI_WRITE)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (mode != NI_READ && mode != NI_WRITE)", fn);
  if (p->mType == NI_LISTEN) {
    if (mode == NI_WRITE) {
      DPTRC_A7(Lvl(p, 1), tf, "%s: invalid call for listen hdl %d\n", fn, hdl);
      return NIETIMEOUT;
    }
    int rc = NiIPeekListen(p, timeout, nullptr);
    return rc == NIEINVAL ? NIEINTERN : rc;
  }
  if (p->mType == NI_RI_LISTEN) {
    if (mode == NI_WRITE) {
      DPTRC_A7(Lvl(p, 1), tf, "%s: invalid call for pseudo listen hdl %d\n", fn, hdl);
      return NIETIMEOUT;
    }
    // Reverse invoke is inactive: its server peek reports so.
    DPTRC_A7(1, tf, "%s: reverse invoke (RI) inactive\n", "NiIRiSrvPeek");
    return NIEINTERN;
  }
  if (raw == 0 && p->mpXhdl != nullptr) {
    int len = 0;
    return p->mpXhdlOps->peek(p, p->mpXhdl, timeout, &len, mode);
  }
  return NiIPeek(p, mode == NI_READ ? SI_PEEK_RD : SI_PEEK_WR, timeout);
}

int NiPeek(int hdl, int timeout) noexcept { return NiPeekEx(hdl, NI_READ, 0, timeout); }
int NiRawPeek(int hdl, int timeout) noexcept { return NiPeekEx(hdl, NI_READ, 1, timeout); }
int NiWriteOK(int hdl, int timeout) noexcept { return NiPeekEx(hdl, NI_WRITE, 0, timeout); }
int NiRawWriteOK(int hdl, int timeout) noexcept { return NiPeekEx(hdl, NI_WRITE, 1, timeout); }

int NiCheckEx(int hdl, int timeout, int isPing, int *pSent) noexcept {
  const char *fn = "NiCheckEx";
  NITAB *p = Connection(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  if (pSent != nullptr && (*pSent < 0 || *pSent >= 8))
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (*pSent < 0 || *pSent >= 8)", fn);
  if (isPing != 0) __atomic_store_n(&p->con.mCheckStat, 1, __ATOMIC_RELEASE);
  return NiICheck(p, timeout, isPing, pSent);
}

int NiCheck2(int hdl, int timeout, int *pFailCount) noexcept {
  const char *fn = "NiCheck2";
  NITAB *p = Connection(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  if (pFailCount == nullptr)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pFailCount == NULL)",
                  fn);
  return NiICheck2(p, timeout, pFailCount);
}

int NiCheck2Cancel(int hdl) noexcept {
  NITAB *p = Connection(hdl, "NiCheck2Cancel");
  return p != nullptr ? NiICheck2Cancel(p) : NIEINVAL;
}

int NiReadPending(int hdl) noexcept {
  NITAB *p = CheckHdl(hdl, "NiReadPending");
  return p != nullptr && (p->mType & 15) != 1 && p->mType != NI_RI_LISTEN
             ? NiIPending(p, NI_READ, 0)
             : -1;
}

int NiWritePending(int hdl) noexcept {
  NITAB *p = CheckHdl(hdl, "NiWritePending");
  return p != nullptr && (p->mType & 15) != 1 && p->mType != NI_RI_LISTEN
             ? NiIPending(p, NI_WRITE, 0)
             : -1;
}

int NiHdlGetStatus(int hdl) noexcept {
  NITAB *p = Connection(hdl, "NiHdlGetStatus");
  return p != nullptr ? NiIHdlGetStatus(p) : NIEINVAL;
}

int NiWait(int milliSec) noexcept {
  if (milliSec < 0)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: parameter invalid (milliSec < 0)",
                  "NiWait");
  int ready = 0;
  return NiISelect(nullptr, nullptr, milliSec, &ready);
}
