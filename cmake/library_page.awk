# The manual page of the library from its public header: the functions under the header's own headings, in its order.
function roff(text) {
    gsub(/\\/, "\\e", text)
    gsub(/-/, "\\-", text)
    return text
}
BEGIN {
    printf ".TH ORVI_AI_SRV 7 \"\" \"orvi_ai_srv %s\" \"Vision service\"\n", version
    print ".SH NAME\norvi_ai_srv \\- client library of a conference room device's vision service"
    print ".SH SYNOPSIS\n.B #include <orvi_ai_srv.h>\n.PP\nLink with\n.BR \\-lorvi_ai_srv ;"
    print "pkg\\-config and CMake know it as\n.BR orvi_ai_srv ."
    print ".SH DESCRIPTION\nThe header tells what each function does, its parameters, results, ownership and threads."
    print "This page lists them by feature."
}
before ~ /^\/\* -+$/ {
    heading = $0
    sub(/^ \* /, "", heading)
    sub(/[.:].*$/, "", heading)
}
{ before = $0 }
match($0, /[A-Za-z_]+\(/) && /^ORVI_AI_API / && !/__asm__/ {
    if (heading != shown) {
        print ".SS " roff(heading)
        shown = heading
        separator = ""
    }
    name = substr($0, RSTART, RLENGTH - 1)
    printf "%s.B %s\n", separator, (name ~ /^Orvi/ ? "" : "OrviAiService::") name
    separator = ".br\n"
}
END { print ".SH SEE ALSO\n.BR orvi\\-ai (1),\n.BR orvi\\-room (1),\n.BR orvi\\-vision\\-sim (1)" }
