// Arbitrary bytes as the text tlm-agent receives, fed line by line from two hosts into the
// Prometheus conversion: every line is exposed, rejected or skipped, the agent's own counters
// say how many of each, and the scrape follows the exposition format's grammar.
#include <string>

#include "exposition.h"
#include "exposition_grammar.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string text(reinterpret_cast<const char *>(data), size);
  tlmagent::MetricExposition exposition(std::chrono::seconds(60));
  const auto start = tlmagent::Clock::now();
  size_t exposed = 0, rejected = 0, lines = 0;
  for (size_t at = 0; at < text.size(); ++lines) {
    const size_t feed = std::min(text.find('\n', at), text.size());
    const auto now = start + std::chrono::seconds(lines);
    switch (exposition.Take(std::string_view(text).substr(at, feed - at),
                            lines % 2 ? "127.0.0.1" : "::1", now)) {
      case tlmagent::LineFate::kExposed: ++exposed; break;
      case tlmagent::LineFate::kRejected: ++rejected; break;
      case tlmagent::LineFate::kSkipped: break;
    }
    at = feed + 1;
  }
  const std::string scrape = exposition.Scrape();
  const std::string fault = tlm_test::CheckExposition(scrape);
  FUZZ_REQUIRE(fault.empty());
  FUZZ_REQUIRE(scrape.find("\ntlm_agent_exposed_lines_total " + std::to_string(exposed) + "\n") !=
               std::string::npos);
  FUZZ_REQUIRE(scrape.find("\ntlm_agent_rejected_lines_total " + std::to_string(rejected) +
                           "\n") != std::string::npos);
  // Half of the lines are old by now: what they alone fed leaves, and the text still parses.
  exposition.Expire(start + std::chrono::seconds(lines / 2 + 60));
  FUZZ_REQUIRE(tlm_test::CheckExposition(exposition.Scrape()).empty());
  return 0;
}
