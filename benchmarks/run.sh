#!/usr/bin/env bash
# Runs the benchmarks of a release build and prints ratios: times, and instructions counted by callgrind.
# Usage: benchmarks/run.sh BUILD_DIR [--check]
# --check: exit 1 when an instruction ratio passes its limit, or when something cannot be measured. Times are told with
# their targets and not judged: they are of this machine in this minute.
set -euo pipefail

build=${1:?usage: benchmarks/run.sh BUILD_DIR [--check]}
check=${2:-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

# instructions BENCH ROAD N: instructions of one run of the road; two counts divide out the start of the program.
total() {
    valgrind --tool=callgrind --callgrind-out-file="$work/out" "$build/benchmarks/$1" count "$2" "$3" 2>"$work/log" ||
        { cat "$work/log" >&2; exit 1; }
    awk '/^summary:|^totals:/ {print $2; exit}' "$work/out"
}
instructions() {
    local few many
    few=$(total "$1" "$2" "$3")
    many=$(total "$1" "$2" $(($3 * 3)))
    echo $(((many - few) / ($3 * 2)))
}

# report NAME INSTRUCTIONS FLOOR LIMIT
report() {
    local verdict
    verdict=$(awk -v a="$2" -v b="$3" -v l="$4" 'BEGIN {r = a / b; printf "%.3f  limit %s  %s", r, l, (r <= l ? "ok" : "PASSED OVER")}')
    printf 'instructions %-22s %10d  floor %10d  ratio %s\n' "$1" "$2" "$3" "$verdict"
    case $verdict in *OVER) failed=1 ;; esac
}

"$build/benchmarks/channel_bench"
"$build/benchmarks/queue_bench"
"$build/benchmarks/face_bench"
if [ -x "$build/benchmarks/http_bench" ]; then
    "$build/benchmarks/http_bench"
else
    echo "http_bench: not built, because the simulator or libcurl is missing"
    failed=1
fi
if ! command -v valgrind >/dev/null; then
    echo "instructions: not counted, valgrind is not installed"
    [ "$check" != --check ]
    exit
fi
caption=$(instructions channel_bench caption 500)
captionFloor=$(instructions channel_bench caption-floor 500)
sites1600=$(instructions channel_bench sites1600 4)
sites1600Floor=$(instructions channel_bench sites1600-floor 4)
sites200=$(instructions channel_bench sites200 20)
sites200Floor=$(instructions channel_bench sites200-floor 20)
report caption "$caption" "$captionFloor" 1.25
report sites1600 "$sites1600" "$sites1600Floor" 1.45
report "sites store 1600/200" $((sites1600 - sites1600Floor)) $((sites200 - sites200Floor)) 8.5
queue=$(instructions queue_bench queue 1000)
queueFloor=$(instructions queue_bench queue-floor 1000)
pool=$(instructions queue_bench pool 100)
poolFloor=$(instructions queue_bench pool-floor 100)
identify=$(instructions face_bench identify 2)
identifyFloor=$(instructions face_bench identify-floor 2)
photos=$(instructions face_bench photos 2)
photosFloor=$(instructions face_bench photos-floor 2)
report "face identify, 1 MB" "$identify" "$identifyFloor" 1.2
report "face photos, 12*340 KB" "$photos" "$photosFloor" 1.2
report queue "$queue" "$queueFloor" 1.1
report "pool, 48 tasks" "$pool" "$poolFloor" 1.1
if [ -x "$build/benchmarks/http_bench" ]; then
    httpList=$(instructions http_bench list 4)
    httpListFloor=$(instructions http_bench list-floor 4)
    report "http list1600" "$httpList" "$httpListFloor" 1.45
fi
if [ "$check" = --check ]; then
    exit "$failed"
fi
