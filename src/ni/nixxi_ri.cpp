// Reverse invoke, in which a server would connect back to its client, is inactive in this
// library: the calls that would serve it answer that, and nothing enters the NI_RI_LISTEN state.
#define DPTRC_MODULE u"nixxi"

#include "ni/nixxi_con.h"
#include "zul_dptrace.h"

namespace {

int Inactive(const char *fn) {
  DPTRC_A7(2, tf, "%s: reverse invoke (RI) inactive\n", fn);
  return NIEINTERN;
}

}  // namespace

int NiIRiSrvAccept(NITAB *, int, FILE **, NITAB **) noexcept { return Inactive("NiIRiSrvAccept"); }
int NiIRiSrvPeek(NITAB *, int) noexcept { return Inactive("NiIRiSrvPeek"); }
int NiIRiSrvCloseHandle(NITAB *) noexcept { return Inactive("NiIRiSrvCloseHandle"); }
int NiIRiCliAccept(NITAB *, int) noexcept { return Inactive("NiIRiCliAccept"); }

int NiIRiCliConnect(const NI_NODEADDR *, uint16_t, int, NITAB **, int *pRc) noexcept {
  *pRc = Inactive("NiIRiCliConnect");
  return 1;
}

int NiIRiCliGetHdl(NITAB *) noexcept {
  Inactive("NiIRiCliGetHdl");
  return 0;
}

int NiIRiSrvProcEvent(NITAB *) noexcept {
  Inactive("NiIRiSrvProcEvent");
  return 0;
}

void NiRiClose() noexcept {}
