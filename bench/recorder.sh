#!/usr/bin/env bash
# A long recording with both audio tracks, measured in the recording process (bench_recorder), twice at once on
# two Xvfb screens of 1440x900: a still screen (one slide that stays) and a slideshow whose slide changes every
# 20 seconds. Sound goes into the speaker and into the microphone the whole time: speech, or a tone with noise.
# Reference, in the same run and at the same time: the ffmpeg command line grabbing the still screen at 0.5 fps
# (each frame a JPEG) with both sound sources encoded to 64 kb/s mono AAC, its CPU as a share of one core from
# /usr/bin/time.
# Usage: bench/recorder.sh [--minutes N, default 10] [--build DIR, default build/release] [--tone]
# It brings up the test services itself (scripts/with-test-services) unless it already runs inside them.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
[ -n "${ORVANE_TEST_SERVICES:-}" ] || exec "$here/../scripts/with-test-services" "$0" "$@"

minutes=10
build=build/release
sound=speech
while [ $# -gt 0 ]; do
  case $1 in
    --minutes) minutes=$2; shift 2 ;;
    --build) build=$2; shift 2 ;;
    --tone) sound=tone; shift ;;
    *) echo "usage: bench/recorder.sh [--minutes N] [--build DIR] [--tone]" >&2; exit 2 ;;
  esac
done
bin=$(cd "$build/bin" && pwd)
seconds=$(awk -v m="$minutes" 'BEGIN { print int(m * 60) }')

work=$(mktemp -d)
pids=()
combined=
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  for pid in "${pids[@]}"; do wait "$pid" 2>/dev/null || true; done
  [ -n "$combined" ] && pactl unload-module "$combined" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

source "$here/../scripts/x-session"
mkdir "$work/still" "$work/slides"
start_x_session 1440x900x24 "$work/still"
still=$x_display
start_x_session 1440x900x24 "$work/slides"
slides=$x_display
DISPLAY=$still "$bin/bench_slideshow" 0 &
pids+=("$!")
DISPLAY=$slides "$bin/bench_slideshow" 20 &
pids+=("$!")

# Into one sink that plays into the speaker and into the microphone's input at once: speech (bench/meeting.txt
# read by two flite voices, over and over), or with --tone a tone with bursts of noise.
combined=$(pactl load-module module-combine-sink sink_name=orvane_both slaves=orvane_speaker,orvane_mic_in)
if [ "$sound" = tone ]; then
  input=(-f lavfi -i 'aevalsrc=0.1*sin(2*PI*440*t)+0.4*lt(mod(t\,3)\,1)*(random(0)-0.5):s=48000')
else
  for voice in slt rms; do
    flite -voice "$voice" -f "$here/meeting.txt" -o "$work/$voice.wav"
    echo "file '$work/$voice.wav'" >>"$work/speech.txt"
  done
  input=(-stream_loop -1 -f concat -safe 0 -i "$work/speech.txt")
fi
ffmpeg -v error -re "${input[@]}" -ar 48000 -f pulse -device orvane_both orvane-bench &
pids+=("$!")
sleep 2

load() { cut -d' ' -f1-3 /proc/loadavg; }
echo "recording $seconds s on $still (still) and $slides (slideshow), ffmpeg on $still; load average $(load)"
DISPLAY=$still "$bin/bench_recorder" "$seconds" "$work/still" >"$work/still.out" 2>"$work/still.log" &
still_run=$!
DISPLAY=$slides "$bin/bench_recorder" "$seconds" "$work/slides" >"$work/slides.out" 2>"$work/slides.log" &
slides_run=$!
/usr/bin/time -f "%U %S %e" -o "$work/ffmpeg.time" \
  ffmpeg -v error -f x11grab -framerate 0.5 -video_size 1440x900 -t "$seconds" -i "$still" \
  -f pulse -t "$seconds" -i orvane_speaker.monitor -f pulse -t "$seconds" -i orvane_mic \
  -map 0:v -c:v mjpeg -q:v 5 \
  -map 1:a -ac 1 -ar 48000 -c:a aac -b:a 64k -map 2:a -ac 1 -ar 48000 -c:a aac -b:a 64k \
  "$work/ffmpeg.mkv" &
ffmpeg_run=$!
while kill -0 "$still_run" 2>/dev/null || kill -0 "$slides_run" 2>/dev/null; do
  sleep 30
  echo "load average $(load)"
done
# A run that failed shows the end of its log.
finish() { # PID NAME
  wait "$1" || { echo "$2 failed:" >&2; tail -n 20 "$work/$2.log" >&2; exit 1; }
}
finish "$still_run" still
finish "$slides_run" slides
wait "$ffmpeg_run"

echo "--- still screen"
cat "$work/still.out"
echo "--- slideshow, a new slide every 20 s"
cat "$work/slides.out"
read -r user system wall <"$work/ffmpeg.time"
ffmpeg_share=$(awk -v u="$user" -v s="$system" -v w="$wall" 'BEGIN { printf "%.2f", 100 * (u + s) / w }')
still_share=$(sed -n 's/.*: \([0-9.]*\) % of one core.*/\1/p' "$work/still.out")
echo "--- reference: ffmpeg, still screen at 0.5 fps as JPEG and two AAC tracks"
echo "ffmpeg: ${wall} s wall, ${user} s user + ${system} s system CPU: ${ffmpeg_share} % of one core;" \
  "still recording / ffmpeg: $(awk -v a="$still_share" -v b="$ffmpeg_share" 'BEGIN { printf "%.2f", a / b }')"
