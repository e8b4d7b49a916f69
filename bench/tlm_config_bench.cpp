// The configuration's two costs: the start-up from a tlm.conf of all 43 keys (read, merged over
// the defaults, converted), and the read of the instrument level threshold that every timing call
// makes. References: the same file read into a map of 8-bit strings with the standard streams, and
// a relaxed load of a global word.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <fstream>
#include <map>
#include <string>

#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "tlm/tlmprofile/tlmparameterkeys.h"

namespace {

using H = TLMParameterHelper;

// A directory with a tlm.conf that sets every valid key; removed at the end.
class ConfigDirectory {
 public:
  ConfigDirectory() {
    char pattern[] = "/tmp/tlm_config_bench.XXXXXX";
    if (mkdtemp(pattern) == nullptr) abort();
    dir_ = pattern;
    std::ofstream out(file());
    out << "# every key the library knows\n";
    for (const ZUL_UTF16 *key : tlmprofile::kValidKeys) {
      std::string name(key, key + std::char_traits<char16_t>::length(key));
      out << name << " = "
          << (name.find("host") != std::string::npos ? "collector.example.com" : "120") << "\n";
    }
  }
  ~ConfigDirectory() {
    unlink(file().c_str());
    rmdir(dir_.c_str());
  }
  std::string file() const { return dir_ + "/tlm.conf"; }
  zulstring zdir() const { return zulstring(dir_.begin(), dir_.end()); }

 private:
  std::string dir_;
};

void LoadAndConvert(benchmark::State &state) {
  ConfigDirectory config;
  zulstring dir = config.zdir();
  for (auto _ : state) {
    H::ConfigParameters(dir);
    benchmark::DoNotOptimize(H::GetDataSendingInterval());
    H::CleanUp();
  }
}

// Reference: the lines of the same file into a map, without any rule or conversion.
void ReadWithStandardStreams(benchmark::State &state) {
  ConfigDirectory config;
  for (auto _ : state) {
    std::ifstream in(config.file());
    std::map<std::string, std::string> map;
    for (std::string line; std::getline(in, line);) {
      size_t equals = line.find('=');
      if (line.empty() || line[0] == '#' || equals == std::string::npos) continue;
      map.emplace(line.substr(0, equals), line.substr(equals + 1));
    }
    benchmark::DoNotOptimize(map);
  }
}

void GetInstruLevelThreshold(benchmark::State &state) {
  ConfigDirectory config;
  H::ConfigParameters(config.zdir());
  for (auto _ : state) benchmark::DoNotOptimize(H::GetInstruLevelThreshold());
  H::CleanUp();
}

std::atomic<uint16_t> g_word{10};

// Reference: the cost of one load of a word that another thread may change.
void RelaxedGlobalLoad(benchmark::State &state) {
  for (auto _ : state) benchmark::DoNotOptimize(g_word.load(std::memory_order_relaxed));
}

BENCHMARK(LoadAndConvert);
BENCHMARK(ReadWithStandardStreams);
BENCHMARK(GetInstruLevelThreshold);
BENCHMARK(RelaxedGlobalLoad);

}  // namespace

BENCHMARK_MAIN();
