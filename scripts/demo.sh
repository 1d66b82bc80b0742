#!/usr/bin/env bash
# demo.sh - plays a scripted conference of about 20 seconds: the simulator is the server, quor-terminal shows what it
# receives, the server drops the link half way, then the large model is asked on both links, the conference is asked who
# is there and told who checked in, a face service is found, asked about faces and for photos, and at the end a table
# says for everything what was expected and what came.
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
gallery=simulator/gallery
faceAccount=face-service
facePassword=quor-face-demo
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
            sed -n '2,13s/^# \{0,1\}//p' "${BASH_SOURCE[0]}"
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
        --gallery "$gallery" --face-account "$faceAccount" --face-password "$facePassword" --face-port 0 \
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
facePort=$(sed -n 's/.*"facePort":\([0-9]*\).*/\1/p' "$workDir/ready.json")
caFile=$(sed -n 's/.*"caFile":"\([^"]*\)".*/\1/p' "$workDir/ready.json")

seal() { # PASSWORD FILE
    printf '%s' "$1" | "$terminal" seal --key-file "$workDir/key" --create-key --domain QuorUIConf >"$2"
}
seal "$password" "$workDir/sealed"
seal "$facePassword" "$workDir/face-sealed"

say "${bold}Quor: a conference from server to screen${plain}"
say "${dim}quor-simulator plays the conference server on 127.0.0.1:$port (TLS, WebSocket, STOMP).${plain}"
say "${dim}quor-terminal signs in with a sealed password, reports what it can do, and shows captions ($spoken),${plain}"
say "${dim}their translation ($translated), check-ins, control, sites and the overlay switch of this terminal.${plain}"
say "${dim}Half way the server drops the link; watch it come back. Then the large model is asked, and over HTTPS${plain}"
say "${dim}who takes part and who has checked in, and a face service is looked for among two, and asked whose face${plain}"
say "${dim}a picture shows.${plain}"
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

# The link that the server dropped is back, and the report on it is answered, before the terminal is asked to leave.
verdicts() { grep -c '<KelReportAbilityParseTextMessage>:result = 0' "$workDir/terminal.log" || true; }
isRestored() {
    terminalRuns || return 0
    kill -USR1 "$terminalPid" 2>/dev/null || return 0
    [[ -s $workDir/terminal.json ]] || return 1
    statistics | flatten >"$workDir/server.flat"
    flatten <"$workDir/terminal.json" >"$workDir/terminal.flat"
    (($(valueOf "$workDir/terminal.flat" 'link|reconnects') >= $(valueOf "$workDir/server.flat" 'scenario|linkDrops') \
        && $(verdicts) >= $(valueOf "$workDir/terminal.flat" 'link|connects')))
}
waitFor 30 isRestored || true

# Everything is sent; what is still under way arrives before that, too.
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

# Two face services: the scenario lets the second one refuse the account.
faceService="https://127.0.0.1:$port"
face() { # STATUS FILE ARGUMENTS...
    local expected=$1 file=$2 status=0
    shift 2
    "$terminal" face "$@" --server "127.0.0.1:$facePort;127.0.0.1:$port" --ca-file "$caFile" --account "$faceAccount" \
        --sealed-password-file "$workDir/face-sealed" --key-file "$workDir/key" --log-file "$workDir/face.log" \
        </dev/null >"$file" || status=$?
    if ((status != expected)); then
        say "${red}quor-terminal face $1 ended with status $status.${plain}"
        requestStatus=$status
    fi
    cat "$file"
}
say ""
say "${bold}Which of two face services takes the account${plain}"
face 0 "$workDir/services" detect --all
say ""
say "${bold}Who is on two pictures${plain}"
face 0 "$workDir/known" identify "$gallery/probes/ana.torres.jpg"
face 8 "$workDir/unknown" identify "$gallery/probes/stranger.jpg"
say ""
say "${bold}The photos of two people${plain}"
face 0 "$workDir/photos.text" photos ana.torres omar.haddad --out "$workDir/photos"

printf 'quit\n' >&"$simulatorIn" || true
waitFor 10 test -s "$workDir/server.json" || fail "the simulator wrote no statistics"
wait "$simulatorPid" 2>/dev/null || true
simulatorPid=

# ---- sum up ----

flatten <"$workDir/server.json" >"$workDir/server.flat"
flatten <"$workDir/terminal.json" >"$workDir/terminal.flat"
bad=0

# The one table of everything: what was expected, what came, and whether that is right.
group() { printf '  %s%s%s\n' "$dim" "$1" "$plain"; }
verdict() { # LABEL EXPECTED GOT PROBLEM [NOTE]
    local mark=$green result=ok
    if [[ -n $4 ]]; then
        bad=1
        mark=$red
        result=$4
    fi
    printf '    %-34s %8s %8s  %s%s%s%s\n' "$1" "$2" "$3" "$mark" "$result" "$plain" "${5:+, $5}"
}
check() { # LABEL EXPECTED GOT [DOUBLED [NOTE]]
    local problem=
    if (($2 == 0)); then
        problem='nothing to compare'
    elif (($3 < $2)); then
        problem="$(($2 - $3)) missing"
    elif (($3 > $2)); then
        problem="$(($3 - $2)) too many"
    elif ((${4:-0} != 0)); then
        problem="$4 doubled"
    fi
    verdict "$1" "$2" "$3" "$problem" "${5:-}"
}
messages() { # LABEL DESTINATION RECEIVED DOUBLED [FOR-OTHERS]
    local sent unheard note=
    sent=$(($(valueOf "$workDir/server.flat" "destinations|$2|delivered") - ${5:-0}))
    unheard=$(valueOf "$workDir/server.flat" "destinations|$2|unheard")
    if ((unheard != 0)); then
        note="$unheard more while there was no link"
    fi
    if ((${5:-0} != 0)); then
        note="$5 more for another terminal, not shown"
    fi
    check "$1" "$sent" "$3" "$4" "$note"
}
answer() { # LABEL STATUS
    local problem=
    if (($2 != 0)); then
        problem="status $2"
    fi
    verdict "$1" complete "$( (($2 == 0)) && printf complete || printf broken)" "$problem"
}
count() { valueOf "$workDir/terminal.flat" "$1"; }
serverCount() { valueOf "$workDir/server.flat" "$1"; }
topic=/topic/conferences/$conference

say ""
say "${bold}Summary${plain}"
printf '%s    %-34s %8s %8s  %s%s\n' "$dim" exercised expected got result "$plain"
group 'the link'
links=$(count 'link|connects')
check 'links dropped, links restored' "$(serverCount 'scenario|linkDrops')" "$(count 'link|reconnects')"
# One report for each link, and as many verdicts of the server in the log. The answers asked for on the conference link
# had a session, and with it a report, of their own.
check 'capability reports' "$((links + 1))" "$(serverCount 'destinations|/terminal/parameter|received')"
check 'their verdicts' "$links" "$(verdicts)"
group 'messages, sent and shown'
messages "check-ins" "$topic/checkinservice" "$(count 'checkins|messages')" 0
messages "captions $spoken" "$topic/subtitle/$spoken" \
    $(($(count 'captions|final') + $(count 'captions|interim'))) "$(count 'captions|duplicates')"
messages "translations $translated" "$topic/subtitle/$translated" \
    $(($(count 'translations|final') + $(count 'translations|interim'))) "$(count 'translations|duplicates')"
messages "control" "$topic" "$(count 'control|messages')" 0
messages "sites" "$topic/participantslist/general" "$(count 'sites|messages')" 0
messages "overlay switches" "/topic/terminal/$terminalId/subtitleoverlay" "$(count 'overlay|messages')" 0 \
    "$othersSwitches"
group 'the large model'
answer 'answer on the conference link' "$conferenceAnswer"
answer 'answer on the manager link' "$managerAnswer"

# Rows of a table are those whose second column, after two blanks, matches.
tableRows() { grep -cE "^.+  +$2(  |\$)" "$1" || true; }
doubledRows() { sort "$1" | uniq -d | wc -l; }
people=$(grep -c '"uuid"' "$scenario")
generated=$(sed -n 's/.*"generate": *\([0-9]*\).*/\1/p' "$scenario" | head -n 1)
listed='[a-z]+[.-][a-z0-9]+'
group 'requests over HTTPS'
check participants $((people + generated)) "$(tableRows "$workDir/participants" 'site-[a-z0-9]+')" \
    "$(doubledRows "$workDir/participants")"
check 'their pages of 200' $(((people + generated + 199) / 200)) "$(serverCount 'http|endpoints|participants|good')"
check "checked in, at first" "$people" "$(tableRows "$workDir/before" "$listed")"
check "people reported" "${#reported[@]}" "$(tableRows "$workDir/reported" "($listed|guest)")"
check "checked in, at last" $((people + ${#reported[@]})) "$(tableRows "$workDir/after" "($listed|guest)")" \
    "$(doubledRows "$workDir/after")"
check "not checked in" $((generated - ${#reported[@]} + 1)) "$(tableRows "$workDir/missing" "$listed")" \
    "$(doubledRows "$workDir/missing")"
check "accounts asked for" 2 "$(grep -cE '^(guest +yes +20|account-400 +no$)' "$workDir/accounts" || true)"
check "match reports" "$(serverCount 'http|endpoints|matchReport|good')" \
    "$(grep -c '^the server took the match of ana.torres' "$workDir/match" || true)"

# lines FILE PATTERN: how many match.
lines() { grep -cE -- "$2" "$1" || true; }
same() { # how many photos are the gallery's
    local user matching=0
    for user in ana.torres.png omar.haddad.jpg; do
        if cmp -s "$workDir/photos/$user" "$gallery/${user%.*}-1.${user##*.}"; then
            matching=$((matching + 1))
        fi
    done
    printf '%s' "$matching"
}
group 'faces'
check 'face services that refuse' 1 "$(lines "$workDir/services" '  failed +refuses the account.*401$')"
check 'face service found' 1 "$(lines "$workDir/services" "^the face service is $faceService\$")"
check 'face known' 1 "$(lines "$workDir/known" '^Ana Torres +ana\.torres +ana-[0-9] +[0-9]+$')"
check 'face unknown' 1 "$(lines "$workDir/unknown" '^no match$')"
check 'photos saved, byte for byte' 2 "$(same)"

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
    tail -n 20 "$workDir/terminal.log" "$workDir/request.log" "$workDir/face.log" 2>/dev/null || true
    exit 1
fi
say "${green}Everything that was sent arrived, once, and every request was answered as it should be.${plain}"
