// The previous-component text of outgoing passports.
#include "tlm/tlmpreviouscomponent.h"

#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "zul_u16sys.h"

namespace tlmpassport {
namespace {

// The longest previous-component text that a passport carries.
constexpr size_t kPreviousComponentUnits = 32;
// The room given to the host name.
constexpr size_t kHostNameUnits = 255;

}  // namespace

zulstring previousComponent(const zulstring &componentName) {
  ZUL_UTF16 host[kHostNameUnits];
  zulstring hostName =
      gethostnameU16(host, kHostNameUnits) == 0 ? zulstring(host) : zulstring(u"unknown");
  zulstring text = TLMParameterHelper::GetSystemName() + u"-" +
                   componentName + u"-" + hostName;
  if (text.size() > kPreviousComponentUnits) text.resize(kPreviousComponentUnits);
  return text;
}

}  // namespace tlmpassport
