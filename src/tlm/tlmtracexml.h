// Pieces of the text of transaction trace documents shared by records and contexts.
#ifndef TLM_TLMTRACEXML_H
#define TLM_TLMTRACEXML_H

#include <string_view>

#include "i18n/zulu16/zulstring.h"

namespace tlm_trace_xml {

// Appends <param name="name" value="value" />. Nothing is escaped: the receiver takes names and
// values exactly as the application gave them.
inline void AppendParam(zulstring &out, std::u16string_view name, std::u16string_view value) {
  out.append(u"<param name=\"").append(name).append(u"\" value=\"").append(value).append(u"\" />");
}

}  // namespace tlm_trace_xml

#endif  // TLM_TLMTRACEXML_H
