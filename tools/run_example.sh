#!/usr/bin/env bash
# Builds tlm.so, the examples and the viewer (optimised, build tree build/release), runs the example
# server into a fresh log directory and shows what it wrote: the files, the first lines of the raw
# log, the viewer's report of each log, and one transaction followed from the server into the
# backend process.
# Installs missing Debian packages and starts uuidd when it isn't running, first.
#   tools/run_example.sh [SECONDS]     how long the server runs (default 17: one timed send of
#                                      the 15 s sending interval, then the final one at the stop)
set -euo pipefail
cd "$(dirname "$0")/.."
source tools/lib/ensure_packages.sh
source tools/lib/uuidd.sh

seconds=${1:-17}
build=build/release
view=./$build/tools/view/tlm-view

# Runs a command with its output in the build log; prints the log's end when it fails.
quietly() {
  if ! "$@" >>"$build_log" 2>&1; then
    echo "== failed: $*; the end of ${build_log}:" >&2
    tail -n 40 "$build_log" >&2
    exit 1
  fi
}

echo "== checking packages and uuidd"
ensure_packages "${TLM_BUILD_PACKAGES[@]}"
ensure_uuidd

mkdir -p "$build"
build_log=$build/run_example.log
: >"$build_log"
echo "== building tlm.so, the examples and tlm-view in ${build} (log: ${build_log})"
quietly cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTLM_BUILD_TESTS=OFF
quietly cmake --build "$build" -j "$(nproc)" --target tlm tlm_example_server tlm_example tlm-view

logdir=$(mktemp -d /tmp/tlm-example.XXXXXX)
echo "== running examples/tlm_example_server for ${seconds} s into ${logdir}"
"./$build/examples/tlm_example_server" --logdir "$logdir" --seconds "$seconds"
echo "== running examples/tlm_example (one transaction in C)"
"./$build/examples/tlm_example" "$logdir"

echo
echo "== files in ${logdir}"
ls -l "$logdir"
echo
echo "== first lines of ${logdir}/ExampleServer_mtdata.log (cut to 160 characters)"
head -n 8 "$logdir/ExampleServer_mtdata.log" | cut -c 1-160

for log in "$logdir"/*_mtdata.log; do
  echo
  echo "== tlm-view ${log}"
  "$view" --traces 2 "$log"
done

# The backend continued transactions that the server began: its first trace names one, and the
# server's trace of that transaction names the same.
transaction=$("$view" "$logdir/ExampleBackend_mtdata.log" |
  sed -n 's/^Transaction trace (line [0-9]*)  transaction //p' | head -n 1)
if [ -n "$transaction" ]; then
  echo
  echo "== one transaction in both processes: tlm-view --transaction ${transaction}"
  "$view" --transaction "$transaction" "$logdir/ExampleServer_mtdata.log" \
    "$logdir/ExampleBackend_mtdata.log"
fi
