#!/usr/bin/env bash
# check_format.sh [--fix] - C and C++ sources look as .clang-format says; --fix makes them so.
set -euo pipefail
cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.."
arguments=(--dry-run --Werror)
if [[ ${1:-} == --fix ]]; then
    arguments=(-i)
fi
scripts/sources.sh c++ | xargs --no-run-if-empty -n 20 -P "$(nproc)" clang-format-14 "${arguments[@]}"
