// tlm-view on a 100 MB log like the example server's: the text report of everything against the
// HTML page of the same log (which draws at most 1,000 waterfalls, but groups every trace by its
// transaction). Each iteration reads the log from memory, sums it up and writes the report to a
// sink that discards it, as tlm-view does with a file and its output.
#include <benchmark/benchmark.h>

#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

#include "epp_start.h"
#include "htmlreport.h"
#include "logreport.h"
#include "zul_epp.h"

namespace {

constexpr size_t kLogBytes = 100 << 20;

class Discard : public std::streambuf {
 protected:
  int overflow(int c) override { return c; }
  std::streamsize xsputn(const char *, std::streamsize n) override { return n; }
};

// The capital hexadecimal text of a version 3 passport of transaction id (ASCII).
std::string Passport(const std::string &id) {
  StartPassportLibrary();
  void *passport = nullptr;
  eppInit(&passport);
  std::u16string units(id.begin(), id.end());
  eppSetTransactionId(passport, units.c_str(), static_cast<uint32_t>(units.size()));
  uint32_t size = 0, used = 0;
  eppNeededNetworkSize(passport, &size);
  std::vector<ZUL_RAW> bytes(size);
  eppSerialize(passport, bytes.data(), size, &used);
  eppDelete(passport);
  std::string hex;
  for (uint32_t i = 0; i < used; ++i) {
    hex += "0123456789ABCDEF"[bytes[i] >> 4];
    hex += "0123456789ABCDEF"[bytes[i] & 15];
  }
  return hex;
}

// Intervals of metric lines between traces of four records, each trace with its own passport.
const std::string &Log() {
  static const std::string log = [] {
    std::string text;
    const std::string prefix = "ZUL_TLM|ExampleServer_4200|";
    for (size_t n = 0; text.size() < kLogBytes; ++n) {
      if (n % 1000 == 0) {
        for (const char *c : {"Auth|checkToken", "Database|query", "Frontend|handleRequest"}) {
          text += "<metric type=\"IntAverage\" name=\"" + prefix + c +
                  ":Avg. Elapsed Time(ms)\" value=\"5\" max=\"40\" min=\"1\" count=\"1000\" />\n";
          text += "<metric type=\"IntAverage\" name=\"" + prefix + c +
                  ":Finished Counter\" value=\"990\" />\n";
        }
        text += "<metric type=\"LongCounter\" name=\"" + prefix +
                "Open Requests:Current Value\" value=\"2\" max=\"3\" min=\"0\" count=\"2000\" />\n";
      }
      std::string id = "T";
      id += std::to_string(n % 50000);
      std::string passport = Passport(id);
      text +=
          "<event resource=\"Frontend|handleRequest\" startTime=\"2026-01-02 03:04:05.678\" "
          "duration=\"9\"><calledComponent resource=\"Auth|checkToken\" offset=\"0\" "
          "duration=\"1\"><param name=\"CPU Time (us)\" value=\"-1\" /></calledComponent>"
          "<calledComponent resource=\"Database|query\" offset=\"1\" duration=\"6\">"
          "<param name=\"CPU Time (us)\" value=\"-1\" /><param name=\"SQL\" value=\"SELECT * "
          "FROM orders WHERE id = ?\" /></calledComponent><calledComponent resource=\"Backend|"
          "call\" offset=\"7\" duration=\"2\"><param name=\"CPU Time (us)\" value=\"-1\" />"
          "<param name=\"outbound.ZUL-PASSPORT\" value=\"" +
          passport +
          "\" />"
          "</calledComponent><param name=\"CPU Time (us)\" value=\"-1\" /><param name=\"User "
          "ID\" value=\"alice\" /><param name=\"request.header.ZUL-PASSPORT\" value=\"" +
          passport + "\" /></event>\n";
    }
    return text;
  }();
  return log;
}

void BM_TextReport(benchmark::State &state) {
  Discard sink;
  std::ostream out(&sink);
  for (auto _ : state) {
    std::istringstream in(Log());
    std::vector<tlmview::LogItem> items = tlmview::ParseLog(in);
    tlmview::LogSummary summary = tlmview::Summarize(items);
    tlmview::PrintSummary(summary, out);
    state.counters["traces"] = static_cast<double>(summary.traces.size());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Log().size()));
}
BENCHMARK(BM_TextReport)->Unit(benchmark::kMillisecond)->Iterations(2);

void BM_HtmlReport(benchmark::State &state) {
  Discard sink;
  std::ostream out(&sink);
  for (auto _ : state) {
    std::istringstream in(Log());
    std::vector<tlmview::LogItem> items = tlmview::ParseLog(in);
    tlmview::WriteHtmlReport(tlmview::Summarize(items), {{"log", &items}}, {}, out);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Log().size()));
}
BENCHMARK(BM_HtmlReport)->Unit(benchmark::kMillisecond)->Iterations(2);

}  // namespace

BENCHMARK_MAIN();
