#!/usr/bin/env bash
# check_headers.sh - every public and platform header compiles alone, as C++17 with g++ and clang; the platform's
# C headers as C11 too.
set -euo pipefail
cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.."
warnings=(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wundef -Werror)
# The queue's headers are installed too; their neighbours are not and must not be found.
shared=$(mktemp -d)
trap 'rm -rf -- "$shared"' EXIT
mkdir -- "$shared/thread_pool"
ln -s -- "$PWD"/thread_pool/{annotated_mutex,queue}.h "$shared/thread_pool/"
includes=(-Iinclude -Iplatform -Iplatform_linux/include "-I$shared")
status=0

compileAlone() {
    local header=$1 language=$2 standard=$3
    shift 3
    local compiler
    for compiler in "$@"; do
        if ! printf '#include "%s"\n#include "%s"\n' "$header" "$header" \
            | "$compiler" -x "$language" "-std=$standard" -fsyntax-only "${warnings[@]}" "${includes[@]}" -; then
            echo "$header does not compile alone as $standard with $compiler"
            status=1
        fi
    done
}

for header in include/quor_ai/*.h platform/quor_platform/*.h platform_linux/include/quor_platform_linux/*.h \
    thread_pool/{annotated_mutex,queue}.h; do
    name=${header#include/}
    name=${name#platform/}
    name=${name#platform_linux/include/}
    compileAlone "$name" c++ c++17 g++ clang++-14
    if [[ $header == platform/* ]]; then
        compileAlone "$name" c c11 gcc clang-14
    fi
done
exit $status
