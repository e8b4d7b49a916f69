// Arbitrary bytes as a log for the viewer: split into items, summed up and printed. Checks that
// every input line is accounted for exactly once, in order, and that each trace document read
// back is a closed tree.
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>

#include "logreport.h"
#include "logtext.h"

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

  std::ostringstream out;
  tlmview::PrintSummary(tlmview::Summarize(items), out);
  VIEW_FUZZ_CHECK(!out.str().empty());
  return 0;
}
