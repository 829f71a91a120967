#!/usr/bin/env bash
# Runs a port's portcheck on a camera's file tree. Exactly the checks named after the options must fail.
# judge.sh <program> <folder of the documents> <build tree> <work folder> <option>... -- <sentence of a check>...
set -euo pipefail
. "$(dirname -- "$(readlink -f -- "$0")")/../interface/test_lib.sh"

program=$1 share=$2 build=$3 work=$4
shift 4
options=()
while [ "$1" != -- ]; do
    options+=("$1")
    shift
done
shift

write_documents() {
    local factory=$1/mnt/mtd/code/factory_setting modules=$1/hd1/moduleConfig
    mkdir -p "$factory" "$modules/sensorConfig" "$1"/mnt/mtd/{code/config_file,log}
    cp "$share/models/fixed/machineinfo.ini" "$factory"
    cp "$share/models/fixed/moduleConfig.xml" "$modules"
    cp -r "$share"/{style,styleDiversity} "$modules/sensorConfig"
}

# Not the time of Greenwich. And a zone that is given is taken over once, where a thread sanitizer does not see the lock
# under which the C library does so anew at every call.
export TZ=TST-5:45

rm -rf "$work"
mkdir -p "$work"
write_documents "$work/tree"
status=0
private_tree "$work/tree" "$build" "$program" "${options[@]}" >"$work/report" || status=$?

diff <(printf '%s\n' "$@" | sed '/^$/d' | sort) \
    <(sed -n 's/^FAILED    \([^:]*\(::[^:]*\)*\): .*/\1/p' "$work/report" | sort) ||
    fail "other checks failed than expected (<):" "$(cat "$work/report")"
[ "$status" -eq $(($# > 0 ? 1 : 0)) ] || fail "exit status $status" "$(cat "$work/report")"
tail -n 1 "$work/report" | grep -qE '^portcheck: [0-9]+ passed, [0-9]+ failed, [0-9]+ left out$' ||
    fail "no counts in the last line" "$(cat "$work/report")"
expect_nothing "files were left behind:" < <(find "$work/tree" -path '*portcheck-files*')
