#!/usr/bin/env bash
# Library and host framework compile against musl's headers, with those of LLVM's C++ library: GNU's belong to the
# C library that it was built for. Compiled only, since no distribution package here holds a C++ library for musl.
# musl_headers.sh <clang++> <source tree> <libc++'s headers> <musl's headers> <tinyxml.h>
set -euo pipefail
. "$(dirname -- "$(readlink -f -- "$0")")/test_lib.sh"

compiler=$1 source=$2 libcxx=$3 musl=$4 tinyxml=$5

options=(--target=x86_64-linux-musl -std=c++17 -fsyntax-only -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
    -Woverloaded-virtual -Werror -DTIXML_USE_STL -D_LIBCPP_HAS_MUSL_LIBC -nostdinc -nostdinc++
    -isystem "$libcxx" -isystem "$("$compiler" -print-resource-dir)/include" -isystem "$musl")
for folder in include platform/include .; do
    options+=(-I "$source/$folder")
done

# TinyXML's header alone, without its neighbours in the machine's own include folder.
headers=$(mktemp -d)
trap 'rm -rf "$headers"' EXIT
ln -s "$tinyxml" "$(dirname -- "$tinyxml")/tinystr.h" "$headers/"
options+=(-isystem "$headers")

printf '#include <features.h>\n#ifdef __GLIBC__\n#error not musl\n#endif\n' |
    "$compiler" "${options[@]}" -x c++ - || fail "$musl does not hold musl's headers"
mapfile -d '' -t files < <(find "$source"/{platform/posix,base,diag,keyval,config,controller} -name '*.cpp' -print0)
[ "${#files[@]}" -gt 30 ] || fail "only ${#files[@]} files found to compile"
printf '%s\0' "${files[@]}" | xargs -0 -n 1 -P 2 "$compiler" "${options[@]}"
