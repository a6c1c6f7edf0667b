#!/bin/sh
# The recording panel's CPU per size, on a plain X server and under a compositing manager.
# Usage: bench/hud.sh [build dir configured with -DORVANE_BENCH=ON, default build/release] [seconds per span]
# (needs $DISPLAY, for example under scripts/with-test-services)
set -eu
build=${1:-build/release}
span=${2:-20}
echo "load: $(cut -d' ' -f1-3 /proc/loadavg)"
"$build/bin/bench_hud" "$span"
xcompmgr &
manager=$!
trap 'kill $manager' EXIT
"$build/bin/bench_hud" "$span" --composited
echo "load: $(cut -d' ' -f1-3 /proc/loadavg)"
