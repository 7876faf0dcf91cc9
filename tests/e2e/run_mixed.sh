#!/bin/sh
# Runs every case of a test program, each in a process of its own, against the simulated service of another build:
# programs of different word sizes meet on one bus. For the program first_steps it runs the demo.
#   run_mixed.sh PEER_BUILD_DIR SOURCE_DIR PROGRAM [LAUNCHER...]
# Exits with 77, "skipped", when the other build lacks the service, has the same word size or is older than its
# sources.
set -eu
peer=$1 source=$2 program=$3
shift 3
simulator=$peer/bin/orvi-vision-sim
bus=$peer/lib/liborvi_os_msg.so

skip() {
    echo "skipped: $1"
    exit 77
}
if [ ! -x "$simulator" ] || [ ! -e "$bus" ]; then
    skip "$simulator is not built"
fi
[ -z "$(find "$source/simulator" -name '*.[ch]*' -newer "$simulator")" ] || skip "$simulator is older than its sources"
[ -z "$(find "$source/host/os_msg" -name '*.[ch]*' -newer "$bus")" ] || skip "$bus is older than its sources"

# The fifth byte of a program tells its word size.
word_size() {
    od -An -tu1 -j4 -N1 "$1"
}
[ "$(word_size "$simulator")" != "$(word_size "$program")" ] || skip "$simulator has the word size of this build"

if [ "${program##*/}" = first_steps ]; then
    ORVI_DEMO_SIMULATOR=$simulator exec bash "$source/examples/demo.sh" "${program%/bin/*}" "$@"
fi
ORVI_TEST_SIMULATOR=$simulator
export ORVI_TEST_SIMULATOR
cases=0
for line in $("$@" "$program" --gtest_list_tests | sed -e '/^Running/d' -e 's/#.*//'); do
    case $line in
    *.) suite=$line ;;
    *)
        if ! "$@" "$program" --gtest_filter="$suite$line"; then
            echo "$suite$line failed against $simulator" >&2
            exit 1
        fi
        cases=$((cases + 1)) ;;
    esac
done
[ "$cases" -gt 0 ] || { echo "no cases in $program" >&2; exit 1; }
echo "$cases cases against $simulator"
