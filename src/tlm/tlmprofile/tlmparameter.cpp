#include "tlm/tlmprofile/tlmparameter.h"

namespace tlmprofile {

CParameter::CParameter(const zulstring &name, const zulstring &value, bool dynamic)
    : name_(name), value_(value), default_(value), dynamic_(dynamic) {}

CParameter::CParameter(const zulstring &name, const zulstring &value)
    : name_(name), value_(value) {}

}  // namespace tlmprofile
