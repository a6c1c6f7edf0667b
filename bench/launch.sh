#!/usr/bin/env bash
# Launch to tray: the wall time from starting `orvane` to its tray icon registering with the panel's
# StatusNotifierWatcher, warm (the first launch, which also warms the page cache, is not counted).
# The watcher is the tests' fake panel; the moment is the time stamp dbus-monitor gives the registration call.
# Usage: bench/launch.sh [--runs N, default 10] [--build DIR, default build/release]
# It brings up the test services itself (scripts/with-test-services) unless it already runs inside them.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
[ -n "${ORVANE_TEST_SERVICES:-}" ] || exec "$here/../scripts/with-test-services" "$0" "$@"

runs=10
build=build/release
while [ $# -gt 0 ]; do
  case $1 in
    --runs) runs=$2; shift 2 ;;
    --build) build=$2; shift 2 ;;
    *) echo "usage: bench/launch.sh [--runs N] [--build DIR]" >&2; exit 2 ;;
  esac
done
bin=$(cd "$build/bin" && pwd)

work=$(mktemp -d)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  for pid in "${pids[@]}"; do wait "$pid" 2>/dev/null || true; done
  rm -rf "$work"
}
trap cleanup EXIT

# Waits up to 10 s for a line matching $2 in file $1.
await() {
  for _ in $(seq 200); do
    grep -q "$2" "$1" 2>/dev/null && return 0
    sleep 0.05
  done
  echo "timed out waiting for \"$2\" in $1" >&2
  return 1
}

"$bin/fake_sni_watcher" >"$work/watcher.out" &
pids+=("$!")
await "$work/watcher.out" ready
dbus-monitor --session "type='method_call',member='RegisterStatusNotifierItem'" >"$work/monitor.out" 2>&1 &
pids+=("$!")
await "$work/monitor.out" NameAcquired

export ORVANE_SUPPORT_DIR="$work/support" ORVANE_DEFAULTS_SUITE=orvane-bench-launch ORVANE_NO_BROWSER=1
launch() { # prints the seconds from the start to the registration
  local before registered
  local seen
  seen=$(grep -c RegisterStatusNotifierItem "$work/monitor.out" || true)
  before=$(date +%s.%N)
  "$bin/orvane" >>"$work/orvane.out" 2>&1 &
  local app=$!
  for _ in $(seq 200); do
    [ "$(grep -c RegisterStatusNotifierItem "$work/monitor.out" || true)" -gt "$seen" ] && break
    sleep 0.02
  done
  registered=$(grep RegisterStatusNotifierItem "$work/monitor.out" | tail -n 1 | sed -n 's/.*time=\([0-9.]*\).*/\1/p')
  kill "$app"
  wait "$app" || true
  awk -v a="$before" -v b="$registered" 'BEGIN { printf "%.3f\n", b - a }'
}

launch >/dev/null
echo "launch to tray, $runs warm launches (s):"
for _ in $(seq "$runs"); do launch; done | sort -n | tee "$work/times" | tr '\n' ' '
echo
awk '{ t[NR] = $1 } END { printf "median %.3f s, max %.3f s\n", t[int((NR + 1) / 2)], t[NR] }' "$work/times"
