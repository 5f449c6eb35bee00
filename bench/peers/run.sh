#!/usr/bin/env bash
# Side-by-side CPU cost of lxfx's effects and FFmpeg's nearest filters (SoX's
# reverb for the room reverb), on the same 1200 s of music-like 44.1 kHz
# stereo float audio. Each tool runs each effect in interleaved rounds; a
# pass-through run of the same tool is subtracted, so the figures are the
# effect's own CPU time (user + system), the median over the rounds.
#
#   bench/peers/run.sh LXFX_BINARY [ROUNDS]
set -euo pipefail

lxfx=${1:?usage: run.sh LXFX_BINARY [ROUNDS]}
rounds=${2:-3}

# FFmpeg, SoX and GNU time are this benchmark's own dependencies.
missing=()
for p in ffmpeg sox time; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  if [ "$(id -u)" -ne 0 ]; then
    echo "missing packages: ${missing[*]} (install them as root)" >&2
    exit 1
  fi
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# The demo's dry song, 20 s, sixty times over: long enough for the CPU
# clock's 10 ms steps.
"$lxfx" demo --out "$work/song.wav" --dry "$work/dry.wav" --quiet >/dev/null
sox -V1 $(for _ in $(seq 60); do echo "$work/dry.wav"; done) "$work/in.wav"
in=$work/in.wav
seconds=$(soxi -D "$in")

off=(--set limiter.on=false)
gains='[3,2,1,0,-1,-2,0,1,2,3]'
# name | lxfx arguments | peer command (INPUT and OUTPUT replaced)
effects=(
  "graphic EQ|--set graphEQ.on=true --set graphEQ.gains=$gains|ffmpeg -v error -y -i INPUT -af equalizer=f=31:t=o:w=1:g=3,equalizer=f=62:t=o:w=1:g=2,equalizer=f=125:t=o:w=1:g=1,equalizer=f=250:t=o:w=1:g=0,equalizer=f=500:t=o:w=1:g=-1,equalizer=f=1000:t=o:w=1:g=-2,equalizer=f=2000:t=o:w=1:g=0,equalizer=f=4000:t=o:w=1:g=1,equalizer=f=8000:t=o:w=1:g=2,equalizer=f=16000:t=o:w=1:g=3 -c:a pcm_f32le OUTPUT"
  "bass/treble|--set bassTreble.on=true --set bassTreble.Bass=4 --set bassTreble.Treble=3|ffmpeg -v error -y -i INPUT -af bass=g=4:f=120:w=0.5,treble=g=3:f=6000:w=0.5 -c:a pcm_f32le OUTPUT"
  "compressor|--set compressor.on=true --set compressor.Range=-20|ffmpeg -v error -y -i INPUT -af acompressor=threshold=-14dB:ratio=4:attack=100:release=500 -c:a pcm_f32le OUTPUT"
  "delay|--set delay.on=true|ffmpeg -v error -y -i INPUT -af aecho=1:1:50:0.5 -c:a pcm_f32le OUTPUT"
  "tremolo|--set tremolo.on=true|ffmpeg -v error -y -i INPUT -af tremolo=f=8:d=0.25 -c:a pcm_f32le OUTPUT"
  "vibrato|--set vibrato.on=true|ffmpeg -v error -y -i INPUT -af vibrato=f=6:d=0.14 -c:a pcm_f32le OUTPUT"
  "limiter|--set limiter.on=true|ffmpeg -v error -y -i INPUT -af alimiter=limit=1:attack=40:release=80 -c:a pcm_f32le OUTPUT"
  "room reverb (SoX)|--set reverb.on=true|sox -V1 INPUT OUTPUT reverb 50 50 100"
)
# The whole chain: every effect above but the reverb, which FFmpeg lacks,
# against one FFmpeg graph of the same filters in the chain's order.
chainArgs="" chainGraph=""
for entry in "${effects[@]}"; do
  IFS='|' read -r name args peer <<<"$entry"
  [[ $peer == sox* ]] && continue
  chainArgs+=" $args"
  graph=${peer#*-af }
  chainGraph+="${chainGraph:+,}${graph%% -c:a*}"
done
effects+=("whole chain|$chainArgs|ffmpeg -v error -y -i INPUT -af $chainGraph -c:a pcm_f32le OUTPUT")
passLxfx="$lxfx process INPUT OUTPUT --quiet ${off[*]}"
passFfmpeg="ffmpeg -v error -y -i INPUT -af anull -c:a pcm_f32le OUTPUT"
passSox="sox -V1 INPUT OUTPUT"

# CPU seconds of one run of a command line.
cpu() {
  local line=${1//INPUT/$in}
  line=${line//OUTPUT/$work/out.wav}
  /usr/bin/time -f "%U %S" -o "$work/time" bash -c "$line >/dev/null 2>&1"
  awk '{printf "%.3f", $1 + $2}' "$work/time"
}

median() { printf '%s\n' "$@" | sort -g | awk '{v[NR]=$1} END {print v[int((NR+1)/2)]}'; }

declare -A ours theirs
for ((r = 0; r < rounds; ++r)); do
  base_l=$(cpu "$passLxfx"); base_f=$(cpu "$passFfmpeg"); base_s=$(cpu "$passSox")
  for entry in "${effects[@]}"; do
    IFS='|' read -r name args peer <<<"$entry"
    l=$(cpu "$lxfx process INPUT OUTPUT --quiet ${off[*]} $args")
    p=$(cpu "$peer")
    base_p=$base_f
    [[ $peer == sox* ]] && base_p=$base_s
    ours[$name]+="$(awk -v a="$l" -v b="$base_l" 'BEGIN {print a - b}') "
    theirs[$name]+="$(awk -v a="$p" -v b="$base_p" 'BEGIN {print a - b}') "
  done
done

printf '%.0f s of 44.1 kHz stereo float, %d rounds, CPU seconds net of pass-through (median)\n\n' "$seconds" "$rounds"
printf '%-20s %10s %10s %8s\n' effect lxfx peer ratio
for entry in "${effects[@]}"; do
  IFS='|' read -r name _ _ <<<"$entry"
  l=$(median ${ours[$name]}); p=$(median ${theirs[$name]})
  if awk -v a="$l" 'BEGIN {exit !(a >= 0.02)}'; then
    printf '%-20s %10.3f %10.3f %7.1fx\n' "$name" "$l" "$p" "$(awk -v a="$l" -v b="$p" 'BEGIN {print b / a}')"
  else
    printf '%-20s %10.3f %10.3f %8s\n' "$name" "$l" "$p" "(lxfx under the clock's resolution)"
  fi
done
