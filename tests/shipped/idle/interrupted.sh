#!/usr/bin/env bash
# A test program that is interrupted on the terminal ends by the interruption, as whoever started it expects, and takes
# its private file tree along.
# interrupted.sh <idle_camera>
set -euo pipefail

fail() {
    printf '%s\n' "$@" >&2
    exit 1
}

# A group of its own, as a terminal gives to what it interrupts; bash lets no other job be interrupted.
set -m
"$1" fixed 100000 >/dev/null &
program=$!
trap 'kill -KILL -- "-$program" 2>/dev/null || true' EXIT

# The tree stands in the arguments of bubblewrap. The program inside writes into its mark when it has begun.
tree_of_program() {
    local inners inner
    read -ra inners <"/proc/$program/task/$program/children" || true
    for inner in "${inners[@]}"; do
        tr '\0' '\n' <"/proc/$inner/cmdline" | grep -o -m 1 '.*/test-trees/[^/]*'
    done
}

tree=
for _ in {1..3000}; do
    kill -0 "$program" || fail "the program has ended"
    [ -n "$tree" ] || tree=$(tree_of_program 2>/dev/null || true)
    if [ -s "$tree/tmp/private-tree.started" ]; then break; fi
    sleep 0.01
done
[ -s "$tree/tmp/private-tree.started" ] || fail "the program has not begun in a private tree"

status=0
kill -INT -- "-$program"
wait "$program" || status=$?
[ "$status" -eq 130 ] || fail "it ended with status $status and not by the signal"
[ ! -e "$tree" ] || fail "its tree $tree is left behind"
