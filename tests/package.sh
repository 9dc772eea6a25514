#!/bin/sh
# Installs a build, moves what was installed, and builds and runs a small C program against it, by pkg-config and by
# find_package, under the plain and under the multiarch library folder.
# usage: package.sh SOURCE SCRATCH
set -eu
source=$1
scratch=$2
rm -rf "$scratch"
mkdir -p "$scratch/program"

cat >"$scratch/program/fade.c" <<'END'
#include <qxpixlib.h>

int main(void) {
    Argb32 row[2] = {0xFF000000, 0xFF000000}, white[2] = {0xFFFFFFFF, 0xFFFFFFFF};
    qx_pixinit();
    qx_lblend_t(row, row, white, 2, 128);
    return row[0] == 0xFF7E7E7E ? 0 : 1; /* alpha saturates; 255 * 127 / 256 is 126 */
}
END
cat >"$scratch/program/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.16)
project(fade C)
find_package(qxpixlib 1.0 REQUIRED)
add_executable(fade fade.c)
target_link_libraries(fade PRIVATE qxpixlib::qxpixlib)
END

for libdir in lib lib/x86_64-linux-gnu; do
    # One build folder: only the install rules differ.
    cmake -S "$source" -B "$scratch/build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_LIBDIR=$libdir \
        -DQXPIXLIB_TESTS=OFF -DQXPIXLIB_BENCH=OFF -DQXPIXLIB_EXAMPLES=OFF >/dev/null
    cmake --build "$scratch/build" >/dev/null
    cmake --install "$scratch/build" --prefix "$scratch/first" >/dev/null
    mv "$scratch/first" "$scratch/moved"

    export PKG_CONFIG_PATH="$scratch/moved/$libdir/pkgconfig" LD_LIBRARY_PATH="$scratch/moved/$libdir"
    # shellcheck disable=SC2046  # words on purpose
    cc -std=c99 -Wall -Werror "$scratch/program/fade.c" -o "$scratch/by-pkg-config" $(pkg-config --cflags --libs qxpixlib)
    "$scratch/by-pkg-config"
    cmake -S "$scratch/program" -B "$scratch/program/build" -G Ninja -DCMAKE_PREFIX_PATH="$scratch/moved" >/dev/null
    cmake --build "$scratch/program/build" >/dev/null
    "$scratch/program/build/fade"
    echo "$libdir: $(pkg-config --modversion qxpixlib)"
    rm -r "$scratch/moved" "$scratch/program/build"
done
