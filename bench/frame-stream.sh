#!/bin/sh
# One frame of the recording's stream with two of our windows painted out, against the same stream with none and
# the plain grab, on a private Xvfb at 1440x900 with openbox (a reparenting window manager).
# Usage: bench/frame-stream.sh [build dir configured with -DORVANE_BENCH=ON, default build/release]
set -eu
build=${1:-build/release}
work=$(mktemp -d)
server=
manager=
cleanup() {
  [ -n "$manager" ] && kill "$manager" 2>/dev/null || true
  [ -n "$server" ] && kill "$server" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

Xvfb -displayfd 1 -screen 0 1440x900x24 -nolisten tcp >"$work/display" 2>"$work/xvfb.log" &
server=$!
for _ in $(seq 100); do [ -s "$work/display" ] && break; sleep 0.1; done
export DISPLAY=":$(cat "$work/display")" XVFB_PID="$server"
openbox >"$work/openbox.log" 2>&1 &
manager=$!
for _ in $(seq 50); do
  xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q 'window id' && break
  sleep 0.1
done
"$build/bin/bench_frame_stream" --benchmark_counters_tabular=true
