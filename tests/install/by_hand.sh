#!/usr/bin/env bash
# by_hand.sh PREFIX LIBDIR VERSION WORK [EMULATOR...]: builds the consumer in C and in C++ by pkg-config and by a Makefile
# against what stands below PREFIX, and runs it. CC, CXX, CFLAGS and RUN_PATH (more folders of libraries) are taken from
# the environment.
set -euo pipefail
prefix=$1 libdir=$2 version=$3 work=$4
shift 4
here=$(cd -- "$(dirname -- "$0")" && pwd)
mkdir -p "$work"
export PKG_CONFIG_LIBDIR=$libdir/pkgconfig
export PKG_CONFIG_ALLOW_SYSTEM_CFLAGS=1

run() {
    local said
    said=$(LD_LIBRARY_PATH=$libdir${RUN_PATH:+:$RUN_PATH} ORVI_LOG_LEVEL=error "${@:2}" "$work/$1" 2>/dev/null)
    if [[ $said != *"$version"* ]]; then
        echo "$1 says \"$said\" and not $version"
        exit 1
    fi
}

# shellcheck disable=SC2046,SC2086 # lists of options
{
    ${CC:-cc} ${CFLAGS:-} "$here/consumer/main.c" -o "$work/by_pkg_config_c" $(pkg-config --cflags --libs orvi_ai_srv)
    ${CXX:-c++} ${CFLAGS:-} -x c++ "$here/consumer/main.c" -x none -o "$work/by_pkg_config_cpp" \
        $(pkg-config --cflags --libs orvi_ai_srv orvi_host)
}
make -s -C "$here/consumer" by_make PREFIX="$prefix" LIBDIR="$libdir" OUT="$work/by_make" CC="${CC:-cc}" CFLAGS="${CFLAGS:-}"
for program in by_pkg_config_c by_pkg_config_cpp by_make; do
    run "$program" "$@"
done
sim=$(pkg-config --variable=vision_sim orvi_host)
# The page for newcomers, as one who has only what is installed.
if (($# == 0)) && [[ ${CFLAGS:-} != *-fsanitize* ]] && [[ -n ${PAGE:-} ]]; then
    folder=$work/newcomer
    rm -rf "$folder"
    mkdir "$folder"
    # shellcheck disable=SC2016 # no expression
    sed -n '/^```sh$/,/^```$/{/^```/d;p}' "$PAGE" >"$folder/blocks"
    (
        cd "$folder"
        export PATH=$prefix/bin:$PATH CMAKE_PREFIX_PATH=$prefix LD_LIBRARY_PATH=${RUN_PATH:-}
        bash -eo pipefail blocks
    )
fi
[[ -x $sim ]] || { echo "orvi_host names $sim, which is no program"; exit 1; }
