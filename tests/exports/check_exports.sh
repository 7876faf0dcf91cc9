#!/bin/sh
# Compares a list of names, each of which it must have once, with what was built, as sets of demangled names.
#   check_exports.sh marked     OBJDUMP MAP OBJECT...   the export map, and what the sources mark for export
#   check_exports.sh library    NM      MAP LIBRARY     what the library exports; a versioned name differs from the map's
#   check_exports.sh documented NM      TABLE LIBRARY   the rows of docs/functions.md, and the exported functions
#   check_exports.sh faked      NM      TABLE ARCHIVE   the rows of docs/functions.md, and the fake's functions
set -eu
LC_ALL=C
export LC_ALL
mode=$1 tool=$2 list=$3
shift 3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

map_names() {
    sed -n '/^global:/,/^local:/p' "$list" | sed -n -e 's/^ *"\(.*\)";$/\1/p' -e 's/^ *\([^}" ]*\);$/\1/p'
}
case $mode in
marked) # global, defined, not hidden; the address sanitizer adds a marker for each variable
    map_names >"$work/unsorted"
    "$tool" -tC "$@" | sed -n '/^[0-9a-f]* g/{/\*UND\*/d;/\t[0-9a-f]* \.hidden /d;s/^[^\t]*\t[0-9a-f]* *//p;}' |
        sed '/^__odr_asan/d' | sort -u >"$work/built" ;;
library)
    map_names >"$work/unsorted"
    "$tool" -DC --defined-only "$1" | sed 's/^[0-9a-f]* [A-Za-z] //' | sort >"$work/built" ;;
faked) # without what the tests script it by
    # shellcheck disable=SC2016 # backquotes are meant
    sed -n 's/^| `\([^`]*\)` |.*/\1/p' "$list" >"$work/unsorted"
    "$tool" -gC --defined-only "$1" | sed -n 's/^[0-9a-f]* T //p' | sed -e '/^orvi::test::/d' -e '/^__/d' -e 's/(.*//' |
        sort >"$work/built" ;;
documented) # without the methods of the proxy, which the functions stand for; without argument lists
    # shellcheck disable=SC2016 # backquotes are meant
    sed -n 's/^| `\([^`]*\)` |.*/\1/p' "$list" >"$work/unsorted"
    "$tool" -DC --defined-only "$1" | sed -n 's/^[0-9a-f]* T //p' | sed -e '/::AiSrvServiceProxy::/d' -e 's/(.*//' |
        sort >"$work/built" ;;
*)
    echo "unknown mode $mode" >&2
    exit 2 ;;
esac

sort "$work/unsorted" >"$work/listed"
[ -s "$work/listed" ] || { echo "no names found in $list" >&2; exit 1; }
if [ -n "$(uniq -d "$work/listed")" ]; then
    echo "named twice in $list:" >&2
    uniq -d "$work/listed" >&2
    exit 1
fi
if ! diff "$work/listed" "$work/built" >"$work/difference"; then
    echo "'<' is only in $list, '>' only in what was built:" >&2
    cat "$work/difference" >&2
    exit 1
fi
echo "$(wc -l <"$work/listed") names"
