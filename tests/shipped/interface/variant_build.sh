#!/usr/bin/env bash
# The library alone builds with this compiler and these options; a warning is an error.
# variant_build.sh <cmake> <compiler> <source tree> <build folder> <option>...
set -euo pipefail
. "$(dirname -- "$(readlink -f -- "$0")")/test_lib.sh"

cmake=$1 compiler=$2 source=$3 build=$4
shift 4

"$cmake" -S "$source" -B "$build" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE=None \
    -DCMAKE_CXX_FLAGS="$*" -DBUILD_TESTING=OFF -DSENSORDLL_WERROR=ON >/dev/null
"$cmake" --build "$build" --parallel 2 --target sensordll | grep -v '^\[' || [ "${PIPESTATUS[0]}" -eq 0 ]
[ -n "$(find "$build" -name libsensordll.so)" ] || fail "there is no libsensordll.so in $build"
