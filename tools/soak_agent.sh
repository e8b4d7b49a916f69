#!/usr/bin/env bash
# By hand, not in CI: the example server sends to an agent that is down (absent), one that accepts
# and never reads (hung) and one that is killed after 30 s (killed), all three at once, for
# SECONDS (default 600). Prints each server's resident memory 30 s in and at the end, and how many
# error lines its trace has about the agent. Needs tools/run_example.sh to have built build/release.
#   tools/soak_agent.sh [SECONDS]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-600}
build=build/release
server=./$build/examples/tlm_example_server
agent=./$build/tools/agent/tlm-agent
dir=$(mktemp -d /tmp/tlm-soak.XXXXXX)
pids=()
trap 'kill "${pids[@]}" 2>/dev/null || true' EXIT

# Starts tlm-agent with the given options; prints its port.
start_agent() {
  local name=$1
  shift
  "$agent" --port 0 "$@" >"$dir/$name.agent.out" 2>"$dir/$name.agent.err" &
  pids+=($!)
  echo $! >"$dir/$name.agent.pid"
  for _ in $(seq 50); do
    local port
    port=$(sed -n 's/^tlm-agent: listening on .*:\([0-9]*\)$/\1/p' "$dir/$name.agent.err")
    if [ -n "$port" ]; then echo "$port"; return; fi
    sleep 0.1
  done
  exit 1
}

absent_port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])')
hung_port=$(start_agent hung --stall)
killed_port=$(start_agent killed)

declare -A ports=([absent]=$absent_port [hung]=$hung_port [killed]=$killed_port)
declare -A servers
for kind in absent hung killed; do
  mkdir -p "$dir/$kind"
  (cd "$dir/$kind" && exec "$OLDPWD/$server" --logdir "$dir/$kind" --seconds "$seconds" \
    --agent-port "${ports[$kind]}") >"$dir/$kind.out" 2>&1 &
  servers[$kind]=$!
  pids+=($!)
done

rss() { awk '/^VmRSS/ {print $2}' "/proc/$1/status" 2>/dev/null || echo 0; }
sleep 30
kill -9 "$(cat "$dir/killed.agent.pid")"
declare -A early
for kind in absent hung killed; do early[$kind]=$(rss "${servers[$kind]}"); done
sleep $((seconds - 35))
for kind in absent hung killed; do
  late=$(rss "${servers[$kind]}")
  errors=$(grep -h -c "agent destination failed\|Failed to send metric data" \
    "$dir/$kind"/*.trc "$dir/$kind.out" 2>/dev/null | paste -sd+ | bc)
  echo "$kind: RSS ${early[$kind]} kB at 30 s, ${late} kB at $((seconds - 5)) s," \
    "growth $((late - early[$kind])) kB; agent error lines: ${errors:-0}"
done
wait "${servers[@]}" 2>/dev/null || true
echo "files in $dir"
