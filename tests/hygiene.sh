#!/bin/sh
# What the compiled objects and the header must be like, whatever the kernels compute.
# usage: hygiene.sh exports LIBRARY HEADER | imports DLL | symbols OBJECT... | instructions VECTOR_BYTES OBJECT... |
#        header HEADER
set -eu

fail() {
    echo "FAILED: $*" >&2
    exit 1
}

what=$1
shift
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

case $what in
exports) # the library shows the names that the header declares, and no other; host.c calls each
    ${CC:-cc} -E -P "$2" | grep -o 'qx_[A-Za-z0-9_]*' | sort -u >"$scratch/declared"
    case $1 in
    *.dll) objdump -p "$1" | awk '/Name Pointer\] Table/ { list = 1 } /^$/ { list = 0 } list && /\[ *[0-9]+\]/ { print $NF }' ;;
    *) nm -D --defined-only "$1" | awk '{ print $NF }' ;;
    esac | sort >"$scratch/exported"
    [ -s "$scratch/declared" ] || fail "no name found in $2"
    diff "$scratch/declared" "$scratch/exported" || fail "the header (<) and the library (>) differ"
    cut -d ' ' -f 1 "$(dirname "$0")/hashes.txt" | sort | diff "$scratch/declared" - ||
        fail "the header (<) and what host.c calls (>) differ"
    echo "$(wc -l <"$scratch/exported") names"
    ;;
imports) # the system and one run-time, no other DLL: that of the library's 32-bit hosts, or what every Windows has
    runtime=msvcrt.dll
    case $(objdump -f "$1") in *pei-i386*) runtime=MSVCR120.dll ;; esac
    objdump -p "$1" | awk '/DLL Name/ { print $3 }' | sort >"$scratch/imported"
    printf '%s\n' KERNEL32.dll $runtime | diff - "$scratch/imported" || fail "$1 imports other DLLs (>)"
    ;;
symbols) # nothing that the linker could take from one build for another
    [ $# -gt 0 ] || fail "no objects"
    nm "$@" >"$scratch/symbols"
    if grep -E ' [WwVvu] ' "$scratch/symbols"; then fail "weak symbols"; fi
    echo "$# objects, $(wc -l <"$scratch/symbols") symbols"
    ;;
instructions) # on x86: none of a wider build, and the upper register halves as the caller wants them
    bytes=$1
    shift
    [ $# -gt 0 ] || fail "no objects"
    objdump -d --no-show-raw-insn "$@" >"$scratch/code"
    case $bytes in
    16) wider='[%][yz]mm|^ .*:[[:space:]]+v[a-z]' ;;
    32) wider='[%]zmm|[%][xy]mm(1[6-9]|[23][0-9])|[%]k[0-7]' ;;
    *) wider=none ;;
    esac
    if grep -E "$wider" "$scratch/code"; then fail "instructions of a wider build"; fi
    awk '/>:$/ { name = $2; dirty = 0 }
         /[%][yz]mm/ { dirty = 1 }
         /vzeroupper/ { dirty = 0 }
         /[[:space:]]ret/ { returns++; if (dirty) { print name, "returns without vzeroupper"; failed = 1 } }
         END { exit failed || !returns }' "$scratch/code" || fail "upper register halves in use at a return"
    ;;
header) # one header for C and C++
    printf '#include "%s"\nint main(void) { qx_pixinit(); return 0; }\n' "$1" >"$scratch/use.c"
    cp "$scratch/use.c" "$scratch/use.cpp"
    ${CC:-cc} -std=c99 -pedantic -Wall -Wextra -Wstrict-prototypes -Werror -fsyntax-only "$scratch/use.c"
    ${CXX:-c++} -std=c++11 -pedantic -Wall -Wextra -Werror -fsyntax-only "$scratch/use.cpp"
    ;;
*) fail "unknown check $what" ;;
esac
