#!/usr/bin/env bash
# Without tests and sensorcam the project needs TinyXML and nothing else; what it then installs is what the
# consumer tests use. The installation is moved afterwards: it must not remember where it was made.
# minimal_build.sh <cmake> <compiler> <source tree> <work folder>
set -euo pipefail
here=$(dirname -- "$(readlink -f -- "$0")")
. "$here/test_lib.sh"

cmake=$1 compiler=$2 source=$3 work=$4
build=$work/build

mkdir -p "$work"
rm -rf "$work/prefix" "$work/staged" "$build/packages_looked_for.txt"
"$cmake" -S "$source" -B "$build" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_CXX_FLAGS_RELEASE=-O0 -DBUILD_TESTING=OFF -DCMAKE_INSTALL_PREFIX="$work/staged" \
    -DCMAKE_PROJECT_TOP_LEVEL_INCLUDES="$here/record_packages.cmake" >/dev/null
"$cmake" --build "$build" --parallel 2 >/dev/null
"$cmake" --install "$build" >/dev/null

expect_no_match "a build without tests looked for more than TinyXML and Threads:" \
    -Evx 'TinyXML|Threads' "$build/packages_looked_for.txt"

mv "$work/staged" "$work/prefix"
expect_no_match "these installed files name the place where they were made:" \
    -rlIF -e "$work/staged" -e "$source" "$work/prefix"
expect_no_match "installed headers need TinyXML's headers:" -rn '#include.*tinyxml' "$work/prefix/include"
[ -n "$(find "$work/prefix" -name libsensordll.so -type f)" ] || fail "libsensordll.so was not installed"
expect_nothing "the library was installed with a version suffix:" \
    < <(find "$work/prefix" -name 'libsensordll.so?*')
