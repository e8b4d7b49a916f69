// Plumbing that several fuzz targets share: a check that stops the fuzzer and names the broken
// rule, 16-bit text and fields made from input bytes, and a private temporary directory.
#ifndef FUZZ_FUZZ_SUPPORT_H
#define FUZZ_FUZZ_SUPPORT_H

#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "zul_base.h"

#define FUZZ_REQUIRE(cond)                                                      \
  do {                                                                          \
    if (!(cond)) {                                                              \
      fprintf(stderr, "check failed: %s (%s:%d)\n", #cond, __FILE__, __LINE__); \
      abort();                                                                  \
    }                                                                           \
  } while (0)

namespace fuzzsupport {

// Input bytes as 16-bit text, one unit per byte, so that ASCII inputs and dictionaries work as
// they are; the byte 0xFF and the two behind it (low byte first) give any other unit.
inline std::u16string Units(const uint8_t *data, size_t size) {
  std::u16string text;
  for (size_t i = 0; i < size; ++i) {
    if (data[i] == 0xFF && i + 2 < size) {
      text.push_back(static_cast<char16_t>(data[i + 1] | data[i + 2] << 8));
      i += 2;
    } else {
      text.push_back(data[i]);
    }
  }
  return text;
}

// The input cut at each separator byte; an input ending in one ends in an empty field.
inline std::vector<std::vector<uint8_t>> Fields(const uint8_t *data, size_t size,
                                                uint8_t separator) {
  std::vector<std::vector<uint8_t>> fields(1);
  for (size_t i = 0; i < size; ++i) {
    if (data[i] == separator) {
      fields.emplace_back();
    } else {
      fields.back().push_back(data[i]);
    }
  }
  return fields;
}

// A directory of this process under /tmp, removed at exit with the files written into it.
class TempDir {
 public:
  TempDir() {
    char pattern[] = "/tmp/tlm_fuzz.XXXXXX";
    if (mkdtemp(pattern) == nullptr) abort();
    dir_ = pattern;
  }
  ~TempDir() {
    for (const std::string &file : files_) unlink(file.c_str());
    rmdir(dir_.c_str());
  }
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;

  const std::string &path() const { return dir_; }

  // Writes the bytes to name in the directory, replacing what was there; answers the full path.
  std::string Write(const std::string &name, const uint8_t *data, size_t size) {
    std::string file = dir_ + "/" + name;
    FILE *out = fopen(file.c_str(), "wb");
    if (out == nullptr) abort();
    if (size > 0 && fwrite(data, 1, size, out) != size) abort();
    fclose(out);
    for (const std::string &known : files_)
      if (known == file) return file;
    files_.push_back(file);
    return file;
  }

 private:
  std::string dir_;
  std::vector<std::string> files_;
};

}  // namespace fuzzsupport

#endif  // FUZZ_FUZZ_SUPPORT_H
