#!/usr/bin/env bash
# check_docs.sh - the documents are whole: every public declaration has a comment that doxygen can read, porting.md has
# every platform function, troubleshooting.md every log text, links lead somewhere, and the man pages are well-formed.
set -uo pipefail
cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." || exit 1
output=$(mktemp -d)
trap 'rm -rf -- "$output"' EXIT
status=0
# Warnings are shown with the repository's own paths.
scripts/docs.sh "$output" 2>&1 | sed "s|^$PWD/||" || status=1
scripts/check_porting.py || status=1
scripts/check_log_texts.py || status=1
scripts/check_links.py || status=1
mandoc -T lint -W warning docs/man/*.1 || status=1
exit $status
