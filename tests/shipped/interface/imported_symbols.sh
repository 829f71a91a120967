#!/usr/bin/env bash
# The library takes from outside: TinyXML, the C and C++ libraries, and the host (framework and ia_ioctrl). Time,
# files, threads and commands come from the host framework alone.
# imported_symbols.sh <nm> <library>
set -euo pipefail
. "$(dirname -- "$(readlink -f -- "$0")")/test_lib.sh"

nm=$1 library=$2

host='(GThread|KSMutex|KSLogger|KSFile|KestraTime|KSDeviceTime|ModuleConfigure'
host+='|ModuleConfigureParser|SystemInfoParser|MachineInfo|DeviceType|StringHandler|AVStreamParam|VideoStreamModule)\b'
known="^((typeinfo|vtable) for )?(TiXml|$host|sy_system\(|ia_ioctrl$)"
runtime='@(GLIBC|GLIBCXX|CXXABI|GCC)_'
toolchain='^(__gmon_start__|_ITM_)'

files='f?open(64|at)?|fopen64|fdopen|freopen|creat|unlink|remove|rename|access|[fl]?stat(64|x)?|mkdir|opendir'
# nanosleep alone is the library's own: where a host's wait returns at once, controller/Schemes.cpp still must not spin.
clock='time|gettimeofday|clock(_gettime)?|localtime(_r)?|clock_nanosleep|u?sleep'
process='pthread_create|system|popen|fork|vfork|posix_spawnp?|exec[lv]p?e?|getenv'
cxx='std::(__cxx11::)?(basic_[io]?fstream|basic_filebuf|thread|this_thread|chrono|filesystem)\b'
strays="^(($files|$clock|$process)@|.*$cxx)"

undefined() {
    "$nm" --dynamic --demangle --undefined-only --format=posix "$library" | sed -E 's/ [A-Za-z]( +[0-9a-f]*)*$//'
}

expect_nothing "The library needs these from a host, and the host framework does not have them:" \
    < <(undefined | grep -Ev "$known|$runtime|$toolchain")
expect_nothing "These go past the host framework (platform/include):" \
    < <(undefined | grep -E "$runtime" | grep -E "$strays")
[ "$(undefined | grep -cx ia_ioctrl)" -eq 1 ] || fail "ia_ioctrl is not left to the host"
