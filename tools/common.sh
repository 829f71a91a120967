# shellcheck shell=bash
# Sourced by run, check, bench and tools: what is missing is installed, progress is shown. Nothing here writes to
# standard output.

# What library, platform, simulator and sensorcam need.
# shellcheck disable=SC2034  # used by the scripts that source this file
build_packages=(g++ cmake ninja-build pkg-config libtinyxml-dev libudev-dev libedit-dev libcli11-dev nlohmann-json3-dev
    libmicrohttpd-dev libgnutls28-dev libsodium-dev zlib1g-dev libopencv-core-dev libopencv-imgproc-dev libturbojpeg0-dev bubblewrap)

say() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
}

die() {
    say "$@"
    exit 1
}

# For options that are wrong: no test has failed, no target was missed.
wrong_usage() {
    say "$@"
    exit 2
}

as_root() {
    if [ "$EUID" -eq 0 ]; then
        "$@"
    elif [ -t 0 ] && [ "${CI:-}" != true ]; then
        sudo -- "$@"
    else
        sudo --non-interactive -- "$@"
    fi
}

# Quiet but for warnings and errors; waits for another package manager to finish.
apt_get() {
    as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get -qq -y -o Dpkg::Use-Pty=0 -o DPkg::Lock::Timeout=300 "$@" </dev/null >/dev/null
}

# The arguments that are not installed, one a line.
missing_packages() {
    local installed
    installed=$(dpkg-query --show --showformat='${db:Status-Status} ${Package}\n' -- "$@" 2>/dev/null) || true
    local package
    for package in "$@"; do
        grep --quiet --line-regexp --fixed-strings "installed $package" <<<"$installed" || printf '%s\n' "$package"
    done
}

# Installs those of the named packages that are missing, and says so. Ends the script if that cannot be done.
install_missing() {
    if ! command -v dpkg-query >/dev/null; then
        say "this is not a Debian system; what is needed must be there already: $*"
        return
    fi
    local missing
    mapfile -t missing < <(missing_packages "$@")
    if [ "${#missing[@]}" -eq 0 ]; then
        return
    fi
    if [ "$EUID" -ne 0 ] && ! command -v sudo >/dev/null; then
        die "these packages are missing, and without root or sudo they cannot be installed here." \
            "Have an administrator run: apt-get install ${missing[*]}"
    fi
    say "installing ${missing[*]}"
    # Package lists are fetched only if what they say does not lead to the packages.
    if ! apt-get -qq --simulate install --no-install-recommends "${missing[@]}" >/dev/null 2>&1; then
        apt_get update || die "apt-get update failed"
    elif apt_get install --no-install-recommends "${missing[@]}"; then
        return
    else
        say "installing failed; trying again with new package lists"
        apt_get update || die "apt-get update failed"
    fi
    apt_get install --no-install-recommends "${missing[@]}" || die "cannot install ${missing[*]}"
}

# install_npm_packages <folder with a lock file> <folder for them>: the packages in the versions of the lock file. Any node
# from 18 on will do; where there is none, Debian's is installed.
install_npm_packages() {
    command -v npm >/dev/null || install_missing nodejs npm
    local from=$1 folder=$2
    if cmp --quiet "$from/package-lock.json" "$folder/installed"; then
        return
    fi
    say "installing the npm packages of $from"
    rm -rf "$folder"
    mkdir -p "$folder"
    cp -- "$from/package.json" "$from/package-lock.json" "$folder"
    npm ci --prefix "$folder" --ignore-scripts --no-audit --no-fund --loglevel=error >/dev/null ||
        die "cannot install the npm packages of $from"
    cp -- "$from/package-lock.json" "$folder/installed"
}

# Copies standard input to standard error without the steps of ninja ("[3/80] ...") and the passed tests of ctest
# (" 3/80 Test ..."). On a terminal the last such line stays in sight, elsewhere they are left out.
# The heading is said before the first step; without a step there is none.
fold_progress() {
    local heading=$1 line erase=''
    local idle='^(\[0/[0-9]+\] Re-|ninja: (Entering directory|no work to do)|-- (Configuring|Generating) done|-- Build files )'
    local step='^(\[[0-9]+/[0-9]+\] | +Start +[0-9]+: | *[0-9]+/[0-9]+ Test +#[0-9]+: .* Passed +)'
    while IFS= read -r line || [ -n "$line" ]; do
        if [[ $line =~ $idle ]]; then
            continue
        fi
        if ! [[ $line =~ $step ]]; then
            printf '%s%s\n' "$erase" "$line" >&2
            erase=''
            continue
        fi
        if [ -n "$heading" ]; then
            say "$heading"
            heading=''
        fi
        if [ -t 2 ]; then
            erase=$'\r\033[K'
            printf '%s%.*s' "$erase" "$((${COLUMNS:-80} - 1))" "$line" >&2
        fi
    done
    printf '%s' "$erase" >&2
}

# build_preset <preset> [<target>...]: configures it and builds it, or those targets, in build/<preset>. Quiet when there
# is nothing to do.
build_preset() {
    local preset=$1 folder=build/$1
    shift
    mkdir -p "$folder"
    # A build folder that came along with a copied or moved checkout names the old place everywhere: begin anew.
    if [ -f "$folder/configured" ] && [ "$(cat "$folder/configured")" != "$PWD" ]; then
        rm -rf "$folder/configured" "$folder/CMakeCache.txt" "$folder/CMakeFiles"
    fi
    # Later changes of CMake files are noticed by ninja, those of the presets are not.
    if ! [ -f "$folder/configured" ] ||
        [ -n "$(find CMakePresets.json cmake/presets -type f -newer "$folder/configured" -print -quit)" ]; then
        say "configuring $folder"
        if command -v ccache >/dev/null; then
            export CMAKE_CXX_COMPILER_LAUNCHER=ccache
        fi
        cmake --preset "$preset" >"$folder/configure.log" 2>&1 || { cat "$folder/configure.log" >&2; return 1; }
        printf '%s\n' "$PWD" >"$folder/configured"
    fi
    ninja -C "$folder" -j "$(nproc)" "$@" 2>&1 | fold_progress "building $folder"
}
