# shellcheck shell=dash disable=SC2034
# What shows have in common. A show ends with status 0 if it passed; the first thing that is not as it should be ends it.

fail() {
    echo "failed: $*"
    exit 1
}

# expect WANTED GOT
expect() {
    [ "$1" = "$2" ] || fail "'$1' was expected, '$2' came"
}

# expect_between LEAST GREATEST GOT: whole numbers or decimals
expect_between() {
    awk -v a="$1" -v b="$2" -v x="$3" 'BEGIN { exit !(x ~ /^-?[0-9.]+$/ && a + 0 <= x + 0 && x + 0 <= b + 0) }' ||
        fail "a value from $1 to $2 was expected, '$3' came"
}

# expect_line REGEX FILE
expect_line() {
    grep -q -- "$1" "$2" || fail "no line of $2 is like '$1'"
}

expect_failure() {
    if "$@" >/dev/null 2>&1; then
        fail "this should have failed: $*"
    fi
}

# Waits until a command succeeds, ten seconds of the machine's clock at most.
wait_for() {
    local left=200
    until "$@" >/dev/null 2>&1; do
        [ "$left" -gt 0 ] || fail "it did not come about: $*"
        left=$((left - 1))
        usleep 50000
    done
}

# The first video node of the device with that name, as sysfs has it.
node_of() {
    local entry
    for entry in /sys/class/video4linux/video*; do
        if [ "$(cat "$entry/index")" = 0 ] && [ "$(cat "$entry/name")" = "$1" ]; then
            echo "/dev/${entry##*/}"
            return
        fi
    done
    return 1
}

# start NAME PROGRAM ARGUMENT...: in the background. It reads commands from the pipe /tmp/NAME, by tell, and what it says
# is in /tmp/NAME.log.
start() {
    local name=$1
    shift
    rm -f "/tmp/$name"
    mkfifo "/tmp/$name"
    "$@" <>"/tmp/$name" >"/tmp/$name.log" 2>&1 &
}

tell() {
    local name=$1
    shift
    echo "$*" >"/tmp/$name"
}

# Has NAME said this line?
said() {
    grep -qxF "$2" "/tmp/$1.log"
}

# look NODE WIDTH HEIGHT CONTROL=VALUE[,...]: sets the controls and takes five pictures, of which the last counts.
look() {
    v4l2-ctl -d "$1" -c "$4"
    v4l2-ctl -d "$1" --stream-mmap --stream-count=5 --stream-to=/tmp/pictures >/dev/null 2>&1 || fail "no pictures of $1"
    vm-picture "$2" "$3" </tmp/pictures >/tmp/looks
    expect 5 "$(wc -l </tmp/looks)"
}

# seen WHAT: a number of the picture that look took last, by the name that vm-picture gives it
seen() {
    tail -n 1 /tmp/looks | tr ' ' '\n' | grep -x -A 1 "$1" | tail -n 1
}

# value_of NODE CONTROL
value_of() {
    v4l2-ctl -d "$1" -C "$2" | sed 's/.*: //'
}

# Sets a control of a node and prints why that failed; nothing if it did not.
refusal() {
    v4l2-ctl -d "$1" -c "$2" 2>&1 | sed -n 's/^VIDIOC_S[A-Z_]*: failed: //p'
}

# plug_in CAMERA NAME: the camera of that file, which calls itself NAME; commands for it go to CAMERA. Sets node.
plug_in() {
    start "$1" vm-camera "/cameras/$1"
    wait_for node_of "$2"
    node=$(node_of "$2")
}
