// Checks a page of the viewer's HTML report for a structure that input text can't have changed:
// every "<" opens or closes a known element with known attributes, elements nest and close,
// text and attribute values hold no raw markup characters and only character references, and
// the one style sheet and the one script are the page's own.
#ifndef FUZZ_VIEW_HTML_CHECK_H
#define FUZZ_VIEW_HTML_CHECK_H

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "htmlpage.h"

// The first fault found, or empty when there is none.
inline std::string ViewHtmlFault(std::string_view html) {
  // clang-format off
  static const std::set<std::string_view> kElements = {
      "html", "head", "meta", "title", "style", "body", "header", "h1", "h2", "h3", "table",
      "thead", "tbody", "tr", "th", "td", "section", "div", "span", "input", "button", "p", "svg",
      "polyline", "circle", "details", "summary", "ul", "li", "dl", "dt", "dd", "script", "wbr"};
  static const std::set<std::string_view> kAttributes = {
      "class", "id", "style", "lang", "charset", "name", "content", "type", "placeholder",
      "aria-label", "data-sort", "data-v", "data-d", "hidden", "viewBox", "preserveAspectRatio",
      "role", "points", "cx", "cy", "r", "data-tip"};
  // clang-format on
  auto entityAt = [&](size_t at) {  // "&" followed by letters, digits or "#", then ";"
    size_t end = at + 1;
    while (end < html.size() && end - at < 10 &&
           (isalnum(static_cast<unsigned char>(html[end])) || html[end] == '#'))
      ++end;
    return end > at + 1 && end < html.size() && html[end] == ';';
  };
  constexpr std::string_view kStart = "<!DOCTYPE html>\n";
  if (!html.starts_with(kStart)) return "no doctype";
  std::vector<std::string_view> open;
  int scripts = 0, styles = 0;
  for (size_t at = kStart.size(); at < html.size();) {
    char c = html[at];
    if (c == '>' || (c == '&' && !entityAt(at)))
      return "raw '" + std::string(1, c) + "' in text at " + std::to_string(at);
    if (c != '<') {
      ++at;
      continue;
    }
    bool closing = html.substr(at, 2) == "</";
    size_t nameAt = at + (closing ? 2 : 1), nameEnd = nameAt;
    while (nameEnd < html.size() && isalnum(static_cast<unsigned char>(html[nameEnd]))) ++nameEnd;
    std::string_view name = html.substr(nameAt, nameEnd - nameAt);
    if (!kElements.contains(name)) return "unknown element at " + std::to_string(at);
    size_t pos = nameEnd;
    while (!closing && pos < html.size() && html[pos] == ' ') {
      size_t attrEnd = ++pos;
      while (attrEnd < html.size() &&
             (isalnum(static_cast<unsigned char>(html[attrEnd])) || html[attrEnd] == '-'))
        ++attrEnd;
      if (!kAttributes.contains(html.substr(pos, attrEnd - pos)))
        return "unknown attribute at " + std::to_string(pos);
      pos = attrEnd;
      if (html.substr(pos, 2) != "=\"" && html.substr(pos, 2) != "='") continue;
      size_t valueEnd = html.find(html[pos + 1], pos + 2);
      if (valueEnd == std::string_view::npos) return "unclosed attribute";
      for (size_t v = pos + 2; v < valueEnd; ++v) {
        if (html[v] == '<' || html[v] == '>' || (html[v] == '&' && !entityAt(v)))
          return "raw markup in attribute at " + std::to_string(v);
      }
      pos = valueEnd + 1;
    }
    if (pos >= html.size() || html[pos] != '>') return "malformed tag at " + std::to_string(at);
    at = pos + 1;
    if (closing) {
      if (open.empty() || open.back() != name) return "misnested </" + std::string(name) + ">";
      open.pop_back();
    } else if (name == "script" || name == "style") {
      std::string_view own = name == "script" ? tlmview::kHtmlScript : tlmview::kHtmlStyle;
      if (html.substr(at, own.size()) != own) return "foreign " + std::string(name) + " content";
      ++(name == "script" ? scripts : styles);
      at += own.size();
      open.push_back(name);
    } else if (name != "meta" && name != "input" && name != "wbr") {
      open.push_back(name);
    }
  }
  if (!open.empty()) return "unclosed <" + std::string(open.back()) + ">";
  if (scripts != 1 || styles != 1) return "not one script and one style sheet";
  return {};
}

#endif  // FUZZ_VIEW_HTML_CHECK_H
