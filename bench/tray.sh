#!/bin/sh
# The tray icon's recorded minute and an idle one, two runs, with the load before and after.
# Usage: bench/tray.sh [build dir configured with -DORVANE_BENCH=ON, default build/release] [seconds per phase]
# (needs a session bus and $DISPLAY, for example under scripts/with-test-services)
set -eu
build=${1:-build/release}
seconds=${2:-60}
echo "load: $(cut -d' ' -f1-3 /proc/loadavg)"
for _ in 1 2; do
  "$build/bin/bench_tray" "$seconds"
done
echo "load: $(cut -d' ' -f1-3 /proc/loadavg)"
