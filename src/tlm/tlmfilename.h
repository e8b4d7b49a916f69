// File names made from the component name.
#ifndef TLM_TLMFILENAME_H
#define TLM_TLMFILENAME_H

#include "i18n/zulu16/zulstring.h"

namespace tlmfile {

// The component name with each "|" as "_", so that it can name a file in logdir.
inline zulstring componentFilePart(zulstring name) {
  for (ZUL_UTF16 &unit : name) {
    if (unit == u'|') unit = u'_';
  }
  return name;
}

}  // namespace tlmfile

#endif  // TLM_TLMFILENAME_H
