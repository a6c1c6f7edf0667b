#!/bin/sh
# MonoWriter.write throughput against a reference: the ffmpeg command line encoding the same signal (60 s of
# 48 kHz stereo float, mixed to mono) to 64 kb/s AAC in fragmented MP4 through the same FFmpeg libraries.
# Usage: bench/mono-writer.sh [build dir configured with -DORVANE_BENCH=ON, default build/release]
set -eu
build=${1:-build/release}
"$build/bin/bench_mono_writer" --benchmark_counters_tabular=true

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
seconds=60
swell='0.15*(1+sin(2*PI*3*t))'
ffmpeg -v error -f lavfi \
    -i "aevalsrc=$swell*(sin(2*PI*220*t)+0.5*sin(2*PI*1870*t))|$swell*(sin(2*PI*220*t)+0.5*sin(2*PI*1910*t)):s=48000:d=$seconds" \
    -f f32le "$work/pcm.raw"
/usr/bin/time -f "%U %S" -o "$work/time" \
    ffmpeg -v error -f f32le -ar 48000 -ac 2 -i "$work/pcm.raw" -ac 1 -c:a aac -b:a 64k \
    -movflags empty_moov+default_base_moof+delay_moov -frag_duration 1000000 "$work/out.m4a"
read -r user system < "$work/time"
echo "ffmpeg CLI reference: $seconds s of audio in ${user}s user + ${system}s system CPU:" \
    "$(echo "$seconds / ($user + $system)" | bc -l | cut -c1-6)x real time"
