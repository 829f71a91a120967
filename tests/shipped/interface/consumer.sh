#!/usr/bin/env bash
# Builds the host in tests/shipped/consumer against the installed package and runs it on a camera's file tree.
# consumer.sh find_package|pkg_config|own_class <cmake> <compiler> <consumer's source> <prefix> <work folder>
set -euo pipefail
here=$(dirname -- "$(readlink -f -- "$0")")
. "$here/test_lib.sh"

method=$1 cmake=$2 compiler=$3 source=$4 prefix=$5 work=$6
build=$work/build

# A host need not have TinyXML's development files.
build_by_find_package() {
    "$cmake" -S "$source" -B "$build" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_PREFIX_PATH="$prefix" \
        -DCMAKE_PROJECT_TOP_LEVEL_INCLUDES="$here/record_packages.cmake" >/dev/null
    "$cmake" --build "$build" >/dev/null
    expect_no_match "the package looks for more than Threads:" \
        -Evx 'sensordll|Threads' "$build/packages_looked_for.txt"
}

# Hidden visibility must not hide from the library what the host has for it.
compile_hidden() {
    local libdir package flags
    libdir=$(dirname -- "$(find "$prefix" -name libsensordll.so)")
    package=$(dirname -- "$(find "$prefix" -name sensordll.pc)")
    # shellcheck disable=SC2162  # a blank in a path comes with a backslash
    read -a flags <<<"$(PKG_CONFIG_PATH=$package pkg-config --cflags --libs sensordll)"
    "$compiler" -std=c++17 -fvisibility=hidden "$@" "${flags[@]}" -Wl,-rpath,"$libdir" -o "$build/consumer"
}

build_by_pkg_config() { compile_hidden "$source/main.cpp"; }
build_by_own_class() { compile_hidden "$source"/{main,OwnLogger}.cpp; }

# A window of the whole day: the first scheme is in force whenever this runs.
write_camera_files() {
    write_board "$1" consumer
    cat >"$1/hd1/moduleConfig/sensorConfig/style/Style.xml" <<'XML'
<Style>
    <tab key="schedule">
        <switch id="8000" value="0"/>
        <number id="8001" value="0"/>
        <number id="8002" value="0"/>
        <number id="8003" value="24"/>
        <number id="8004" value="0"/>
    </tab>
    <tab key="image">
        <slider id="34" value="50"/>
        <slider id="2337" value="50"/>
    </tab>
</Style>
XML
}

rm -rf "$work"
mkdir -p "$build"
"build_by_$method"
write_camera_files "$work/tree"
start() { private_tree "$work/tree" "$(dirname -- "$work")" "$build/consumer"; }
config=$work/tree/mnt/mtd/code/config_file
diversity=$work/tree/hd1/moduleConfig/sensorConfig/styleDiversity/StyleDiversity.xml

# A first start without a document would leave schemes in which nothing is ever saved.
mv "$diversity" "$work/StyleDiversity.xml"
! start >"$work/refused" || fail "the host came up without a document"
grep -qx 'consumer: no documents' "$work/refused" || fail "the host failed without a document in another way"
expect_nothing "the host that refused to come up has left files:" < <(ls -A "$config")

if [ "$method" = own_class ]; then
    # Reported at each start.
    printf '<!-- no rules -->\n' >"$diversity"
else
    mv "$work/StyleDiversity.xml" "$diversity"
fi
start | tee "$work/output"
if [ "$method" = own_class ]; then
    [ "$(grep -c 'own log: \[sensor assert\] file:SensorFile fun:mergeStyle ' "$work/output")" -eq 2 ] ||
        fail "the host's own logger was not the one that was used"
    [ ! -e "$work/tree/mnt/mtd/log/SensorError.log" ] || fail "the reference framework's logger was used"
fi

# Two schemes of seven records, and the version file.
cd "$config"
stat --format='%n %s' -- * | diff - <(printf '%s\n' 'sensor0.cfg 56' 'sensor1.cfg 56' 'snsversion.cfg 4') ||
    fail "the library left other files than expected"
