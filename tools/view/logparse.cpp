// Splits a log into metric lines, trace documents and other lines.
#include <deque>

#include "logtext.h"

namespace tlmview {

namespace {

// A value of a trace may hold line feeds, which then split its document over several lines.
// Up to this many lines are joined to complete a document before its first line counts as other.
constexpr size_t kMaxDocumentLines = 100;

bool StartsItem(std::string_view line) {
  return line.starts_with("<event ") || line.starts_with("<metric ");
}

// Reads lines on demand and keeps those looked at ahead.
class LineReader {
 public:
  explicit LineReader(std::istream &in) : in_(in) {}

  // Line number + offset, or nothing at the end of the input.
  const std::string *Peek(size_t offset) {
    while (ahead_.size() <= offset) {
      std::string line;
      if (!std::getline(in_, line)) return nullptr;
      ahead_.push_back(std::move(line));
    }
    return &ahead_[offset];
  }
  void Drop(size_t count) {
    ahead_.erase(ahead_.begin(), ahead_.begin() + count);
    number_ += count;
  }
  size_t Number() const { return number_; }

 private:
  std::istream &in_;
  std::deque<std::string> ahead_;
  size_t number_ = 1;
};

// A document that starts at the reader's first line: its item, or nothing.
std::optional<LogItem> ReadDocument(LineReader &reader) {
  std::string text = *reader.Peek(0);
  for (size_t lines = 1; lines <= kMaxDocumentLines; ++lines) {
    if (std::optional<TraceNode> root = ParseTraceDocument(text)) {
      return LogItem{reader.Number(), lines, std::move(*root)};
    }
    const std::string *next = reader.Peek(lines);
    if (next == nullptr || StartsItem(*next)) break;
    text += '\n';
    text += *next;
  }
  return std::nullopt;
}

}  // namespace

std::vector<LogItem> ParseLog(std::istream &in) {
  std::vector<LogItem> items;
  LineReader reader(in);
  while (const std::string *line = reader.Peek(0)) {
    std::optional<LogItem> item;
    if (line->starts_with("<event ")) item = ReadDocument(reader);
    if (!item) {
      if (std::optional<MetricLine> metric = ParseMetricLine(*line)) {
        item = LogItem{reader.Number(), 1, std::move(*metric)};
      } else {
        item = LogItem{reader.Number(), 1, *line};
      }
    }
    size_t lines = item->lines;
    items.push_back(std::move(*item));
    reader.Drop(lines);
  }
  return items;
}

}  // namespace tlmview
