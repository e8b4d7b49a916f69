#include "tlm/tlmmetrictext.h"

#include "zul_u16printf.h"

namespace tlmmetric {

namespace {

constexpr size_t kNumberBufferUnits = 80;

}  // namespace

void AppendLineHead(zulstring &out, std::u16string_view type, const zulstring &prefix,
                    const zulstring &recordName, std::u16string_view label) {
  out.append(u"<metric type=\"").append(type).append(u"\" name=\"");
  out.append(prefix).append(u"|").append(recordName).append(u":").append(label);
}

void AppendNumber(zulstring &out, const ZUL_UTF16 *attribute, int64_t number, bool wide) {
  ZUL_UTF16 text[kNumberBufferUnits];
  if (wide) {
    snprintfU16(text, kNumberBufferUnits, u"%ld", static_cast<long>(number));
  } else {
    snprintfU16(text, kNumberBufferUnits, u"%d", static_cast<int>(static_cast<int32_t>(number)));
  }
  out.append(attribute).append(text);
}

void AppendLineEnd(zulstring &out) { out.append(u"\" />\n"); }

}  // namespace tlmmetric
