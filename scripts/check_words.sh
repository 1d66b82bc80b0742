#!/usr/bin/env bash
# check_words.sh [TEXT-FILE...] - words that must not stand in this repository: references to documents and
# trackers that a reader does not have, and to the tools a text was written with. Checks every text file and file
# name, and the messages of all commits; or only the files named (a commit-msg hook hands over one).
set -euo pipefail
cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.."

# Perl regular expressions, case-insensitive. The brackets keep a pattern from matching its own line here.
patterns=(
    '\bspe[c]s?\b' '\bspe[c]ifications?\b'            # say which public standard, or describe the behaviour
    '\bpart[s] \d' '\bpart[ ]\d+(\.\d+)?\b'           # chapters of another document
    '\bissu[e]s?[ ]?#?\d' '\bticke[t]s?[ ]?#?\d' '\bwork orde[r]' '(?<![\w&$#{(\[/"'\''])#[1-9]\d*\b(?!-)'
    '(?<![\w-])[XATGL][-]\d+(\.\d+)*\b(?!\w)'         # numbered notes
    '\bthe readin[g]s\b' '\bdesign[.]md\b' '/work/(main|share[d])' '/tmp/brie[f]'
    '\bsessio[n] prompt' '\bprompt enginee[r]' '\bsub-?agen[t]s?\b' '(?<![\w-])(AI|LLM)[ -](tool|assistant|agen[t]|helper|generate[d])'
    '\b(generated|written|created) (by|with) (an? )?(AI|LLM|language mode[l])\b'
    '\bclaud[e]\b' '\banthropi[c]\b' '\bopena[i]\b' '\bchatgp[t]\b' '\bcopilo[t]\b' '\bcode[x]\b' '\bgemin[i]\b'
    '^co-authored-b[y]:'
)

# A line with one of these is passed over: the word belongs to somebody else's format.
allowed=(
    '"license": "'                                    # npm package files
)

# Kept as others wrote them.
skipped='(^|/)(LICENSE|package-lock\.json)$'

joined=$(IFS='|'; echo "${patterns[*]}")
allowedJoined=$(IFS='|'; echo "${allowed[*]}")
status=0

# check NAME TEXT - names the text's lines with a bad word as NAME:line.
check() {
    local hits hit
    hits=$(grep --line-number --perl-regexp --ignore-case --regexp="$joined" <<<"$2" \
        | grep --invert-match --perl-regexp --ignore-case --regexp="$allowedJoined") || return 0
    while IFS= read -r hit; do
        printf '%s:%s\n' "$1" "$hit"
    done <<<"$hits"
    status=1
}

if [[ $# -gt 0 ]]; then
    for file in "$@"; do
        check "$file" "$(cat -- "$file")"
    done
    exit $status
fi

mapfile -t files < <(scripts/sources.sh text)
check 'file name' "$(printf '%s\n' "${files[@]}")"
for file in "${files[@]}"; do
    [[ $file =~ $skipped ]] || check "$file" "$(cat -- "$file")"
done
if git rev-parse --verify --quiet HEAD >/dev/null 2>&1; then
    while IFS= read -r commit; do
        check "commit ${commit:0:12}" "$(git log -1 --format=%B "$commit")"
    done < <(git rev-list HEAD)
fi
exit $status
