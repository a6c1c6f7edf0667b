#!/usr/bin/env bash
# The AAC coders a track could use, on speech: the CPU each takes to encode it, and what a listener (here, a
# speech recogniser) loses. Four flite voices read the ten sentences of bench/meeting.txt (which
# bench/recorder.sh plays too); the speech is made 48 kHz mono, as a track's input, and encoded at 64 kb/s by
# FFmpeg's AAC encoder with each coder. Quality: the words pocketsphinx_continuous hears in the decoded track
# against what it hears in the uncoded speech (a change there is a loss that matters for voices), and the
# signal-to-noise ratio of the decoded track in the speech band (16 kHz).
# Usage: bench/aac-coders.sh [DIR to keep the files and spectrograms in, default a temporary one]
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
work=${1:-$(mktemp -d)}
mkdir -p "$work"
cd "$work"

sentences=$(cat "$here/meeting.txt")
voices="slt rms awb kal16"
: >list.txt
for voice in $voices; do
  flite -voice "$voice" -t "$sentences" -o "$voice.wav"
  ffmpeg -v error -y -i "$voice.wav" -ar 48000 -ac 1 -c:a pcm_f32le "$voice.48k.wav"
  echo "file '$voice.48k.wav'" >>list.txt
done
# About three minutes of speech, three times over for the timing.
ffmpeg -v error -y -f concat -safe 0 -i list.txt -c copy speech.wav
ffmpeg -v error -y -stream_loop 2 -i speech.wav -c copy speech3.wav
seconds=$(ffprobe -v error -show_entries format=duration -of csv=p=0 speech3.wav)

hear() { # WAV -> the words pocketsphinx hears, one line
  ffmpeg -v error -y -i "$1" -ar 16000 -ac 1 -c:a pcm_s16le "$1.16k.wav"
  pocketsphinx_continuous -infile "$1.16k.wav" -logfn /dev/null 2>/dev/null | tr '\n' ' '
}
hear speech.wav >heard.original.txt

echo "speech: ${seconds} s for the timing, 4 voices x 10 sentences for the hearing"
printf '%-8s %12s %10s %10s %12s %10s\n' coder "CPU (s)" "x realtime" "size (kB)" "words kept" "SNR (dB)"
for coder in twoloop fast; do
  /usr/bin/time -f "%U %S" -o "time.$coder" \
    ffmpeg -v error -y -i speech3.wav -c:a aac -b:a 64k -aac_coder "$coder" "timing.$coder.m4a"
  ffmpeg -v error -y -i speech.wav -c:a aac -b:a 64k -aac_coder "$coder" "$coder.m4a"
  ffmpeg -v error -y -i "$coder.m4a" -c:a pcm_f32le "$coder.wav"
  hear "$coder.wav" >"heard.$coder.txt"
  ffmpeg -v error -y -i "$coder.wav" -lavfi "showspectrumpic=s=1200x400:legend=0" "$coder.png"
  read -r user system <"time.$coder"
  python3 - "$coder" "$user" "$system" "$seconds" "$(stat -c %s "$coder.m4a")" <<'PY'
import array, math, sys, wave

coder, user, system, seconds, size = sys.argv[1], float(sys.argv[2]), float(sys.argv[3]), float(sys.argv[4]), int(sys.argv[5])

def words(path):
    return open(path).read().split()

def kept(reference, hypothesis):
    # Words of the reference that the hypothesis keeps in order: 1 - word error rate, by edit distance.
    previous = list(range(len(hypothesis) + 1))
    for i, r in enumerate(reference, 1):
        current = [i]
        for j, h in enumerate(hypothesis, 1):
            current.append(min(previous[j] + 1, current[j - 1] + 1, previous[j - 1] + (r != h)))
        previous = current
    return 1 - previous[-1] / max(1, len(reference))

def samples(path):
    with wave.open(path) as w:
        data = array.array("h", w.readframes(w.getnframes()))
    return data

original, decoded = samples("speech.wav.16k.wav"), samples(coder + ".wav.16k.wav")
n = min(len(original), len(decoded))
signal = sum(float(x) * x for x in original[:n])
noise = sum(float(a - b) ** 2 for a, b in zip(original[:n], decoded[:n]))
snr = 10 * math.log10(signal / noise) if noise > 0 else float("inf")
cpu = user + system
print(f"{coder:<8} {cpu:12.2f} {seconds / cpu:10.0f} {size / 1000:10.0f} "
      f"{100 * kept(words('heard.original.txt'), words('heard.' + coder + '.txt')):11.1f}% {snr:10.1f}")
PY
done
echo "heard in the uncoded speech: $(wc -w <heard.original.txt) words; spectrograms: $work/*.png"
