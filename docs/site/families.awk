# The table of families on the start page: awk -f families.awk -f code-blocks.awk docs/index.md
#
# The line "<!-- families -->" becomes a table with a row for each public header, in the order of
# docs/Doxyfile: a link to its topic, its name, and the first sentence of the comment at its head.

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
    while (("grep -o \"include/ztk/[a-z_0-9]*\\.h\" docs/Doxyfile; ls include/ztk/*.h" | getline path) > 0) {
        name = path
        sub(/.*\//, "", name)
        if (name != "ztk.h" && !shown[name]++ && system("test -e " path) == 0) {
            topic = name
            sub(/\.h$/, "", topic)
            print "| \\ref " topic " | `ztk/" name "` | " subject_of(path) " |"
        }
    }
    next
}
