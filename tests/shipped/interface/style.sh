#!/usr/bin/env bash
# Every source is as .clang-format says.
# style.sh <clang-format> <source tree>
set -euo pipefail
. "$(dirname -- "$(readlink -f -- "$0")")/test_lib.sh"

clang_format=$1
cd -- "$2"

mapfile -d '' -t files < <(find . \( -path ./build -o -name .git \) -prune -o \( -name '*.h' -o -name '*.cpp' \) -print0)
[ "${#files[@]}" -gt 100 ] || fail "only ${#files[@]} files found to look at"
differing=()
for file in "${files[@]}"; do
    "$clang_format" --dry-run --Werror "$file" 2>/dev/null || differing+=("$file")
done
[ "${#differing[@]}" -eq 0 ] || fail "clang-format -i would change:" "${differing[@]}"
