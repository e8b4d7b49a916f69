// The trace documents of a transaction context: the root record's text with the parameters of
// one form put in before the closing "</event>", followed by a line end.
#include "tlm/tlmmtcontext.h"

#define DPTRC_MODULE u"tlmmtcontext"

#include <string_view>

#include "tlm/tlmmtrecord.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "tlm/tlmtracexml.h"
#include "zul_dptrace.h"

namespace {

typedef TLMParameterHelper Param;
using tlm_trace_xml::AppendParam;

constexpr std::u16string_view kPassportName = u"request.header.ZUL-PASSPORT";
constexpr std::u16string_view kEventEnd = u"</event>";
constexpr std::u16string_view kSampled = u"<param name=\"Trace Type\" value=\"Sampled\" />";
constexpr std::u16string_view kErrorSnapshot =
    u"<param name=\"Trace Type\" value=\"ErrorSnapshot\" />";
constexpr std::u16string_view kTooLarge = u"Too large trace size";
constexpr std::u16string_view kMaxComponents = u"Max components threshold reached";

void appendCallError(zulstring &out, std::u16string_view error) {
  AppendParam(out, u"Method Call Error", error);
}

void appendPlainPassport(const CMTContext &context, zulstring &out) {
  AppendParam(out, kPassportName, context.getPassportText());
}

// An application passport ("*" first) carries no GUID of its own, so the trace GUID goes before
// it; any other passport, the empty one included, goes as it is.
void appendPassportWithGuid(const CMTContext &context, zulstring &out) {
  const zulstring &passport = context.getPassportText();
  if (passport.empty() || passport.front() != u'*') {
    appendPlainPassport(context, out);
    return;
  }
  out.append(u"<param name=\"").append(kPassportName).append(u"\" value=\"");
  out.append(context.getTraceGuid()).append(passport).append(u"\" />");
}

void appendContextInfoParams(const CMTContext &context, zulstring &out) {
  for (const auto &pair : context.getContextInfo()) AppendParam(out, pair.first, pair.second);
}

bool overSizeThreshold(const CMTContext &context) {
  return context.getTraceSize() > Param::GetTraceSizeThreshold();
}

// Why a complete trace ended early, if it did.
void appendFinishType(const CMTContext &context, zulstring &out) {
  if (context.isTransTrace() &&
      context.getRecordCounter() > Param::GetMaxComponentsPerTransaction()) {
    AppendParam(out, u"Trace Finish Type", kMaxComponents);
  } else if (overSizeThreshold(context)) {
    AppendParam(out, u"Trace Finish Type", kTooLarge);
  }
}

// The root's text with the form's parameters, written by appendParams, before "</event>"; empty
// text without a root, or (with a diagnostic) when the root's text is not an event.
template <typename AppendParams>
zulstring renderDocument(const CMTContext &context, bool withChildren, AppendParams appendParams) {
  CMTRecord *root = context.getRootRecord();
  if (root == nullptr) return zulstring();
  zulstring text = root->getEMTraceXML(withChildren);
  size_t end = text.find(kEventEnd);
  if (end == zulstring::npos) {
    DPTRC_ERR(tf, u"Bad EM transaction trace format encountered from the context object!\n");
    return zulstring();
  }
  zulstring tail = text.substr(end);
  text.resize(end);
  appendParams(text);
  text.append(tail).push_back(u'\n');
  return text;
}

}  // namespace

zulstring CMTContext::getEMTraceXML() {
  return renderDocument(*this, true, [this](zulstring &out) {
    appendPassportWithGuid(*this, out);
    appendContextInfoParams(*this, out);
    appendFinishType(*this, out);
  });
}

zulstring CMTContext::getEMTraceXMLForPreviewTimeout() {
  return renderDocument(*this, true, [this](zulstring &out) {
    out.append(kSampled);
    AppendParam(out, u"Sampled Reason", u"Trace preview timeout");
    appendPassportWithGuid(*this, out);
    appendContextInfoParams(*this, out);
  });
}

// Puts the open records that were kept out of the tree into it first, from the innermost up to
// the first one already there, so that the document shows the whole running chain. The tree owns
// them from then on: they are freed with the root, not when they end.
zulstring CMTContext::getEMTraceXMLForAutoPromotion() {
  for (size_t i = stack_.size(); i > 0 && stack_[i - 1].owned != nullptr; --i) {
    CMTRecord *record = stack_[i - 1].record;
    CMTRecord *parent = record->getParentRecord();
    // An outermost record outside the tree belongs to a context that was given up: no tree to
    // join, and the stack keeps owning it.
    if (parent == nullptr) break;
    parent->reserveChild();
    record->setInTraceStack(true);
    parent->appendChildRecord(std::move(stack_[i - 1].owned));
  }
  return renderDocument(*this, true, [this](zulstring &out) {
    out.append(kSampled);
    AppendParam(out, u"Sampled Reason", u"Auto promoted trace due to long duration");
    appendContextInfoParams(*this, out);
  });
}

zulstring CMTContext::getErrorTraceForMaxComponents() {
  return renderDocument(*this, true, [this](zulstring &out) {
    out.append(kErrorSnapshot);
    appendCallError(out, kMaxComponents);
    if (!passportText_.empty()) appendPlainPassport(*this, out);
    appendContextInfoParams(*this, out);
  });
}

zulstring CMTContext::getErrorTraceForLargeSize() {
  return renderDocument(*this, true, [this](zulstring &out) {
    out.append(kErrorSnapshot);
    appendCallError(out, kTooLarge);
    appendPlainPassport(*this, out);
    appendContextInfoParams(*this, out);
  });
}

// Built by the sweep under a bucket lock: an over-long trace is reported by its root alone.
zulstring CMTContext::getErrorTraceForZombie() {
  const bool tooLarge = overSizeThreshold(*this);
  return renderDocument(*this, !tooLarge, [this, tooLarge](zulstring &out) {
    out.append(kErrorSnapshot);
    appendCallError(out, u"Timeout to zombie");
    if (tooLarge) appendCallError(out, kTooLarge);
    appendPlainPassport(*this, out);
    appendContextInfoParams(*this, out);
  });
}
