# The start page with its table of families: awk -f families.awk docs/index.md
#
# The line "<!-- families -->" becomes a table with a row for each public header: a link to its topic,
# its name, and the first sentence of the comment at its head.

# What a header is about: the first sentence of the comment at its head.
function subject_of(path,    line, text) {
    while ((getline line < path) > 0 && line ~ /^\/\/ ?[^ ]/) {
        sub(/^\/\/ ?/, "", line)
        text = text (text == "" ? "" : " ") line
    }
    close(path)
    sub(/\. .*|\.$/, "", text)
    gsub(/[\\@%#<>&*|]/, "\\\\&", text)
    return text
}

/^<!-- families -->$/ {
    print "| Family | Header | What it is |"
    print "|---|---|---|"
    while (("ls include/ztk/*.h" | getline path) > 0) {
        name = path
        sub(/.*\//, "", name)
        if (name != "ztk.h") {
            topic = name
            sub(/\.h$/, "", topic)
            print "| \\ref " topic " | `ztk/" name "` | " subject_of(path) " |"
        }
    }
    next
}

{
    print
}
