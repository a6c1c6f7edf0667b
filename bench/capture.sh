#!/bin/sh
# Capture and encoding of both tracks, and how well they stay in step, against the sound server of the test
# services. Reference: the ffmpeg command line capturing the same two sources (`-f pulse`) and encoding each
# to 64 kb/s mono AAC, in the same run.
# Usage: scripts/with-test-services bench/capture.sh [build dir, default build/release] [seconds, default 60]
#        [drift seconds, default 600]
set -eu
build=${1:-build/release}
seconds=${2:-60}
drift=${3:-600}
work=$(mktemp -d)
player=
cleanup() {
  [ -n "$player" ] && kill "$player" 2>/dev/null || true
  [ -n "${combined:-}" ] && pactl unload-module "$combined" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

# One sink that plays into the speaker and into the microphone's input at once.
combined=$(pactl load-module module-combine-sink sink_name=orvane_both slaves=orvane_speaker,orvane_mic_in)
play() { # SIGNAL SECONDS
  ffmpeg -v error -re -f lavfi -i "$1" -t "$2" -f pulse -device orvane_both orvane-bench &
  player=$!
  sleep 1
}
stop_playing() { kill "$player" 2>/dev/null || true; wait "$player" 2>/dev/null || true; player=; }

swell='0.15*(1+sin(2*PI*3*t))'
speech="aevalsrc=$swell*(sin(2*PI*220*t)+0.5*sin(2*PI*1870*t)):s=48000"

play "$speech" $((seconds * 2 + 30))
mkdir "$work/orvane" "$work/ffmpeg"
"$build/bin/bench_capture" cpu "$seconds" "$work/orvane"
/usr/bin/time -f "%U %S" -o "$work/time" \
  ffmpeg -v error -t "$seconds" -f pulse -i orvane_speaker.monitor -t "$seconds" -f pulse -i orvane_mic \
  -map 0:a -ac 1 -ar 48000 -c:a aac -b:a 64k "$work/ffmpeg/system.m4a" \
  -map 1:a -ac 1 -ar 48000 -c:a aac -b:a 64k "$work/ffmpeg/mic.m4a"
read -r user system < "$work/time"
echo "ffmpeg -f pulse reference: $seconds s of two tracks in ${user}s user + ${system}s system CPU:" \
  "$(echo "100 * ($user + $system) / $seconds" | bc -l | cut -c1-5) % of one core"
stop_playing

# A click every second into both sources.
play "aevalsrc=if(lt(mod(t\,1)\,0.01)\,0.8*sin(2*PI*1000*t)\,0):s=48000" $((drift + 30))
mkdir "$work/drift"
"$build/bin/bench_capture" drift "$drift" "$work/drift"
stop_playing
