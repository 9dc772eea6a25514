#!/bin/sh
# The compose program as its users meet it: right results, clear errors, nothing half-written.
# usage: test_compose.sh PROGRAM MEDIA
set -eu

compose=$1
media=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
out=$scratch/out.png

fail() {
    echo "FAILED: $*" >&2
    exit 1
}
refuses() { # WORDS ARGUMENT...: the call fails, says these words, and leaves no file
    words=$1
    shift
    if "$compose" "$@" >"$scratch/said" 2>&1; then fail "no error for: $*"; fi
    grep -q "$words" "$scratch/said" || fail "'$words' not said: $(cat "$scratch/said")"
    [ -z "$(find "$scratch" -name '*out*')" ] || fail "left behind: $(ls "$scratch")"
}

head -c 5000 "$media/title.png" >"$scratch/broken.png"
refuses 'No such file' "$media/none.png" "$media/title.png" "$out"
refuses 'broken.png' "$media/background.png" "$scratch/broken.png" "$out"
refuses 'no family is called cblend' "$media/background.png" "$media/title.png" "$out" --family cblend
refuses 'unknown option --famly' "$media/background.png" "$media/title.png" "$out" --famly blend
refuses 'needs a value' "$media/background.png" "$media/title.png" "$out" --family
refuses 'two pictures' "$media/background.png" "$out"
refuses 'no/such' "$media/background.png" "$media/title.png" "$scratch/no/such/out.png"

mkdir "$scratch/all"
"$compose" "$media/background.png" "$media/title.png" --all "$scratch/all"
refuses 'differ in size: 1280 x 720 and 2560 x 1440' "$media/background.png" "$scratch/all/sheet.png" "$out"
for family in blend lblend sblend; do # one picture by itself equals the one made with the others
    "$compose" "$media/background.png" "$media/title.png" "$out" --family $family
    cmp "$out" "$scratch/all/$family.png"
done
cmp -s "$scratch/all/blend.png" "$scratch/all/sblend.png" && fail "two families gave the same picture"
cmp -s "$scratch/all/blend.png" "$scratch/all/lblend.png" && fail "two families gave the same picture"
echo "compose: all as expected"
