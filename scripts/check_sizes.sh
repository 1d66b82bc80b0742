#!/usr/bin/env bash
# check_sizes.sh - a source over 400 lines is named, one over 600 is an error: it is about to become two.
set -euo pipefail
cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.."
mostLines=400
limitLines=600
status=0
while IFS= read -r file; do
    lines=$(wc -l <"$file")
    if ((lines > limitLines)); then
        echo "$file: $lines lines, over the limit of $limitLines"
        status=1
    elif ((lines > mostLines)); then
        echo "$file: warning: $lines lines, over $mostLines"
    fi
done < <(
    scripts/sources.sh c++ shell
    scripts/sources.sh text | grep -E '\.(py|cmake|js|mjs)$' || true
)
exit $status
