#!/usr/bin/env bash
# lint.sh [--list] [CHECK...] - runs every check on the sources, or those named, and says at the end which failed.
set -uo pipefail
cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." || exit 1

checks='words sizes format shell includes headers docs exports tidy'

runCheck() {
    case $1 in
        words) scripts/check_words.sh ;;
        sizes) scripts/check_sizes.sh ;;
        format) scripts/check_format.sh ;;
        shell) scripts/check_shell.sh ;;
        includes) scripts/check_includes.py ;;
        headers) scripts/check_headers.sh ;;
        docs) scripts/check_docs.sh ;;
        exports) ./dev build clang --target quor_ai && scripts/check_exports.sh build/clang ;;
        tidy) ./dev configure clang && scripts/check_tidy.py build/clang ;;
    esac
}

if [[ ${1:-} == --list ]]; then
    echo "$checks"
    exit 0
fi
selected=("$@")
if ((${#selected[@]} == 0)); then
    read -r -a selected <<<"$checks"
fi
for check in "${selected[@]}"; do
    if [[ " $checks " != *" $check "* ]]; then
        echo "lint: no check '$check'; there are: $checks" >&2
        exit 2
    fi
done

scripts/setup.sh build test sanitize lint docs || exit 1
failed=()
for check in "${selected[@]}"; do
    start=$SECONDS
    if runCheck "$check"; then
        printf 'lint: %-9s ok (%d s)\n' "$check" $((SECONDS - start))
    else
        printf 'lint: %-9s FAILED (%d s)\n' "$check" $((SECONDS - start))
        failed+=("$check")
    fi
done
if ((${#failed[@]} > 0)); then
    echo "lint: failed: ${failed[*]}"
    exit 1
fi
echo "lint: all ${#selected[@]} checks passed"
