#!/usr/bin/env bash
# demo.sh - plays a scripted conference of about 20 seconds: the simulator is the server, quor-terminal shows what it
# receives, the server drops the link half way, then the large model is asked on both links, the conference is asked who
# is there and told who checked in, and at the end both sides' counters are compared.
#
# Usage: scripts/demo.sh [--fast] [BUILD_DIR]
#   --fast      play the conference ten times as fast
#   BUILD_DIR   where the programs are; default $QUOR_BUILD_DIR, else build/release, built when something is missing
#
# Exit status: 0 everything that was sent arrived once, and every answer came and was right; 1 something was lost,
# doubled or wrong, or did not run.
# Traffic stays on the loopback interface; everything else lives in a temporary directory that is removed.
set -euo pipefail
cd -- "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/.."

scenario=simulator/scenarios/demo.json
user=terminal
password=quor-demo
token=demo-token
spoken=en-US
translated=zh-CN
# This terminal, as the scenario names it; one overlay switch of the scenario is for another terminal's uri.
terminalId=room7
uri=sip:room7@example.org
othersSwitches=1

speed=1
buildDir=${QUOR_BUILD_DIR:-}
for argument in "$@"; do
    case $argument in
        --fast) speed=10 ;;
        -h | --help)
            sed -n '2,12s/^# \{0,1\}//p' "${BASH_SOURCE[0]}"
            exit 0
            ;;
        -*)
            echo "demo.sh: unknown option '$argument'; try --help" >&2
            exit 2
            ;;
        *) buildDir=$argument ;;
    esac
done

bold='' dim='' red='' green='' plain=''
if [[ -t 1 && -z ${NO_COLOR:-} && ${TERM:-dumb} != dumb ]]; then
    bold=$'\e[1m' dim=$'\e[2m' red=$'\e[31m' green=$'\e[32m' plain=$'\e[0m'
fi

say() { printf '%s\n' "$*"; }
fail() {
    printf '%sdemo.sh: %s%s\n' "$red" "$*" "$plain" >&2
    exit 1
}

workDir=
simulatorPid=
terminalPid=
stopProcess() { # PID SIGNAL
    if [[ -n $1 ]] && kill -0 "$1" 2>/dev/null; then
        kill "-$2" "$1" 2>/dev/null || true
        wait "$1" 2>/dev/null || true
    fi
}
cleanUp() {
    local status=$?
    trap - EXIT INT TERM HUP
    stopProcess "$terminalPid" TERM
    stopProcess "$simulatorPid" KILL
    if [[ -n $workDir ]]; then
        rm -rf -- "$workDir"
    fi
    exit "$status"
}
trap cleanUp EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

# ---- programs ----

findPrograms() {
    simulator=$buildDir/simulator/quor-simulator
    terminal=$buildDir/terminal/quor-terminal
    [[ -x $simulator && -x $terminal ]]
}

if [[ -n $buildDir ]]; then
    findPrograms || fail "there is no quor-simulator and quor-terminal in $buildDir; build it first"
else
    buildDir=build/release
    if ! findPrograms; then
        say "building with preset release"
        cmake --preset release >/dev/null
        cmake --build --preset release --target quor-simulator quor-terminal
        findPrograms || fail "the build left no programs in $buildDir"
    fi
fi

# ---- small helpers ----

# Runs a command until it succeeds; fails when so many seconds have passed.
waitFor() { # SECONDS COMMAND...
    local end=$((SECONDS + $1))
    shift
    until "$@"; do
        if ((SECONDS >= end)); then
            return 1
        fi
        sleep 0.05
    done
}

# JSON on standard input, one member a line, to lines "a.b.c value". Both programs write their files like this.
flatten() {
    awk '
        function name(line) { match(line, /"([^"\\]|\\.)*"/); return substr(line, RSTART + 1, RLENGTH - 2) }
        /^ *"([^"\\]|\\.)*": [{]$/ { path[++depth] = name($0); next }
        /^ *[}],?$/ { if (depth > 0) depth--; next }
        /^ *"([^"\\]|\\.)*": / {
            value = $0; sub(/^ *"([^"\\]|\\.)*": /, "", value); sub(/,$/, "", value)
            key = ""; for (i = 1; i <= depth; i++) key = key path[i] "|"
            print key name($0) "\t" value
        }'
}
valueOf() { # FLAT-FILE KEY: the number there, 0 when there is none
    awk -F '\t' -v key="$2" '$1 == key { print $2; found = 1 } END { if (!found) print 0 }' "$1"
}

# ---- stage ----

workDir=$(mktemp -d "${TMPDIR:-/tmp}/quor-demo-XXXXXX")
conference=$(sed -n 's/.*"conference": *"\([^"]*\)".*/\1/p' "$scenario" | head -n 1)
printf '%s\n' "$token" >"$workDir/token"

coproc SIMULATOR {
    exec "$simulator" --port 0 --state-dir "$workDir/server" --user "$user" --password "$password" \
        --token "$token" --scenario "$scenario" --speed "$speed" --wait-for-subscribers 6 \
        --ready-file "$workDir/ready.json" --stats-file "$workDir/server.json" 2>"$workDir/simulator.err"
}
simulatorPid=$SIMULATOR_PID
# Copies: the coprocess's own descriptors are closed in subshells.
exec {simulatorIn}>&"${SIMULATOR[1]}" {simulatorOut}<&"${SIMULATOR[0]}"
isReady() {
    kill -0 "$simulatorPid" 2>/dev/null || fail "the simulator ended: $(cat "$workDir/simulator.err")"
    [[ -s $workDir/ready.json ]]
}
waitFor 30 isReady || fail "the simulator is not ready after 30 seconds"
read -r -t 10 _ <&"$simulatorOut" || fail "the simulator says nothing"
port=$(sed -n 's/.*"port":\([0-9]*\).*/\1/p' "$workDir/ready.json")
caFile=$(sed -n 's/.*"caFile":"\([^"]*\)".*/\1/p' "$workDir/ready.json")

printf '%s' "$password" |
    "$terminal" seal --key-file "$workDir/key" --create-key --domain QuorUIConf >"$workDir/sealed"

say "${bold}Quor: a conference from server to screen${plain}"
say "${dim}quor-simulator plays the conference server on 127.0.0.1:$port (TLS, WebSocket, STOMP).${plain}"
say "${dim}quor-terminal signs in with a sealed password, reports what it can do, and shows captions ($spoken),${plain}"
say "${dim}their translation ($translated), check-ins, control, sites and the overlay switch of this terminal.${plain}"
say "${dim}Half way the server drops the link; watch it come back. Then the large model is asked, and over HTTPS${plain}"
say "${dim}who takes part and who has checked in.${plain}"
say ""

# ---- play ----

server=(--server "localhost:$port" --ca-file "$caFile")
account=(--conference "$conference" --uri "$uri" --user "$user" --sealed-password-file "$workDir/sealed"
    --key-file "$workDir/key" --token-file "$workDir/token")

"$terminal" watch "${server[@]}" "${account[@]}" --terminal "$terminalId" --lang "$spoken" --translate "$translated" \
    --summary-file "$workDir/terminal.json" --log-file "$workDir/terminal.log" --no-summary </dev/null &
terminalPid=$!

terminalRuns() { kill -0 "$terminalPid" 2>/dev/null; }
statistics() {
    local answer
    printf 'stats json\n' >&"$simulatorIn" || return 1
    read -r -t 10 answer <&"$simulatorOut" || return 1
    printf '%s' "${answer#ok: }"
}
isPlayed() {
    terminalRuns || return 0
    [[ $(statistics) == *'"finished":true'* ]]
}
waitFor 120 isPlayed || fail "the conference did not end in two minutes"

# Everything is sent; what is still under way arrives before the terminal is asked to leave.
serverTotal() { statistics | sed -n 's/.*"delivered":\([0-9]*\),"destinations".*/\1/p'; }
terminalTotal() {
    flatten <"$workDir/terminal.json" | awk -F '\t' '
        $1 ~ /^(captions|translations)\|(final|interim)$/ || $1 ~ /^(checkins|control|sites|overlay)\|messages$/ {
            sum += $2
        }
        END { print sum + 0 }'
}
isDelivered() {
    terminalRuns || return 0
    kill -USR1 "$terminalPid" 2>/dev/null || return 0
    [[ -s $workDir/terminal.json && $(terminalTotal) -ge $((sentTotal - othersSwitches)) ]]
}
sentTotal=$(serverTotal)
waitFor 10 isDelivered || true

terminalStatus=0
kill -TERM "$terminalPid" 2>/dev/null || true
wait "$terminalPid" || terminalStatus=$?
terminalPid=

# What the model answers streams to the screen; the exit status says whether it came to its end.
ask() { # LABEL ARGUMENTS...
    local status=0
    say ""
    say "${bold}$1${plain}"
    shift
    "$terminal" ask "${server[@]}" --log-file "$workDir/ask.log" --answer-timeout 30 "$@" </dev/null || status=$?
    return "$status"
}
conferenceAnswer=0
managerAnswer=0
ask "Asked on the conference link: a summary of the meeting" "What was decided?" --kind MEETING_SUMMARY \
    "${account[@]}" || conferenceAnswer=$?
ask "Asked on the manager link, without an account" "What is a caption?" --link manager || managerAnswer=$?

# What the server answers to requests over HTTPS. A long list is shown in part.
requestStatus=0
request() { # FILE ARGUMENTS...
    local file=$1 status=0
    shift
    "$terminal" "$@" "${server[@]}" --conference "$conference" --token-file "$workDir/token" \
        --log-file "$workDir/request.log" </dev/null >"$file" || status=$?
    if ((status != 0)); then
        say "${red}quor-terminal $1 ended with status $status.${plain}"
        requestStatus=$status
    fi
}
showPart() { # FILE: the first lines and the last
    if (($(wc -l <"$1") > 8)); then
        head -n 5 "$1"
        say "${dim}...${plain}"
        tail -n 2 "$1"
    else
        cat "$1"
    fi
}
say ""
say "${bold}Who takes part${plain}"
request "$workDir/participants" participants
showPart "$workDir/participants"
say ""
say "${bold}Who has checked in${plain}"
request "$workDir/before" signin list --all
showPart "$workDir/before"
reported=(account-1="Person 1" account-2="Person 2" account-3="Person 3" account-4="Person 4" account-5="Person 5"
    account-6="Person 6" guest="Guest of the house")
say ""
say "${bold}Six of those who are expected, and a guest, check in${plain}"
request "$workDir/reported" signin report "${reported[@]}" --type face --participant "Room 7"
showPart "$workDir/reported"
request "$workDir/after" signin list --all
request "$workDir/missing" signin list --not-checked-in --all
say ""
say "${bold}Two accounts are asked for, and a face is matched to a voice${plain}"
request "$workDir/accounts" account guest account-400
cat "$workDir/accounts"
request "$workDir/match" avmatch --user-id ana.torres --site site-ana --start 900 --end 2500 --score 0.92
cat "$workDir/match"

printf 'quit\n' >&"$simulatorIn" || true
waitFor 10 test -s "$workDir/server.json" || fail "the simulator wrote no statistics"
wait "$simulatorPid" 2>/dev/null || true
simulatorPid=

# ---- sum up ----

flatten <"$workDir/server.json" >"$workDir/server.flat"
flatten <"$workDir/terminal.json" >"$workDir/terminal.flat"
bad=0

row() { # LABEL DESTINATION RECEIVED DOUBLED [FOR-OTHERS]
    local sent unheard lost mark=$green
    sent=$(($(valueOf "$workDir/server.flat" "destinations|$2|delivered") - ${5:-0}))
    unheard=$(valueOf "$workDir/server.flat" "destinations|$2|unheard")
    lost=$((sent - $3))
    if ((sent == 0 || lost != 0 || $4 != 0)); then
        bad=1
        mark=$red
    fi
    printf '  %-22s %8d %10d %s%6d %8d%s %12d\n' "$1" "$sent" "$3" "$mark" "$lost" "$4" "$plain" "$unheard"
}
count() { valueOf "$workDir/terminal.flat" "$1"; }
topic=/topic/conferences/$conference

say ""
say "${bold}Summary${plain}"
printf '%s  %-22s %8s %10s %6s %8s %12s%s\n' "$dim" messages sent received lost doubled 'not offered' "$plain"
row "check-ins" "$topic/checkinservice" "$(count 'checkins|messages')" 0
row "captions $spoken" "$topic/subtitle/$spoken" \
    $(($(count 'captions|final') + $(count 'captions|interim'))) "$(count 'captions|duplicates')"
row "translations $translated" "$topic/subtitle/$translated" \
    $(($(count 'translations|final') + $(count 'translations|interim'))) "$(count 'translations|duplicates')"

row "control" "$topic" "$(count 'control|messages')" 0
row "sites" "$topic/participantslist/general" "$(count 'sites|messages')" 0
row "overlay, this terminal" "/topic/terminal/$terminalId/subtitleoverlay" "$(count 'overlay|messages')" 0 \
    "$othersSwitches"
say "${dim}  One more overlay switch was sent, for another terminal; it did not act here.${plain}"

drops=$(valueOf "$workDir/server.flat" 'scenario|linkDrops')
reconnects=$(count 'link|reconnects')
mark=$green
if ((drops == 0 || reconnects != drops)); then
    bad=1
    mark=$red
fi
printf '  %-22s %8d   reconnects %s%d%s\n' 'links dropped' "$drops" "$mark" "$reconnects" "$plain"

# One report for each link, and as many verdicts of the server in the log.
reports=$(valueOf "$workDir/server.flat" 'destinations|/terminal/parameter|received')
verdicts=$(grep -c '<KelReportAbilityParseTextMessage>:result = 0' "$workDir/terminal.log" || true)
links=$(count 'link|connects')
mark=$green
# The answers asked for on the conference link had a session, and with it a report, of their own.
if ((reports != links + 1 || verdicts != links)); then
    bad=1
    mark=$red
fi
printf '  %-22s %8d   answered %s%d%s, for %d links of the conference\n' 'capability reports' "$((reports - 1))" "$mark" \
    "$verdicts" "$plain" "$links"

answerRow() { # LABEL STATUS
    local mark=$green verdict=complete
    if (($2 != 0)); then
        bad=1
        mark=$red
        verdict="not complete (status $2)"
    fi
    printf '  %-22s %s%s%s\n' "$1" "$mark" "$verdict" "$plain"
}
answerRow 'answer, conference' "$conferenceAnswer"
answerRow 'answer, manager' "$managerAnswer"

requestRow() { # LABEL EXPECTED GOT [DOUBLED]
    local mark=$green doubled=${4:-0}
    if (($3 != $2 || $2 == 0 || doubled != 0)); then
        bad=1
        mark=$red
    fi
    printf '  %-22s %8d %10d %s%6d %8d%s\n' "$1" "$2" "$3" "$mark" "$(($2 - $3))" "$doubled" "$plain"
}
# Rows of a table are those whose second column, after two blanks, matches.
tableRows() { grep -cE "^.+  +$2(  |\$)" "$1" || true; }
doubledRows() { sort "$1" | uniq -d | wc -l; }
people=$(grep -c '"uuid"' "$scenario")
generated=$(sed -n 's/.*"generate": *\([0-9]*\).*/\1/p' "$scenario" | head -n 1)
listed='[a-z]+[.-][a-z0-9]+'
requestRow participants $((people + generated)) "$(tableRows "$workDir/participants" 'site-[a-z0-9]+')" \
    "$(doubledRows "$workDir/participants")"
requestRow "checked in, at first" "$people" "$(tableRows "$workDir/before" "$listed")"
requestRow "people reported" "${#reported[@]}" "$(tableRows "$workDir/reported" "($listed|guest)")"
requestRow "checked in, at last" $((people + ${#reported[@]})) "$(tableRows "$workDir/after" "($listed|guest)")" \
    "$(doubledRows "$workDir/after")"
requestRow "not checked in" $((generated - ${#reported[@]} + 1)) "$(tableRows "$workDir/missing" "$listed")" \
    "$(doubledRows "$workDir/missing")"
requestRow "accounts asked for" 2 "$(grep -cE '^(guest +yes +20|account-400 +no$)' "$workDir/accounts" || true)"
requestRow "match reports" "$(valueOf "$workDir/server.flat" 'http|endpoints|matchReport|good')" \
    "$(grep -c '^the server took the match of ana.torres' "$workDir/match" || true)"
pages=$(valueOf "$workDir/server.flat" 'http|endpoints|participants|good')
mark=$green
if ((pages < 2)); then
    bad=1
    mark=$red
fi
printf '  %-22s %s%8d%s\n' 'pages of participants' "$mark" "$pages" "$plain"
say "${dim}  sent: handed to the link by the server; not offered: said while the link was down${plain}"

if [[ $(valueOf "$workDir/server.flat" 'scenario|finished') != true ]]; then
    say "${red}The conference was not played to its end.${plain}"
    bad=1
fi
if ((requestStatus != 0)); then
    bad=1
fi
if ((terminalStatus != 0)); then
    say "${red}quor-terminal ended with status $terminalStatus.${plain}"
    bad=1
fi
if ((bad != 0)); then
    say "${red}Not everything arrived as it should. The terminal's logs:${plain}"
    tail -n 20 "$workDir/terminal.log" "$workDir/request.log" 2>/dev/null || true
    exit 1
fi
say "${green}Everything that was sent arrived, once, both answers are complete, and every request was answered.${plain}"
