#!/usr/bin/env bash
# check_shell.sh - shellcheck over every shell script, and a byte-compilation of every Python one.
set -euo pipefail
cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.."
scripts/sources.sh shell | xargs --no-run-if-empty shellcheck --external-sources
scripts/sources.sh text | grep '\.py$' | while IFS= read -r file; do
    python3 -c 'import ast, sys; ast.parse(open(sys.argv[1], encoding="utf-8").read(), sys.argv[1])' "$file"
done
