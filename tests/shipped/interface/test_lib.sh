# shellcheck shell=bash
# Sourced by the scripts beside it.

fail() {
    printf '%s\n' "$@" >&2
    exit 1
}

# Succeeds if standard input is empty; otherwise prints it below the message and ends the script.
expect_nothing() {
    local found
    found=$(cat)
    [ -z "$found" ] || fail "$1" "$found"
}

# expect_no_match <message> <grep's argument>...: ends the script if grep finds something, or cannot look.
expect_no_match() {
    local message=$1 found status=0
    shift
    found=$(grep "$@") || status=$?
    [ "$status" -le 1 ] || fail "grep could not look: grep $*"
    [ -z "$found" ] || fail "$message" "$found"
}

# Runs a program with /mnt, /hd1 and /tmp replaced by the folders of that name in the tree.
# private_tree <tree> <readable folder> <program> <argument>...
private_tree() {
    local tree=$1 readable=$2
    shift 2
    local links=() folder options=()
    while read -r folder; do
        if [ -L "$folder" ]; then
            links+=(--symlink "usr$folder" "$folder")
        else
            links+=(--ro-bind-try "$folder" "$folder")
        fi
    done < <(sed -n 's/^"\(.*\)",$/\1/p' "$(dirname -- "${BASH_SOURCE[0]}")/../../../app/box/SystemFolders.def")
    # A container's root often may not mount outside of a user namespace of its own.
    bwrap --ro-bind / / true 2>/dev/null || options=(--unshare-user)
    mkdir -p "$tree"/{mnt,hd1,tmp}
    bwrap "${options[@]}" --ro-bind /usr /usr "${links[@]}" --ro-bind /etc /etc --dev-bind /dev /dev \
        --bind /proc /proc --bind "$tree/mnt" /mnt --bind "$tree/hd1" /hd1 --bind "$tree/tmp" /tmp \
        --ro-bind "$readable" "$readable" --die-with-parent --chdir / -- "$@"
}

# A board's files but for its style, and a diversity document that changes nothing.
# write_board <tree> <hardware model>
write_board() {
    local factory=$1/mnt/mtd/code/factory_setting modules=$1/hd1/moduleConfig
    mkdir -p "$factory" "$1"/mnt/mtd/{code/config_file,log} "$modules/sensorConfig"/style{,Diversity}
    printf 'DeviceType=1\nHardwareModel=%s\nHardwareCode=1\n' "$2" >"$factory/machineinfo.ini"
    cat >"$modules/moduleConfig.xml" <<XML
<ModuleConfigs>
    <ModuleConfig hardwareModel="$2" hardwareCode="1">
        <ModuleId>1</ModuleId><Detail>(max_scheme=2)</Detail><Parameters></Parameters>
    </ModuleConfig>
</ModuleConfigs>
XML
    printf '<Rule model="other"/>\n' >"$modules/sensorConfig/styleDiversity/StyleDiversity.xml"
}
