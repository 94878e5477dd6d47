# Makes the headers' plain comments those that Doxygen reads, and their text mere text, but for `code`. What one comment
# says of several functions, one line after the other, it says of each.

function safe(text, parts, count, i, made) {
    gsub(/[][\\<>&#@%*_|~]/, "\\\\&", text)
    gsub(/"/, "\\&quot;", text)
    count = split(text, parts, "`")
    made = parts[1]
    for (i = 2; i <= count; ++i) made = made (i % 2 == 0 ? "<code>" : "</code>") parts[i]
    return made
}

/^ *\/\/ NOLINT/ { next }

/^ *\/\// {
    if (!inside) comment = ""
    inside = 1
    line = $0
    if (line ~ /^ *\/\/   /) sub(/\/\//, "///     ", line) # an example
    else {
        at = index(line, "//")
        line = substr(line, 1, at - 1) "///" safe(substr(line, at + 2))
    }
    comment = comment line "\n"
    print line
    next
}

{
    line = $0
    sub(/ *\/\/ NOLINT.*/, "", line)
    if (!inside && follows && line ~ /^ *[A-Za-z].*\(/) printf "%s", comment
    if (line !~ /^}/ && match(line, /[;,{})]  *\/\/ /)) { # beside what it describes
        at = RSTART + RLENGTH - 3
        line = substr(line, 1, at - 1) "///<" safe(substr(line, at + 2))
        bare = substr(line, 1, at - 1)
    } else bare = line
    sub(/ *$/, "", bare)
    # A declaration may take several lines; its comment is still that of the next one.
    if (bare ~ /;$/ && bare ~ /\)/) follows = (comment != "")
    else if (bare ~ /,$|\($/ && (inside || follows)) follows = 0
    else { follows = 0; comment = "" }
    inside = 0
    print line
}
