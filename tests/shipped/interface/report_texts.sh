#!/usr/bin/env bash
# The texts of reports that no run can bring about, because what they report on always succeeds, stand in the
# library byte for byte.
# report_texts.sh <library> <list>
set -euo pipefail
. "$(dirname -- "$(readlink -f -- "$0")")/test_lib.sh"

library=$1 list=$2

# One text a line, with its own line ends as \n.
library_texts() {
    LC_ALL=C tr '\n\0' '\001\n' <"$library" | LC_ALL=C sed 's/\x01/\\n/g'
}

# The linker lets a text share the end of a longer one: "... " in the list allows that.
missing_texts() {
    LC_ALL=C awk '
        NR == FNR && /^(#|$)/ { next }
        NR == FNR && /^\.\.\. / { ends[substr($0, 5)]; next }
        NR == FNR { whole[$0]; next }
        $0 in whole { delete whole[$0] }
        { for (text in ends) if (substr($0, length($0) - length(text) + 1) == text) delete ends[text] }
        END { for (text in whole) print text; for (text in ends) print text }' "$list" <(library_texts)
}

[ "$(grep -c '^[^#]' "$list")" -gt 0 ] || fail "$list names no text"
expect_nothing "the library lacks these texts:" < <(missing_texts)
