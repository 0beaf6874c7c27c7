# Writes the programs of a Markdown page, and what they are to print, to folder/NAME.cpp and folder/NAME.expected; prints
# the names.
function keep(file, text,    old, line) { # an unchanged file keeps its time
    old = ""
    while ((getline line < file) > 0) old = old line "\n"
    close(file)
    if (old != text) { printf "%s", text > file; close(file) }
}
/^```/ && kind {
    if (kind == "cpp" && name) { keep(folder "/" name ".cpp", text); print name; program = name }
    if (kind == "text" && program) { keep(folder "/" program ".expected", text); program = "" }
    kind = ""
    next
}
/^```(cpp|text)$/ { kind = substr($0, 4); text = ""; name = ""; next }
/^```/ { kind = "other"; next }
kind {
    if (kind == "cpp" && text == "" && match($0, /^\/\/ [a-z-]+\.cpp$/)) name = substr($0, 4, length($0) - 7)
    text = text $0 "\n"
    next
}
/^#/ { program = "" }
