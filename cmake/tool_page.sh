#!/bin/sh
# tool_page.sh NAME COMMAND...: the manual page of a program on standard output, made of its --help and its --version.
set -eu
name=$1
shift
help=$("$@" --help)
version=$("$@" --version)
printf '%s' "$help" | awk -v name="$name" -v version="$version" '
    function roff(text) {
        gsub(/\\/, "\\e", text)
        gsub(/-/, "\\-", text)
        return text ~ /^[.'"'"']/ ? "\\&" text : text
    }
    BEGIN { upper = toupper(name) }
    NR == 1 {
        # What it is for: the first sentence that is no line of usage.
        first = $0
    }
    { line[NR] = $0 }
    END {
        for (i = 1; i <= NR && (line[i] == "" || line[i] ~ /^[Uu]sage: /); ++i) { }
        about = line[i]
        sub(/[.,:].*$/, "", about)
        printf ".TH %s 1 \"\" \"%s\" \"Vision service\"\n", roff(upper), roff(version)
        printf ".SH NAME\n%s \\- %s\n", roff(name), roff(tolower(substr(about, 1, 1)) substr(about, 2))
        printf ".SH SYNOPSIS\n.B %s\n.RI [ words ]\n", roff(name)
        printf ".SH DESCRIPTION\nThe program explains itself with\n.BR \\-\\-help :\n.PP\n.nf\n"
        for (i = 1; i <= NR; ++i) {
            print line[i] == "" ? ".PP" : roff(line[i])
        }
        printf ".fi\n.SH SEE ALSO\n.BR orvi_ai_srv (7)\n"
    }'
