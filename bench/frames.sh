#!/bin/sh
# Frame costs, with the tesseract command as the reference for OCR: the same grey frame, the same engine (LSTM),
# page segmentation (automatic), resolution (96 dpi) and one thread. The command's cost per image is taken from
# a run over one copy and a run over five copies of the frame, so that starting it and loading the model drop out.
# Usage: bench/frames.sh [build dir configured with -DORVANE_BENCH=ON, default build/release] (needs $DISPLAY
# for the grab, for example under scripts/with-test-services)
set -eu
build=${1:-build/release}
"$build/bin/bench_frames" --benchmark_counters_tabular=true

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$build/bin/bench_frames" --write-frame "$work/frame.png"
echo "$work/frame.png" > "$work/one.txt"
for i in 1 2 3 4 5; do echo "$work/frame.png"; done > "$work/five.txt"
cpu() {
    OMP_THREAD_LIMIT=1 /usr/bin/time -f "%U %S" -o "$work/time" \
        tesseract "$1" "$work/out" --oem 1 --psm 3 --dpi 96 -l eng 2>/dev/null
    awk '{ print $1 + $2 }' "$work/time"
}
one=$(cpu "$work/one.txt")
five=$(cpu "$work/five.txt")
echo "tesseract CLI reference: one image ${one}s CPU, five images ${five}s CPU," \
    "per image $(echo "($five - $one) / 4 * 1000" | bc -l | cut -c1-6) ms; $(wc -c < "$work/out.txt") bytes of text"
