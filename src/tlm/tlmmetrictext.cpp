#include "tlm/tlmmetrictext.h"

#include "tlm/tlmcontextcachemanager.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "zul_u16printf.h"

namespace tlmmetric {

namespace {

constexpr size_t kNumberBufferUnits = 80;

}  // namespace

zulstring GetProcessPrefix() {
  zulstring prefix = TLMParameterHelper::GetSystemName();
  CContextCacheManager *registry = CContextCacheManager::Instance();
  const zulstring &component = registry->getComponentName();
  if (!component.empty()) prefix.append(u"|").append(component);
  const zulstring &pid = registry->getPIDString();
  if (!pid.empty()) prefix.append(u"_").append(pid);
  return prefix;
}

zulstring GetMetricPrefix() {
  zulstring prefix = GetProcessPrefix();
  const zulstring &instance = CContextCacheManager::Instance()->getInstancePrefix();
  if (!instance.empty()) prefix.append(u"|").append(instance);
  return prefix;
}

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
