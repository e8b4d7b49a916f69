#!/usr/bin/env bash
# Builds tlm.so, the example server and the viewer (optimised, build tree build/release), runs the
# example into a fresh log directory and shows what it wrote: the files, the first lines of the
# raw log, and the viewer's report of each log.
# Installs missing Debian packages and starts uuidd when it isn't running, first.
#   tools/run_example.sh [SECONDS]     how long the server runs (default 20: one timed send)
set -euo pipefail
cd "$(dirname "$0")/.."
source tools/lib/ensure_packages.sh
source tools/lib/uuidd.sh
ensure_packages "${TLM_BUILD_PACKAGES[@]}"
ensure_uuidd

seconds=${1:-20}

cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DTLM_BUILD_TESTS=OFF >/dev/null
cmake --build build/release -j "$(nproc)" --target tlm tlm_example_server tlm_example tlm-view
echo "== built $(ls build/release/src/tlm.so)"

logdir=$(mktemp -d /tmp/tlm-example.XXXXXX)
echo "== running examples/tlm_example_server for ${seconds} s into ${logdir}"
./build/release/examples/tlm_example_server --logdir "$logdir" --seconds "$seconds"
echo "== running examples/tlm_example (one transaction in C)"
./build/release/examples/tlm_example "$logdir"

echo
echo "== files in ${logdir}"
ls -l "$logdir"
echo
echo "== first lines of ${logdir}/ExampleServer_mtdata.log (cut to 160 characters)"
head -n 12 "$logdir/ExampleServer_mtdata.log" | cut -c 1-160

for log in "$logdir"/*_mtdata.log; do
  echo
  echo "== tlm-view ${log}"
  ./build/release/tools/view/tlm-view --traces 3 "$log"
done
