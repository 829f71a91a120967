#!/usr/bin/env bash
# Compares the library's binary interface with the dump in the tree: exported symbols, sizes of exported data, the
# types that hosts share with the library, layout and private members of ISensorController included, since hosts
# create one. The library is built for it with what dumps are made of, debug information of types.
# abi.sh <cmake> <compiler> <source tree> <dump> <work folder> [--accept]
set -euo pipefail
here=$(dirname -- "$(readlink -f -- "$0")")
. "$here/test_lib.sh"

cmake=$1 compiler=$2 source=$3 dump=$4 work=$5
build=$work/build
export LIBABIGAIL_DEFAULT_USER_SUPPRESSION_FILE=/dev/null LIBABIGAIL_DEFAULT_SYSTEM_SUPPRESSION_FILE=/dev/null

for tool in abidw abidiff; do
    command -v "$tool" >/dev/null || fail "$tool is missing: apt-get install abigail-tools"
done

# Without -femit-class-debug-always an abstract class is described only where its table of virtual functions is made:
# VideoStreamModule in the host.
build_library() {
    local flags="-O0 -g -femit-class-debug-always \"-ffile-prefix-map=$source=.\""
    "$cmake" -S "$source" -B "$build" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE=Debug \
        -DCMAKE_CXX_FLAGS_DEBUG="$flags" -DBUILD_TESTING=OFF -DSENSORDLL_APP=OFF >/dev/null
    "$cmake" --build "$build" --target sensordll --parallel 2 >/dev/null
}

# Nothing of it depends on the machine: no paths, no places in the source, no libraries that are needed.
write_dump() {
    local library
    library=$(find "$build" -name libsensordll.so -type f)
    [ -n "$library" ] || fail "no libsensordll.so below $build"
    abidw --headers-dir "$source/include" --headers-dir "$source/platform/include" --drop-private-types \
        --exported-interfaces-only --suppressions "$here/abi_types.suppr" --no-corpus-path --no-comp-dir-path \
        --no-show-locs --no-elf-needed --no-parameter-names --out-file "$1" "$library"
    # Indentation is a third of the dump.
    sed -i 's/^ *//' "$1"
    # A dump without types compares as equal to anything with the same symbols.
    local type
    for type in ISensorController KSMutex ModuleConfigure SysConfig VideoStreamModule keycmd KeyVal; do
        grep -q "<class-decl name='$type' size-in-bits=" "$1" || fail "the dump lacks the type $type"
    done
}

mkdir -p "$work"
build_library
write_dump "$work/new.xml"
if [ "${6:-}" = --accept ]; then
    cp "$work/new.xml" "$dump"
    exit
fi
[ -f "$dump" ] || fail "$dump is missing; make it with: ninja -C ${work%/tests/*} accept_abi"
abidiff --harmless "$dump" "$work/new.xml" || # any bit of its status is a difference
    fail "The library's binary interface differs from $dump: hosts that were built before may not work with it." \
        "If that is meant: ninja -C ${work%/tests/*} accept_abi, and commit the dump with the change."
