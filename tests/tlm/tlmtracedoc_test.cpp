// Trace documents: the text of a record tree and the six document forms of a context.
#include <regex>

#include "tlm/tlmmtrecord.h"
#include "tlm_core_fixture.h"

namespace {

// The settings that the library hands a new context now.
std::shared_ptr<const CProcessSettings> DocSettings() { return tlmlibrary::CurrentSettings(); }

std::string Text(const zulstring &text) { return tlm_test::Utf8(text); }

// The document with the figures that vary from run to run replaced: offsets and durations by "#",
// the start time text (local time to the millisecond) by "T", and with cpuToo the CPU figures by
// "#".
std::string Normalised(const zulstring &document, bool cpuToo = false) {
  static const std::regex times("(offset|duration)=\"[0-9]+\"");
  static const std::regex start(
      "startTime=\"[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}\"");
  static const std::regex cpu("(CPU Time \\(us\\)\" value=)\"-?[0-9]+\"");
  std::string text = std::regex_replace(Text(document), times, "$1=\"#\"");
  text = std::regex_replace(text, start, "startTime=\"T\"");
  return cpuToo ? std::regex_replace(text, cpu, "$1\"#\"") : text;
}

std::string Param(const std::string &name, const std::string &value) {
  return "<param name=\"" + name + "\" value=\"" + value + "\" />";
}

// The traced records' CPU figures: the process CPU clock is not available to the library, so a
// measured record reads -1.
const std::string kCPU = Param("CPU Time (us)", "-1");

using TraceDocTest = core_test::CoreTest;

// Every form over one tree, for an empty passport, an application passport (which carries no GUID
// of its own) and one that names its GUID. Pairs go in key order, and nothing is escaped.
TEST_F(TraceDocTest, FormsAndTheirPassportParameter) {
  const std::string sampled = Param("Trace Type", "Sampled");
  const std::string snapshot = Param("Trace Type", "ErrorSnapshot");
  for (const char16_t *passport : {u"", u"*1000", u"G1*1000"}) {
    CMTContext context(DocSettings(), passport);
    uint32_t a = context.startTiming(u"A|op", 1);
    context.endTiming(context.startTiming(u"B|op", 1));
    context.appendContextInfo(u"user", u"say \"hi\" <b>");
    context.appendContextInfo(u"k", u"a&b");
    context.endTiming(a);
    const std::string text = Text(passport);
    const std::string plain = Param("request.header.ZUL-PASSPORT", text);
    const std::string withGuid =
        text.empty() || text[0] != '*'
            ? plain
            : Param("request.header.ZUL-PASSPORT", Text(context.getTraceGuid()) + text);
    const std::string head =
        "<event resource=\"A|op\" startTime=\"T\" duration=\"#\">"
        "<calledComponent resource=\"B|op\" offset=\"#\" duration=\"#\">" +
        kCPU + "</calledComponent>" + kCPU;
    const std::string tail = Param("k", "a&b") + Param("user", "say \"hi\" <b>") + "</event>\n";
    struct Form {
      const char *name;
      zulstring (CMTContext::*render)();
      std::string params;
    } forms[] = {
        {"complete", &CMTContext::getEMTraceXML, withGuid},
        {"preview", &CMTContext::getEMTraceXMLForPreviewTimeout,
         sampled + Param("Sampled Reason", "Trace preview timeout") + withGuid},
        {"promoted", &CMTContext::getEMTraceXMLForAutoPromotion,
         sampled + Param("Sampled Reason", "Auto promoted trace due to long duration")},
        {"max components", &CMTContext::getErrorTraceForMaxComponents,
         snapshot + Param("Method Call Error", "Max components threshold reached") +
             (text.empty() ? "" : plain)},
        {"large size", &CMTContext::getErrorTraceForLargeSize,
         snapshot + Param("Method Call Error", "Too large trace size") + plain},
        {"zombie", &CMTContext::getErrorTraceForZombie,
         snapshot + Param("Method Call Error", "Timeout to zombie") + plain},
    };
    for (const Form &form : forms) {
      EXPECT_EQ(Normalised((context.*form.render)()), head + form.params + tail)
          << form.name << ", passport " << text;
    }
  }
}

TEST_F(TraceDocTest, FinishTypeOfTheCompleteForm) {
  const std::string big(10000, 'x');
  const std::string max = Param("Trace Finish Type", "Max components threshold reached");
  const std::string large = Param("Trace Finish Type", "Too large trace size");
  struct Case {
    const char16_t *tracing;
    int records;
    bool overSize;
    std::string finish;
  } cases[] = {
      {u"1", 3, false, max},  // the counter stands at 4, above 3
      {u"1", 2, true, large},
      {u"0", 3, false, ""},  // the component limit counts only for a tracing context
  };
  for (const Case &c : cases) {
    Configure({{u"trace_enabled_via_em", c.tracing},
               {u"max_components_per_transaction", u"3"},
               {u"tracesize_threshold", u"10000"}});
    CMTContext context(DocSettings());
    for (int i = 0; i < c.records; ++i) context.startTiming(u"A|op", 1);
    if (c.overSize) context.appendContextInfo(u"big", tlm_test::Utf16(big));
    std::string document = Text(context.getEMTraceXML());
    std::string info = c.overSize ? Param("big", big) : Param("request.header.ZUL-PASSPORT", "");
    EXPECT_TRUE(document.ends_with(info + c.finish + "</event>\n"))
        << "records " << c.records << ", over size " << c.overSize << ", tracing "
        << Text(c.tracing) << ": " << document.substr(0, 300);
  }
}

// The open records that the promoted-stack limit kept out of the tree join it; the tree keeps them
// when they end.
TEST_F(TraceDocTest, PromotionCompletesTheOpenStack) {
  Configure({{u"max_components_per_promotedstack", u"3"}});
  CMTContext context(DocSettings(), u"");
  uint32_t a = context.startTiming(u"A|op", 1);
  uint32_t b = context.startTiming(u"B|op", 1);
  context.endTiming(context.startTiming(u"C|op", 1));  // the last one the limit lets in
  ASSERT_FALSE(context.isTraceActive());
  uint32_t d = context.startTiming(u"D|op", 1);
  uint32_t e = context.startTiming(u"E|op", 1);
  context.endTiming(context.startTiming(u"F|op", 1));  // ended outside the tree: gone
  zulstring document = context.getEMTraceXMLForAutoPromotion();
  const std::string cpu = Param("CPU Time (us)", "#");
  const std::string cc = "<calledComponent resource=\"";
  const std::string times = "\" offset=\"#\" duration=\"#\">";
  EXPECT_EQ(Normalised(document, true),
            "<event resource=\"A|op\" startTime=\"T\" duration=\"#\">" + cc + "B|op" + times + cc +
                "C|op" + times + cpu + "</calledComponent>" + cc + "D|op" + times + cc + "E|op" +
                times + cpu + "</calledComponent>" + cpu + "</calledComponent>" + cpu +
                "</calledComponent>" + cpu + Param("Trace Type", "Sampled") +
                Param("Sampled Reason", "Auto promoted trace due to long duration") + "</event>\n");
  // Ending the promoted records leaves them in the tree: the root frees them once.
  context.endTiming(e);
  context.endTiming(d);
  context.endTiming(b);
  context.endTiming(a);
  EXPECT_EQ(context.getStatus(), CMTContext::STATUS_CLOSE);
  EXPECT_EQ(Normalised(context.getEMTraceXMLForAutoPromotion(), true), Normalised(document, true));
}

}  // namespace
