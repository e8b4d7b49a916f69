// GUIDs of the instrumentation core.
#include "tlm/tlmplatformhelper.h"

#include "zul_pfuuid.h"

zulstring TLMPlatformHelper::GetGUID() {
  ZUL_RAW uuid[PFUUID_LEN];
  if (pfcreate_zul_uuid(uuid) != PFUUID_OK) return {};
  constexpr int kTextUnits = 2 * PFUUID_LEN + 1;
  ZUL_UTF16 text[kTextUnits];
  int length = kTextUnits;
  if (pfuuid_print(uuid, text, &length) != PFUUID_OK) return {};
  return zulstring(text, static_cast<size_t>(length));
}
