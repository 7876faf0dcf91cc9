#!/usr/bin/env bash
# memory.sh BUILD PROGRAM CASE: runs one case of a test program under valgrind; fails with what is said when the case fails,
# a byte is used that should not be or was never written, memory is lost, or a descriptor stays open.
set -uo pipefail
build=$1 program=$2 case=$3
log=$build/valgrind/$program-$case
if valgrind --log-file="$log.valgrind" --child-silent-after-fork=yes --leak-check=full --track-fds=yes --error-exitcode=97 \
    "$build/bin/$program" --gtest_filter="$case" >"$log.log" 2>&1 &&
    awk '/Open (file descriptor|AF_)/ { opened = $0; getline; if ($0 !~ /inherited from parent/) { print opened; bad = 1 } }
         END { exit bad }' "$log.valgrind"; then
    echo "$program $case"
else
    echo "$program $case FAILED"
    cat "$log.log" "$log.valgrind"
    exit 1
fi
