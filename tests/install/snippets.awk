# Writes each complete program among the ```cpp blocks of a Markdown file to OUT/NAME_n.cpp, and to
# OUT/NAME_n.expected the ```text block where that is the next block.
/^```/ && !inside {
    inside = 1
    language = substr($0, 4)
    sub(/[[:space:]]+$/, "", language)
    text = ""
    next
}
/^```[[:space:]]*$/ {
    inside = 0
    if (language == "text" && program != "") {
        printf "%s", text > (program ".expected")
    }
    program = ""
    if (language == "cpp" && text ~ /int main\(/) {
        program = out "/" name "_" ++count
        printf "%s", text > (program ".cpp")
    }
    next
}
inside { text = text $0 "\n" }
END {
    if (inside) {
        print FILENAME ": a block is not closed" > "/dev/stderr"
        exit 1
    }
}
