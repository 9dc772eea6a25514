#!/bin/sh
# Makes the wheel that carries a library.
# usage: build_wheel.sh PYTHON LIBRARY PLATFORM OUT, the platform as in the wheel's name; OUT is made anew
set -eu
python=$1
library=$2
platform=$3
out=$4
root=$(dirname "$(readlink -f "$0")")/../..

name=libqxpixlib.so.1
case $platform in
win*) name=qxpixlib.dll ;;
manylinux_*) # promises a glibc as old as its name says
    oldest=$(echo "$platform" | sed 's/^manylinux_\([0-9]*\)_\([0-9]*\)_.*/GLIBC_\1.\2/')
    versions=$(readelf --version-info --wide "$library")
    newest=$(printf '%s\n' "$oldest" "$versions" | grep -o 'GLIBC_[0-9.]*' | sort -V | tail -n 1)
    if [ "$newest" != "$oldest" ]; then
        echo "build_wheel.sh: $library needs $newest, and so is no $platform" >&2
        exit 1
    fi
    ;;
esac

# setuptools leaves files where it builds.
source=$out/source
rm -rf "$out"
mkdir -p "$source/hosts"
cp -r "$root/include" "$source"
cp -r "$root/hosts/python" "$source/hosts"
cp "$root/LICENSE" "$source/hosts/python"
cp "$library" "$source/hosts/python/qxpixlib/$name"
"$python" -m build --wheel --no-isolation --config-setting="--build-option=--plat-name=$platform" --outdir "$out" \
    "$source/hosts/python" >"$out/log" 2>&1 || { cat "$out/log" >&2; exit 1; }
rm -r "$source"
