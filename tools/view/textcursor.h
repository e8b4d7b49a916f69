// A reading position in a text, for the exact literal forms of the metric and trace text.
#ifndef TLM_TOOLS_VIEW_TEXTCURSOR_H
#define TLM_TOOLS_VIEW_TEXTCURSOR_H

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tlmview {

class TextCursor {
 public:
  explicit TextCursor(std::string_view text) : rest_(text) {}

  bool AtEnd() const { return rest_.empty(); }
  std::string_view Rest() const { return rest_; }
  bool StartsWith(std::string_view literal) const { return rest_.starts_with(literal); }

  // Steps over literal if the text continues with it.
  bool Take(std::string_view literal) {
    if (!rest_.starts_with(literal)) return false;
    rest_.remove_prefix(literal.size());
    return true;
  }

  // The text up to the first delimiter, stepping over both; nothing if there is no delimiter.
  // Names and values are written unescaped, so the first delimiter is the only sensible cut.
  std::optional<std::string_view> Until(std::string_view delimiter) {
    size_t at = rest_.find(delimiter);
    if (at == std::string_view::npos) return std::nullopt;
    std::string_view field = rest_.substr(0, at);
    rest_.remove_prefix(at + delimiter.size());
    return field;
  }

  // A decimal integer, optionally negative, that runs up to the delimiter, stepping over both.
  std::optional<int64_t> NumberUntil(std::string_view delimiter) {
    TextCursor probe = *this;
    std::optional<std::string_view> field = probe.Until(delimiter);
    if (!field) return std::nullopt;
    std::optional<int64_t> number = ParseNumber(*field);
    if (number) *this = probe;
    return number;
  }

  // The whole of field as a decimal integer, or nothing.
  static std::optional<int64_t> ParseNumber(std::string_view field) {
    int64_t number = 0;
    const char *end = field.data() + field.size();
    auto [stop, error] = std::from_chars(field.data(), end, number);
    if (field.empty() || error != std::errc() || stop != end) return std::nullopt;
    return number;
  }

 private:
  std::string_view rest_;
};

}  // namespace tlmview

#endif  // TLM_TOOLS_VIEW_TEXTCURSOR_H
