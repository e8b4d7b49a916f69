// A small checker of Prometheus's text exposition format, for tests and fuzz targets: HELP and
// TYPE comments, samples of the family last typed, metric and label names, label values with
// their three escapes and valid UTF-8, and numbers. Answers the first fault found, or empty.
#ifndef TLM_TEST_EXPOSITION_GRAMMAR_H
#define TLM_TEST_EXPOSITION_GRAMMAR_H

#include <cstdlib>
#include <set>
#include <string>
#include <string_view>

namespace tlm_test {

inline bool IsNameChar(char c, bool first, bool colon) {
  const bool alpha = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
  return alpha || (colon && c == ':') || (!first && c >= '0' && c <= '9');
}

// The name at the start of text (metric names may hold ':'), stepping over it.
inline std::string_view TakeName(std::string_view &text, bool colon) {
  size_t n = 0;
  while (n < text.size() && IsNameChar(text[n], n == 0, colon)) ++n;
  std::string_view name = text.substr(0, n);
  text.remove_prefix(n);
  return name;
}

inline bool ValidUtf8(std::string_view text) {
  for (size_t i = 0; i < text.size();) {
    const auto b = static_cast<unsigned char>(text[i]);
    size_t len = b < 0x80 ? 1 : b >= 0xc2 && b < 0xe0 ? 2 : b >= 0xe0 && b < 0xf0 ? 3
                 : b >= 0xf0 && b < 0xf5 ? 4 : 0;
    if (len == 0 || i + len > text.size()) return false;
    for (size_t k = 1; k < len; ++k) {
      if ((static_cast<unsigned char>(text[i + k]) & 0xc0) != 0x80) return false;
    }
    i += len;
  }
  return true;
}

inline bool ValidNumber(std::string_view text) {
  if (text == "NaN" || text == "+Inf" || text == "-Inf") return true;
  std::string copy(text);
  char *end = nullptr;
  std::strtod(copy.c_str(), &end);
  return !copy.empty() && end == copy.c_str() + copy.size();
}

inline std::string CheckExposition(std::string_view text) {
  std::string family, type;
  std::set<std::string, std::less<>> typed;
  size_t lineNo = 0;
  while (!text.empty()) {
    ++lineNo;
    const size_t feed = text.find('\n');
    if (feed == std::string_view::npos) return "no line feed after the last line";
    std::string_view line = text.substr(0, feed);
    text.remove_prefix(feed + 1);
    const std::string where = "line " + std::to_string(lineNo) + ": ";
    if (!ValidUtf8(line)) return where + "invalid UTF-8";
    if (line.starts_with("# HELP ") || line.starts_with("# TYPE ")) {
      const bool isType = line[2] == 'T';
      line.remove_prefix(7);
      std::string name(TakeName(line, true));
      if (name.empty() || !line.starts_with(' ')) return where + "bad comment name";
      if (isType) {
        type = line.substr(1);
        if (type != "counter" && type != "gauge" && type != "summary" && type != "histogram" &&
            type != "untyped") {
          return where + "bad type";
        }
        if (!typed.insert(name).second) return where + "family typed twice: " + name;
        family = name;
      }
      continue;
    }
    std::string_view name = TakeName(line, true);
    if (name.empty()) return where + "no metric name";
    const bool suffixed = name == family + "_sum" || name == family + "_count";
    if (name != family && !(type == "summary" && suffixed)) return where + "not of its family";
    if (line.starts_with('{')) {
      line.remove_prefix(1);
      while (!line.starts_with('}')) {
        if (TakeName(line, false).empty() || !line.starts_with("=\"")) return where + "bad label";
        line.remove_prefix(2);
        for (;;) {
          if (line.empty()) return where + "unterminated label value";
          const char c = line[0];
          line.remove_prefix(1);
          if (c == '"') break;
          if (c == '\\') {
            if (line.empty() || (line[0] != '\\' && line[0] != '"' && line[0] != 'n')) {
              return where + "bad escape";
            }
            line.remove_prefix(1);
          }
        }
        if (line.starts_with(',')) line.remove_prefix(1);
      }
      line.remove_prefix(1);
    }
    if (!line.starts_with(' ')) return where + "no blank before the value";
    line.remove_prefix(1);
    const size_t blank = line.find(' ');
    if (!ValidNumber(line.substr(0, blank))) return where + "bad value";
    if (blank != std::string_view::npos && !ValidNumber(line.substr(blank + 1))) {
      return where + "bad time stamp";
    }
  }
  return "";
}

}  // namespace tlm_test

#endif  // TLM_TEST_EXPOSITION_GRAMMAR_H
