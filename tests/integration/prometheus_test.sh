#!/usr/bin/env bash
# tlm-agent --prometheus with the example server sending to it. While the texts arrive, /metrics
# is scraped a hundred times in a second beside clients that misbehave (silent, not a GET of
# /metrics, a 100 KB request line), and every scrape must be served. Then Debian's prometheus
# server scrapes the agent every second: the count of a known component that it answers must
# equal the one tlm-view computes from the text the same agent printed, and promtool must accept
# a scrape. At last the idle series leave /metrics. Everything started here is stopped here.
# Usage: prometheus_test.sh TLM_AGENT TLM_EXAMPLE_SERVER TLM_VIEW
set -euo pipefail
agent=$1 server=$2 view=$3
work=$(mktemp -d /tmp/tlm-prometheus.XXXXXX)
pids=()
cleanup() {
  for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
fail() {
  echo "FAILED after ${SECONDS} s: $*"
  for f in "$work"/*.err "$work"/prometheus.log; do [ -f "$f" ] && { echo "== $f"; tail -n 20 "$f"; }; done
  exit 1
}
# Waits up to $1 seconds for the command after it to succeed.
wait_for() {
  local deadline=$((SECONDS + $1))
  shift
  until "$@"; do
    [ "$SECONDS" -lt "$deadline" ] || return 1
    sleep 0.1
  done
}
port_of() { sed -n "s/^tlm-agent: $2 on .*:\([0-9]*\)$/\1/p" "$work/$1"; }

"$agent" --port 0 --prometheus 127.0.0.1:0 >"$work/agent.txt" 2>"$work/agent.err" &
pids+=($!)
wait_for 10 grep -q 'listening on' "$work/agent.err" || fail "the agent didn't start"
port=$(port_of agent.err 'listening') metrics_port=$(port_of agent.err 'serving \/metrics')
url=http://127.0.0.1:$metrics_port

timeout 120 "$server" --logdir "$work" --seconds 4 --agent-port "$port" >"$work/server.err" 2>&1 &
pids+=($!)
server_pid=$!
# Silent clients hold a worker each until the server drops them; the others are refused.
for fd in 5 6 7 8; do eval "exec $fd<>/dev/tcp/127.0.0.1/$metrics_port"; done
for bad in "-X POST $url/metrics" "$url/other" "$url/$(head -c 102400 /dev/zero | tr '\0' a)"; do
  # shellcheck disable=SC2086
  code=$(curl -s -o /dev/null -w '%{http_code}' --max-time 5 $bad || true)
  [ "$code" != 200 ] || fail "served: curl ${bad:0:40}..."
done
scrapes=()
for _ in $(seq 100); do
  curl -sf --max-time 5 -o /dev/null "$url/metrics" &
  scrapes+=($!)
  sleep 0.01
done
served=0
for p in "${scrapes[@]}"; do wait "$p" && served=$((served + 1)); done
[ "$served" = 100 ] || fail "$served of 100 scrapes served"
for fd in 5 6 7 8; do eval "exec $fd>&-"; done
wait "$server_pid" || fail "the example server failed"

has_text() { grep -q 'Database|query:Avg. Elapsed Time(ms)' "$work/agent.txt"; }
wait_for 5 has_text || fail "no metric text reached the agent"
expected=$("$view" "$work/agent.txt" |
  sed -n 's/.*Database|query *Avg\. Elapsed Time(ms) *\([0-9][0-9]*\) .*/\1/p')
[ -n "$expected" ] || fail "tlm-view shows no count for Database|query"

if ! command -v prometheus >/dev/null; then
  echo "prometheus is not installed (Debian package prometheus): the rest is skipped"
  exit 77
fi
curl -sf "$url/metrics" >"$work/scrape.txt" || fail "no scrape"
promtool check metrics <"$work/scrape.txt" || fail "promtool refused the scrape"

prometheus_port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
printf 'global:\n  scrape_interval: 1s\nscrape_configs:\n  - job_name: tlm\n    static_configs:\n      - targets: ["127.0.0.1:%s"]\n' \
  "$metrics_port" >"$work/prometheus.yml"
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
wait_for 60 ask || fail "prometheus never answered $query; its targets: $(curl -s \
  "http://127.0.0.1:$prometheus_port/api/v1/targets")"
[ "$answer" = "$expected" ] || fail "prometheus counts $answer, tlm-view $expected"
echo "prometheus and tlm-view both count $answer samples of Database|query"


# A second agent that forgets series after a second of silence.
"$agent" --port 0 --prometheus 127.0.0.1:0 --prometheus-idle 1 >/dev/null 2>"$work/idle.err" &
pids+=($!)
wait_for 10 grep -q 'listening on' "$work/idle.err" || fail "the second agent didn't start"
echo '<metric type="IntAverage" name="S|P_1|Idle|op:Finished Counter" value="1" />' \
  >/dev/tcp/127.0.0.1/"$(port_of idle.err listening)"
idle_url=http://127.0.0.1:$(port_of idle.err 'serving \/metrics')/metrics
shown() { curl -sf "$idle_url" | grep -q 'component="Idle"'; }
wait_for 10 shown || fail "the second agent never showed its series"
wait_for 10 eval '! shown' || fail "the idle series stayed on /metrics"
