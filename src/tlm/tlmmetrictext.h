// Pieces of the metric text shared by the stat and resource records.
//
// A line reads <metric type="T" name="PREFIX|RECORD:LABEL" value="V" ... /> and a line feed,
// with no blanks but those of the literals.
#ifndef TLM_TLMMETRICTEXT_H
#define TLM_TLMMETRICTEXT_H

#include <cstdint>
#include <string_view>

#include "i18n/zulu16/zulstring.h"

namespace tlmmetric {

// Appends `<metric type="type" name="prefix|recordName:label`, up to the value's opening quote.
void AppendLineHead(zulstring &out, std::u16string_view type, const zulstring &prefix,
                    const zulstring &recordName, std::u16string_view label);
// Appends attribute ("\" value=\"" and the like), then number in "%ld" when wide, else the low 32
// bits of it in "%d", formatted in a buffer of 80 units.
void AppendNumber(zulstring &out, const ZUL_UTF16 *attribute, int64_t number, bool wide);
// Appends the end of a line: `" />` and a line feed.
void AppendLineEnd(zulstring &out);

constexpr ZUL_UTF16 kValue[] = u"\" value=\"";
constexpr ZUL_UTF16 kMax[] = u"\" max=\"";
constexpr ZUL_UTF16 kMin[] = u"\" min=\"";
constexpr ZUL_UTF16 kCount[] = u"\" count=\"";

}  // namespace tlmmetric

#endif  // TLM_TLMMETRICTEXT_H
