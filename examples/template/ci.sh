#!/bin/sh
# What a CI job does: builds the application and runs its tests, in Debian 12 with orvi-ai-srv-testkit installed.
#   ci.sh [BUILD FOLDER]
set -eu
here=$(cd -- "$(dirname -- "$0")" && pwd)
build=${1:-$here/build}
cmake -S "$here" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$build"
ctest --test-dir "$build" --output-on-failure --no-tests=error -j 8
