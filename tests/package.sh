#!/bin/sh
# The ways in which programs take the library: installed (shared or static, in usual and in odd folders, moved) by
# pkg-config and by find_package, and as a part of another project's build. Each way a small C program is built and run.
# usage: package.sh SOURCE SCRATCH EMULATOR CMAKE_ARGUMENT..., EMULATOR for programs that this system does not run, or ''
set -eu
source=$1
scratch=$2
emulator=$3
shift 3
moved=$scratch/moved
program=$scratch/program

fail() {
    echo "FAILED: $*" >&2
    exit 1
}
quietly() { "$@" >"$scratch/log" 2>&1 || { tail -n 30 "$scratch/log" && fail "$@"; }; }
runs() { # PROGRAM without its suffix
    if [ -z "$emulator" ]; then "$1"; else "$emulator" "$1.exe"; fi </dev/null || fail "$1"
}
command -v pkg-config >/dev/null || {
    echo "SKIPPED: pkg-config is not installed"
    exit 77
}
frei0r=ON
[ -z "$emulator" ] || frei0r=OFF # of which there is this system's alone
rm -rf "$scratch"
mkdir -p "$program"

cat >"$program/fade.c" <<'END'
#include <qxpixlib.h>

int main(void) {
    Argb32 row[2] = {0xFF000000, 0xFF000000}, white[2] = {0xFFFFFFFF, 0xFFFFFFFF};
    qx_pixinit();
    qx_lblend_t(row, row, white, 2, 128);
    return row[0] == 0xFF7E7E7E ? 0 : 1; /* alpha saturates; 255 * 127 / 256 is 126 */
}
END
cat >"$program/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.16)
project(fade C)
find_package(qxpixlib 1.0 REQUIRED)
add_executable(fade fade.c)
target_link_libraries(fade PRIVATE qxpixlib::qxpixlib)
END

while read -r shared libdir includedir; do
    case $libdir in
    absolute) prefix=$moved given=$moved/lib libdir=$moved/lib ;; # not to be moved
    *) prefix=$scratch/first given=$libdir libdir=$moved/$libdir ;;
    esac
    quietly cmake -S "$source" -B "$scratch/build" "$@" -DBUILD_SHARED_LIBS="$shared" -DQXPIXLIB_FREI0R=$frei0r \
        -DCMAKE_INSTALL_PREFIX="$prefix" -DCMAKE_INSTALL_LIBDIR="$given" -DCMAKE_INSTALL_INCLUDEDIR="$includedir" \
        -DQXPIXLIB_TESTS=OFF -DQXPIXLIB_BENCH=OFF -DQXPIXLIB_EXAMPLES=OFF
    quietly cmake --build "$scratch/build"
    quietly cmake --install "$scratch/build"
    [ "$prefix" = "$moved" ] || mv "$prefix" "$moved"
    [ ! -d "$moved/bin" ] || cp "$moved/bin"/*.dll "$program"

    flags=$(PKG_CONFIG_LIBDIR="$libdir/pkgconfig" pkg-config --cflags --libs qxpixlib) # quoted for a shell
    eval "${CC:-cc} -std=c99 -Wall -Werror \"\$program/fade.c\" -o \"\$program/by-pkg-config\" $flags"
    LD_LIBRARY_PATH="$libdir" runs "$program/by-pkg-config"

    found_by=-DCMAKE_PREFIX_PATH=$moved
    [ -z "$emulator" ] || found_by=-Dqxpixlib_DIR=$libdir/cmake/qxpixlib # whose toolchain looks in its own folders
    quietly cmake -S "$program" -B "$program/build" "$@" "$found_by" -DCMAKE_RUNTIME_OUTPUT_DIRECTORY="$program"
    quietly cmake --build "$program/build"
    runs "$program/fade"

    for module in "$libdir/frei0r-1"/*.so; do
        [ ! -e "$module" ] || [ "$shared" = OFF ] || ldd "$module" | grep -q "libqxpixlib.so.1 => $moved" ||
            fail "$module does not find the library: $(ldd "$module")"
    done
    if [ $frei0r = ON ] && pkg-config --exists frei0r; then
        [ -e "$libdir/frei0r-1/qxsblend.so" ] || fail "no mixer is installed"
    fi
    if [ "$shared" = OFF ]; then
        quietly nm "$libdir/libqxpixlib.a"
        if grep DllMain "$scratch/log"; then fail "a static library with an entry of a DLL"; fi
    fi
    echo "shared $shared, $given, $includedir: built and run"
    rm -rf "$moved" "$program/build" "$program/fade" "$program/by-pkg-config" "$program"/*.exe "$program"/*.dll
done <<'END'
ON lib include/qx
ON lib/x86_64-linux-gnu include
ON absolute include
OFF lib include
END

(cd "$scratch/build" && quietly cpack)
case $(ls "$scratch/build"/qxpixlib-*.tar.gz "$scratch/build"/qxpixlib-*.zip 2>/dev/null) in
*linux*.tar.gz) [ -z "$emulator" ] ;;
*win"${emulator##*wine}".zip) ;; # wine32 or wine64
*) false ;;
esac || fail "the archive is of another system"

# A part of a project that has names and packages of its own, that puts sources together and has no pkg-config.
cat >"$program/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(parent C)
add_custom_target(frame)
add_custom_target(kernels_sse2)
add_custom_target(import_library)
set(CPACK_PACKAGE_NAME parent)
include(CPack)
add_subdirectory("${qxpixlib_source}" qxpixlib)
add_executable(fade fade.c)
target_link_libraries(fade PRIVATE qxpixlib::qxpixlib)
END
quietly cmake -S "$program" -B "$program/build" "$@" -Dqxpixlib_source="$source" -DCMAKE_UNITY_BUILD=ON \
    -DCMAKE_DISABLE_FIND_PACKAGE_PkgConfig=ON -DQXPIXLIB_BENCH=ON -DCMAKE_RUNTIME_OUTPUT_DIRECTORY="$program"
quietly cmake --build "$program/build" --target fade
runs "$program/fade"
grep -q 'CPACK_PACKAGE_NAME "parent"' "$program/build/CPackConfig.cmake" || fail "the parent's packages are replaced"
echo "as a part of another project: built and run"
