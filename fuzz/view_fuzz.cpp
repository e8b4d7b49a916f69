// Arbitrary bytes as a log for the viewer: split into items, summed up, printed and rendered as
// the HTML page. Checks that every input line is accounted for exactly once, in order, that each
// trace document read back is a closed tree, and that the page's structure is its own: no markup
// from the input outside text and attribute values.
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>

#include "htmlreport.h"
#include "logreport.h"
#include "logtext.h"
#include "view_html_check.h"

#define VIEW_FUZZ_CHECK(cond)                        \
  do {                                               \
    if (!(cond)) {                                   \
      __builtin_printf("check failed: %s\n", #cond); \
      abort();                                       \
    }                                                \
  } while (0)

namespace {

size_t CountLines(const std::string &text) {
  size_t lines = 0;
  size_t at = 0;
  while (at < text.size()) {
    size_t end = text.find('\n', at);
    ++lines;
    if (end == std::string::npos) break;
    at = end + 1;
  }
  return lines;
}

size_t Depth(const tlmview::TraceNode &node) {
  size_t deepest = 0;
  for (const tlmview::TraceNode &child : node.children) deepest = std::max(deepest, Depth(child));
  return deepest + 1;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  std::string text(reinterpret_cast<const char *>(data), size);
  std::istringstream in(text);
  std::vector<tlmview::LogItem> items = tlmview::ParseLog(in);

  size_t next = 1;
  for (const tlmview::LogItem &item : items) {
    VIEW_FUZZ_CHECK(item.line == next && item.lines >= 1);
    next += item.lines;
    if (const auto *root = std::get_if<tlmview::TraceNode>(&item.content)) {
      VIEW_FUZZ_CHECK(Depth(*root) <= tlmview::kMaxTraceDepth);
    }
    if (const auto *metric = std::get_if<tlmview::MetricLine>(&item.content)) {
      VIEW_FUZZ_CHECK(metric->number.has_value() || (!metric->max && !metric->min));
    }
  }
  VIEW_FUZZ_CHECK(next - 1 == CountLines(text));

  tlmview::LogSummary summary = tlmview::Summarize(items);
  std::ostringstream out;
  tlmview::PrintSummary(summary, out);
  VIEW_FUZZ_CHECK(!out.str().empty());

  // Small limits, so that the collapsing and the notes of left-out parts are reached too.
  std::ostringstream page;
  tlmview::WriteHtmlReport(summary, {{"fuzz <input>", &items}}, {2, 8, 1}, page);
  std::string fault = ViewHtmlFault(page.str());
  if (!fault.empty()) __builtin_printf("%s\n", fault.c_str());
  VIEW_FUZZ_CHECK(fault.empty());
  return 0;
}
