#!/usr/bin/env bash
# Shows applications and the simulated vision service as processes of their own: half an hour of a meeting in a few
# seconds, then the example programs, the service killed and started again, and the application that goes on. Exits with 0 only when every expected step was seen.
#
# usage: demo.sh BUILD_DIR [LAUNCHER...]      LAUNCHER runs the programs, for instance an emulator
# ORVI_DEMO_SIMULATOR names the service of another build, which is run as it is.
set -u
shopt -s extglob

if [[ $# -lt 1 ]]; then
    echo "usage: $0 BUILD_DIR [LAUNCHER...]" >&2
    exit 2
fi

# Nothing below may take longer than this, whatever happens.
if [[ -z ${ORVI_DEMO_BOUNDED:-} ]]; then
    ORVI_DEMO_BOUNDED=1 exec timeout --foreground --kill-after=10 "${ORVI_DEMO_TIMEOUT:-90}" bash "$0" "$@"
fi

bin=$1/bin
launcher=("${@:2}")
simulator=("${launcher[@]}" "$bin/orvi-vision-sim")
if [[ -n ${ORVI_DEMO_SIMULATOR:-} ]]; then
    simulator=("$ORVI_DEMO_SIMULATOR")
fi
for program in orvi-vision-sim orvi-ai first_steps face_photos live_captions voice_assistant ask_model meeting; do
    if [[ ! -x $bin/$program ]]; then
        echo "$0: $bin/$program is missing, build first" >&2
        exit 2
    fi
done

dir=$(mktemp -d "${TMPDIR:-/tmp}/orvi-demo-XXXXXX") || exit 1
service=0
application=0
visitor=0

end_all() {
    trap - EXIT
    local pid
    for pid in $service $application $visitor; do
        if ((pid != 0)); then
            kill -KILL "$pid" 2>/dev/null
            wait "$pid" 2>/dev/null
        fi
    done
    rm -rf "$dir"
}
trap end_all EXIT
trap 'echo "demo: interrupted or out of time" >&2; exit 1' INT TERM

export ORVI_BUS_DIR=$dir/bus ORVI_LOG_FILE=$dir/library.log
mkdir -m 700 "$ORVI_BUS_DIR" && mkfifo "$dir/lines" "$dir/commands" || exit 1
exec 3<>"$dir/lines" 4<>"$dir/commands" # read-write: opening does not wait for the other end

if [[ -t 1 ]]; then
    grey=$'\e[90m' green=$'\e[32m' blue=$'\e[34m' yellow=$'\e[33m' red=$'\e[31m' plain=$'\e[0m'
else
    grey='' green='' blue='' yellow='' red='' plain=''
fi

start=${EPOCHREALTIME/[.,]/}

# say WHO COLOUR TEXT: one line of the timeline
say() {
    local ms=$(((${EPOCHREALTIME/[.,]/} - start) / 1000))
    printf '%s%3d.%03d%s  %s%-11s%s %s\n' "$grey" $((ms / 1000)) $((ms % 1000)) "$plain" "$2" "$1" "$plain" "$3"
}

show() {
    case $1 in
        'meeting: '*) say meeting "$green" "${1#meeting: }" ;;
        'first_steps: '*) say application "$green" "${1#first_steps: }" ;;
        'face_photos: '*) say faces "$green" "${1#face_photos: }" ;;
        'live_captions: '*) say captions "$green" "${1#live_captions: }" ;;
        'voice_assistant: '*) say concierge "$green" "${1#voice_assistant: }" ;;
        'ask_model: '*) say asker "$green" "${1#ask_model: }" ;;
        +([0-9]).+([0-9])'  '*) say watch "$green" "${1:0:110}" ;;
        'vision-sim ['*) say service "$blue" "${1#*\] }" ;;
        *) say service "$blue" "$1" ;;
    esac
}

fail() {
    say demo "$red" "FAILED: $1"
    if [[ -s $dir/library.log ]]; then
        echo "the library's log:" >&2
        tail -n 20 "$dir/library.log" >&2
    fi
    exit 1
}

# expect PATTERN: shows lines until one matches. Lines that came earlier and were not expected yet count as well.
seen=()
expect() {
    local i line
    for i in "${!seen[@]}"; do
        # shellcheck disable=SC2053 # a pattern is meant
        if [[ ${seen[i]} == $1 ]]; then
            unset "seen[i]"
            return
        fi
    done
    while read -r -t 20 line <&3; do
        show "$line"
        # shellcheck disable=SC2053
        if [[ $line == $1 ]]; then
            return
        fi
        seen+=("$line")
    done
    fail "no line like \"$1\""
}

# The application that ran last has ended. The service may find out by a push before it is told.
expect_end() {
    expect '*client ai_vpp*@(has left|is gone)*'
}

start_service() {
    say demo "$yellow" "$1"
    "${simulator[@]}" --control --arrival 100 <&4 >&3 2>&3 3>&- 4>&- &
    service=$!
    expect 'ready AI_VISION*'
}

# push TEXT MESSAGE EXPECTED: the service sends a message, the application reports it
push() {
    say demo "$yellow" "the service sends $2: $1"
    echo "push $2" >&4
    expect 'ok 1'
    expect "first_steps: $3"
}

say demo "$yellow" 'a meeting: the service plays half an hour of it, an application takes part, orvi-ai watches'
"${simulator[@]}" --scenario "${0%/*}/../simulator/scenarios/meeting.jsonl" --speed 400 --exit-at-end \
    </dev/null >&3 2>&3 3>&- 4>&- &
service=$!
expect 'ready AI_VISION*'
"${launcher[@]}" "$bin/orvi-ai" watch caption.line checkin.arrival checkin.complete </dev/null >&3 2>&3 3>&- 4>&- &
visitor=$!
expect '*client ai_vpp*announced itself, 1 now'
"${launcher[@]}" "$bin/orvi-ai" run "${0%/*}/meeting.calls" </dev/null >"$dir/calls.log" 2>&1 3>&- 4>&- &
application=$!
expect '*checkin.arrival*Ada Lovelace*'
expect '*caption.line*Good morning. Can everybody hear me?*'
expect '*caption.line*Thank you all.*'
expect '*checkin.complete*'
wait "$application" || fail "the application of the meeting ended with $?: $(tail -n 3 "$dir/calls.log")"
application=0
expect '*has been played, 0 lines answered no'
wait "$service" || fail "the service ended with $?"
service=0
kill -INT "$visitor"
wait "$visitor"
visitor=0

start_service 'start the service'
say demo "$yellow" 'start the application'
"${launcher[@]}" "$bin/first_steps" </dev/null >&3 2>&3 3>&- 4>&- &
application=$!
expect 'first_steps: connected*'
expect '*client ai_vpp*announced itself, 1 now'

push 'the captions have started' 'caption.started 0' 'event 2, status of type 1 is 1'
push 'a status of the service' 'service.status 42' 'event 2, status of type 0 is 42'
push 'the check-in data was cleared' 'checkin.cleared' 'event 5 without payload'
push 'a notice' 'checkin.complete' 'event 3 without payload'
push 'an answer of the large model' 'model.begin' 'event 7 with payload'
push 'the assistant woke up' 'assistant.woken' 'event 100 with payload'
push 'the assistant has a choice' 'assistant.choice' 'event 108 with payload'

say demo "$yellow" 'watch the faces in the picture, save the photos of two'
"${launcher[@]}" "$bin/face_photos" "$dir" </dev/null >&3 2>&3 3>&- 4>&- &
visitor=$!
expect 'face_photos: [34] faces:*'
expect 'face_photos: done'
wait "$visitor" || fail "face_photos ended with $?"
visitor=0
photos=("$dir"/face-*.png)
[[ ${#photos[@]} -eq 2 ]] || fail "not two photos: ${photos[*]}"
for photo in "${photos[@]}"; do
    [[ $(head -c 8 "$photo" | od -An -tx1) == ' 89 50 4e 47 0d 0a 1a 0a' ]] || fail "$photo is no PNG image"
done
expect_end

say demo "$yellow" 'listen to the conversation'
"${launcher[@]}" "$bin/live_captions" 3 </dev/null >&3 2>&3 3>&- 4>&- &
visitor=$!
expect 'live_captions: Ada: Good morning. Can ...'
expect 'live_captions: Ada: Good morning. Can everybody hear me?'
expect 'live_captions: done'
wait "$visitor" || fail "live_captions ended with $?"
visitor=0
expect 'first_steps: event 2, status of type 1 is 1' # everybody is told
expect 'first_steps: event 2, status of type 1 is 0'
expect_end

say demo "$yellow" 'kill the service'
{ kill -KILL "$service"; wait "$service"; } 2>/dev/null # without the shell's own line about the kill
service=0
expect 'first_steps: event 0, the service has gone'

start_service 'start the service again'
expect 'first_steps: event 1, the service has started'
expect 'first_steps: connected'
expect '*client ai_vpp*announced itself, 1 now'
push 'the captions have stopped' 'caption.stopped 0' 'event 2, status of type 1 is 0'

say demo "$yellow" 'end the application'
kill -INT "$application"
expect 'first_steps: left the service'
expect_end
wait "$application" || fail "the application ended with $?"
application=0

# tell COMMAND ANSWER: a command to the service
tell() {
    say demo "$yellow" "$1"
    echo "$1" >&4
    expect "$2"
}

say demo "$yellow" 'talk with the voice assistant'
"${launcher[@]}" "$bin/voice_assistant" </dev/null >&3 2>&3 3>&- 4>&- &
application=$!
expect 'voice_assistant: ready*'
for request in assistant.intents hotword.replace; do # the intent and the hot word are known, which two tasks take
    echo "await request $request 1" >&4
    expect ok
done
echo 'await clients 1' >&4
expect ok
tell 'say hey concierge, book a room' 'ok woken up'
expect 'voice_assistant: awake by "hey concierge"'
expect 'voice_assistant: it listens'
expect 'voice_assistant: heard: book a room'
expect 'voice_assistant: intent book_room: book a room'
expect 'voice_assistant: it says: Which room would you like[?]'
expect 'voice_assistant: on the screen: Free rooms'
expect 'voice_assistant: 2: the garden room'
expect 'voice_assistant: it listens'
tell 'say the garden room' 'ok heard'
expect 'voice_assistant: heard: the garden room'
expect 'voice_assistant: intent book_room: the garden room'
expect 'voice_assistant: it says: I have booked the garden room.'
expect 'voice_assistant: asleep'
wait "$application" || fail "the concierge ended with $?"
application=0
expect_end

say demo "$yellow" 'ask the large model'
"${launcher[@]}" "$bin/ask_model" 'Which room is free?' </dev/null >&3 2>&3 3>&- 4>&- &
application=$!
expect 'ask_model: |You asked: "Which'
expect 'ask_model: * pieces, * characters'
wait "$application" || fail "the question ended with $?"
application=0
expect_end

# expect_steps STEP...: the meeting reports each as done
expect_steps() {
    local step
    for step in "$@"; do
        expect "meeting: $step: done"
    done
}

photo=$1/demo-photo.png
rm -f "$photo"
say demo "$yellow" 'hold a meeting'
"${launcher[@]}" "$bin/meeting" "$photo" </dev/null >&3 2>&3 3>&- 4>&- &
application=$!
expect_steps connect 'prepare the nameplates' 'switch the nameplates on' 'hear that they are on' \
    'start the director' 'take the minutes' 'prepare the check-in' 'start the check-in' 'report who comes'
expect 'meeting: Mira Holm has checked in, 1 now'
expect_steps 'wait for the participants'
expect 'meeting: | user-0001 * present *'
expect 'meeting: | user-0006 * guest *'
expect 'meeting: * guests are here'
expect_steps 'save a photo' 'end the report' 'stop the check-in' 'clear the check-in data' 'hear that it is cleared' \
    'put the check-in away' 'end the minutes' 'stop the director' 'switch the nameplates off' \
    'hear that they are off' 'put the nameplates away' 'lock the device' 'leave'
expect '*lock state 1, was 0'
wait "$application" || fail "the meeting ended with $?"
application=0
[[ $(head -c 4 "$photo" | tail -c 3) == PNG ]] || fail "$photo is no picture"
say demo "$yellow" "the photo is in $photo"

say demo "$yellow" 'end the service'
kill -TERM "$service"
expect '*\] ended'
wait "$service" || fail "the service ended with $?"
service=0

left=$(find "$ORVI_BUS_DIR" -type s)
[[ -z $left ]] || fail "sockets left behind: $left"
say demo "$yellow" 'every expected step was seen, no process and no socket is left'
