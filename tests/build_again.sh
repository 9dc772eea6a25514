#!/bin/sh
# A second build, in another folder, gives the same library byte for byte.
# usage: build_again.sh SOURCE LIBRARY, the library lying in SOURCE/build/PRESET
set -eu
preset=$(basename "$(dirname "$2")")
again=$1/build/$preset-again
cd "$1"
cmake --preset "$preset" -B "$again" -DQXPIXLIB_TESTS=OFF -DQXPIXLIB_BENCH=OFF -DQXPIXLIB_EXAMPLES=OFF >/dev/null
cmake --build "$again" >/dev/null
cmp "$2" "$again/$(basename "$2")"
rm -r "$again"
