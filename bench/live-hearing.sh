#!/bin/sh
# Live hearing's CPU share of one core and its real-time factor over synthesised speech, hearing on against
# hearing off (the same feeding of the microphone's buffers), both in the same run.
# Usage: bench/live-hearing.sh [build dir, default build/release] [seconds, default 600] [pace, default 1]
set -eu
build=${1:-build/release}
seconds=${2:-600}
pace=${3:-1}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# A minute of a talk, spoken by espeak-ng, with a pause between sentences; the bench loops it.
cat >"$work/talk.txt" <<'TEXT'
So the quarterly operations review. Support volume fell by a fifth, and the billing migration finished late.
We have two offers out for the data team. Customers keep asking for single sign-on before renewal,
exports in spreadsheet form, and an audit log kept for a year. Search latency is at a median of one hundred
and forty milliseconds. The index is rebuilt nightly and the cache hit rate went up to seventy two percent.
The hiring plan is four engineers by March and one designer for the mobile app. Hosting costs stayed flat
despite the growth, travel was halved, and training doubled for new managers. Who owns the on-call rota?
When does the old API retire? Which regions launch first? We should ship the leaderboard filter before the
Friday release, and check the venue page on mobile.
TEXT
espeak-ng -g 8 -f "$work/talk.txt" -w "$work/talk.wav"
ffmpeg -v error -i "$work/talk.wav" -f f32le -ar 48000 -ac 2 "$work/talk.f32"

"$build/bin/bench_live_hearing" off "$work/talk.f32" "$seconds" "$pace"
"$build/bin/bench_live_hearing" on "$work/talk.f32" "$seconds" "$pace"
