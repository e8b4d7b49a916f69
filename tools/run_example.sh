#!/usr/bin/env bash
# Builds tlm.so (optimised) and runs the example application against it, showing its output.
# Installs missing Debian packages and starts uuidd when it isn't running, first.
# Build tree: build/release.
set -euo pipefail
cd "$(dirname "$0")/.."
source tools/lib/ensure_packages.sh
source tools/lib/uuidd.sh
ensure_packages "${TLM_BUILD_PACKAGES[@]}"
ensure_uuidd

cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DTLM_BUILD_TESTS=OFF
cmake --build build/release -j "$(nproc)"
echo "== built $(ls build/release/src/tlm.so)"
echo "== running examples/tlm_example"
./build/release/examples/tlm_example
