#!/usr/bin/env bash
# The sample in the document stands word for word in the host that is built and run, between its two lines "sample".
# sample.sh <document> <host's source>
set -euo pipefail
. "$(dirname -- "$(readlink -f -- "$0")")/test_lib.sh"

document=$1 source=$2

# shellcheck disable=SC2016  # backquotes of the document
in_document=$(sed -n '/^## 6\./,/^## 7\./{/^```cpp$/,/^```$/{/^```/!p}}' "$document")
in_source=$(sed -n '/^\/\/ -* sample -*$/,/^\/\/ -* sample -*$/{//!p}' "$source" | sed '1{/^$/d};${/^$/d}')
[ -n "$in_document" ] || fail "no sample in section 6 of $document"
diff <(printf '%s\n' "$in_document") <(printf '%s\n' "$in_source") || fail "the two samples differ: $document, $source"
