#!/bin/sh
# Peak resident memory of the upload's create step against its body, in fresh processes: each run makes a
# session of 181 screenshots in one process and sends it in another.
# Usage: bench/upload-memory.sh [build dir configured with -DORVANE_BENCH=ON, default build/release] [runs, default 2]
set -eu
build=${1:-build/release}
runs=${2:-2}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0
for run in $(seq "$runs"); do
    echo "== run $run"
    mkdir "$work/$run"
    made=$("$build/bin/bench_upload_memory" make "$work/$run")
    echo "$made" | tail -n +2
    session=$(echo "$made" | head -n 1)
    "$build/bin/bench_upload_memory" measure "$session" || status=$?
done
exit $status
