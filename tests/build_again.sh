#!/bin/sh
# A second build, in another folder, gives the same library byte for byte.
# usage: build_again.sh SOURCE BUILD LIBRARY CMAKE_ARGUMENT..., the arguments being those of the first build
set -eu
source=$1
again=$2/again
library=$3
shift 3
rm -rf "$again"
cmake -S "$source" -B "$again" "$@" -DQXPIXLIB_TESTS=OFF -DQXPIXLIB_BENCH=OFF -DQXPIXLIB_EXAMPLES=OFF >/dev/null
cmake --build "$again" >/dev/null
cmp "$library" "$again/$(basename "$library")"
