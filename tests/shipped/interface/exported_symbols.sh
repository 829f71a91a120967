#!/usr/bin/env bash
# Compares what the library exports with the checked-in list, by demangled name.
# exported_symbols.sh <nm> <library> <list> [--accept]
set -euo pipefail
. "$(dirname -- "$(readlink -f -- "$0")")/test_lib.sh"

nm=$1 library=$2 list=$3

# Sanitizers put names of their own into the table, and the type of the host's class whose virtual functions are called.
# A constructor stands there twice, complete and base.
exported_symbols() {
    "$nm" --dynamic --demangle --defined-only --format=posix "$library" |
        sed -E 's/ [A-Za-z] [0-9a-f]+ [0-9a-f]*$//; /^__(odr_)?(asan|ubsan|tsan)/d; /^typeinfo (name )?for VideoStreamModule/d' | LC_ALL=C sort -u
}

if [ "${4:-}" = --accept ]; then
    exported_symbols >"$list"
    exit
fi
diff --unified=0 --label expected --label exported "$list" <(exported_symbols) ||
    fail "The library's interface differs from $list." \
        "If that is meant: ninja -C ${library%/*/*} accept_exported_symbols, and commit the list with the change."
