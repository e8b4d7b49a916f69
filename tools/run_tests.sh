#!/usr/bin/env bash
# Builds tlm.so and every test under AddressSanitizer + UndefinedBehaviorSanitizer and runs them
# all through CTest; then builds the concurrency tests under ThreadSanitizer and runs those.
# Installs missing Debian packages and starts uuidd when it isn't running, first.
# Build trees: build/asan and build/tsan.
set -euo pipefail
cd "$(dirname "$0")/.."
source tools/lib/ensure_packages.sh
source tools/lib/uuidd.sh
ensure_packages "${TLM_BUILD_PACKAGES[@]}"
ensure_uuidd

jobs=$(nproc)
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}

# Each phase reports its wall time at the end, so that a slow build or run shows where it is.
phase_start=$SECONDS
phases=()
phase_done() {
  phases+=("$1: $((SECONDS - phase_start)) s")
  phase_start=$SECONDS
}

cmake -S . -B build/asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DTLM_SANITIZE=address
cmake --build build/asan -j "$jobs"
phase_done "AddressSanitizer build"
ctest --test-dir build/asan -j "$jobs" --output-on-failure --timeout 600
phase_done "AddressSanitizer tests"

cmake -S . -B build/tsan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DTLM_SANITIZE=thread \
      -DTLM_BUILD_EXAMPLES=OFF -DTLM_BUILD_TOOLS=OFF
cmake --build build/tsan -j "$jobs"
phase_done "ThreadSanitizer build"
ctest --test-dir build/tsan -j "$jobs" --output-on-failure --timeout 600 -L concurrency
phase_done "ThreadSanitizer tests"

printf '%s\n' "${phases[@]}"
