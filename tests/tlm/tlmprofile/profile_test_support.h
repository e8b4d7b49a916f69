// Helpers of the configuration tests: a temporary directory with files, a scoped environment
// variable and working directory, 16-bit text from 8-bit literals, and a fixture that removes the
// parameter store after each test.
#ifndef TESTS_TLM_TLMPROFILE_PROFILE_TEST_SUPPORT_H
#define TESTS_TLM_TLMPROFILE_PROFILE_TEST_SUPPORT_H

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "i18n/zulu16/zulstring.h"
#include "tlm/tlmprofile/tlmparameterloader.h"

namespace profile_test {

// Widens ASCII (or raw bytes, one unit each) to 16-bit text.
inline zulstring Z(const std::string &text) {
  zulstring out;
  for (unsigned char c : text) out.push_back(c);
  return out;
}

// A directory from mkdtemp, removed with its content at the end.
class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "tlmprofile.XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) ADD_FAILURE() << "mkdtemp failed";
    path_ = pattern;
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all, ignored);
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;

  const std::string &path() const { return path_; }
  zulstring zpath() const { return Z(path_); }

  // Writes bytes to the file name in this directory (a relative name may name a subdirectory that
  // exists) and answers its path.
  std::string Write(const std::string &name, const std::string &bytes) const {
    std::string file = path_ + "/" + name;
    std::ofstream(file, std::ios::binary | std::ios::trunc) << bytes;
    return file;
  }
  std::string Mkdir(const std::string &name) const {
    std::string dir = path_ + "/" + name;
    std::filesystem::create_directory(dir);
    return dir;
  }

 private:
  std::string path_;
};

// Sets (or unsets, for nullopt) an environment variable and restores it at the end.
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

// Each test starts and ends without a parameter store.
class StoreTest : public ::testing::Test {
 protected:
  void SetUp() override { tlmprofile::CParameterLoader::release(); }
  void TearDown() override { tlmprofile::CParameterLoader::release(); }
};

}  // namespace profile_test

#endif  // TESTS_TLM_TLMPROFILE_PROFILE_TEST_SUPPORT_H
