// Time zone settings for the tests of the continuous local time.
#ifndef TESTS_KRN_UXPORT_CONTLOCT_TEST_ZONE_H
#define TESTS_KRN_UXPORT_CONTLOCT_TEST_ZONE_H

#include <optional>

#include "krn/uxport/contloct.h"

// 2024 in Berlin: 02:00 CET -> 03:00 CEST, and 03:00 CEST -> 02:00 CET (first seconds after).
constexpr time_t kBerlinDstStart = 1711846800;
constexpr time_t kBerlinDstEnd = 1729990800;
constexpr time_t kHour = 3600;

// Sets TZ for a scope and restores it; the module reads the zone anew either way.
class ZoneScope {
 public:
  explicit ZoneScope(const char *zone) {
    if (const char *old = std::getenv("TZ")) saved_ = old;
    Set(zone);
  }
  ~ZoneScope() { Set(saved_ ? saved_->c_str() : nullptr); }

 private:
  static void Set(const char *zone) {
    if (zone != nullptr) {
      setenv("TZ", zone, 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
    contloct::ForgetZone();
  }
  std::optional<std::string> saved_;
};

#endif  // TESTS_KRN_UXPORT_CONTLOCT_TEST_ZONE_H
