# A page of docs/ as Doxygen reads it: awk -f families.awk -f code-blocks.awk docs/PAGE.md
#
# Doxygen knows no shell and no CMake: blocks of code that begin with ```sh or ```cmake are coloured
# here. Everything else is passed on as it is.

function html(text) {
    gsub(/&/, "\\&amp;", text)
    gsub(/</, "\\&lt;", text)
    gsub(/>/, "\\&gt;", text)
    return text
}

function span(class, text) {
    return "<span class=\"" class "\">" html(text) "</span>"
}

# The length of the comment, quoted text, variable or option with which rest begins, and its class in
# kind; 0 when it begins with none of them.
function special_length(rest, before) {
    if (match(rest, /^#.*/) && before ~ /(^|[ \t;(])$/) {
        kind = "comment"
    } else if (match(rest, /^"([^"\\]|\\.)*"/) || match(rest, /^\047[^\047]*\047/)) {
        kind = "stringliteral"
    } else if (match(rest, /^\$(\{[^}]*\}|[A-Za-z_0-9]+)/)) {
        kind = "preprocessor"
    } else if (match(rest, /^--?[A-Za-z][-A-Za-z0-9_]*/) && before ~ /(^|[ \t"])$/) {
        kind = "preprocessor"
    } else {
        return 0
    }
    return RLENGTH
}

# Words that a shell or CMake acts upon: the command at the start of a line or behind an operator.
function command_length(rest, before) {
    if (language == "cmake") {
        return before ~ /^ *$/ && match(rest, /^[a-z_]+ *\(/) ? RLENGTH - 1 : 0
    }
    return before ~ /(^|[|;&(]) *$/ && match(rest, /^[A-Za-z.\/][-A-Za-z0-9_.\/+]*($|[ ;)])/) \
        ? RLENGTH - (rest ~ /^[^ ;)]*$/ ? 0 : 1) : 0
}

function coloured(line,    rest, before, result, length_of_piece) {
    rest = line
    while (rest != "") {
        kind = ""
        if ((length_of_piece = special_length(rest, before)) > 0) {
            result = result span(kind, substr(rest, 1, length_of_piece))
        } else if ((length_of_piece = command_length(rest, before)) > 0) {
            result = result span("keyword", substr(rest, 1, length_of_piece))
        } else {
            length_of_piece = 1
            result = result html(substr(rest, 1, 1))
        }
        before = before substr(rest, 1, length_of_piece)
        rest = substr(rest, length_of_piece + 1)
    }
    return result
}

language == "" && /^```(sh|cmake)$/ {
    language = substr($0, 4)
    print "\\htmlonly[block]"
    printf "<div class=\"fragment\">"
    next
}

language != "" && /^```$/ {
    language = ""
    print "</div>"
    print "\\endhtmlonly"
    next
}

language != "" {
    printf "<div class=\"line\">%s</div>", coloured($0)
    next
}

{
    print
}
