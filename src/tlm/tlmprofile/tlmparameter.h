// One named text parameter of the configuration.
#ifndef TLM_TLMPROFILE_TLMPARAMETER_H
#define TLM_TLMPROFILE_TLMPARAMETER_H

#include "i18n/zulu16/zulstring.h"

namespace tlmprofile {

// A key, its current text value, the text it was created with, and whether the value may change
// while the library runs.
class CParameter {
 public:
  CParameter() = default;
  // Value and default both get value.
  CParameter(const zulstring &name, const zulstring &value, bool dynamic);
  // A parameter read from a file: no default text, not dynamic.
  CParameter(const zulstring &name, const zulstring &value);

  zulstring getParamName() const { return name_; }
  zulstring getParamValue() const { return value_; }
  zulstring getParamDefault() const { return default_; }
  bool isDynamic() const { return dynamic_; }

  // Changes the value only; the default and the dynamic flag stay.
  void setParamValue(const zulstring &value) { value_ = value; }

 private:
  zulstring name_;
  zulstring value_;
  zulstring default_;
  bool dynamic_ = false;
};

}  // namespace tlmprofile

#endif  // TLM_TLMPROFILE_TLMPARAMETER_H
