// Stand-ins for the buffered layer above the frame. Each succeeds without doing anything of the
// layer's own, so that start, end, close and the parameter paths already run through the places
// where it hooks in; the layer replaces this file when it comes.
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
