#!/usr/bin/env bash
# The table that `./dev coverage` prints. Sourced by dev, whose `root` it uses.

: "${root:?}"

# What is asked of each folder or file, in percent of lines and of branches; the first row that fits a file counts it.
# path                                  lines branches
coverage_limits='
host/os_msg/wire/frame.cpp              100   100
proxy/orvi_ai_srv_proxy_photos.cpp      100   100
proxy/                                  95    95
interface/                              95    95
host/os_msg/                            85    0
'

# coverage_table RECORDS REASONS: RECORDS is what llvm-cov exports as lcov. Prints a row for each limit, then every line
# and branch that did not run and that REASONS does not explain. Fails when a limit is missed, an explained one counting as
# covered, and when a reason fits nothing. Where a switch names every value of its enumeration, the branch past all of
# them is none.
coverage_table() {
    (cd -- "$root" && awk -v root="$root/" -v limits="$coverage_limits" '
        function row(file, i) {
            for (i = 1; i <= rows; i++) if (index(file, path[i]) == 1) return i
            return 0
        }
        function source(line, text) {
            if (!(file in loaded)) {
                loaded[file] = 1
                for (count = 1; (getline text < file) > 0; count++) {
                    gsub(/[ \t]+/, " ", text)
                    gsub(/^ | $/, "", text)
                    code[file, count] = text
                }
                close(file)
            }
            return code[file, line]
        }
        # Whether a reason stands for the line, or for the one before it, and so on, as far as they did not run.
        function is_explained(line) {
            if ((file, source(line)) in reason) {
                used[file, source(line)] = 1
                return 1
            }
            return 0
        }
        # Counts one line or branch of the kind; isRun: it ran.
        function count_one(kind, line, what, isRun, text) {
            all[kind, at]++
            text = source(line)
            if (isRun) {
                run[kind, at]++
            } else if (is_explained(line) || what == "line" && (is_explained(line - 1) || (file, line - 1) in skipped)) {
                explained[kind, at]++
                if (what == "line") skipped[file, line] = 1
            } else if (!seen[file, line, what]++) {
                missed[at] = missed[at] sprintf("  %s:%d: %s: %s\n", file, line, what, text)
            }
        }
        BEGIN {
            split(limits, words)
            for (i = 1; i in words; i += 3) {
                path[++rows] = words[i]
                least["lines", rows] = words[i + 1]
                least["branches", rows] = words[i + 2]
            }
        }
        FILENAME == ARGV[1] { # FILE<tab>the line, blanks as one<tab>why no test runs it
            if (/^#/ || NF == 0) next
            split($0, field, "\t")
            reason[field[1], field[2]] = field[3]
            next
        }
        /^SF:/ { file = substr($0, 4); sub(root, "", file); at = row(file) }
        !at { next }
        /^DA:/ { split(substr($0, 4), v, ","); count_one("lines", v[1], "line", v[2] > 0); next }
        /^BRDA:/ {
            split(substr($0, 6), v, ",")
            if (source(v[1]) ~ /^switch \(/) next
            count_one("branches", v[1], "branch", v[4] != "-" && v[4] > 0)
        }
        END {
            printf "%-40s %15s %15s %12s\n", "", "lines", "branches", "explained"
            for (i = 1; i <= rows; i++) {
                printf "%-40s", path[i]
                for (k = 1; k <= 2; k++) {
                    kind = k == 1 ? "lines" : "branches"
                    n = all[kind, i]
                    printf " %5d %8.2f%%", n, n ? 100 * run[kind, i] / n : 0
                    if (n == 0 || 100 * (run[kind, i] + explained[kind, i]) < least[kind, i] * n) {
                        bad = bad sprintf("%s: less than %d%% of %s\n", path[i], least[kind, i], kind)
                    }
                }
                printf " %12d\n", explained["lines", i] + explained["branches", i]
            }
            for (i = 1; i <= rows; i++) if (missed[i] != "") printf "\n%s, not run and not explained:\n%s", path[i], missed[i]
            for (r in reason) if (!(r in used)) { split(r, v, SUBSEP); bad = bad sprintf("%s: runs, or is gone: %s\n", v[1], v[2]) }
            printf "%s", bad != "" ? "\n" bad : ""
            exit bad != ""
        }' "$2" "$1")
}
