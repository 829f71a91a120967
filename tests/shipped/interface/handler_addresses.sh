#!/usr/bin/env bash
# What the library shares with a host by address is one for both: handlers that the key-command map holds, which a host
# compares with members of ISensorController, and exported variables. In a host that is not position independent these
# addresses are the host's own, so the library has to look them up by name.
# handler_addresses.sh <nm> <readelf> <library> <SensorKeys.def>
set -euo pipefail
. "$(dirname -- "$(readlink -f -- "$0")")/test_lib.sh"

nm=$1 readelf=$2 library=$3 keys=$4

# Calls are left out: whether they go to the host's address is of no account.
looked_up=$("$readelf" --relocs --wide "$library" | awk '/^[0-9a-f]/ && $3 !~ /JUMP_SLOT/ { print $5 }' | sort -u)

handlers=$(sed -nE 's/^SNS_KEY\(.*,[[:space:]]*([A-Za-z_]+)\)$/\1/p' "$keys" | sort -u)
[ "$(wc -l <<<"$handlers")" -eq 9 ] || fail "these are not the nine handlers of $keys:" "$handlers"
variables=$("$nm" --dynamic --defined-only "$library" | sed -nE 's/^[0-9a-f]+ [BD] (g_.*)$/\1/p')
[ "$(wc -l <<<"$variables")" -eq 6 ] || fail "these are not the six variables that are exported:" "$variables"

expect_nothing "the library keeps to an address of its own of:" < <(
    for handler in $handlers; do
        grep -q "^_ZN17ISensorController${#handler}${handler}E" <<<"$looked_up" || echo "$handler"
    done
    for variable in $variables; do
        grep -qx "$variable" <<<"$looked_up" || echo "$variable"
    done
)
