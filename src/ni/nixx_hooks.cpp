// Stand-ins for the layers above the frame: the access lists, the accept list and the traffic
// control list. Each succeeds without doing anything of its layer's own, so that start, end,
// close and the parameter paths already run through the places where those layers hook in. Each layer replaces its part of this file when it comes.
#define DPTRC_MODULE u"nixx"

#include "ni/nixxi.h"

using namespace ni;

int NiIAclInit() noexcept { return ZUL_O_K; }
void NiIAclExit() noexcept {}
void NiIAclDelete(NITAB *pHdl) noexcept { pHdl->lis.mAcl = nullptr; }

void NiIAlHdlClosed(NITAB *) noexcept {}
void NiIAlExit() noexcept {}

void NiITcDelHdl(NITAB *pHdl) noexcept { pHdl->mInTcList = 0; }
void NiITcExit() noexcept {}
