#!/usr/bin/env bash
# What `./dev check` looks at. Sourced by dev, whose `step`, `root` and `jobs` it uses. Each check prints what it
# objects to and fails; none changes a file.

: "${root:?}" "${jobs:?}"

product_dirs=(include interface proxy platform host protocol simulator tools testkit examples)

# list_files DIR... -- PATTERN...: the files below the directories that exist, one a line.
list_files() {
    local dirs=() names=()
    while [[ $1 != -- ]]; do
        [[ ! -e $root/$1 ]] || dirs+=("$1")
        shift
    done
    shift
    local pattern
    for pattern in "$@"; do
        names+=(${names[@]:+-o} -name "$pattern")
    done
    (cd -- "$root" && find "${dirs[@]}" -type f \( "${names[@]}" \) | sort)
}

# for_each COMMAND...: runs the command for each file name on standard input, on all cores.
for_each() {
    (cd -- "$root" && xargs -d '\n' -n 1 -P "$jobs" "$@")
}

check_text() {
    local bad=0 files
    mapfile -t files < <(cd -- "$root" && find . \( -path ./build -o -path ./out -o -path ./.git -o -path ./tests/fuzz/seeds \) -prune -o -type f -print)
    cd -- "$root" || return
    if grep -nIE '[[:blank:]]+$|'$'\r''$' "${files[@]}"; then
        echo "blanks or carriage returns at a line's end, see above"
        bad=1
    fi
    if grep -nIwE 'TO''DO|FIX''ME|XX''X' "${files[@]}"; then
        echo "unfinished work is not committed, see above"
        bad=1
    fi
    local file
    for file in "${files[@]}"; do
        if [[ -s $file && $(tail -c 1 -- "$file" | wc -l) -eq 0 ]] && grep -qI . "$file"; then
            echo "$file: no newline at the end"
            bad=1
        fi
    done
    return $bad
}

check_format() {
    list_files "${product_dirs[@]}" tests bench -- '*.cpp' '*.h' '*.hpp' '*.c' | for_each clang-format --dry-run -Werror
}

# What SECURITY.md promises of the files that are installed.
check_hardening() {
    hardened "$root"/build/native/bin/orvi-{ai,bus,room,test-run,vision-sim} "$root"/build/native/lib/*.so
}

# hardened FILE...: tells which files lack what.
hardened() {
    local file bad=0 headers
    for file in "$@"; do
        headers=$(readelf --wide --file-header --program-headers --dynamic --symbols "$file") || return
        while read -r what pattern; do
            if ! grep -qE -- "$pattern" <<<"$headers"; then
                echo "$file: $what is not as it should be"
                bad=1
            fi
        done <<'PATTERNS'
Type Type:[[:blank:]]+DYN
RELRO GNU_RELRO
NOW FLAGS.*NOW
STACK GNU_STACK.*RW[[:blank:]]
Canary __stack_chk_fail
PATTERNS
    done
    return $bad
}

# hardened_packages FOLDER TRIPLET: programs and libraries as they are installed. What has no array on its stack has no
# canary either, so not every library is looked at.
hardened_packages() {
    local file bad=0 programs=("$1"/usr/bin/orvi-{ai,bus,room,test-run,vision-sim})
    hardened "${programs[@]}" "$1/usr/lib/$2"/{liborvi_ai_srv.so,orvi-host/liborvi_os_msg.so} || return
    for file in "${programs[@]}"; do
        if ! grep -qE '__[a-z]+_chk@' <<<"$(readelf --wide --dyn-syms "$file")"; then
            echo "$file: no function of the C library checks its sizes"
            bad=1
        fi
    done
    return $bad
}

check_scripts() {
    {
        list_files . -- '*.sh' | grep -vE '^\./(build|out)/'
        echo dev
        echo .ci/run
    } | for_each shellcheck -x
}

# No two headers have one name, so that an include means one file. Each header that others include compiles by itself,
# with nothing included before it and twice in a row.
check_headers() {
    local bad=0 header language twice
    twice=$(list_files "${product_dirs[@]}" tests bench -- '*.h' | sed 's,.*/,,' | sort | uniq -d)
    if [[ -n $twice ]]; then
        echo "several headers have one name: ${twice//$'\n'/ }"
        bad=1
    fi
    local base=(-I "$root/include" -I "$root/platform" -Wall -Wextra -pedantic -Werror -fsyntax-only)
    while read -r header; do
        for language in c:c11 c++:c++11 c++:c++14 c++:c++17 c++:c++20; do
            local compilers=(gcc clang) compiler
            [[ $language == c:* ]] || compilers=(g++ clang++)
            for compiler in "${compilers[@]}"; do
                if ! printf '#include "%s"\n#include "%s"\n' "${header##*/}" "${header##*/}" |
                    "$compiler" "${base[@]}" -x "${language%%:*}" "-std=${language##*:}" -; then
                    echo "$header does not compile alone as ${language##*:} with $compiler"
                    bad=1
                fi
            done
        done
    done < <(list_files include platform -- '*.h')
    return $bad
}

# The locks that the members' annotations name are held where they are used.
check_locks() {
    local includes=(-I include -I proxy -I platform -I host) dir
    for dir in "$root"/host/*/; do
        includes+=(-I "$dir")
    done
    list_files interface proxy host -- '*.cpp' |
        for_each clang++ -std=c++17 -D_GNU_SOURCE -fsyntax-only -Wall -Wextra -Wthread-safety -Werror "${includes[@]}"
}

check_tidy() {
    # It refuses options that only gcc knows and headers that gcc has compiled, so that every file must include what it
    # uses, and gets confused by a file that several targets compile: each once, as the first of its targets has it.
    cmake -S "$root" -B "$root/build/tidy/alone" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORVI_BATCHES=OFF \
        -DCMAKE_EXPORT_COMPILE_COMMANDS=ON >/dev/null &&
        cmake --build "$root/build/tidy/alone" --target orvi_view_page >/dev/null || return
    sed -E 's/ -fno-(align-jumps|reorder-blocks-and-partition)//g; s/ -Winvalid-pch//; s/ -include [^ ]*cmake_pch\.hxx//' "$root/build/tidy/alone/compile_commands.json" |
        awk 'BEGIN { RS = "\n},?\n?" }
             match($0, /"file": "[^"]*"/) {
                 file = substr($0, RSTART, RLENGTH)
                 if (!(file in seen)) {
                     seen[file] = 1
                     printf "%s\n%s\n}", count++ ? "," : "[", substr($0, index($0, "{"))
                 }
             }
             END { print "\n]" }' >"$root/build/tidy/compile_commands.json"
    # The analyser follows every path of what runs on a device or carries its messages; of the workstation's programs, which
    # would take most of the time, those through one function at a time.
    local shallow=(--extra-arg=-Xclang --extra-arg=-analyzer-config --extra-arg=-Xclang --extra-arg=mode=shallow) result=0
    list_files interface proxy platform host protocol -- '*.cpp' | for_each clang-tidy -p build/tidy --quiet || result=1
    list_files simulator tools testkit examples -- '*.cpp' | for_each clang-tidy -p build/tidy --quiet "${shallow[@]}" || result=1
    return $result
}

# The public header's reference comes out without a warning.
check_reference() {
    if ! command -v doxygen >/dev/null; then
        echo "doxygen is missing: the reference is not made"
        return 0
    fi
    mkdir -p "$root/build/api" && (cd -- "$root" && doxygen docs/Doxyfile)
}

# The library's interface is the one of the baselines, for each architecture whose compiler is here.
check_abi() {
    if ! command -v abidiff >/dev/null; then
        echo "abidiff is missing: the interface is not compared with its baselines"
        return 0
    fi
    local preset bad=0 compiler
    for preset in native i686 armhf; do
        compiler=$(sed -nE 's/^set\(CMAKE_CXX_COMPILER (.*)\)$/\1/p' "$root/cmake/$preset.cmake" 2>/dev/null || true)
        if ! command -v "${compiler:-g++}" >/dev/null; then
            echo "$compiler is missing: the interface of $preset is not compared"
            continue
        fi
        if ! abi_write "$preset" "$root/build/abi-$preset.abi" ||
            ! abidiff "$root/abi/liborvi_ai_srv.$preset.abi" "$root/build/abi-$preset.abi"; then
            echo "the interface of $preset differs from abi/; if that is meant, ./dev abi writes it anew"
            bad=1
        fi
    done
    return $bad
}

# All checks, also when one fails.
check_all() {
    local failed=() name
    for name in text format scripts headers locks hardening abi reference tidy; do
        step "check $name" "check-$name" "check_$name" || failed+=("$name")
    done
    if ((${#failed[@]} != 0)); then
        echo "dev: check found faults in: ${failed[*]}" >&2
        return 1
    fi
    echo "no faults found"
}
