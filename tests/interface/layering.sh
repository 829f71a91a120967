#!/usr/bin/env bash
# Who may include whom. Includes are told apart by the name of the header, which is unique in the tree.
# layering.sh <source tree>
set -euo pipefail
. "$(dirname -- "$(readlink -f -- "$0")")/test_lib.sh"

cd -- "$1"

# headers_of <folder>...: an alternation of the names of their headers.
headers_of() {
    find "$@" -name '*.h' -printf '%f\n' | sed 's/\./\\./g' | paste -sd '|'
}

# refuse <folders> <alternation> <message> [--exclude=<file>]: none of the folders' other files includes one of these.
refuse() {
    [ -n "$2" ] || fail "no headers found to look for: $3"
    # shellcheck disable=SC2086  # a list of folders
    expect_no_match "$3" -rnE --include='*.h' --include='*.cpp' --include='*.def' \
        "${@:4}" "#include [<\"]([^>\"]*/)?($2)[>\"]" $1
}

for folder in include platform diag keyval config controller sim app; do
    [ -n "$(find "$folder" -name '*.h' -print -quit)" ] || fail "$folder holds no headers"
done
expect_nothing "these header names stand twice in the tree:" \
    < <(find include platform diag keyval config controller sim app -name '*.h' -printf '%f\n' | sort | uniq -d)

system='fcntl\.h|unistd\.h|pthread\.h|dirent\.h|time\.h|sys/[a-z]+\.h|signal\.h'
system+='|ctime|chrono|thread|mutex|condition_variable|future|fstream|filesystem|csignal'
library='include controller config keyval diag'
refuse "$library" "$(headers_of sim app)" "the library knows neither the simulator nor sensorcam:"
# Schemes.cpp must not spin even where a host's wait returns at once: it sleeps a moment by itself.
refuse "$library" "$system" "time, files and threads come from the host framework, platform/include:" \
    --exclude=Schemes.cpp
refuse "$library" "$(headers_of platform/posix)" "the library includes the framework's headers, not its sources':"
refuse "include platform" "$(headers_of controller config keyval diag)" "inner headers of the library are its own:"
refuse "diag" "$(headers_of controller config keyval)" "diag is the lowest folder:"
refuse "config keyval" "$(headers_of controller)" "config and keyval lie below controller:"
refuse "sim" "$(headers_of controller config keyval diag app)" "the simulator sees include and platform/include only:"
refuse "app" "$(headers_of controller config keyval diag)" "sensorcam is a host: it sees what a host sees:"
