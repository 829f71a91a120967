#!/usr/bin/env bash
# Who may include whom. Headers are included from the root of the tree, so that the path says whose they are; those of
# include/ and platform/include/ by name alone, because a host may bring its own.
# layering.sh <source tree>
set -euo pipefail
. "$(dirname -- "$(readlink -f -- "$0")")/test_lib.sh"

cd -- "$1"

# includes_of <folder>: file:line:#include "path", in quotes only.
includes_of() {
    grep -rnoE --include='*.h' --include='*.cpp' --include='*.def' '#include "[^"]+"' "$1" || true
}

# sees <folder> [<other folder>...]: its files may include headers of these and of no other, itself always among them.
sees() {
    local folder=$1 allowed
    [ -n "$(find "$folder" -name '*.h' -print -quit)" ] || fail "$folder holds no headers"
    allowed=$(printf '|%s' "$@")
    expect_nothing "$folder sees itself,${*:2} and the public headers only:" \
        < <(includes_of "$folder" | grep '"[^"]*/' | grep -vE "\"(${allowed#|})/" || true)
    expect_nothing "only public headers are included by name alone:" \
        < <(includes_of "$folder" | sed -n 's/.*#include "\([^"/]*\)"$/\1/p' | sort -u | while read -r name; do
            [ -f "include/$name" ] || [ -f "platform/include/$name" ] || echo "$folder: $name"
        done)
}

sees include
sees platform
sees base
sees diag base
sees keyval base diag
sees config base diag
sees controller base diag keyval config
sees services
sees services/checks # what a porter may include, and nothing else
sees camera services
sees app camera services
sees app/json camera services # no terminal: every front end answers with it

# What app/web/CMakeLists.txt makes a library of its own.
transport=$(sed -n '/^add_library(sensorcam_web/,/)/s/^  \([A-Za-z]*\)\.cpp.*/\1/p' app/web/CMakeLists.txt | paste -sd '|')
[ -n "$transport" ] || fail "app/web/CMakeLists.txt names no files of sensorcam_web"
expect_nothing "HTTP itself sees neither a camera nor what stands on it:" \
    < <(includes_of app/web | grep -E "^app/web/($transport|Http)\.(h|cpp):" | grep '"[^"]*/' |
        grep -vE '"(app/web/|camera/Descriptor\.h")' || true)
expect_nothing "HTTP itself sees none of the paths:" \
    < <(includes_of app/web | grep -E "^app/web/($transport|Http)\.(h|cpp):" |
        grep -E '"app/web/(Answers|Api|EventStream|Serving)\.h"' || true)
expect_no_match "of the prompt the paths see only how texts are read and told:" \
    -rnE --include='*.h' --include='*.cpp' '#include "app/cli/(Answer|Command|Completion|Line|Session|Shell)' app/web
expect_no_match "the prompt knows nothing of HTTP:" -rnE --include='*.h' --include='*.cpp' '#include "app/web/' app/cli app/json

# names_simulator: file:line:text of what names it, outside of services and the tests.
names_simulator() {
    grep -rniE --include='*.h' --include='*.cpp' --exclude-dir={services,tests,build} '"services/sim|sim::|simulat' -- * || true
}
expect_nothing "every service is like another, but where one is chosen and where its picture is measured:" \
    < <(names_simulator | grep -vE '^(app/Service|benchmarks/picture_bench)\.cpp:' || true)

system='fcntl\.h|unistd\.h|pthread\.h|dirent\.h|time\.h|sys/[a-z]+\.h|signal\.h'
system+='|ctime|chrono|thread|mutex|condition_variable|future|fstream|filesystem|csignal'
# Schemes.cpp must not spin even where a host's wait returns at once: it sleeps a moment by itself.
expect_no_match "time, files and threads come from the host framework, platform/include:" \
    -rnE --include='*.h' --include='*.cpp' --exclude=Schemes.cpp \
    "#include <($system)>" include base diag keyval config controller
