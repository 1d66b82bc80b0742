#!/usr/bin/env bash
# docs.sh [FOLDER] - writes the reference of the public headers to FOLDER/html (default: build/docs). Fails, after it
# wrote what it can, when anything public has no comment or a comment cannot be read.
set -euo pipefail
cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.."
output=${1:-build/docs}
version=$(sed -n 's/^project(QuorAi VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
mkdir -p -- "$output"
{
    cat docs/Doxyfile
    printf 'PROJECT_NUMBER = "%s"\nOUTPUT_DIRECTORY = "%s"\n' "$version" "$output"
} | doxygen -
