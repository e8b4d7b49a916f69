// Stand-ins for the layers above the frame: the buffered layer, the access lists, the accept
// list and the traffic control list. Each succeeds without doing anything of its layer's own,
// so that start, end, close and the parameter paths already run through the places where those
// layers hook in. Each layer replaces its part of this file when it comes.
#define DPTRC_MODULE u"nixx"

#include "ni/nixxi.h"

using namespace ni;

int NiBufIInit() noexcept { return ZUL_O_K; }
void NiBufIExit() noexcept {}

// The buffered layer's one global parameter is stored and read back; no limit is applied.
static int BufParam(NI_PARAM_DATA *p, int *pDone, bool set) noexcept {
  *pDone = p->param == NIP_BUF_MAX_HEAP ? 1 : 0;
  if (*pDone == 0) return ZUL_O_K;
  if (p->datatype != NI_DT_UINT)
    return Refuse(kModPublic, __LINE__, NIEINVAL, 1,
                  "%s: parameter invalid (pParamData->datatype != NI_DT_UINT)",
                  set ? "NiBufSetParam" : "NiBufGetParam");
  MtxGuard lock(gParamLock);
  if (set)
    gParams.bufMaxHeap = p->value.uint_val;
  else
    p->value.uint_val = gParams.bufMaxHeap;
  return ZUL_O_K;
}

int NiBufISetParam(NI_PARAM_DATA *pParamData, int *pDone) noexcept {
  return BufParam(pParamData, pDone, true);
}
int NiBufIGetParam(NI_PARAM_DATA *pParamData, int *pDone) noexcept {
  return BufParam(pParamData, pDone, false);
}

// No extension is made: the handle stays unbuffered.
int NiBufIHdlInit(NITAB *) noexcept { return ZUL_O_K; }
int NiBufISetHdlParam(NITAB *, NI_PARAM_DATA *, int *pDone) noexcept {
  *pDone = 0;
  return ZUL_O_K;
}
int NiBufIGetHdlParam(NITAB *, NI_PARAM_DATA *, int *pDone) noexcept {
  *pDone = 0;
  return ZUL_O_K;
}
const char *NiBufIGetExtText(const NITAB *) noexcept { return ""; }

int NiIAclInit() noexcept { return ZUL_O_K; }
void NiIAclExit() noexcept {}
void NiIAclDelete(NITAB *pHdl) noexcept { pHdl->lis.mAcl = nullptr; }

void NiIAlHdlClosed(NITAB *) noexcept {}
void NiIAlExit() noexcept {}

void NiITcDelHdl(NITAB *pHdl) noexcept { pHdl->mInTcList = 0; }
void NiITcExit() noexcept {}
