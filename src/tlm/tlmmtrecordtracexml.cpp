// The trace text of a timing record and the tree below it.
#include "tlm/tlmmtcontext.h"
#include "tlm/tlmmtrecord.h"
#include "tlm/tlmplatformhelper.h"
#include "tlm/tlmtracexml.h"
#include "zul_u16printf.h"

namespace {

// Each number is printed into a buffer of this many units.
constexpr size_t kNumberUnits = 30;

void appendInt(zulstring &out, int32_t value) {
  ZUL_UTF16 text[kNumberUnits];
  snprintfU16(text, kNumberUnits, u"%d", static_cast<int>(value));
  out.append(text);
}

void appendLong(zulstring &out, int64_t value) {
  ZUL_UTF16 text[kNumberUnits];
  snprintfU16(text, kNumberUnits, u"%ld", static_cast<long>(value));
  out.append(text);
}

}  // namespace

zulstring CMTRecord::getEMTraceXML(bool withChildren) {
  zulstring out;
  appendEMTraceXML(out, withChildren);
  return out;
}

void CMTRecord::appendEMTraceXML(zulstring &out, bool withChildren) const {
  int32_t duration = elapsed_;
  int64_t cpu = cpuElapsed_;
  if (status_ == STATUS_OPEN) {
    // Still running: the times so far.
    duration = static_cast<int32_t>(
        TLMPlatformHelper::GetServerTimeDiff(TLMPlatformHelper::GetServerTime(), startTime_));
    cpu = measureCPU();
  }
  // The id, not the parent, makes the document's root.
  const bool isEvent = id_ == CMTContext::BASE_COUNTER;
  if (isEvent) {
    out.append(u"<event resource=\"").append(name_).append(u"\" startTime=\"");
    out.append(getStartTimestampStr());
  } else {
    out.append(u"<calledComponent resource=\"").append(name_).append(u"\" offset=\"");
    appendInt(out, static_cast<int32_t>(offset_));
  }
  out.append(u"\" duration=\"");
  appendInt(out, duration);
  out.append(u"\">");
  if (withChildren) {
    for (const auto &child : children_) child->appendEMTraceXML(out, true);
  }
  out.append(u"<param name=\"CPU Time (us)\" value=\"");
  appendLong(out, cpu);
  out.append(u"\" />");
  for (const auto &pair : info_) tlm_trace_xml::AppendParam(out, pair.first, pair.second);
  out.append(isEvent ? u"</event>" : u"</calledComponent>");
}
