#!/bin/sh
# Mixer.mix of two one-hour tracks against the ffmpeg command line mixing the same two files with amix, in the
# same run. The tracks are 48 kHz mono AAC at 64 kb/s, the second placed 1 s later, as a recording's are.
# Usage: bench/mix.sh [build dir, default build/release] [seconds, default 3600]
set -eu
build=${1:-build/release}
seconds=${2:-3600}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

swell='0.15*(1+sin(2*PI*3*t))'
ffmpeg -v error -f lavfi -i "aevalsrc=$swell*(sin(2*PI*220*t)+0.5*sin(2*PI*1870*t)):s=48000:d=$seconds" \
  -c:a aac -b:a 64k "$work/system.m4a"
ffmpeg -v error -f lavfi -i "aevalsrc=$swell*sin(2*PI*330*t+1):s=48000:d=$seconds" \
  -c:a aac -b:a 64k "$work/mic.m4a"

"$build/bin/bench_mix" "$work/mixed.m4a" "$work/system.m4a" 0 "$work/mic.m4a" 1.0
/usr/bin/time -f "%e" -o "$work/time" \
  ffmpeg -v error -i "$work/system.m4a" -i "$work/mic.m4a" \
  -filter_complex "[1:a]adelay=1000[late];[0:a][late]amix=inputs=2:duration=longest:normalize=0" \
  -ac 1 -ar 48000 -c:a aac -b:a 64k "$work/amix.m4a"
echo "ffmpeg amix reference: $(cat "$work/time") s wall"
