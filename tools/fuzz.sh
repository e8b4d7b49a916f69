#!/usr/bin/env bash
# Runs one libFuzzer target for a while: tools/fuzz.sh <name> [seconds] [extra libFuzzer flags]
# Builds with Debian's clang into build/fuzz, starts from fuzz/corpus/<name>/ and writes new
# inputs to build/fuzz/corpus-<name>/ (copy interesting ones into fuzz/corpus/<name>/ by hand).
# Crashes land in fuzz/findings/.
set -euo pipefail
cd "$(dirname "$0")/.."
source tools/lib/ensure_packages.sh
ensure_packages "${TLM_BUILD_PACKAGES[@]}" clang libclang-rt-14-dev

name=${1:?usage: tools/fuzz.sh <name> [seconds]}
seconds=${2:-600}
shift $(( $# >= 2 ? 2 : 1 ))

CC=clang CXX=clang++ cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DTLM_SANITIZE=address -DTLM_BUILD_TESTS=OFF -DTLM_BUILD_EXAMPLES=OFF -DTLM_BUILD_FUZZ=ON >/dev/null
cmake --build build/fuzz --target "fuzz_${name}" -j "$(nproc)"
mkdir -p "build/fuzz/corpus-${name}" fuzz/findings
ASAN_OPTIONS=detect_leaks=1 "./build/fuzz/fuzz/fuzz_${name}" \
  -max_total_time="$seconds" -artifact_prefix=fuzz/findings/ -print_final_stats=1 "$@" \
  "build/fuzz/corpus-${name}" "fuzz/corpus/${name}"
