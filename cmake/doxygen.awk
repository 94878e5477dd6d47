# Makes the headers' plain comments those that Doxygen reads, and their text mere text, but for `code`. What one comment
# says of several declarations, one line after the other, it says of each.

function safe(text, parts, count, i, made) {
    gsub(/[][\\<>&#@%*_|~]/, "\\\\&", text)
    gsub(/"/, "\\&quot;", text)
    count = split(text, parts, "`")
    made = parts[1]
    for (i = 2; i <= count; ++i) made = made (i % 2 == 0 ? "<code>" : "</code>") parts[i]
    return made
}

# The file itself, without which its includes lead nowhere.
/^#pragma once/ { print "/** \\file */" $0; next }

/^ *\/\/ NOLINT/ { next }

/^ *\/\// && !body {
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

# The lines of a function that is defined here, which another declaration may follow.
body {
    print
    if (index($0, indent "}") == 1) body = 0
    next
}

{
    line = $0
    sub(/ *\/\/ NOLINT.*/, "", line)
    if (!inside && follows && line ~ /^ *[A-Za-z].*\(|^ *(typedef|using|template) /) printf "%s", comment
    if (line !~ /^}/ && match(line, /[;,{})A-Za-z0-9]  *\/\/ /)) { # beside what it describes
        at = RSTART + RLENGTH - 3
        line = substr(line, 1, at - 1) "///<" safe(substr(line, at + 2))
        bare = substr(line, 1, at - 1)
    } else bare = line
    sub(/ *$/, "", bare)
    said = inside || follows
    inside = 0
    # A declaration may take several lines; its comment is still that of the next one.
    if (bare ~ /[;}]$/ && (bare ~ /\)/ || bare ~ /^ *(typedef|using) /)) follows = (comment != "")
    else if (bare ~ /^ *template /) { follows = 0; inside = said }
    else if (bare ~ /\).* \{$/ && comment != "") {
        match(bare, /^ */)
        indent = substr(bare, 1, RLENGTH)
        body = follows = 1
    }
    else if (bare ~ /[,()]$/ && said) follows = 0
    else { follows = 0; comment = "" }
    print line
}
