// Helpers of the configuration tests: temporary directories, a scoped environment variable and
// working directory, and a fixture that removes the parameter store around each test.
#ifndef TESTS_TLM_TLMPROFILE_PROFILE_TEST_SUPPORT_H
#define TESTS_TLM_TLMPROFILE_PROFILE_TEST_SUPPORT_H

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "i18n/zulu16/zulstring.h"
#include "tlm/tlmprofile/tlmparameterloader.h"

namespace profile_test {

// Widens bytes to 16-bit text, one unit each.
inline zulstring Z(const std::string &text) { return zulstring(text.begin(), text.end()); }

// A directory from mkdtemp, removed with its content at the end.
class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "tlmprofile.XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) ADD_FAILURE() << "mkdtemp failed";
    path_ = pattern;
  }
  ~TempDir() { std::filesystem::remove_all(path_); }

  const std::string &path() const { return path_; }
  zulstring zpath() const { return Z(path_); }
  // Writes bytes to name in this directory; answers the file's path.
  std::string Write(const std::string &name, const std::string &bytes) const {
    std::ofstream(path_ + "/" + name, std::ios::binary) << bytes;
    return path_ + "/" + name;
  }

 private:
  std::string path_;
};

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
