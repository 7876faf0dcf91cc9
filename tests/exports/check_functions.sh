#!/bin/sh
# Checks that each exported function has one row in the table of docs/functions.md, and each row its function.
#   check_functions.sh NM TABLE LIBRARY
set -eu
LC_ALL=C
export LC_ALL
nm=$1 table=$2 library=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# shellcheck disable=SC2016 # backquotes are meant
sed -n 's/^| `\([^`]*\)` |.*/\1/p' "$table" | sort >"$work/table"
# Functions, without the methods of the proxy, which the exported functions stand for; without argument lists.
"$nm" -DC --defined-only "$library" | sed -n 's/^[0-9a-f]* T //p' | sed -e '/::AiSrvServiceProxy::/d' -e 's/(.*//' |
    sort >"$work/library"
[ -s "$work/library" ] || { echo "no functions read from $library" >&2; exit 1; }

if [ -n "$(uniq -d "$work/table")" ]; then
    echo "more than one row in $table:" >&2
    uniq -d "$work/table" >&2
    exit 1
fi
if ! diff "$work/table" "$work/library" >"$work/difference"; then
    echo "'<' has a row in $table but is not exported, '>' is exported and has none:" >&2
    cat "$work/difference" >&2
    exit 1
fi
echo "$(wc -l <"$work/library") functions"
