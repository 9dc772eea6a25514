#!/bin/sh
# The programs that take raw pictures: titler, on frames through pipes, and compose.py, on files. What they make is
# held against the compose program's pictures.
# usage: test_raw_video.sh BUILD EXAMPLES [LIBRARY], compose.py being left out where there is no LIBRARY for Python to load
set -eu
build=$1
examples=$2
library=${3:-}
media=$examples/media
titler=$build/titler
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

fail() {
    echo "FAILED: $*" >&2
    exit 1
}
command -v ffmpeg >/dev/null || {
    echo "SKIPPED: ffmpeg is not installed"
    exit 77
}
raw() { ffmpeg -v error -y -i "$1" -f rawvideo -pix_fmt bgra "$2"; }

raw "$media/background.png" "$scratch/background"
raw "$media/title.png" "$scratch/title"
for family in lblend sblend; do
    "$build/compose" "$media/background.png" "$media/title.png" "$scratch/$family.png" --family $family >/dev/null
    raw "$scratch/$family.png" "$scratch/$family"
done

# ---- titler ----

cat "$scratch/background" "$scratch/background" "$scratch/background" "$scratch/background" >"$scratch/video"
titled() { "$titler" --size 1280x720 --title "$media/title.png" "$@" 2>"$scratch/said"; }
refuses() { # WORDS ARGUMENT...: fails, says these words, writes nothing
    words=$1
    shift
    if titled "$@" <"$scratch/video" >"$scratch/out"; then fail "no error for: $*"; fi
    grep -q "$words" "$scratch/said" || fail "'$words' not said: $(cat "$scratch/said")"
    [ ! -s "$scratch/out" ] || fail "something written for: $*"
}

titled --threads 3 <"$scratch/video" | split -b 3686400 - "$scratch/frame."
for frame in aa ab ac ad; do cmp "$scratch/frame.$frame" "$scratch/lblend"; done
grep -q '4 frames' "$scratch/said" || fail "no progress: $(cat "$scratch/said")"
titled --fade-in 1 --fade-out 1 --frames 4 <"$scratch/video" | split -b 3686400 - "$scratch/faded."
cmp -s "$scratch/faded.aa" "$scratch/lblend" && fail "the first frame is not faded"
cmp "$scratch/faded.aa" "$scratch/faded.ad"
cmp "$scratch/faded.ab" "$scratch/lblend"

ffmpeg -v error -y -f lavfi -i color=black:1280x720 -frames:v 1 "$scratch/black.png"
titled --matte "$scratch/black.png" <"$scratch/background" | cmp - "$scratch/background"

# v210: 8 bits and chroma by pairs are close to FFmpeg's own conversion of a smooth picture, or the rows are wrong.
ffmpeg -v error -y -i "$media/background.png" -vf scale=out_color_matrix=bt601:out_range=tv -pix_fmt yuv422p10le \
    -c:v v210 -f rawvideo "$scratch/footage"
titled --input v210 --matte "$scratch/black.png" <"$scratch/footage" >"$scratch/unpacked"
decibels=$(ffmpeg -f rawvideo -pix_fmt bgra -s 1280x720 -i "$scratch/unpacked" -f rawvideo -pix_fmt bgra -s 1280x720 \
    -i "$scratch/background" -lavfi psnr -f null - 2>&1 | sed -n 's/.*average:\([0-9]*\).*/\1/p')
[ "${decibels:-0}" -ge 35 ] || fail "v210 comes out $decibels dB from what went in"

refuses 'size has to be given' --size 1280y720
refuses 'not the size of the video' --size 640x360
refuses 'unknown option' --tilte x
refuses 'needs --frames' --fade-out 3
refuses 'not a number' --threads 0
if head -c 5000000 "$scratch/video" | titled | cat >"$scratch/out"; then :; fi
grep -q 'cut short' "$scratch/said" || fail "a short frame is not said"
cmp "$scratch/out" "$scratch/lblend" # the whole frame before it, and no part of another
if { titled <"$scratch/video" || touch "$scratch/failed"; } | head -c 10 >/dev/null; then :; fi
[ -e "$scratch/failed" ] || fail "a closed pipe is no error"
grep -q 'cannot be written' "$scratch/said" || fail "a closed pipe is not said"

# ---- compose.py ----

if [ -z "$library" ]; then
    echo "titler: all as expected"
    exit 0
elif python3 -c 'import numpy' 2>/dev/null; then
    python=python3
elif /usr/bin/python3 -c 'import numpy' 2>/dev/null; then
    python=/usr/bin/python3 # Debian's, where another one comes first
else
    echo "titler: all as expected; SKIPPED: compose.py, since python3-numpy is not installed"
    exit 77
fi
for family in lblend sblend; do
    $python "$examples/compose.py" "$library" "$scratch/background" "$scratch/title" 1280 "$scratch/py" $family
    cmp "$scratch/py" "$scratch/$family"
done
echo "titler and compose.py: all as expected"
