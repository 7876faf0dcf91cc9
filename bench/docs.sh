#!/usr/bin/env bash
# docs.sh PROGRAMS DOCS: measures, and puts tables, plot, machine and date into DOCS/performance.md, between the lines
# "<!-- begin NAME -->" and "<!-- end NAME -->".
set -euo pipefail

programs=$1
page=$2/performance.md
parts=$(mktemp -d)
trap 'rm -rf -- "$parts"' EXIT

cp /proc/loadavg "$parts/load"
"$programs/orvi-bench-functions" --markdown "$parts/functions" >/dev/null
"$programs/orvi-bench-applications" --markdown "$parts/applications" >/dev/null
"$programs/orvi-bench-peers" --markdown "$parts/peers" --svg "$parts/performance.svg" >/dev/null
{
    model=$(sed -nE 's/^model name[[:blank:]]*: //p' /proc/cpuinfo | head -n 1)
    echo "Measured on $(date -u +%F): ${model:-unknown processor}, $(nproc) processors, $(uname -sr);" \
        "load of the machine before the run $(cut -d ' ' -f 1 "$parts/load")."
} >"$parts/machine"

for name in machine peers applications functions; do
    for line in "<!-- begin $name -->" "<!-- end $name -->"; do
        if ! grep -qxF -- "$line" "$page"; then
            echo "docs.sh: $page lacks the line $line" >&2
            exit 1
        fi
    done
    awk -v name="$name" -v part="$parts/$name" '
        $0 == "<!-- begin " name " -->" { print; while ((getline line < part) > 0) print line; inside = 1; next }
        $0 == "<!-- end " name " -->" { inside = 0 }
        !inside { print }' "$page" >"$parts/page"
    cp "$parts/page" "$page"
done
cp "$parts/performance.svg" "$2/performance.svg"
echo "the figures are in $page"
