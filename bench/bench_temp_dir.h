// A fresh directory under /tmp for a benchmark's files, removed with everything in it at the end.
#ifndef TLM_BENCH_TEMP_DIR_H
#define TLM_BENCH_TEMP_DIR_H

#include <stdlib.h>

#include <filesystem>
#include <string>

namespace bench {

class TempDir {
 public:
  // prefix names the benchmark in the directory's name.
  explicit TempDir(const std::string &prefix) {
    std::string pattern = "/tmp/" + prefix + ".XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) abort();
    path_ = pattern;
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;

  const std::string &path() const { return path_; }
  // The path as the library's 16-bit parameter values take it (the path is ASCII).
  std::u16string path16() const { return std::u16string(path_.begin(), path_.end()); }

 private:
  std::string path_;
};

}  // namespace bench

#endif  // TLM_BENCH_TEMP_DIR_H
