#!/usr/bin/env bash
# check_exports.sh [--update] BUILD-DIR - what libquor_ai.so exports and needs, compared with what it may.
#
#   exports  exactly packaging/libquor_ai.symbols; --update rewrites that list from the library
#   imports  functions declared in platform/, cJSON, and the C and C++ runtimes; nothing else
#   form     SONAME libquor_ai.so.1, bound at load time, relocations read-only, never unloaded
set -euo pipefail
cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.."
export LC_ALL=C

update=0
if [[ ${1:-} == --update ]]; then
    update=1
    shift
fi
library=${1:?usage: check_exports.sh [--update] BUILD-DIR}/libquor_ai.so
list=packaging/libquor_ai.symbols
status=0
complain() {
    echo "check_exports: $*"
    status=1
}
[[ -e $library ]] || {
    echo "check_exports: $library is not built" >&2
    exit 2
}

# One line per exported symbol, demangled; the version's own name is left out. A constructor and its complete
# variant have one name.
exports() {
    nm --dynamic --defined-only --demangle --format=posix "$library" | sed -E 's/ [A-Za-z] [0-9a-f ]*$//' \
        | sed -E 's/@@?QUOR_AI_1$//; /^QUOR_AI_1$/d' | sort -u
}

if ((update)); then
    exports >"$list"
    echo "check_exports: wrote $list"
elif ! diff --unified --label "$list" --label "$library" "$list" <(exports); then
    complain "the exports changed; if that is wanted: scripts/check_exports.sh --update BUILD-DIR"
fi

# Strong undefined symbols without a version of the runtimes.
declared=$(grep --no-filename --only-matching --extended-regexp '\b[A-Za-z_0-9]+\(' platform/quor_platform/*.h \
    | tr -d '(' | sort -u)
while IFS= read -r symbol; do
    case $symbol in
        *@GLIBC_* | *@GLIBCXX_* | *@CXXABI_* | *@GCC_* | cJSON_*) ;;
        __asan_* | __ubsan_* | __tsan_* | __sanitizer_* | __gcov_*) ;;
        *)
            grep --quiet --line-regexp --fixed-strings -- "$symbol" <<<"$declared" \
                || complain "needs $symbol, which no header of platform/ declares"
            ;;
    esac
done < <(nm --dynamic --undefined-only --format=posix "$library" | awk '$2 == "U" { print $1 }')

dynamic=$(readelf --dynamic --wide "$library")
grep --quiet 'SONAME.*\[libquor_ai\.so\.1\]' <<<"$dynamic" || complain "the SONAME is not libquor_ai.so.1"
grep --quiet 'FLAGS_1.*\bNOW\b' <<<"$dynamic" || complain "is not bound at load time"
grep --quiet 'FLAGS_1.*\bNODELETE\b' <<<"$dynamic" || complain "may be unloaded"
readelf --program-headers --wide "$library" | grep --quiet GNU_RELRO || complain "relocations stay writable"
readelf --program-headers --wide "$library" | grep --quiet 'GNU_STACK.*RW ' || complain "the stack is executable"
if grep --quiet --extended-regexp 'RPATH|RUNPATH' <<<"$dynamic"; then
    complain "has a run path"
fi
((status)) || echo "check_exports: $(wc -l <"$list") exports, as listed"
exit $status
