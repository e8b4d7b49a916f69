// Global parameters of the network interface: the extended and the older forms, and the
// profile parameters read by name.
#define DPTRC_MODULE u"nixx"

#include <cstdio>

#include "ni/nixxhs.h"
#include "ni/nixxi.h"
#include "zul_dptrace.h"
#include "zul_u16string.h"

using namespace ni;

namespace ni {
Params gParams;

const char *DataTypeName(int type) noexcept {
  static constexpr const char *kNames[] = {"",
                                           "NI_DT_BOOL",
                                           "NI_DT_RAW",
                                           "NI_DT_USHORT",
                                           "NI_DT_UINT",
                                           "NI_DT_NODEADDR",
                                           "NI_DT_VOIDPTR",
                                           "NI_DT_UCPTR",
                                           "NI_DT_ALLOCFUNC"};
  return type >= 0 && type <= NI_DT_ALLOCFUNC ? kNames[type] : "";
}
}  // namespace ni

namespace {

enum Access : uint8_t { kRead = 1, kWrite = 2, kBoth = 3 };

struct ParamRow {
  uint8_t no;
  const char *name;  // as the switch traces print it
  uint8_t type;      // 0: the type isn't checked
  uint8_t access;
};

// One row per parameter; the trace name of 19 is spelt as the trace has always printed it.
constexpr ParamRow kParams[] = {
    {NIP_PORTRANGE, "NIP_PORTRANGE", NI_DT_BOOL, kBoth},
    {NIP_MAXPORT, "NIP_MAXPORT", NI_DT_USHORT, kBoth},
    {NIP_MINPORT, "NIP_MINPORT", NI_DT_USHORT, kBoth},
    {NIP_HSBUF_OPCODE, "NIP_HSBUF_OPCODE", NI_DT_RAW, kWrite},
    {NIP_HSBUF_SIZE, "NIP_HSBUF_SIZE", NI_DT_UINT, kBoth},
    {NIP_VERSION, "NIP_VERSION", NI_DT_UINT, kRead},
    {NIP_FRAGTEST, "NIP_FRAGTEST", NI_DT_UINT, kBoth},
    {NIP_CONNLOCAL, "NIP_CONNLOCAL", NI_DT_BOOL, kBoth},
    {NIP_UDS_PATH, "NIP_UDS_PATH", NI_DT_UCPTR, kBoth},
    {NIP_QUEUE_LEN, "NIP_QUEUE_LEN", 0, kBoth},
    {NIP_QTEST, "NIP_QTEST", NI_DT_UINT, kBoth},
    {NIP_LOCAL_ADDR, "NIP_LOCAL_ADDR", NI_DT_NODEADDR, kBoth},
    {NIP_HSBUF_TRACE_LIMIT, "NIP_HSBUF_TRACE_LIMIT", 0, kBoth},
    {NIP_HSBUF_TIME_FUNC, "NIP_HSBUF_TIME_FUNC", NI_DT_VOIDPTR, kBoth},
    {NIP_TRACE_ALL, "NIP_TRACE_ALL", NI_DT_BOOL, kBoth},
    {NIP_INC_SERV_NO, "NIP_INC_SERV_NO", NI_DT_BOOL, kBoth},
    {NIP_CONT_IN_RANGE, "NIP_CONT_IN_RANDE", NI_DT_BOOL, kBoth},
    {NIP_POLL_TRACE_LIMIT, "NIP_POLL_TRACE_LIMIT", NI_DT_UINT, kBoth},
    {NIP_HOSTBUF_TIMEOUT, "NIP_HOSTBUF_TIMEOUT", NI_DT_UINT, kWrite},
    {NIP_HOSTBUF_TIMEOUT_INVALID, "NIP_HOSTBUF_TIMEOUT_INVALID", NI_DT_UINT, kWrite},
    {NIP_SOCKET_BUFFER_SIZE, "NIP_SOCKET_BUFFER_SIZE", NI_DT_UINT, kWrite},
};

const ParamRow *FindParam(int no) noexcept {
  for (const ParamRow &r : kParams)
    if (r.no == no) return &r;
  return nullptr;
}

const char *OnOff(uint8_t v) { return v != 0 ? "on" : "off"; }

void SwitchBool(uint8_t *field, const NI_PARAM_DATA *p, const ParamRow &row) noexcept {
  *field = p->value.bool_val != 0 ? 1 : 0;
  DPTRC_A7(2, tf, "%s: switch %s %s\n", "NiSetParamEx", row.name, OnOff(*field));
}

// The queue test: probability 1..100 in the low byte, a count in the next 16 bits.
void SetQTest(uint32_t v) noexcept {
  int prob = static_cast<int>(v & 0xFF);
  int count = static_cast<int>((v >> 8) & 0xFFFF);
  if (v != 0 && (prob < 1 || prob > 100 || count == 0)) {
    DPTRC_A7(1, tf, "%s: illegal value (%d, %d) ~ %d for NIP_QTEST\n", "NiSetParamEx", prob, count,
             static_cast<int>(v));
    v = 0;
  }
  gParams.qTest = v;
}

int SetRow(NI_PARAM_DATA *p, const ParamRow &row) noexcept {
  const char *fn = "NiSetParamEx";
  Params &g = gParams;
  switch (row.no) {
    case NIP_PORTRANGE:
      SwitchBool(&g.portRange, p, row);
      break;
    case NIP_MAXPORT:
      g.maxPort = p->value.ushort_val;
      break;
    case NIP_MINPORT:
      g.minPort = p->value.ushort_val == 0 ? 1 : p->value.ushort_val;
      break;
    case NIP_HSBUF_OPCODE:
      if (p->value.raw_val > 1)
        return Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: opcode %d unknown", fn,
                      p->value.raw_val);
      return p->value.raw_val == 0 ? NiIHSBufTrace() : NiIHSBufFlush();
    case NIP_HSBUF_SIZE: {
      int rc = NiISetHSBufIndexSize(static_cast<int>(p->value.uint_val));
      if (rc != ZUL_O_K) return rc;
      g.hsBufSize = p->value.uint_val;
      break;
    }
    case NIP_FRAGTEST:
      g.fragTest = p->value.uint_val;
      break;
    case NIP_CONNLOCAL:
      SwitchBool(&g.connLocal, p, row);
      break;
    case NIP_UDS_PATH: {
      if (p->value.ucptr_val == nullptr)
        return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                      "%s: parameter invalid (pParamData->value.ucptr_val == NULL)", fn);
      size_t len = strlenU16(p->value.ucptr_val);
      if (len >= NI_UDS_PATH_LEN)
        return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                      "%s: path too long for param NIP_UDS_PATH (%d>=%d)", fn,
                      static_cast<int>(len), NI_UDS_PATH_LEN);
      strcpyU16(g.udsPath, p->value.ucptr_val);
      break;
    }
    case NIP_QUEUE_LEN:
      g.queueLen = p->value.uint_val < 5 ? 5 : p->value.uint_val;
      break;
    case NIP_QTEST:
      SetQTest(p->value.uint_val);
      break;
    case NIP_HSBUF_TRACE_LIMIT:
      g.hsBufTraceLimit = p->value.uint_val;
      return NiISetHSBufTraceLimit(static_cast<int>(p->value.uint_val));
    case NIP_HSBUF_TIME_FUNC:
      g.hsBufTimeFunc = p->value.voidptr_val;
      return NiISetHSBufTimeFunc(reinterpret_cast<NI_HSBUF_TIME_FUNC>(p->value.voidptr_val));
    case NIP_TRACE_ALL:
      SwitchBool(&gTraceAll, p, row);
      break;
    case NIP_INC_SERV_NO:
      SwitchBool(&g.incServNo, p, row);
      break;
    case NIP_CONT_IN_RANGE:
      SwitchBool(&g.contInRange, p, row);
      break;
    case NIP_POLL_TRACE_LIMIT:
      g.pollTraceLimit = p->value.uint_val;
      break;
    case NIP_HOSTBUF_TIMEOUT:
    case NIP_HOSTBUF_TIMEOUT_INVALID: {
      // Valid entries, or both kinds of failures.
      bool valid = row.no == NIP_HOSTBUF_TIMEOUT;
      uint32_t v = p->value.uint_val;
      int rc = NiISetHBufTimeout(v > 86400 ? -1 : static_cast<int>(v), valid ? 1 : 2 | 4);
      if (rc != ZUL_O_K) return rc;
      (valid ? g.hostBufTimeout : g.hostBufTimeoutInvalid) = v;
      break;
    }
    case NIP_SOCKET_BUFFER_SIZE:
      g.socketBufferSize = p->value.uint_val;
      break;
    default:
      break;
  }
  return ZUL_O_K;
}

int GetRow(NI_PARAM_DATA *p, const ParamRow &row) noexcept {
  const Params &g = gParams;
  switch (row.no) {
    case NIP_PORTRANGE:
      p->value.bool_val = g.portRange;
      break;
    case NIP_MAXPORT:
      p->value.ushort_val = g.maxPort;
      break;
    case NIP_MINPORT:
      p->value.ushort_val = g.minPort;
      break;
    case NIP_HSBUF_SIZE: {
      int size = static_cast<int>(g.hsBufSize);
      NiIGetHSBufIndexSize(&size);  // the caches' own, which ZUL_NI_CACHE_DISABLED may have cut
      p->value.uint_val = static_cast<uint32_t>(size);
      break;
    }
    case NIP_VERSION:
      p->value.uint_val = 40;
      break;
    case NIP_FRAGTEST:
      p->value.uint_val = g.fragTest;
      break;
    case NIP_CONNLOCAL:
      p->value.bool_val = g.connLocal;
      break;
    case NIP_UDS_PATH:
      if (p->value.ucptr_val == nullptr)
        return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                      "%s: parameter invalid (pParamData->value.ucptr_val == NULL)",
                      "NiGetParamEx");
      strcpyU16(p->value.ucptr_val, g.udsPath);
      break;
    case NIP_QUEUE_LEN:
      p->value.uint_val = g.queueLen;
      break;
    case NIP_QTEST:
      p->value.uint_val = g.qTest;
      break;
    case NIP_HSBUF_TRACE_LIMIT:
      p->value.uint_val = g.hsBufTraceLimit;
      break;
    case NIP_HSBUF_TIME_FUNC:
      p->value.voidptr_val = g.hsBufTimeFunc;
      break;
    case NIP_TRACE_ALL:
      p->value.bool_val = gTraceAll;
      break;
    case NIP_INC_SERV_NO:
      p->value.bool_val = g.incServNo;
      break;
    case NIP_CONT_IN_RANGE:
      p->value.bool_val = g.contInRange;
      break;
    case NIP_POLL_TRACE_LIMIT:
      p->value.uint_val = g.pollTraceLimit;
      break;
    default:
      break;
  }
  return ZUL_O_K;
}

// The checks both directions share: null, the number, the direction and the type.
const ParamRow *CheckRequest(NI_PARAM_DATA *p, bool set, int *rc) noexcept {
  const char *fn = set ? "NiSetParamEx" : "NiGetParamEx";
  const ParamRow *row = p != nullptr ? FindParam(p->param) : nullptr;
  if (p == nullptr) {
    *rc =
        Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: parameter invalid (pParamData == NULL)", fn);
  } else if (row == nullptr || (row->access & (set ? kWrite : kRead)) == 0) {
    if (set && row != nullptr)
      *rc = Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: param %d read only", fn, p->param);
    else if (set)
      *rc = Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: param %d", fn, p->param);
    else
      *rc = Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: param %d unknown", fn, p->param);
    return nullptr;
  } else if (row->type != 0 && p->datatype != row->type) {
    *rc = Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                 "%s: parameter invalid (pParamData->datatype != %s)", fn, DataTypeName(row->type));
    return nullptr;
  }
  return row;
}

}  // namespace

int NiSetParamEx(NI_PARAM_DATA *pParamData) noexcept {
  if (gUseCount <= 0 && NiInit() != ZUL_O_K) return NIEINTERN;
  int rc = ZUL_O_K, done = 0;
  // The buffered layer takes its own numbers first.
  if (pParamData != nullptr && (rc = NiBufISetParam(pParamData, &done), done != 0)) return rc;
  if (pParamData != nullptr && pParamData->param == NIP_LOCAL_ADDR &&
      pParamData->datatype == NI_DT_NODEADDR) {
    ThrGlob *g = IGetThrGlob("NiSetParamEx");
    if (g == nullptr) return NIEINTERN;
    g->mLocalAddr = pParamData->value.nodeaddr_val;
    return ZUL_O_K;
  }
  const ParamRow *row = CheckRequest(pParamData, true, &rc);
  if (row == nullptr) return rc;
  MtxGuard lock(gParamLock);
  return SetRow(pParamData, *row);
}

int NiGetParamEx(NI_PARAM_DATA *pParamData) noexcept {
  if (gUseCount <= 0 && NiInit() != ZUL_O_K) return NIEINTERN;
  int rc = ZUL_O_K, done = 0;
  if (pParamData != nullptr && (rc = NiBufIGetParam(pParamData, &done), done != 0)) return rc;
  const ParamRow *row = CheckRequest(pParamData, false, &rc);
  if (row == nullptr) return rc;
  if (row->no == NIP_LOCAL_ADDR) {
    ThrGlob *g = IGetThrGlob("NiGetParamEx");
    if (g == nullptr) return NIEINTERN;
    pParamData->value.nodeaddr_val = g->mLocalAddr;
    return ZUL_O_K;
  }
  MtxGuard lock(gParamLock);
  return GetRow(pParamData, *row);
}

int NiSetParam(int param, uint32_t value) noexcept {
  NI_PARAM_DATA d{};
  d.param = static_cast<uint8_t>(param);
  switch (param) {
    case 1:
    case 10:
    case 17:
      d.datatype = NI_DT_BOOL;
      d.value.bool_val = static_cast<uint8_t>(value);
      break;
    case 2:
    case 3:
      d.datatype = NI_DT_USHORT;
      d.value.ushort_val = static_cast<uint16_t>(value);
      break;
    case 4:
      d.datatype = NI_DT_RAW;
      d.value.raw_val = static_cast<uint8_t>(value);
      break;
    case 5:
    case 9:
    case 13:
      d.datatype = NI_DT_UINT;
      d.value.uint_val = value;
      break;
    default:
      return Refuse(kModPublic, __LINE__, NIEINVAL, 1, "%s: param %d", "NiSetParam", param);
  }
  return NiSetParamEx(&d);
}

int NiGetParam(int param) noexcept {
  NI_PARAM_DATA d{};
  d.param = static_cast<uint8_t>(param);
  int rc = NIEINVAL;
  switch (param) {
    case 1:
    case 4:
    case 10:
    case 17:
      d.datatype = NI_DT_BOOL;
      break;
    case 2:
    case 3:
      d.datatype = NI_DT_USHORT;
      break;
    case 5:
    case 6:
    case 9:
    case 13:
      d.datatype = NI_DT_UINT;
      break;
    default:
      d.datatype = 0;
      break;
  }
  if (d.datatype == NI_DT_BOOL && param == 4) d.datatype = NI_DT_RAW;
  if (d.datatype != 0 && param >= 0 && param <= 255) rc = NiGetParamEx(&d);
  if (rc != ZUL_O_K) {
    DPTRC_A7(2, tf, "%s: NiGetParamEx failed (rc=%d;param=%d)\n", "NiGetParam", rc, param);
    return -1;
  }
  if (d.datatype == NI_DT_USHORT) return d.value.ushort_val;
  if (d.datatype == NI_DT_UINT) return static_cast<int>(d.value.uint_val);
  return d.value.bool_val;
}
