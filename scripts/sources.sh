#!/usr/bin/env bash
# sources.sh KIND... - lists this repository's own files of those kinds, one a line: c++ shell text.
# With git: what is tracked or new and not ignored. Without: what is there, outside build directories.
set -euo pipefail
cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.."

allFiles() {
    if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
        git ls-files --cached --others --exclude-standard --deduplicate
    else
        find . \( -name .git -o -name build -o -name install -o -name node_modules \) -prune -o -type f -print \
            | sed 's|^\./||'
    fi
}

isShell() {
    [[ $1 == *.sh ]] && return 0
    [[ ${1##*/} == *.* ]] && return 1
    local firstLine=
    LC_ALL=C IFS= read -r firstLine 2>/dev/null <"$1" || true
    [[ $firstLine =~ ^#!.*(bash|/sh) ]]
}

isText() {
    [[ ! -s $1 ]] || LC_ALL=C grep --quiet --binary-files=without-match . -- "$1"
}

isOfKind() {
    case $1 in
        c++) [[ $2 =~ \.(h|c|cpp)$ ]] ;;
        shell) isShell "$2" ;;
        text) isText "$2" ;;
    esac
}

for kind in "$@"; do
    if [[ $kind != c++ && $kind != shell && $kind != text ]]; then
        echo "sources.sh: unknown kind '$kind'" >&2
        exit 2
    fi
done
while IFS= read -r file; do
    if [[ ! -f $file ]]; then
        continue
    fi
    for kind in "$@"; do
        if isOfKind "$kind" "$file"; then
            echo "$file"
            break
        fi
    done
done < <(allFiles) | LC_ALL=C sort
