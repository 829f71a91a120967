#!/bin/sh
# The camera in its private tree, started as a person does. Needs bubblewrap; must not run inside a test's tree.
# usage: sandbox_e2e.sh SENSORCAM WORK_FOLDER
set -u
program=$1
work=$2/sensorcam-e2e.$$
failures=0

mkdir -p "$work"
trap 'rm -rf "$work"' EXIT

expect()
{
    if [ "$2" != "$3" ]
    then
        failures=$((failures + 1))
        printf 'FAILED: %s\n  expected: %s\n  got:      %s\n' "$1" "$2" "$3"
    fi
}

# Names and times of everything a camera must leave alone.
outside()
{
    ls -d /hd1 2>/dev/null
    ls -la --time-style=full-iso /mnt 2>/dev/null
    ls -d /tmp/merge_style.xml /mnt/mtd 2>/dev/null
}

camera()
{
    folder=$1
    shift
    "$program" --state "$work/$folder" --speed 20 "$@" 2>"$work/errors"
}

wait_for()
{
    tries=0
    while ! grep -q "$2" "$1" 2>/dev/null
    do
        tries=$((tries + 1))
        [ $tries -lt 1200 ] || { printf 'FAILED: no %s in %s\n' "$2" "$1"; cat "$1"; exit 1; }
        sleep 0.1
    done
}

before=$(outside)

camera one exec 'set KEY_BRIGHTNESS=60' 'save' >/dev/null
expect "setting and saving" 0 $?
expect "the first start is told" 1 "$(grep -c 'first start' "$work/errors")"
expect "a second process reads what was saved" "KEY_BRIGHTNESS = 60" "$(camera one exec 'get KEY_BRIGHTNESS')"
expect "its own folder holds the scheme files" yes "$([ -f "$work/one/mnt/mtd/code/config_file/sensor0.cfg" ] && echo yes)"
expect "and what goes to /tmp" yes "$([ -f "$work/one/tmp/merge_style.xml" ] && echo yes)"

camera one exec 'get 999' >/dev/null
expect "the status of a command that failed comes through" 1 $?
camera one exec status >/dev/full
expect "answers that nobody gets are a failure" 1 $?
camera one --model dome exec status >/dev/null
expect "another model on the same folder is refused" 3 $?

# Two cameras beside each other; a second one on the same folder.
"$program" --state "$work/two" exec watch >"$work/watching" 2>/dev/null &
second=$!
wait_for "$work/watching" watching
expect "a camera beside it" "KEY_BRIGHTNESS = 60" "$(camera one exec 'get KEY_BRIGHTNESS')"
camera two exec status >/dev/null
expect "the same folder twice" 3 $?

kill -TERM "$second"
wait "$second"
expect "SIGTERM ends in order" 143 $?
camera two exec status >/dev/null
expect "and gives the folder back" 0 $?

# A supervisor that is killed takes its camera along.
"$program" --state "$work/two" exec watch >"$work/watching2" 2>/dev/null &
second=$!
wait_for "$work/watching2" watching
kill -KILL "$second"
wait "$second" 2>/dev/null
tries=0
until camera two exec status >/dev/null || [ $tries -ge 100 ]
do
    tries=$((tries + 1))
    sleep 0.1
done
expect "the folder is free after SIGKILL" 0 "$(camera two exec status >/dev/null; echo $?)"

# Links in the state folder must not lead the camera out of it.
mkdir -p "$work/linked" "$work/elsewhere"
ln -s "$work/elsewhere" "$work/linked/tmp"
camera linked exec status >/dev/null
expect "a link in the state folder is refused" 3 $?
expect "and nothing was written behind it" "" "$(ls -A "$work/elsewhere")"

if [ "$(id -u)" -eq 0 ]
then
    mkdir -p "$work/theirs"
    chown 12345 "$work/theirs"
    camera theirs exec status >/dev/null
    expect "another user's folder is refused" 3 $?
    expect "and left empty" "" "$(ls -A "$work/theirs")"
fi

# Started by hand, the copy for the private tree must not work on the machine's own files.
"$program" --inside --state "$work/two" --model fixed exec status >/dev/null 2>&1
expect "--inside without a lock is refused" 3 $?
"$program" --inside --lock-descriptor 2 --state "$work/two" --model fixed exec status >/dev/null 2>&1
expect "--inside outside of the private tree is refused" 3 $?

# Closed standard descriptors: answers must not land in the first file that is opened.
camera two exec status >&- <&-
expect "without standard input and output it runs" 0 $?
expect "and the lock file holds the process only" 1 "$(wc -l <"$work/two/lock")"

# As on a full disk: the merged style document cannot be written.
camera full exec status >/dev/null
rm -f "$work/full/tmp/merge_style.xml"
mkdir -p "$work/full/tmp/merge_style.xml/x"
camera full exec 'get brightness' >/dev/null
expect "a camera without parameters is not started" 3 $?
expect "and says why" 1 "$(grep -c 'no parameters' "$work/errors")"
rm -rf "$work/full/tmp/merge_style.xml"

# The same during a factory reset, and scheme files that cannot be made.
resetting()
{
    mkfifo "$work/keys.$1"
    "$program" --state "$work/full" --speed 20 shell <"$work/keys.$1" >"$work/reset.$1" 2>"$work/errors.$1" &
    resetter=$!
    exec 7>"$work/keys.$1"
    echo 'get brightness' >&7
    wait_for "$work/reset.$1" KEY_BRIGHTNESS
    eval "$2"
    echo reset >&7
    exec 7>&-
    wait "$resetter"
    expect "a factory reset without $1 fails" 1 $?
    wait_for "$work/errors.$1" "$3"
}
resetting parameters 'rm -f "$work/full/tmp/merge_style.xml"; mkdir -p "$work/full/tmp/merge_style.xml/x"' 'no parameters'
rm -rf "$work/full/tmp/merge_style.xml"
resetting files 'rm -rf "$work/full/mnt/mtd/code/config_file"; : >"$work/full/mnt/mtd/code/config_file"' 'could not be made'

# A camera that stands still is killed at the limit, and bubblewrap with it, whichever signal was to end it.
supervisors=
for signal in INT TERM
do
    "$program" --state "$work/still$signal" --speed 20 exec watch >"$work/watching$signal" 2>/dev/null &
    supervisor=$!
    wait_for "$work/watching$signal" watching
    wrap=$(cat "/proc/$supervisor/task/$supervisor/children")
    inner=$(cat /proc/${wrap% }/task/${wrap% }/children)
    kill -STOP ${inner% } ${wrap% }
    kill -$signal "$supervisor"
    supervisors="$supervisors $signal:$supervisor"
done
for one in $supervisors
do
    wait "${one#*:}"
    expect "killed at the limit after SIG${one%:*}" 137 $?
done

# A day of the licence-plate camera in short: a window and the night.
"$program" --state "$work/plates" --model lpr --speed 60 --at 17:58 exec 'light 1' 'set delay=0' \
    'window 2 on 17:59-18:00' 'watch 150' >"$work/day" 2>/dev/null
expect "the window begins at its minute" 1 "$(grep -c '^17:59  now scheme 2 ' "$work/day")"
expect "night follows it" 1 "$(grep -c '^18:00  now scheme 1 ' "$work/day")"

expect "nothing outside the state folder was touched" "$before" "$(outside)"

[ $failures -eq 0 ] && echo "all passed"
exit $((failures > 0))
