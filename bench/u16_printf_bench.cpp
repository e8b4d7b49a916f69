// sprintfU16 against the C library's snprintf on the metric line that the agents write most:
// the same format, strings of 20 to 40 units, numbers of 5 to 9 digits.
#include <benchmark/benchmark.h>

#include <cstdio>

#include "zul_u16printf.h"

namespace {

constexpr char kFormat8[] = "%s|%s:%s\" value=\"%d\" max=\"%d\" min=\"%d\" count=\"%d\" />\n";
constexpr char16_t kFormat16[] = u"%s|%s:%s\" value=\"%d\" max=\"%d\" min=\"%d\" count=\"%d\" />\n";

struct Row {
  const char *component8, *operation8, *metric8;
  const char16_t *component16, *operation16, *metric16;
  int value, max, min, count;
};

// Four rows, so that neither engine sees the same lengths every time.
const Row kRows[] = {
    {"Frontends|Apps|OrderService", "Servlets|CheckoutServlet", "Average Response Time (ms)",
     u"Frontends|Apps|OrderService", u"Servlets|CheckoutServlet", u"Average Response Time (ms)",
     123456, 987654321, 10234, 48213},
    {"Backends|Database Connection Pool", "JDBC|PreparedStatement.executeQuery",
     "Responses Per Interval", u"Backends|Database Connection Pool",
     u"JDBC|PreparedStatement.executeQuery", u"Responses Per Interval", 45678901, 99999999, 12345,
     7654321},
    {"Frontends|Apps|InventoryService", "WebServices|StockLookup", "Errors Per Interval",
     u"Frontends|Apps|InventoryService", u"WebServices|StockLookup", u"Errors Per Interval", 20481,
     314159265, 16384, 271828},
    {"Backends|MessageQueue|Orders", "JMS|MessageListener.onMessage", "Concurrent Invocations",
     u"Backends|MessageQueue|Orders", u"JMS|MessageListener.onMessage", u"Concurrent Invocations",
     5000001, 5000001, 99999, 123456789},
};
constexpr size_t kRowCount = sizeof kRows / sizeof kRows[0];

void BM_sprintfU16_MetricLine(benchmark::State &state) {
  ZUL_UTF16 buffer[512];
  size_t i = 0;
  for (auto _ : state) {
    const Row &r = kRows[i++ % kRowCount];
    int n = sprintfU16(buffer, kFormat16, r.component16, r.operation16, r.metric16, r.value, r.max,
                       r.min, r.count);
    benchmark::DoNotOptimize(n);
    benchmark::DoNotOptimize(buffer);
  }
}
BENCHMARK(BM_sprintfU16_MetricLine);

void BM_LibrarySnprintf_MetricLine(benchmark::State &state) {
  char buffer[512];
  size_t i = 0;
  for (auto _ : state) {
    const Row &r = kRows[i++ % kRowCount];
    int n = std::snprintf(buffer, sizeof buffer, kFormat8, r.component8, r.operation8, r.metric8,
                          r.value, r.max, r.min, r.count);
    benchmark::DoNotOptimize(n);
    benchmark::DoNotOptimize(buffer);
  }
}
BENCHMARK(BM_LibrarySnprintf_MetricLine);

}  // namespace

BENCHMARK_MAIN();
