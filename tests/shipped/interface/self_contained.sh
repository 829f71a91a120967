#!/usr/bin/env bash
# The tree explains itself: nothing in it points at documents or folders that its reader does not have, and no
# test is switched off.
# self_contained.sh <source tree>
set -euo pipefail
. "$(dirname -- "$(readlink -f -- "$0")")/test_lib.sh"

cd -- "$1"

files() {
    if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
        git ls-files -z --cached --others --exclude-standard
    else
        find . \( -name .git -o -path './build*' \) -prune -o -type f -print0
    fi
}

# Written so that this file does not match itself.
pattern='(^|[^[:alnum:]_.])/(wor[k]|hom[e]|roo[t])/|spe[c]\.md|\bPart[s]? [0-9]+\.[0-9]|DISABLE[D]_[A-Z]|GTEST_SKI[P]'
pattern+='|\b(TOD[O]|FIXM[E])\b'
mapfile -d '' -t all < <(files)
[ "${#all[@]}" -gt 100 ] || fail "only ${#all[@]} files found to look at"
present=()
for file in "${all[@]}"; do
    if [ -e "$file" ]; then present+=("$file"); fi # removed and not committed yet
done
expect_no_match "These lines make sense only elsewhere, or put work off:" -nIE "$pattern" -- "${present[@]}"
