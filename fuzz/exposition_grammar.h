// A small checker of Prometheus's text exposition format, for tests and fuzz targets: HELP and
// TYPE comments, samples of the family last typed (with _sum and _count for summaries), metric
// and label names, label values with their three escapes, valid UTF-8, numbers. Answers the
// first fault found, or empty.
#ifndef TLM_TEST_EXPOSITION_GRAMMAR_H
#define TLM_TEST_EXPOSITION_GRAMMAR_H

#include <cstdlib>
#include <set>
#include <string>
#include <string_view>

namespace tlm_test {

// The name at the start of text, stepping over it; metric names may hold ':', label names not.
inline std::string_view TakeName(std::string_view &text, bool colon) {
  size_t n = 0;
  for (char c; n < text.size() && (c = text[n], (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                                                    c == '_' || (colon && c == ':') ||
                                                    (n > 0 && c >= '0' && c <= '9'));) {
    ++n;
  }
  std::string_view name = text.substr(0, n);
  text.remove_prefix(n);
  return name;
}

inline bool ValidUtf8(std::string_view text) {
  for (size_t i = 0; i < text.size();) {
    const auto b = static_cast<unsigned char>(text[i]);
    const size_t len = b < 0x80 ? 1 : b < 0xc2 ? 0 : b < 0xe0 ? 2 : b < 0xf0 ? 3 : b < 0xf5 ? 4 : 0;
    if (len == 0 || i + len > text.size()) return false;
    for (size_t k = 1; k < len; ++k) {
      if ((static_cast<unsigned char>(text[i + k]) & 0xc0) != 0x80) return false;
    }
    i += len;
  }
  return true;
}

inline bool ValidNumber(std::string_view text) {
  const std::string copy(text);
  char *end = nullptr;
  std::strtod(copy.c_str(), &end);
  return text == "NaN" || text == "+Inf" || text == "-Inf" ||
         (!copy.empty() && end == copy.c_str() + copy.size());
}

inline std::string CheckExposition(std::string_view text) {
  std::string family, type;
  std::set<std::string, std::less<>> typed;
  for (size_t lineNo = 1; !text.empty(); ++lineNo) {
    const size_t feed = text.find('\n');
    if (feed == std::string_view::npos) return "no line feed after the last line";
    std::string_view line = text.substr(0, feed);
    text.remove_prefix(feed + 1);
    const std::string where = "line " + std::to_string(lineNo) + ": ";
    if (!ValidUtf8(line)) return where + "invalid UTF-8";
    if (line.starts_with("# HELP ") || line.starts_with("# TYPE ")) {
      const bool isType = line[2] == 'T';
      line.remove_prefix(7);
      const std::string name(TakeName(line, true));
      if (name.empty() || !line.starts_with(' ')) return where + "bad comment name";
      if (!isType) continue;
      type = line.substr(1);
      if (type != "counter" && type != "gauge" && type != "summary" && type != "untyped") {
        return where + "bad type";
      }
      if (!typed.insert(name).second) return where + "family typed twice: " + name;
      family = name;
      continue;
    }
    const std::string_view name = TakeName(line, true);
    const bool part = type == "summary" && (name == family + "_sum" || name == family + "_count");
    if (name.empty() || (name != family && !part)) return where + "not of its family";
    if (line.starts_with('{')) {
      line.remove_prefix(1);
      while (!line.starts_with('}')) {
        if (TakeName(line, false).empty() || !line.starts_with("=\"")) return where + "bad label";
        line.remove_prefix(2);
        for (char c = 0; c != '"'; line.remove_prefix(1)) {
          if (line.empty()) return where + "unterminated label value";
          c = line[0];
          if (c != '\\') continue;
          line.remove_prefix(1);
          if (line.empty() || (line[0] != '\\' && line[0] != '"' && line[0] != 'n')) {
            return where + "bad escape";
          }
        }
        if (line.starts_with(',')) line.remove_prefix(1);
      }
      line.remove_prefix(1);
    }
    if (!line.starts_with(' ')) return where + "no blank before the value";
    line.remove_prefix(1);
    const size_t blank = line.find(' ');
    if (!ValidNumber(line.substr(0, blank)) ||
        (blank != std::string_view::npos && !ValidNumber(line.substr(blank + 1)))) {
      return where + "bad value or time stamp";
    }
  }
  return "";
}

}  // namespace tlm_test

#endif  // TLM_TEST_EXPOSITION_GRAMMAR_H
