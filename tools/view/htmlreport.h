// The report as one self-contained HTML page: a header with what was read, a sortable and
// filterable table of the timed components, resources with sparklines of their values, and each
// transaction trace as a waterfall of bars on a time axis. Every text from the input is escaped;
// the page's only script is its own, inline, and it loads nothing from anywhere.
#ifndef TLM_TOOLS_VIEW_HTMLREPORT_H
#define TLM_TOOLS_VIEW_HTMLREPORT_H

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "logreport.h"

namespace tlmview {

// One input of the report; its items' source is its position in the list.
struct HtmlInput {
  std::string name;  // as given on the command line; "-" for standard input
  const std::vector<LogItem> *items = nullptr;
};

struct HtmlLimits {
  size_t maxTraces = 1000;  // waterfalls drawn; the others are counted
  size_t maxBars = 1000;    // bars drawn per waterfall, in tree order; the others are counted
  size_t openDepth = 4;     // records nested deeper than this start collapsed
};

// Writes the page for summary, which was made from inputs. Trace documents of one transaction
// are drawn as one waterfall: the others hang below the record that called out with a passport
// (outbound.ZUL-PASSPORT) and was running when they started, placed by their start times and
// marked with the process that wrote them.
void WriteHtmlReport(const LogSummary &summary, const std::vector<HtmlInput> &inputs,
                     const HtmlLimits &limits, std::ostream &out);

// text with &, <, >, " and ' replaced by their character references: safe both as element text
// and as a quoted attribute value. Without doubleQuotes, " stays as it is: safe as text and in
// an attribute value in single quotes.
void AppendEscaped(std::string &out, std::string_view text, bool doubleQuotes = true);

// A trace start time "YYYY-MM-DD HH:MM:SS" with optional ".mmm", as milliseconds since
// 1970-01-01 of the same (local) clock; nothing for any other text.
std::optional<int64_t> ParseStartTime(std::string_view text);

}  // namespace tlmview

#endif  // TLM_TOOLS_VIEW_HTMLREPORT_H
