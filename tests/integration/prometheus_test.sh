#!/usr/bin/env bash
# tlm-agent's /metrics as Debian's prometheus server reads it: the example server sends to an
# agent for a few seconds, prometheus scrapes the agent every second, and the count of a known
# component that prometheus answers must equal the one tlm-view computes from the text the same
# agent printed. promtool must accept a scrape. Everything started here is stopped here.
# Usage: prometheus_test.sh TLM_AGENT TLM_EXAMPLE_SERVER TLM_VIEW
set -euo pipefail
agent=$1 server=$2 view=$3
if ! command -v prometheus >/dev/null || ! command -v promtool >/dev/null; then
  echo "prometheus is not installed (Debian package prometheus): skipped"
  exit 77
fi
work=$(mktemp -d /tmp/tlm-prometheus.XXXXXX)
pids=()
cleanup() {
  for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
fail() {
  echo "FAILED: $*"
  for f in "$work"/*.err "$work"/prometheus.log; do [ -f "$f" ] && { echo "== $f"; tail -n 20 "$f"; }; done
  exit 1
}
# Waits up to $1 tenths of a second for the command after it to succeed.
wait_for() {
  local tenths=$1
  shift
  for _ in $(seq "$tenths"); do "$@" && return 0; sleep 0.1; done
  return 1
}
free_port() {
  python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}

"$agent" --port 0 --prometheus 127.0.0.1:0 >"$work/agent.txt" 2>"$work/agent.err" &
pids+=($!)
wait_for 100 grep -q 'serving /metrics' "$work/agent.err" || fail "the agent didn't start"
wait_for 100 grep -q 'listening on' "$work/agent.err" || fail "the agent didn't listen"
port=$(sed -n 's/^tlm-agent: listening on .*:\([0-9]*\)$/\1/p' "$work/agent.err")
metrics_port=$(sed -n 's/^tlm-agent: serving \/metrics on .*:\([0-9]*\)$/\1/p' "$work/agent.err")

timeout 120 "$server" --logdir "$work" --seconds 3 --agent-port "$port" >"$work/server.err" 2>&1 ||
  fail "the example server failed"
has_text() { grep -q 'Database|query:Avg. Elapsed Time(ms)' "$work/agent.txt"; }
wait_for 50 has_text || fail "no metric text reached the agent"

expected=$("$view" "$work/agent.txt" |
  sed -n 's/.*Database|query *Avg\. Elapsed Time(ms) *\([0-9][0-9]*\) .*/\1/p')
[ -n "$expected" ] || fail "tlm-view shows no count for Database|query"

curl -sf "http://127.0.0.1:$metrics_port/metrics" >"$work/scrape.txt" || fail "no scrape"
promtool check metrics <"$work/scrape.txt" || fail "promtool refused the scrape"

prometheus_port=$(free_port)
cat >"$work/prometheus.yml" <<YAML
global:
  scrape_interval: 1s
scrape_configs:
  - job_name: tlm
    static_configs:
      - targets: ['127.0.0.1:$metrics_port']
YAML
prometheus --config.file="$work/prometheus.yml" --storage.tsdb.path="$work/data" \
  --web.listen-address="127.0.0.1:$prometheus_port" >"$work/prometheus.log" 2>&1 &
pids+=($!)

query='sum(tlm_component_elapsed_seconds_count{component="Database",operation="query"})'
answer=
ask() {
  answer=$(curl -sf "http://127.0.0.1:$prometheus_port/api/v1/query" --data-urlencode "query=$query" |
    sed -n 's/.*"value":\[[^,]*,"\([^"]*\)"\].*/\1/p')
  [ -n "$answer" ]
}
wait_for 600 ask || fail "prometheus never answered $query"
[ "$answer" = "$expected" ] || fail "prometheus counts $answer, tlm-view $expected"
echo "prometheus and tlm-view both count $answer samples of Database|query"
