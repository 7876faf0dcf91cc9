#!/bin/sh
# Compares the export map with what was built, as sets of demangled names.
#   check_exports.sh marked  OBJDUMP MAP OBJECT...   what the sources mark for export
#   check_exports.sh library NM      MAP LIBRARY     what the library exports; a versioned name differs from the map's
set -eu
LC_ALL=C
export LC_ALL
mode=$1 tool=$2 map=$3
shift 3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

sed -n '/^global:/,/^local:/p' "$map" |
    sed -n -e 's/^ *"\(.*\)";$/\1/p' -e 's/^ *\([^}" ]*\);$/\1/p' >"$work/unsorted"
sort "$work/unsorted" >"$work/map"
[ -s "$work/map" ] || { echo "no names found in $map" >&2; exit 1; }
if [ -n "$(uniq -d "$work/map")" ]; then
    echo "named twice in $map:" >&2
    uniq -d "$work/map" >&2
    exit 1
fi

case $mode in
marked) # global, defined, not hidden; the address sanitizer adds a marker for each variable
    "$tool" -tC "$@" | sed -n '/^[0-9a-f]* g/{/\*UND\*/d;/\t[0-9a-f]* \.hidden /d;s/^[^\t]*\t[0-9a-f]* *//p;}' |
        sed '/^__odr_asan/d' | sort -u >"$work/built" ;;
library)
    "$tool" -DC --defined-only "$1" | sed 's/^[0-9a-f]* [A-Za-z] //' | sort >"$work/built" ;;
*)
    echo "unknown mode $mode" >&2
    exit 2 ;;
esac

if ! diff "$work/map" "$work/built" >"$work/difference"; then
    echo "'<' is only in $map, '>' only in what was built:" >&2
    cat "$work/difference" >&2
    exit 1
fi
echo "$(wc -l <"$work/map") names"
