#!/usr/bin/env bash
# run.sh BUILD-DIR SECONDS - runs every fuzz target for so many seconds, starting from fuzz/corpus/ and from what
# earlier runs found (BUILD-DIR/corpus). An input that breaks something is kept in BUILD-DIR/findings.
set -euo pipefail
cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.."
build=${1:?usage: run.sh BUILD-DIR SECONDS}
seconds=${2:?usage: run.sh BUILD-DIR SECONDS}
export ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
failed=()
mkdir -p "$build/findings"
for program in "$build"/fuzz/fuzz_*; do
    [[ -f $program && -x $program ]] || continue
    name=${program##*/fuzz_}
    mkdir -p "$build/corpus/$name"
    log=$build/findings/$name.log
    if "$program" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=8192 \
        -artifact_prefix="$build/findings/$name-" "$build/corpus/$name" "fuzz/corpus/$name" >"$log" 2>&1; then
        printf 'fuzz: %-16s %s\n' "$name" "$(grep '^Done ' "$log")"
    else
        printf 'fuzz: %-16s FAILED\n' "$name"
        tail -n 40 "$log"
        failed+=("$name")
    fi
done
if ((${#failed[@]} > 0)); then
    echo "fuzz: failed: ${failed[*]}; inputs in $build/findings"
    exit 1
fi
