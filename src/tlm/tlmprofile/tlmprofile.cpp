#include "tlm/tlmprofile/tlmprofile.h"

namespace tlmprofile {

CProfile::~CProfile() = default;

CMemoryProfile::CMemoryProfile(const zulstring names[], const zulstring values[],
                               const bool dynamic[], size_t count) {
  for (size_t i = 0; i < count; ++i) {
    parameters_.emplace(names[i], CParameter(names[i], values[i], dynamic[i]));
  }
}

ParameterMap CMemoryProfile::load(const zulstring& /*path*/) {
  status_ = STATUS_LOADED;
  return parameters_;
}

}  // namespace tlmprofile
