// Per-handle settings: state changes, the parameters of one handle, single read and the
// blocking mode of its sockets.
#define DPTRC_MODULE u"nixx"

#include <cstring>

#include "ni/nixxi.h"
#include "zul_dptrace.h"

using namespace ni;

void NiISetStat(NITAB *pHdl, int newStat, const char *pFuncName) noexcept {
  pHdl->mType = static_cast<uint8_t>(newStat);
  DPTRC_A7(pHdl->mTrace != 0 ? 1 : 2, tf, "%s: state of hdl %d %s\n", pFuncName, pHdl->handle,
           StatName8(newStat));
}

int NiIBlockMode(NITAB *pHdl, int on) noexcept {
  SI_SOCK *socks[2] = {&pHdl->con.mSocket, nullptr};
  if ((pHdl->mType & 15) == 1 || (pHdl->mType & 15) == 2) {
    socks[0] = &pHdl->lis.mIPSocket;
    if ((pHdl->mType & 15) == 1) socks[1] = &pHdl->lis.mUDSocket;
  }
  for (SI_SOCK *s : socks) {
    if (s == nullptr || s->socket == NI_INVALID_SOCK) continue;
    int sirc;
    do sirc = SiSetBlockMode(s, on != 0 ? 1 : 0);
    while (sirc == SI_EINTR);
    if (sirc != SI_OK)
      return NiISystemError(sirc, kSiSetBlockMode, pHdl, s, static_cast<int>(s->lastError), nullptr,
                            nullptr, nullptr, "NiIBlockMode", kModInternal, __LINE__, 1);
  }
  pHdl->mBlockMode = on != 0 ? 1 : 0;
  return ZUL_O_K;
}

int NiHdlGetBlockmode(int hdl) noexcept {
  NITAB *p = CheckHdl(hdl, "NiHdlGetBlockmode");
  return p != nullptr ? p->mBlockMode : static_cast<int>(NIEINVAL);
}

int NiHdlSetBlockmode(int hdl, int on) noexcept {
  NITAB *p = CheckHdl(hdl, "NiHdlSetBlockmode");
  return p != nullptr ? NiIBlockMode(p, on) : NIEINVAL;
}

int ni::RefuseListener(const NITAB *p, const char *fn) noexcept {
  if (p->mType == NI_LISTEN)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pHdl->mType == NI_LISTEN)", fn);
  if (p->mType == NI_RI_LISTEN)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pHdl->mType == NI_RI_LISTEN)", fn);
  return ZUL_O_K;
}

namespace {

int CheckType(const NI_PARAM_DATA *p, int type, const char *fn) noexcept {
  if (p->datatype == type) return ZUL_O_K;
  return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                "%s: parameter invalid (pParamData->datatype != %s)", fn, DataTypeName(type));
}

// The handle and request checks both directions share; null with *rc set when refused.
NITAB *CheckRequest(int hdl, NI_PARAM_DATA *p, const char *fn, int *rc) noexcept {
  NITAB *h = CheckHdl(hdl, fn);
  *rc = NIEINVAL;
  if (h == nullptr) return nullptr;
  if (h->mType == NI_RI_LISTEN) {
    Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pHdl->mType == NI_RI_LISTEN)",
           fn);
    return nullptr;
  }
  if (p == nullptr) {
    Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pParamData == NULL)", fn);
    return nullptr;
  }
  *rc = ZUL_O_K;
  return h;
}

int UnknownParam(int param, int hdl, const char *fn) noexcept {
  return Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: invalid param %d for hdl %d", fn, param,
                hdl);
}

}  // namespace

int NiSetSingleRead(int hdl, int on) noexcept {
  const char *fn = "NiSetSingleRead";
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  int rc = RefuseListener(p, fn);
  if (rc == ZUL_O_K) p->con.mSingleRead = on != 0 ? 1 : 0;
  return rc;
}

int NiGetSingleRead(int hdl) noexcept {
  const char *fn = "NiGetSingleRead";
  NITAB *p = CheckHdl(hdl, fn);
  if (p == nullptr) return NIEINVAL;
  int rc = RefuseListener(p, fn);
  return rc == ZUL_O_K ? p->con.mSingleRead : rc;
}

int NiSetHdlParamEx(int hdl, NI_PARAM_DATA *pParamData) noexcept {
  const char *fn = "NiSetHdlParamEx";
  int rc, done = 0;
  NITAB *h = CheckRequest(hdl, pParamData, fn, &rc);
  if (h == nullptr) return rc;
  if (h->mpXhdl != nullptr && (rc = NiBufISetHdlParam(h, pParamData, &done), done != 0)) return rc;
  switch (pParamData->param) {
    case NIHP_SINGLE_READ:
      if ((rc = CheckType(pParamData, NI_DT_BOOL, fn)) != ZUL_O_K) return rc;
      return NiSetSingleRead(hdl, pParamData->value.bool_val);
    case NIHP_CHECK_PEER:
      if ((rc = CheckType(pParamData, NI_DT_BOOL, fn)) != ZUL_O_K) return rc;
      h->con.mCheckStat = 1;  // whatever the value: the handle now uses NiCheck
      return ZUL_O_K;
    case NIHP_BUFSTAT:
      if ((rc = CheckType(pParamData, NI_DT_RAW, fn)) != ZUL_O_K) return rc;
      if (pParamData->value.raw_val != NI_BUFSTAT_ON)
        return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                      "%s: parameter invalid (pParamData->value.raw_val != NI_BUFSTAT_ON)", fn);
      DPTRC_WARN_A7(tf, "%s: call may cause problems with select sets (hdl %d)\n", fn, hdl);
      return NiBufIHdlInit(h);
    default:
      return UnknownParam(pParamData->param, hdl, fn);
  }
}

int NiGetHdlParamEx(int hdl, NI_PARAM_DATA *pParamData) noexcept {
  const char *fn = "NiGetHdlParamEx";
  int rc, done = 0;
  NITAB *h = CheckRequest(hdl, pParamData, fn, &rc);
  if (h == nullptr) return rc;
  if (h->mpXhdl != nullptr && (rc = NiBufIGetHdlParam(h, pParamData, &done), done != 0)) return rc;
  switch (pParamData->param) {
    case NIHP_SINGLE_READ:
      if ((rc = CheckType(pParamData, NI_DT_BOOL, fn)) != ZUL_O_K ||
          (rc = RefuseListener(h, fn)) != ZUL_O_K)
        return rc;
      pParamData->value.bool_val = h->con.mSingleRead;
      return ZUL_O_K;
    case NIHP_CHECK_PEER:
      if ((rc = CheckType(pParamData, NI_DT_BOOL, fn)) != ZUL_O_K) return rc;
      pParamData->value.bool_val = h->con.mCheckStat;
      return ZUL_O_K;
    case NIHP_BUFSTAT:
      if ((rc = CheckType(pParamData, NI_DT_RAW, fn)) != ZUL_O_K) return rc;
      pParamData->value.raw_val = h->mpXhdl != nullptr ? NI_BUFSTAT_ON : NI_BUFSTAT_OFF;
      return ZUL_O_K;
    default:
      return UnknownParam(pParamData->param, hdl, fn);
  }
}

namespace {

// The data type under which the short forms pass a number; 0 for numbers they don't know.
int ShortFormType(int param) noexcept {
  switch (param) {
    case NIHP_SINGLE_READ:
    case NIHP_CHECK_PEER:
      return NI_DT_BOOL;
    case NIHP_TALKMODE:
    case NIHP_BUFSTAT:
      return NI_DT_RAW;
    case NIHP_ALLOC_FUNC:
      return NI_DT_ALLOCFUNC;
    case NIHP_MAX_QUEUE:
    case NIHP_WARN_QUEUE:
      return NI_DT_UINT;
    default:
      return 0;
  }
}

// The checks of the short forms; the type to use, or 0 with *rc set.
int ShortFormCheck(int hdl, int param, const void *pValue, const char *fn, int *rc) noexcept {
  *rc = NIEINVAL;
  if (CheckHdl(hdl, fn) == nullptr) return 0;
  int type = ShortFormType(param);
  if (type == 0) {
    UnknownParam(param, hdl, fn);
    return 0;
  }
  if (pValue == nullptr) {
    Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pValue == NULL)", fn);
    return 0;
  }
  *rc = ZUL_O_K;
  return type;
}

}  // namespace

int NiSetHdlParam(int hdl, int param, void *pValue) noexcept {
  int rc;
  int type = ShortFormCheck(hdl, param, pValue, "NiSetHdlParam", &rc);
  if (type == 0) return rc;
  NI_PARAM_DATA d{};
  d.param = static_cast<uint8_t>(param);
  d.datatype = static_cast<uint8_t>(type);
  if (type == NI_DT_UINT)
    std::memcpy(&d.value.uint_val, pValue, sizeof(uint32_t));
  else if (type == NI_DT_ALLOCFUNC)
    d.value.voidptr_val = pValue;  // the function itself
  else
    d.value.raw_val = *static_cast<const uint8_t *>(pValue);
  return NiSetHdlParamEx(hdl, &d);
}

int NiGetHdlParam(int hdl, int param, void *pValue) noexcept {
  int rc;
  int type = ShortFormCheck(hdl, param, pValue, "NiGetHdlParam", &rc);
  if (type == 0) return rc;
  NI_PARAM_DATA d{};
  d.param = static_cast<uint8_t>(param);
  d.datatype = static_cast<uint8_t>(type);
  if ((rc = NiGetHdlParamEx(hdl, &d)) != ZUL_O_K) return rc;
  if (type == NI_DT_UINT)
    std::memcpy(pValue, &d.value.uint_val, sizeof(uint32_t));
  else if (type == NI_DT_ALLOCFUNC)
    std::memcpy(pValue, &d.value.voidptr_val, sizeof(void *));
  else
    *static_cast<uint8_t *>(pValue) = d.value.raw_val;
  return ZUL_O_K;
}
