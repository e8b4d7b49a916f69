#!/usr/bin/env bash
# Builds the benchmarks (optimised, no sanitizers) into build/bench and runs them:
#   tools/bench.sh                 every bench/*_bench.cpp program
#   tools/bench.sh u16_string      one program, extra arguments go to Google Benchmark
set -euo pipefail
cd "$(dirname "$0")/.."
source tools/lib/ensure_packages.sh
source tools/lib/uuidd.sh
ensure_packages "${TLM_BUILD_PACKAGES[@]}"
ensure_uuidd

cmake -S . -B build/bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DTLM_BUILD_TESTS=OFF \
      -DTLM_BUILD_EXAMPLES=OFF -DTLM_BUILD_BENCH=ON >/dev/null
cmake --build build/bench -j "$(nproc)"
if [ $# -ge 1 ]; then
  name=$1; shift
  "./build/bench/bench/${name}_bench" "$@"
else
  for b in build/bench/bench/*_bench; do "$b"; done
fi
