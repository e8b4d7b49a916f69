// Helpers of the system call wrapper tests: a private temporary directory, UTF-8 forms of 16-bit
// literals, and files written or read as bytes.
#ifndef TLM_TESTS_I18N_ZULU16_U16_SYS_TEST_UTIL_H
#define TLM_TESTS_I18N_ZULU16_U16_SYS_TEST_UTIL_H

#include <ftw.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "u16_string_test_support.h"

namespace u16systest {

// The UTF-8 form of BMP text, unit by unit.
inline std::string Utf8(const std::u16string &text) {
  std::string out;
  for (char16_t u : text) {
    if (u < 0x80) {
      out += static_cast<char>(u);
    } else if (u < 0x800) {
      out += static_cast<char>(0xC0 | (u >> 6));
      out += static_cast<char>(0x80 | (u & 0x3F));
    } else {
      out += static_cast<char>(0xE0 | (u >> 12));
      out += static_cast<char>(0x80 | ((u >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (u & 0x3F));
    }
  }
  return out;
}

// A directory made by mkdtemp, removed with its contents at the end of the scope.
class TempDir {
 public:
  TempDir() {
    std::string pattern = std::string(P_tmpdir) + "/tlm_u16sys_XXXXXX";
    if (mkdtemp(pattern.data()) != nullptr) path_ = pattern;
  }
  ~TempDir() {
    if (!path_.empty()) {
      nftw(
          path_.c_str(),
          [](const char *p, const struct stat *, int, struct FTW *) { return std::remove(p); }, 16,
          FTW_DEPTH | FTW_PHYS);
    }
  }
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;

  bool ok() const { return !path_.empty(); }
  const std::string &path() const { return path_; }
  // The 16-bit path of name inside the directory (the directory's own path is ASCII).
  std::u16string U16(const std::u16string &name) const { return u16test::W(path_ + "/") + name; }
  std::string Bytes(const std::u16string &name) const { return path_ + "/" + Utf8(name); }

 private:
  std::string path_;
};

inline bool WriteBytes(const std::string &path, const std::string &bytes) {
  FILE *f = std::fopen(path.c_str(), "wb");
  if (f == nullptr) return false;
  bool ok = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
  return std::fclose(f) == 0 && ok;
}

inline std::string ReadBytes(const std::string &path) {
  std::string out;
  FILE *f = std::fopen(path.c_str(), "rb");
  if (f == nullptr) return out;
  for (int c; (c = std::fgetc(f)) != EOF;) out += static_cast<char>(c);
  std::fclose(f);
  return out;
}

}  // namespace u16systest

#endif  // TLM_TESTS_I18N_ZULU16_U16_SYS_TEST_UTIL_H
