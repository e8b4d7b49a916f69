// Helpers of the configuration tests: files in temporary directories, a scoped environment
// variable and working directory, and a fixture that removes the parameter store around each test.
#ifndef TESTS_TLM_TLMPROFILE_PROFILE_TEST_SUPPORT_H
#define TESTS_TLM_TLMPROFILE_PROFILE_TEST_SUPPORT_H

#include <stdlib.h>

#include <optional>

#include "i18n/zulu16/zulstring.h"
#include "tlm/tlmprofile/tlmparameterloader.h"
#include "trace_capture.h"

namespace profile_test {

using tlm_test::TempDir;

// Widens bytes to 16-bit text, one unit each.
inline zulstring Z(const std::string &text) { return zulstring(text.begin(), text.end()); }

// Writes bytes to the file name in dir.
inline void Write(const TempDir &dir, const std::string &name, const std::string &bytes) {
  std::ofstream(dir.File(name), std::ios::binary) << bytes;
}

// Sets (or, for nullopt, unsets) an environment variable and restores it at the end.
class ScopedEnv {
 public:
  ScopedEnv(const char *name, std::optional<std::string> value) : name_(name) {
    if (const char *old = getenv(name)) old_ = old;
    value ? setenv(name, value->c_str(), 1) : unsetenv(name);
  }
  ~ScopedEnv() { old_ ? setenv(name_, old_->c_str(), 1) : unsetenv(name_); }

 private:
  const char *name_;
  std::optional<std::string> old_;
};

// Makes dir the working directory and restores the former one at the end.
class ScopedCwd {
 public:
  explicit ScopedCwd(const std::string &dir) : old_(std::filesystem::current_path()) {
    std::filesystem::current_path(dir);
  }
  ~ScopedCwd() { std::filesystem::current_path(old_); }

 private:
  std::filesystem::path old_;
};

class StoreTest : public ::testing::Test {
 protected:
  void SetUp() override { tlmprofile::CParameterLoader::release(); }
  void TearDown() override { tlmprofile::CParameterLoader::release(); }
};

}  // namespace profile_test

#endif  // TESTS_TLM_TLMPROFILE_PROFILE_TEST_SUPPORT_H
