// pfcreate_zul_uuid against the raw uuid_generate_time, with the uuidd daemon and without it.
// The figures without it come from a child process whose private mount namespace lays an empty
// directory over /run/uuidd, so that libuuid can't reach the daemon's socket there, as on a host
// where it doesn't run. The creation lock is a real one, as after pfuuid_init.
#include <benchmark/benchmark.h>
#include <sys/wait.h>
#include <unistd.h>
#include <uuid/uuid.h>

#include <cstdio>
#include <string>

#include "../tests/support/uuidd_socket.h"
#include "zul_pfuuid.h"
#include "zul_thr.h"

namespace {

void RawGenerate(benchmark::State &state) {
  unsigned char out[PFUUID_LEN];
  for (auto _ : state) {
    uuid_generate_time(out);
    benchmark::DoNotOptimize(out);
  }
}

void CreateZulUuid(benchmark::State &state) {
  ZUL_RAW out[PFUUID_LEN];
  int failures = 0;
  for (auto _ : state) {
    failures += pfcreate_zul_uuid(out) != PFUUID_OK;
    benchmark::DoNotOptimize(out);
  }
  if (failures != 0) state.SkipWithError("identifiers failed the version check");
}

// Without the lock: what the check and the re-ordering add to the raw call.
void CreateUnlocked(benchmark::State &state) {
  ZUL_RAW out[PFUUID_LEN];
  int failures = 0;
  for (auto _ : state) {
    failures += pfcreate_zul_uuid_spec(out, 0, 1) != PFUUID_OK;
    benchmark::DoNotOptimize(out);
  }
  if (failures != 0) state.SkipWithError("identifiers failed the version check");
}

void Register(const std::string &prefix) {
  benchmark::RegisterBenchmark((prefix + "/uuid_generate_time").c_str(), RawGenerate);
  benchmark::RegisterBenchmark((prefix + "/pfcreate_zul_uuid").c_str(), CreateZulUuid);
  benchmark::RegisterBenchmark((prefix + "/pfcreate_zul_uuid_spec_unlocked").c_str(),
                               CreateUnlocked);
}

}  // namespace

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  ThrProcInit();
  int uuidd = pfuuid_linux_uuidd_test();
  if (uuidd != 0) {
    std::fprintf(stderr, "uuidd doesn't answer (code %d): both groups run without it\n", uuidd);
  }

  // The child goes first, before this process holds a batch from the daemon that it would inherit.
  std::fflush(nullptr);
  pid_t child = fork();
  if (child == 0) {
    if (!HideUuiddSocket()) {
      std::fprintf(stderr, "no mount namespace here: the no_uuidd group is left out\n");
      _exit(0);
    }
    Register("no_uuidd");
    benchmark::RunSpecifiedBenchmarks();
    std::fflush(nullptr);
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);

  Register("uuidd");
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
