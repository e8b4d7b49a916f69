// Replays every file of a corpus directory (or the files given) through LLVMFuzzerTestOneInput.
// A crash or sanitizer report fails the test; the fuzzer itself is not needed.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

static int ReplayFile(const std::filesystem::path &path) {
  std::ifstream in(path, std::ios::binary);
  std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  // A heap copy of exactly the file's size, so that a read past the end is caught.
  std::vector<uint8_t> data(bytes.begin(), bytes.end());
  LLVMFuzzerTestOneInput(data.empty() ? nullptr : data.data(), data.size());
  return 1;
}

int main(int argc, char **argv) {
  int replayed = 0;
  for (int i = 1; i < argc; ++i) {
    std::filesystem::path p(argv[i]);
    if (std::filesystem::is_directory(p)) {
      for (const auto &e : std::filesystem::recursive_directory_iterator(p))
        if (e.is_regular_file()) replayed += ReplayFile(e.path());
    } else {
      replayed += ReplayFile(p);
    }
  }
  std::printf("replayed %d inputs\n", replayed);
  return replayed > 0 ? 0 : 1;
}
