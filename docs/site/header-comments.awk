# Doxygen's view of a public header: awk -f header-comments.awk include/ztk/NAME.h
#
# The headers carry plain comments. This filter prints the header with each of them in the form that
# Doxygen reads:
#
#   at the head of the file        a topic named after the file, for all that the file declares
#   in front of a declaration      its description, also for the declarations that follow without a
#                                  blank line and have none of their own (overloads, pairs)
#   behind a declaration           its description
#   "// --- Title. Text"           a named section of the class or topic; the text describes those of
#                                  its declarations that nothing else describes
#
# All other comments are left out. A declaration that nothing describes stays undocumented, which stops
# scripts/docs. Indented lines become code, and everything else that Doxygen could take for a command
# is escaped.

# --- The text of comments

# The text of a comment that begins at the start of line, less one blank.
function text_of(line) {
    sub(/^ *\/\/ ?/, "", line)
    return line
}

# Doxygen's and Markdown's characters stand for themselves, except for code between backticks.
function escaped(line,    parts, count, i, result) {
    count = split(line, parts, "`")
    for (i = 1; i <= count; i++) {
        if (i % 2 == 1) {
            gsub(/[\\@%#<>&*]/, "\\\\&", parts[i])
            sub(/^[+=~]/, "\\\\&", parts[i])
            gsub(/REQUIRES/, "**REQUIRES**", parts[i])
            gsub(/(Ownership|Thread-safety|Errors|Terminator):/, "**&**", parts[i])
        } else {
            gsub(/%/, "%%", parts[i])  # one is taken for a mark that prevents a link
        }
        result = result (i > 1 ? "`" : "") parts[i]
    }
    return result
}

# The first sentence of a text.
function summary(text,    at) {
    sub(/\n(\n|- |  ).*/, "", text)
    gsub(/\n */, " ", text)
    at = match(text, /[^.]\.( |$)/)
    return at > 0 ? substr(text, 1, at + 1) : text
}

# Prints a text, its lines separated by line feeds, as a description behind a mark ("///", or "///<"
# after a declaration). Lists of members show the summary, the description itself has the whole text.
# An indented line that begins with a constant is a row of a table of constants, shown as a list.
function print_text(text, mark,    lines, count, i, line, kind, last_kind, blanks) {
    print mark " \\brief " escaped(summary(text))
    blanks = 1
    count = split(text, lines, "\n")
    for (i = 1; i <= count; i++) {
        line = lines[i]
        if (line == "") {
            blanks++
            continue
        }
        if (line ~ /^ *- /) {
            kind = "item"
        } else if (last_kind != "item" && line ~ /^  +[A-Z][A-Z0-9_]+( |$)/) {
            kind = "row"
            sub(/^ +/, "- ", line)
            if (match(line, /^- [A-Z0-9_]+ +/)) {
                line = substr(line, 1, index(substr(line, 3), " ") + 1) ": " substr(line, RLENGTH + 1)
            }
        } else if (line ~ /^    / && (last_kind == "code" || last_kind == "text" && blanks > 0)) {
            kind = "code"
        } else if (last_kind !~ /item|row/ || line !~ /^ /) {
            kind = "text"
        }
        if (last_kind == "code" && kind != "code") {
            print mark " \\endcode"
        }
        if (last_kind ~ /item|row/ && kind == "text" && blanks == 0) {
            blanks = 1
        }
        for (; blanks > 0; blanks--) {
            print mark
        }
        if (last_kind != "code" && kind == "code") {
            print mark " \\code{.cpp}"
        }
        print mark " " (kind == "code" ? substr(line, 5) : escaped(line))
        last_kind = kind
    }
    if (last_kind == "code") {
        print mark " \\endcode"
    }
}

# --- What the page of a family's main class has besides its description: the example that the header
# begins with, where the class has none of its own, and the guides that tell more.

BEGIN {
    guides["CXml"] = "md_docs_reading_xml"
    guides["CSocketMsg"] = "md_docs_threads_and_lifetimes md_docs_failures md_docs_wire_format"
    guides["CServerSocket"] = "md_docs_threads_and_lifetimes md_docs_failures"
    guides["CClientSocket"] = guides["CServerSocket"]
    guides["CBuffer"] = "md_docs_threads_and_lifetimes md_docs_failures"
    guides["String"] = "md_docs_targets md_docs_failures"
}

# The pieces of code in a header's first comment, with what stands between them.
function example_of(head,    lines, count, i, first, last, text) {
    count = split(head, lines, "\n")
    for (i = 1; i <= count; i++) {
        if (lines[i] ~ /^    /) {
            first = first ? first : i
            last = i
        }
    }
    for (i = first; first && i <= last; i++) {
        text = text "\n" lines[i]
    }
    return text
}

# The description of a class, with an example.
function with_example(name, text) {
    return name in guides && text !~ /\n    [^ ]/ ? text "\n\nExample:\n" example_of(head) : text
}

function print_guides(name, mark,    pages, count, i) {
    count = split(guides[name], pages, " ")
    for (i = 1; i <= count; i++) {
        print mark " \\see \\ref " pages[i]
    }
}

# --- The topic

# "com" becomes "COM" and "ptr_array" "Ptr array": the titles of topics.
function title_of(name) {
    if (name ~ /^(com|xml)$/) {
        return toupper(name)
    }
    gsub(/_/, " ", name)
    return toupper(substr(name, 1, 1)) substr(name, 2)
}

# The name of a header below include/ becomes the topic's id; the topics of the platform's headers
# are parts of one topic.
function print_topic(    path, name) {
    path = FILENAME
    sub(/^.*include\//, "", path)
    name = path
    sub(/^ztk\//, "", name)
    sub(/\.h$/, "", name)
    in_platform = name ~ /^platform\//
    topic = name
    gsub(/\//, "_", topic)
    print "/// \\file"
    print "/// See \\ref " topic "."
    print ""
    if (in_platform) {
        sub(/^.*\//, "", name)
        print "/// \\defgroup " topic " " name ".h"
        print "/// \\ingroup platform"
    } else {
        print "/// \\defgroup " topic " " title_of(name)
    }
    print_text(head, "///")
    print "///"
    print "/// `#include <" (in_platform ? "ztk/platform" (name == "com" ? "/com" : "") ".h" : path) ">`"
    print ""
}

# --- Sections

# The text below a section's title.
function print_section(text) {
    text = escaped(text)
    gsub(/\n/, "\n/// ", text)
    print "/// " text
}

function close_section() {
    if (section_depth > 0 && section_depth == depth) {
        print "///@}"
        section_depth = 0
        section_text = ""
    }
}

# A block of comment lines with nothing below it: a section's title, or a remark for readers of the
# header only.
function end_block(    title, at) {
    if (block ~ /^--- /) {
        close_section()
        title = block
        sub(/^--- */, "", title)
        gsub(/\n-+(\n|$)/, "\n", title)
        at = match(title, /\.( |\n|$)|\n/)
        section_text = at > 0 ? substr(title, at + 1) : ""
        title = at > 0 ? substr(title, 1, at - 1) : title
        sub(/[ -]+$/, "", title)
        gsub(/^[ \n]+|[ \n]+$/, "", section_text)
        print "/// \\name " title
        if (section_text != "") {
            print_section(section_text)
        }
        print "///@{"
        section_depth = depth
    }
    block = ""
    shared = ""
}

# --- Declarations

# Names that carry no description: they declare nothing new.
function needs_no_text(code) {
    return code ~ /^(friend|static_assert|extern template|namespace [A-Za-z0-9_]+ =)/ ||
           (code ~ /^using / && code !~ / = /) || code ~ /^(class|struct|enum) [^{]*;$/
}

# Constructors without arguments, destructors, copies and moves, and the values of an enumeration: the
# class or enumeration describes them.
function is_special(code, name) {
    if (is_enum[depth]) {
        return 1
    }
    return name != "" && code ~ "^(virtual |explicit |ZTK_LOCAL )*(~?" name "\\( *\\)|" name \
        "\\( *(const )?" name " ?&|" name "& operator=\\( *(const )?" name " ?&)"
}

function describes_section() {
    return section_depth > 0 && section_depth == depth && section_text != ""
}

# The description of a declaration: its own text, the text that it shares with the one above, its
# section's, or what can be said without one.
function description(code, has_tail, name,    special) {
    special = is_special(code, name)
    if (block != "") {
        shared = block
        shares_special = special
        return block
    }
    if (has_tail) {
        return ""
    }
    if (special && code ~ /= delete;$/) {
        return "Deleted: an object cannot be " (code ~ /operator=/ ? "assigned." : "copied.")
    }
    if (special && !(in_platform && is_enum[depth]) && !describes_section() &&
        (shared == "" || !shares_special || code ~ /~/)) {
        shared = ""
        return "See the description of " name "."
    }
    if (shared != "") {
        return shared
    }
    if (describes_section()) {
        return section_text
    }
    if (in_platform && (class_depth > 0 || code !~ /^(\[\[[a-z]+\]\] )*ZTK_API/)) {
        return "As on the platform."
    }
    return ""
}

# Prints the lines of a finished declaration, with what describes it in front.
function end_declaration(    code, i, text, indent, has_tail, plain, class) {
    code = joined
    sub(/^template *<[^>]*> */, "", code)
    plain = needs_no_text(code)
    if (code ~ /^(public|protected|private):$/) {
        close_section()
        shared = ""
        plain = 1
    } else if (code ~ /^}/) {
        close_section()
        shared = ""
        if (scopes[depth] == "class") {
            class_depth--
            is_enum[depth] = 0
            shared = outer_shared[depth]
            shares_special = 0
        }
        depth--
        plain = 1
    } else if (code ~ /^namespace .*[{]$|^namespace *[{]$/) {
        scopes[++depth] = "namespace"
        shared = ""
        plain = 1
    }
    has_tail = tail != "" && code !~ /[{]$/
    if (!plain) {
        indent = lines[1]
        sub(/[^ ].*/, "", indent)
        text = description(code, has_tail, names[depth])
        class = code ~ /^class .*[{]$/ ? class_name(code) : ""
        if (text != "") {
            print_text(class == "" ? text : with_example(class, text), indent "///")
        }
        if (class in guides) {
            print_guides(class, indent "///")
        }
        if (class_depth == 0) {
            if (text != "" || has_tail) {
                print indent "/// \\ingroup " topic
            }
        }
    }
    for (i = 1; i < line_count; i++) {
        print lines[i]
    }
    if (has_tail && !plain) {
        print codes[line_count]
        tail_text = tail
    } else {
        print lines[line_count]
    }
    if (!plain && code ~ / {$/) {
        open_scope(code)
    }
    block = ""
    joined = ""
    line_count = 0
    tail = ""
}

# Prints the description behind a declaration, once it is known how many lines it has.
function end_tail() {
    if (tail_text != "") {
        print_text(tail_text, "///<")
        tail_text = ""
    }
}

# The name that the declaration of a class or enumeration gives.
function class_name(code) {
    sub(/^(class|struct|union|enum) +(class +)?(ZTK_API +)?(ZTK_CAPABILITY\([^)]*\) +)?/, "", code)
    sub(/[ :{<].*/, "", code)
    return code
}

function open_scope(code) {
    if (code ~ /^(class|struct|union|enum)( |$)/) {
        scopes[++depth] = "class"
        class_depth++
        names[depth] = class_name(code)
        is_enum[depth] = code ~ /^enum/
        outer_shared[depth] = shared
        shared = ""
    } else {
        body_depth = 1
    }
}

# The change of nesting that a piece of code brings.
function nesting(code, opening, closing,    copy) {
    gsub(/\047[^\047]*\047|"[^"]*"/, "", code)
    copy = code
    return gsub(opening, "", code) - gsub(closing, "", copy)
}

{
    sub(/\r$/, "")
    gsub(/explicit\(false\) ?/, "")  # Doxygen takes it for a function
    sub(/^inline namespace/, "namespace")  # whose members Doxygen links to where they are not
}

# The comment at the head of the file.
!in_code && /^\/\// {
    head = head (head == "" ? "" : "\n") text_of($0)
    next
}

!in_code {
    in_code = 1
    print_topic()
}

# The body of an inline function.
body_depth > 0 {
    body_depth += nesting($0, "[{]", "[}]")
    print
    next
}

line_count == 0 && /^ *\/\// {
    if (tail_text != "" && index($0, "//") == tail_column) {
        tail_text = tail_text "\n" text_of($0)
        next
    }
    end_tail()
    if ($0 !~ /NOLINT|clang-format/) {
        block = block (block == "" ? "" : "\n") text_of($0)
    }
    next
}

{
    end_tail()
}

line_count == 0 && /^ *$/ {
    end_block()
    print
    next
}

# Preprocessor lines; a macro's description is that of the lines around it.
line_count == 0 && (/^#/ || in_macro) {
    if (/^#if/ && block != "") {
        macro_text = block
    } else if (/^#define/) {
        print_text(block != "" ? block : macro_text != "" ? macro_text : "As on the platform.", "///")
        print "/// \\ingroup " topic
        macro_text = block != "" ? "" : macro_text
    } else if (/^#endif/) {
        macro_text = ""
    }
    in_macro = /\\$/
    block = ""
    print
    next
}

{
    code = $0
    if (block ~ /^--- /) {
        end_block()
    }
    at = match(code, / +\/\//)
    if (at > 0) {
        tail_column = at + RLENGTH - 2
        tail = text_of(substr(code, at))
        code = substr(code, 1, at - 1)
        if (tail ~ /^NOLINT/) {
            tail = ""
            $0 = code
        }
    }
    lines[++line_count] = $0
    codes[line_count] = code
    sub(/^ +/, "", code)
    joined = joined (joined == "" ? "" : " ") code
    if (nesting(joined, "[(]", "[)]") != 0) {
        next
    }
    braces = nesting(joined, "[{]", "[}]")
    if (is_enum[depth] && joined !~ /^}/) {
        end_declaration()
    } else if (joined ~ /^}/ || joined ~ / {$/ || joined ~ /^[a-z]+:$/ ||
               (braces == 0 && joined ~ /[;}]$/)) {
        end_declaration()
    }
}
