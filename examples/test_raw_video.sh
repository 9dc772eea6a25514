#!/bin/sh
# titler, on raw frames through pipes. What it makes is held against the compose program's picture.
# usage: test_raw_video.sh BUILD MEDIA
set -eu
build=$1
media=$2
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

# A title that has gone comes back at no later frame, be it where 32 bits are full: some seconds of work, begun here
# and looked at in the end.
ffmpeg -v error -y -f lavfi -i color=white:16x16,format=rgba,crop=1:1 -frames:v 1 "$scratch/dot.png"
head -c $((4 * 8388612)) /dev/zero |
    "$titler" --size 1x1 --title "$scratch/dot.png" --frames 1 --fade-out 1 2>/dev/null >"$scratch/tiny" &
tiny=$!

raw "$media/background.png" "$scratch/background"
"$build/compose" "$media/background.png" "$media/title.png" "$scratch/lblend.png" --family lblend >/dev/null
raw "$scratch/lblend.png" "$scratch/lblend"

cat "$scratch/background" "$scratch/background" "$scratch/background" "$scratch/background" >"$scratch/video"
titled() { timeout 60 "$titler" --size 1280x720 --title "$media/title.png" "$@" 2>"$scratch/said"; }
refuses() { # WORDS ARGUMENT...: fails, says these words, writes nothing
    words=$1
    shift
    if titled "$@" <"$scratch/video" >"$scratch/out"; then fail "no error for: $*"; fi
    grep -q "$words" "$scratch/said" || fail "'$words' not said: $(cat "$scratch/said")"
    [ ! -s "$scratch/out" ] || fail "something written for: $*"
}

titled <"$scratch/video" | split -b 3686400 - "$scratch/frame."
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

for size in 1280y720 4294968576x720 1280x720p 1280x; do refuses 'size has to be given' --size $size; done
refuses 'has to be 640 x 360' --size 640x360
refuses 'unknown option' --tilte x
refuses 'needs --frames' --fade-out 3
refuses 'not a number' --threads 0

# Many frames, each different, by several threads and by one. Of a last one that is cut short no part comes out.
head -c $((20 * 3686400 + 1000)) /dev/urandom >"$scratch/noise"
for threads in 1 4; do
    if titled --fade-in 20 --threads $threads <"$scratch/noise" >"$scratch/by$threads"; then fail "no error"; fi
    grep -q 'cut short: 1000 of 3686400' "$scratch/said" || fail "a short frame is not said"
    [ "$(stat -c %s "$scratch/by$threads")" = $((20 * 3686400)) ] || fail "not 20 frames by $threads threads"
    cmp "$scratch/by$threads" "$scratch/by1"
done

# A frame comes out before the next has come, and a closed pipe is said though more may come for ever.
mkfifo "$scratch/live"
exec 3<>"$scratch/live"
timeout 20 cat "$scratch/background" >&3 &
{ titled <"$scratch/live" || echo $? >"$scratch/status"; } | {
    head -c 3686400 | cmp - "$scratch/lblend"
    timeout 20 cat "$scratch/background" >&3
}
[ "$(cat "$scratch/status")" = 1 ] || fail "a closed pipe gives $(cat "$scratch/status")"
grep -q 'output cannot be written: Broken' "$scratch/said" || fail "a closed pipe is not said"

# What cannot be read is not the end of the video; what has not come yet is waited for.
unreadable() { # WORDS: standard input fails with these words
    if titled >"$scratch/out"; then fail "taken for the end of the video: $1"; fi
    grep -q "input cannot be read: $1" "$scratch/said" || fail "'$1' not said: $(cat "$scratch/said")"
}
unreadable 'Is a directory' <"$scratch"
unreadable 'Bad file' <&-
{ sleep 0.3 && cat "$scratch/background"; } | {
    dd iflag=nonblock count=0 2>"$scratch/dd" # makes the pipe non-blocking for the next reader too
    titled
} | cmp - "$scratch/lblend"

# With little memory some threads do not start: those that do make the whole frame. A sanitizer's program cannot start
# within so little.
for kib in 20000 28000 40000; do
    within() { (ulimit -v $kib && "$@"); }
    if within "$titler" --help >"$scratch/said" 2>&1; then
        within titled --threads 100000 <"$scratch/background" | cmp - "$scratch/lblend"
    fi
done

wait $tiny
cmp -s -n 4 "$scratch/tiny" /dev/zero && fail "no title to begin with"
tail -c +5 "$scratch/tiny" | tr -d '\0' | cmp - /dev/null || fail "the title comes back"
echo "titler: all as expected"
