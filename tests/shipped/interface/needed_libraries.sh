#!/usr/bin/env bash
# The library's name carries no version, and it loads beside any host framework: none of ours among its needs.
# needed_libraries.sh <readelf> <library>
set -euo pipefail
. "$(dirname -- "$(readlink -f -- "$0")")/test_lib.sh"

readelf=$1 library=$2

dynamic_entries() {
    "$readelf" --dynamic --wide "$library" | sed -nE "s/.*\($1\).*\[(.*)\]/\1/p"
}

[ "$(dynamic_entries SONAME)" = libsensordll.so ] || fail "the soname is $(dynamic_entries SONAME)"
# The sanitizers' libraries are in sanitized builds only.
expect_nothing "the library needs more than TinyXML and the C++ library:" \
    < <(dynamic_entries NEEDED | grep -Ev '^lib(tinyxml|stdc\+\+|gcc_s|c|m|asan|ubsan|tsan)\.so|^ld-linux')
[ "$(dynamic_entries NEEDED | grep -c "^libtinyxml\.so")" -eq 1 ] || fail "the library does not need TinyXML"
