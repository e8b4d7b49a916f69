// Metric lines: <metric type="T" name="N" value="V" ... />.
#include <array>

#include "logtext.h"
#include "textcursor.h"

namespace tlmview {

namespace {

constexpr std::string_view kOpening = "<metric type=\"";
constexpr std::string_view kClosing = "\" />";

// The labels that the library itself writes. A name is cut before one of them when it ends in
// it, since a resource or KPI name may hold a ":" of its own; otherwise at the last ":".
constexpr std::array<std::string_view, 12> kLabels = {"Active Counter",
                                                      "Finished Counter",
                                                      "Finished with undefined state",
                                                      "Exception Counter",
                                                      "Avg. Elapsed Time(ms)",
                                                      "Avg. CPU Time(us)",
                                                      "Avg. Net Elapsed Time(ms)",
                                                      "Avg. Net CPU Time(us)",
                                                      "Current Value",
                                                      "High Watermark",
                                                      "Low Watermark",
                                                      "TLM library version"};

void SplitName(std::string_view name, MetricLine &metric) {
  for (std::string_view label : kLabels) {
    if (name.size() > label.size() && name.ends_with(label) &&
        name[name.size() - label.size() - 1] == ':') {
      metric.path = name.substr(0, name.size() - label.size() - 1);
      metric.label = label;
      return;
    }
  }
  size_t colon = name.rfind(':');
  if (colon == std::string_view::npos) {
    metric.path = name;
    return;
  }
  metric.path = name.substr(0, colon);
  metric.label = name.substr(colon + 1);
}

bool IsNumericType(std::string_view type) {
  return type == "IntAverage" || type == "LongCounter" || type == "PerInterval";
}

// V" max="N" min="N" count="N": the value, then each attribute optional, in this order. The
// closing quote of the last number belongs to the line's closing.
bool ParseNumbers(std::string_view body, MetricLine &metric) {
  std::string quoted(body);
  quoted += '"';
  TextCursor cursor(quoted);
  metric.number = cursor.NumberUntil("\"");
  if (!metric.number) return false;
  if (cursor.Take(" max=\"") && !(metric.max = cursor.NumberUntil("\""))) return false;
  if (cursor.Take(" min=\"") && !(metric.min = cursor.NumberUntil("\""))) return false;
  if (cursor.Take(" count=\"") && !(metric.count = cursor.NumberUntil("\""))) return false;
  return cursor.AtEnd();
}

}  // namespace

std::optional<MetricLine> ParseMetricLine(std::string_view line) {
  if (line.ends_with('\r')) line.remove_suffix(1);
  if (!line.starts_with(kOpening) || !line.ends_with(kClosing)) return std::nullopt;
  TextCursor cursor(line.substr(kOpening.size(), line.size() - kOpening.size() - kClosing.size()));
  MetricLine metric;
  std::optional<std::string_view> type = cursor.Until("\" name=\"");
  std::optional<std::string_view> name = cursor.Until("\" value=\"");
  if (!type || !name || type->find('"') != std::string_view::npos) return std::nullopt;
  metric.type = *type;
  SplitName(*name, metric);
  // What is left is the value and, for numbers, the attributes that follow it.
  std::string_view body = cursor.Rest();
  if (ParseNumbers(body, metric)) {
    metric.value = body.substr(0, body.find('"'));
    return metric;
  }
  metric.number.reset();
  metric.max.reset();
  metric.min.reset();
  metric.count.reset();
  if (IsNumericType(metric.type)) return std::nullopt;
  metric.value = body;
  return metric;
}

}  // namespace tlmview
