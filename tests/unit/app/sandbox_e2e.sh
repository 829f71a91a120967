#!/bin/sh
# The camera in its private tree, started as a person does. Needs bubblewrap; must not run inside a test's tree.
# usage: sandbox_e2e.sh SENSORCAM BUILD_FOLDER CMAKE [PICTURE]      PICTURE: anything, where the camera has one
set -u
program=$1
work=$2/sensorcam-e2e.$$
picture=${4:-}
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
(trap '' CHLD; camera one exec 'get 999' >/dev/null)
expect "to somebody too who has no wish to hear of children" 1 $?
camera one exec status >/dev/full
expect "answers that nobody gets are a failure" 1 $?
expect "with the reason" "sensorcam: answers cannot be written to standard output: No space left on device" \
    "$(cat "$work/errors")"
camera one --model dome exec status >/dev/null
expect "another model on the same folder is refused" 3 $?

# Two cameras beside each other; a second one on the same folder.
"$program" --state "$work/two" exec watch >"$work/watching" 2>/dev/null &
second=$!
wait_for "$work/watching" watching
expect "a camera beside it" "KEY_BRIGHTNESS = 60" "$(camera one exec 'get KEY_BRIGHTNESS')"
camera two exec status >/dev/null
expect "the same folder twice, at a speed of its own" 3 $?
expect "joining the camera on it" "KEY_BRIGHTNESS = 50" "$("$program" --state "$work/two" exec 'get KEY_BRIGHTNESS' 2>&1)"

kill -TERM "$second"
wait "$second"
expect "SIGTERM ends in order" 143 $?
camera two exec status >/dev/null
expect "and gives the folder back" 0 $?

# Two without a subcommand, away from a terminal, as built and as installed: each has its page at a port of its own.
port_of()
{
    "$2" --state "$work/$1" >"$work/page.$1" 2>"$work/page.errors" </dev/null &
    wait_for "$work/page.$1" '^serving on http://127.0.0.1:[0-9]*/$'
    port=$(sed -n 's|^serving on http://127.0.0.1:\([0-9]*\)/$|\1|p' "$work/page.$1")
}

# The head of what the camera at a port answers.
head_of()
{
    bash -c 'exec 9<>"/dev/tcp/127.0.0.1/$1" && printf "GET %s HTTP/1.1\r\nHost: localhost:$1\r\nConnection: close\r\n\r\n" \
        "$2" >&9 && tr -d "\0" <&9' bash "$1" "$2" | LC_ALL=C sed -n '1s/\r//p;s/^\(Content-Type: .*\)\r$/\1/p'
}

# The same of a picture, which a busy machine may ask to come again for.
head_of_picture()
{
    tries=0
    until head=$(head_of "$1" /api/snapshot.jpg) && [ "${head#* 503}" = "$head" ] || [ $tries -ge 60 ]
    do
        tries=$((tries + 1))
        sleep 1
    done
    echo "$head"
}

"$3" --install "$2" --prefix "$work/installed" >/dev/null
expect "installing" 0 $?
cp "$(dirname "$program")/leaks.supp" "$work/installed/bin" # a sanitizer looks for it beside the program
port_of one "$program"
first=$! first_port=$port
port_of two "$work/installed/bin/sensorcam"
second=$!
expect "a second camera takes another port" no "$([ "$port" = "$first_port" ] && echo yes || echo no)"
for each in "$first_port" "$port"
do
    expect "the page at port $each" "$(printf 'HTTP/1.1 200 OK\nContent-Type: text/html; charset=utf-8')" \
        "$(head_of "$each" /)"
    [ -z "$picture" ] ||
        expect "the picture at port $each" "$(printf 'HTTP/1.1 200 OK\nContent-Type: image/jpeg')" \
            "$(head_of_picture "$each")"
done
kill -TERM "$first" "$second"
wait "$first"
expect "the page ends with a signal" 143 $?
wait "$second"
expect "and so does the other one" 143 $?

# Every end signal reaches the camera, which ends the watch and says so; one that is killed does not.
for signal in HUP:129 INT:130 TERM:143
do
    "$program" --state "$work/two" --json exec watch >"$work/end${signal%:*}" 2>/dev/null &
    second=$!
    wait_for "$work/end${signal%:*}" watching
    kill -"${signal%:*}" "$second"
    wait "$second"
    expect "the status after SIG${signal%:*}" "${signal#*:}" $?
    expect "SIG${signal%:*} ends in order" 1 "$(grep -c '"event":"end"' "$work/end${signal%:*}")"
done

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

# Where no /proc can be mounted, as in many containers, the camera does without. One that is partly hidden, by somebody
# who has more rights, is such a place.
hidden()
{
    bwrap --unshare-user --unshare-pid --dev-bind / / --proc /proc --tmpfs /proc/tty -- \
        bwrap --unshare-user --dev-bind / / -- "$@"
}
if hidden true 2>/dev/null
then
    hidden bwrap --dev-bind / / --unshare-pid --proc /proc -- true 2>/dev/null
    expect "no /proc can be mounted there" 1 $?
    expect "a camera without /proc" "KEY_BRIGHTNESS = 60" \
        "$(hidden "$program" --state "$work/one" --speed 20 exec reset 'set brightness=60' save 'get brightness' 2>&1 |
            tail -1)"
fi

# What may not be in a state folder is seen before anything is read, also after the first start.
mkdir -p "$work/elsewhere"
ln -s "$work/elsewhere" "$work/one/mnt/mtd/code/configX"
camera one exec reset >/dev/null
expect "a link in the state folder is refused" 3 $?
expect "and named" 1 "$(grep -c 'configX is a symbolic link' "$work/errors")"
expect "and nothing was written behind it" "" "$(ls -A "$work/elsewhere")"
rm "$work/one/mnt/mtd/code/configX"

# Folders that an odd umask makes are not open to everybody: the next start would refuse them.
(umask 0; camera open exec status) >/dev/null
expect "a first start without umask" 0 $?
camera open exec status >/dev/null
expect "and the next one" 0 $?

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
expect "without standard output answers are a failure" 1 $?
expect "with the reason too" "sensorcam: answers cannot be written to standard output: Bad file descriptor" \
    "$(cat "$work/errors")"
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

child_of()
{
    read -r child rest <"/proc/$1/task/$1/children"
    echo "$child"
}

# A camera that stands still is killed at the limit, and bubblewrap with it, whichever signal was to end it.
supervisors=
for signal in INT TERM
do
    "$program" --state "$work/still$signal" --speed 20 exec watch >"$work/watching$signal" 2>/dev/null &
    supervisor=$!
    wait_for "$work/watching$signal" watching
    wrap=$(child_of "$supervisor")
    first=$(child_of "$wrap")
    kill -STOP "$(child_of "$first")" "$first" "$wrap"
    kill -$signal "$supervisor"
    supervisors="$supervisors $signal:$supervisor"
done
for one in $supervisors
do
    wait "${one#*:}"
    expect "killed at the limit after SIG${one%:*}" 137 $?
done

# A path that is longer than the address of a socket may be; what a killed camera left.
deep=$(printf '%0120d' 0)
"$program" --state "$work/$deep" exec watch >"$work/killed" 2>/dev/null &
killed=$!
wait_for "$work/killed" watching
kill -KILL "$killed"
wait "$killed"
expect "a killed camera leaves its socket" yes "$([ -S "$work/$deep/shell.socket" ] && echo yes)"
mkfifo "$work/keys.deep"
camera "$deep" shell <"$work/keys.deep" >"$work/deep" &
joined=$!
exec 8>"$work/keys.deep"
echo 'set brightness=61' >&8
wait_for "$work/deep" 'KEY_BRIGHTNESS = 61'
expect "joining the next one" "KEY_BRIGHTNESS = 61" "$("$program" --state "$work/$deep" exec 'get brightness' 2>&1)"
exec 8>&-
wait "$joined"
expect "it ends" 0 $?
expect "and takes its sockets with it" "" "$(find "$work/$deep" -type s)"

# A day of the licence-plate camera in short: a window and the night. The clock is set, and a window is three minutes
# long: however late the camera comes to it, it comes in time.
mkfifo "$work/keys.plates"
"$program" --state "$work/plates" --model lpr --speed 20 --at 12:00 shell <"$work/keys.plates" >"$work/day" 2>/dev/null &
plates=$!
exec 7>"$work/keys.plates"
in_force()
{
    tries=0
    until grep -q "^scheme   scheme $1," "$work/day" || [ $tries -ge 1200 ]
    do
        tries=$((tries + 1))
        echo status >&7
        sleep 0.1
    done
    expect "scheme $1 is in force" 1 "$(grep -c "^scheme   scheme $1," "$work/day" | sed 's/[1-9][0-9]*/1/')"
}
printf '%s\n' 'set delay=0' 'window 2 on 17:00-18:00' 'light 1000' 'time 16:59' >&7
in_force 0
echo 'time 17:00' >&7
in_force 2
echo 'light 1' >&7
echo 'time 18:00' >&7
in_force 1
exec 7>&-
wait $plates
expect "the camera of the day ends" 0 $?

expect "nothing outside the state folder was touched" "$before" "$(outside)"

[ $failures -eq 0 ] && echo "all passed"
exit $((failures > 0))
