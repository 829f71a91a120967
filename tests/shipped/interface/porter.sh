#!/usr/bin/env bash
# Builds the ports in tests/shipped/porter against the installed package, runs portcheck of the good one on a camera's
# file tree and reads the report: as it is, with a video module, and with documents that ask for what it refuses.
# porter.sh <cmake> <compiler> <porter's source> <prefix> <work folder>
set -euo pipefail
. "$(dirname -- "$(readlink -f -- "$0")")/test_lib.sh"

cmake=$1 compiler=$2 source=$3 prefix=$4 work=$5
build=$work/build
report=$work/report

write_style() { # <factory value of brightness>
    cat >"$work/tree/hd1/moduleConfig/sensorConfig/style/Style.xml" <<XML
<Style>
    <tab key="schedule">
        <switch id="8000" value="0"/>
    </tab>
    <tab key="image">
        <slider id="34" value="$1"/>
        <slider id="2337" value="50"/>
        <combo id="2528" value="0"><item index="0"/><item index="2"/><item index="4"/></combo>
    </tab>
</Style>
XML
}

write_documents() {
    write_board "$work/tree" porter
    write_style 50
}

# judge <expected exit status> <program> <option>...
judge() {
    local expected=$1 program=$2 status=0
    shift 2
    private_tree "$work/tree" "$(dirname -- "$work")" "$build/$program" "$@" >"$report" 2>&1 || status=$?
    [ "$status" -eq "$expected" ] || fail "$program $*: exit status $status, expected $expected" "$(cat "$report")"
}

expect_line() {
    grep -qxE -- "$1" "$report" || fail "no line '$1' in the report:" "$(cat "$report")"
}

rm -rf "$work"
mkdir -p "$build"
"$cmake" -S "$source" -B "$build" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
"$cmake" --build "$build" >/dev/null
write_documents

judge 0 port_good --help
expect_line 'Without options nothing is set, no file is touched and no lens moves\.'

judge 0 port_good --documents --set --lens --folder /tmp --limit 60
expect_line 'passed    every factory value is accepted'
expect_line 'left out  the video module names its streams .*: there is none'
expect_line 'portcheck: [0-9]+ passed, 0 failed, [0-9]+ left out'

judge 0 port_good_with_video --set --limit 60
expect_line 'passed    the video module names its streams to several threads at once'

write_style 101
judge 1 port_good --documents --set --limit 60
expect_line 'FAILED    every factory value is accepted: IA_CMD_BRIGHTNESS = 101 is refused with -1'
expect_line 'portcheck: [0-9]+ passed, 1 failed, [0-9]+ left out'
