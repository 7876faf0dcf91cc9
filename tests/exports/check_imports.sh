#!/bin/sh
# Checks that a library needs nothing but the platform's declared operations and the standard runtime.
#   check_imports.sh NM PLATFORM_DIR LIBRARY
# An operation is declared at the start of a line of PLATFORM_DIR/*.h; the runtime's symbols carry its versions; the
# weak ones are the compiler's start-up hooks.
set -eu
nm=$1 platform=$2 library=$3

operations=0
unknown=
for symbol in $("$nm" -D --undefined-only "$library" | sed 's/^ *[A-Za-z] //'); do
    case $symbol in
    *@GLIBC_* | *@GLIBCXX_* | *@CXXABI_* | *@GCC_*) continue ;;
    _ITM_deregisterTMCloneTable | _ITM_registerTMCloneTable | __gmon_start__) continue ;;
    esac
    if grep -qE "^[a-z][^/]*[ *]$symbol\(" "$platform"/*.h; then
        operations=$((operations + 1))
    else
        unknown="$unknown $symbol"
    fi
done
if [ -n "$unknown" ]; then
    echo "neither declared in $platform nor the standard runtime's:$unknown" >&2
    exit 1
fi
[ "$operations" -gt 0 ] || { echo "no symbols read from $library" >&2; exit 1; }
echo "$operations platform operations"
