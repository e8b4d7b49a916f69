// Helpers of the system call wrapper tests: a private temporary directory with 16-bit and UTF-8
// paths inside it, and files read as bytes.
#ifndef TLM_TESTS_I18N_ZULU16_U16_SYS_TEST_UTIL_H
#define TLM_TESTS_I18N_ZULU16_U16_SYS_TEST_UTIL_H

#include <cstdio>
#include <string>

#include "trace_capture.h"
#include "u16_string_test_support.h"

namespace u16systest {

using tlm_test::Utf8;

// A directory removed with its contents at the end of the scope; its own path is ASCII.
class TempDir : public tlm_test::TempDir {
 public:
  bool ok() const { return !path().empty(); }
  std::u16string U16(const std::u16string &name) const { return u16test::W(path() + "/") + name; }
  std::string Bytes(const std::u16string &name) const { return File(Utf8(name)); }
};

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
