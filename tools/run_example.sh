#!/usr/bin/env bash
# Builds tlm.so, the examples and the viewer (optimised, build tree build/release), runs the example
# server into a fresh log directory and shows what it wrote: the files, the first lines of the raw
# log, the viewer's report of each log, and one transaction followed from the server into the
# backend process. Ends by writing the viewer's HTML page of the logs beside them.
# Installs missing Debian packages and starts uuidd when it isn't running, first.
#   tools/run_example.sh [--agent] [SECONDS]
#     SECONDS    how long the server runs (default 17: one timed send of the 15 s sending
#                interval, then the final one at the stop)
#     --agent    send over TCP instead: tlm-agent listens on a free port, the example server and
#                its backend send there, and what tlm-agent printed goes through tlm-view
set -euo pipefail
cd "$(dirname "$0")/.."
source tools/lib/ensure_packages.sh
source tools/lib/uuidd.sh

agent=0
if [ "${1:-}" = "--agent" ]; then
  agent=1
  shift
fi
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
quietly cmake --build "$build" -j "$(nproc)" --target tlm tlm_example_server tlm_example tlm-view \
  tlm-agent

logdir=$(mktemp -d /tmp/tlm-example.XXXXXX)

# The HTML page of the given logs, beside them, and how to open it.
write_report() {
  local report=$logdir/report.html
  "$view" --html "$report" "$@"
  echo
  echo "== the same as a page: file://${report}"
  echo "open it in a browser, e.g. chromium file://${report} (one file: tables, sparklines, waterfalls)"
}

if [ "$agent" = 1 ]; then
  received=$logdir/agent.txt
  echo "== starting tlm-agent on a free port, printing into ${received}"
  "./$build/tools/agent/tlm-agent" --port 0 >"$received" 2>"$logdir/agent.err" &
  agent_pid=$!
  trap 'kill "$agent_pid" 2>/dev/null || true' EXIT
  port=
  for _ in $(seq 50); do
    port=$(sed -n 's/^tlm-agent: listening on .*:\([0-9]*\)$/\1/p' "$logdir/agent.err")
    [ -n "$port" ] && break
    sleep 0.1
  done
  [ -n "$port" ] || { cat "$logdir/agent.err" >&2; exit 1; }
  echo "== running examples/tlm_example_server for ${seconds} s, sending to localhost:${port}"
  "./$build/examples/tlm_example_server" --logdir "$logdir" --seconds "$seconds" \
    --agent-port "$port"
  kill "$agent_pid"
  wait "$agent_pid" || true
  trap - EXIT
  echo
  echo "== ${received}: $(wc -l <"$received") lines received over TCP; the first (cut to 160)"
  head -n 8 "$received" | cut -c 1-160
  echo
  echo "== tlm-view ${received}"
  "$view" --traces 2 "$received"
  write_report "$received"
  exit 0
fi
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

write_report "$logdir"/*_mtdata.log
