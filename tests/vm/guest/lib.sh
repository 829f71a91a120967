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

# look NODE WIDTH HEIGHT [CONTROL=VALUE[,...]]: sets the controls and takes five pictures, of which the last counts.
look() {
    [ $# -lt 4 ] || v4l2-ctl -d "$1" -c "$4"
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

# The machine's folders that a tree of its own shows too, by name: all but the trees, wherever programs are.
folders_of_machine() {
    local folder
    mkdir -p /lib64 /run /usr
    for folder in /*/; do
        folder=${folder#/}
        case ${folder%/} in
        camera | outer | mnt | hd1) ;;
        *) echo "${folder%/}" ;;
        esac
    done
}

# A file tree for one camera's sensorcam, as a service manager makes it, with the state folder $tree/state; in_tree runs
# programs there, each with mounts of its own.
tree=/camera
make_tree() {
    local folder
    rm -rf $tree
    for folder in $(folders_of_machine); do
        mkdir -p "$tree/$folder"
    done
    mkdir -p $tree/state/tmp
    ln -s /state/current/mnt $tree/mnt
    ln -s /state/current/hd1 $tree/hd1
}

# in_tree PROGRAM ARGUMENT...
in_tree() {
    # shellcheck disable=SC2016
    unshare -m sh -c '
        for folder in "$0"/*; do
            name=${folder#"$0/"}
            case $name in
            mnt | hd1 | state) ;;
            tmp) mount --bind "$0/state/tmp" "$folder" ;;
            *) mount --rbind "/$name" "$folder" ;;
            esac
        done
        exec chroot "$0" "$@"' $tree "$@"
}

# start_camera ARGUMENT...: sensorcam with these, in that tree, where ask finds it.
start_camera() {
    start sensorcam shell_of_camera "$@"
    camera=$!
    wait_for test -e /tmp/sensorcam.log
    ask get brightness
}
shell_of_camera() {
    in_tree sensorcam --in-place --json "$@" shell 2>/tmp/sensorcam.notices
}

end_camera() {
    tell sensorcam quit --discard
    wait "$camera"
}

# ask COMMAND: sensorcam runs it; its answer, JSON in a line, is in $answer. Fails with the command.
ask() {
    local before
    before=$(wc -l </tmp/sensorcam.log)
    tell sensorcam "$@"
    wait_for answered "$before"
    answer=$(tail -n +$((before + 1)) /tmp/sensorcam.log | head -n 1)
    echo "$*: $answer"
    case $answer in *'"ok":true'*) ;; *) return 1 ;; esac
}
answered() {
    [ "$(wc -l </tmp/sensorcam.log)" -gt "$1" ]
}

# has KEY VALUE: does sensorcam say that?
has() {
    ask get "$1"
    case $answer in *'"value":'"$2}"*) ;; *) return 1 ;; esac
}

# stands KEY STANDING: does sensorcam say that of the key? '' for a key that is applied
stands() {
    ask device
    case $answer in
    *'"KEY_'"$1"'","standing":"'"$2"'"'*) ;;
    *'"KEY_'"$1"'"'*) return 1 ;;
    *) [ -z "$2" ] ;;
    esac
}

# holds CONTROL VALUE: does the camera, which calls itself Webcam, hold that?
holds() {
    [ "$(value_of "$(node_of Webcam)" "$1")" = "$2" ]
}

# wakes PROCESS: how often its threads have slept
wakes() {
    cat "/proc/$1"/task/*/status | awk '/^voluntary/ { n += $2 } END { print n }'
}
