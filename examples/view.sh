#!/usr/bin/env bash
# Plays the meeting to an application of it, twenty times as fast as it was, and shows the room to a browser of this
# machine until it is interrupted. Then the room goes on by itself: see the page's directions, or orvi-room.
#
# usage: view.sh BUILD_DIR
set -eu

bin=$1/bin
here=${0%/*}
dir=$(mktemp -d "${TMPDIR:-/tmp}/orvi-view-XXXXXX")
service=0
end_all() {
    trap - EXIT
    ((service == 0)) || kill "$service" 2>/dev/null || true
    wait
    rm -rf "$dir"
}
trap end_all EXIT
trap 'exit 0' INT TERM

export ORVI_BUS_DIR=$dir/bus
mkdir -m 700 "$ORVI_BUS_DIR"
mkfifo "$dir/ready"
"$bin/orvi-vision-sim" --view --scenario "$here/../simulator/scenarios/meeting.jsonl" --speed 20 >"$dir/ready" &
service=$!
read -r _ <"$dir/ready" # what it logs, the page's address before all, goes to the terminal
"$bin/orvi-ai" --quiet run "$here/meeting.calls" </dev/null >"$dir/calls.log" 2>&1 &
echo "open $("$bin/orvi-room" view) in a browser of this machine; Ctrl-C ends the room"
wait "$service"
