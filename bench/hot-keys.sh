#!/bin/sh
# Key press to handler, three runs, with the load before and after.
# Usage: bench/hot-keys.sh [build dir configured with -DORVANE_BENCH=ON, default build/release] [presses per run]
# (needs $DISPLAY, for example under scripts/with-test-services)
set -eu
build=${1:-build/release}
presses=${2:-300}
echo "load: $(cut -d' ' -f1-3 /proc/loadavg)"
for _ in 1 2 3; do
  "$build/bin/bench_hot_keys" "$presses"
done
echo "load: $(cut -d' ' -f1-3 /proc/loadavg)"
