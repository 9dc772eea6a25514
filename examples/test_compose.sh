#!/bin/sh
# The programs that make PNG files, compose and gallery, as their users meet them: right results, clear
# errors, nothing half-written.
# usage: test_compose.sh BUILD MEDIA
set -eu

build=$(realpath "$1")
media=$(realpath "$2")
compose=$build/compose
gallery=$build/gallery
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
    if "$@" >"$scratch/said" 2>&1; then fail "no error for: $*"; fi
    grep -q "$words" "$scratch/said" || fail "'$words' not said: $(cat "$scratch/said")"
    [ -z "$(find "$scratch" -name '*out*')" ] || fail "left behind: $(ls "$scratch")"
}
lay() { timeout 20 "$compose" "$media/background.png" "$media/title.png" "$@"; }

# ---- what comes in ----

head -c 5000 "$media/title.png" >"$scratch/broken.png"
refuses 'none.png.*No such file' "$compose" "$media/none.png" "$media/title.png" "$out"
refuses 'broken.png' "$compose" "$media/background.png" "$scratch/broken.png" "$out"
refuses 'no family is called cblend' lay "$out" --family cblend
refuses 'unknown option --famly' lay "$out" --famly blend
refuses 'needs a value' lay "$out" --family
refuses 'two pictures' "$compose" "$media/background.png" "$out"
refuses 'no/such' lay "$scratch/no/such/out.png"

# A header that claims 20000 x 20000 is refused before memory is taken for it where the file is too short for
# so much, and otherwise where there is not as much memory; a sanitizer's program does not start within that.
{
    printf '\211PNG\r\n\032\n\0\0\0\rIHDR\0\0N \0\0N \010\006\0\0\0\343pF9'
    printf '\0\0\0\010IDATx\234\003\0\0\0\0\001H\006\211\322'
} >"$scratch/huge.png"
refuses 'huge.png is too short to hold 20000 x 20000' "$compose" "$scratch/huge.png" "$media/title.png" "$out"
head -c 60000 /dev/zero >>"$scratch/huge.png"
within() { (ulimit -v 1000000 && "$@"); } # KiB
if within "$compose" --help >"$scratch/said" 2>&1; then
    refuses 'huge.png.*not enough memory' within "$compose" "$scratch/huge.png" "$media/title.png" "$out"
fi

# ---- what comes out ----

mkdir "$scratch/all"
lay --all "$scratch/all"
refuses 'differ in size: 1280 x 720 and 2560 x 1440' "$compose" "$media/background.png" "$scratch/all/sheet.png" "$out"
for family in blend lblend sblend; do # one picture by itself equals the one made with the others
    lay "$out" --family $family
    cmp "$out" "$scratch/all/$family.png"
    rm "$out"
done
cmp -s "$scratch/all/blend.png" "$scratch/all/sblend.png" && fail "two families gave the same picture"
cmp -s "$scratch/all/blend.png" "$scratch/all/lblend.png" && fail "two families gave the same picture"

# ---- what is there already ----

same() { cmp "$1" "$scratch/all/sblend.png" || fail "$2"; }
mode_is() { [ "$(stat -c %a "$1")" = "$2" ] || fail "$1 has mode $(stat -c %a "$1"), not $2"; }
mkdir "$scratch/there"
cd "$scratch/there"

(umask 027 && lay new.png)
mode_is new.png 640
echo old >old.png
chmod 600 old.png
lay old.png
same old.png "a file is not replaced"
mode_is old.png 600
echo old >old.png
ln -s old.png link.png
ln -s nowhere link.png.partial
lay link.png
same old.png "a link is not followed"
[ -L link.png ] || fail "a link is replaced"
[ -L link.png.partial ] || fail "a file of another name is lost"
mkdir links
ln -s ../later.png links/dangling.png
lay links/dangling.png
same later.png "a dangling link is not followed"

mkfifo pipe
timeout 20 cat pipe >piped.png &
lay pipe
wait $!
same piped.png "a pipe gets something else"
[ -p pipe ] || fail "a pipe is replaced"
ln -s /proc/self/fd/1 console # as /dev/stdout is
{ echo before && lay console && echo after; } >redirected
{ echo before && cat old.png && echo after; } | cmp - redirected || fail "standard output starts anew"
lay console | cat >piped.png
same piped.png "standard output gets something else"
[ -L console ] || fail "standard output's link is replaced"

# A disc that takes no more: what was there stays, and nothing comes beside it.
echo old >old.png
ls >"$scratch/before"
short_of_disc() { (ulimit -f 8 && "$@"); }
refuses 'old.png.*too large' short_of_disc lay old.png
refuses 'beyond.png.*too large' short_of_disc lay beyond.png
ls | diff "$scratch/before" - || fail "left behind (>)"
[ "$(cat old.png)" = old ] || fail "a file is lost to a full disc"

# ---- gallery ----

head -c $((27 * 128 * 720)) /dev/zero >"$scratch/footage.v210"
letters=$media/letters.png
show() { "$gallery" "$media/background.png" "$media/title.png" "$letters" "$scratch/footage.v210" .; }
refuses 'footage.planes.*too large' short_of_disc show
ls | diff "$scratch/before" - || fail "left behind (>)"
letters=new.png
refuses 'new.png is 1280 x 720, and has to be 752 x 18' show

# ---- standard output ----

help_to() { "$1" --help >"$2"; }
for program in compose gallery titler; do
    help_to "$build/$program" "$scratch/said" || fail "$program --help fails"
    grep -q "usage: $program" "$scratch/said" || fail "$program has no usage"
    refuses "$program: standard output.*No space" help_to "$build/$program" /dev/full
done
echo "compose and gallery: all as expected"
