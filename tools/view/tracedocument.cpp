// Transaction trace documents: <event ...> with nested <calledComponent ...> records and their
// <param .../> entries. A record's children come before its own parameters.
#include "logtext.h"
#include "textcursor.h"

namespace tlmview {

namespace {

constexpr std::string_view kEvent = "<event resource=\"";
constexpr std::string_view kEventEnd = "</event>";
constexpr std::string_view kChild = "<calledComponent resource=\"";
constexpr std::string_view kChildEnd = "</calledComponent>";
constexpr std::string_view kParam = "<param name=\"";

bool ParseRootOpening(TextCursor &cursor, TraceNode &root) {
  std::optional<std::string_view> resource = cursor.Until("\" startTime=\"");
  std::optional<std::string_view> startTime = resource ? cursor.Until("\" duration=\"") : resource;
  std::optional<int64_t> duration = startTime ? cursor.NumberUntil("\">") : std::nullopt;
  if (!duration) return false;
  root.resource = *resource;
  root.startTime = *startTime;
  root.duration = *duration;
  return true;
}

bool ParseChildOpening(TextCursor &cursor, TraceNode &child) {
  std::optional<std::string_view> resource = cursor.Until("\" offset=\"");
  std::optional<int64_t> offset = resource ? cursor.NumberUntil("\" duration=\"") : std::nullopt;
  std::optional<int64_t> duration = offset ? cursor.NumberUntil("\">") : std::nullopt;
  if (!duration) return false;
  child.resource = *resource;
  child.offset = *offset;
  child.duration = *duration;
  return true;
}

bool ParseParam(TextCursor &cursor, TraceNode &node) {
  std::optional<std::string_view> name = cursor.Until("\" value=\"");
  std::optional<std::string_view> value = name ? cursor.Until("\" />") : name;
  if (!value) return false;
  node.params.push_back({std::string(*name), std::string(*value)});
  return true;
}

}  // namespace

// Walks the document with an explicit stack of open records, so that a deep document costs no
// recursion here. Only the innermost open record gains children, so the pointers to the records
// further out stay valid.
std::optional<TraceNode> ParseTraceDocument(std::string_view text) {
  if (text.ends_with('\r')) text.remove_suffix(1);
  TextCursor cursor(text);
  TraceNode root;
  if (!cursor.Take(kEvent) || !ParseRootOpening(cursor, root)) return std::nullopt;
  std::vector<TraceNode *> open = {&root};
  while (!open.empty()) {
    TraceNode &node = *open.back();
    if (cursor.Take(kChild)) {
      if (open.size() >= kMaxTraceDepth) return std::nullopt;
      TraceNode &child = node.children.emplace_back();
      if (!ParseChildOpening(cursor, child)) return std::nullopt;
      open.push_back(&child);
    } else if (cursor.Take(kParam)) {
      if (!ParseParam(cursor, node)) return std::nullopt;
    } else if (cursor.Take(open.size() == 1 ? kEventEnd : kChildEnd)) {
      open.pop_back();
    } else {
      return std::nullopt;
    }
  }
  if (!cursor.AtEnd()) return std::nullopt;
  return root;
}

}  // namespace tlmview
