#!/bin/bash
# Holds README.md and docs/ to what is there: a cpp block is a program of examples/, a console block shows what its
# commands print on the sandbox's default host, where this runs, and every link, path and ./dev command leads somewhere.
# Usage: docs_test.sh, with the folders of the programs on PATH.
cd "$(dirname "$0")/../.." || exit 1
work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT
status=0

fail() {
    printf '%s: %s\n' "$1" "$2"
    status=1
}

# blocks FILE KIND: writes each block of that kind into a file of its own in $work and prints their names.
blocks() {
    rm -f "$work"/block.*
    awk -v kind="$2" -v path="$work/block." '
        inside && /^```$/ { inside = 0; close(file); next }
        inside { print > file }
        /^```/ { if ($0 == "```" kind) { inside = 1; file = path (++n); printf "" > file; print file } }' "$1"
}

is_example() {
    local example
    for example in examples/*.cpp; do cmp -s "$1" "$example" && return; done
    return 1
}

# Types a block's commands, one after the other in one shell, and shows it as the block does.
type_block() {
    sed -n 's/^\$ //p' "$1" | while read -r command; do
        printf '$ %s\n' "$command"
        eval "$command" </dev/null 2>&1
    done
}

# Only root can become the administrator, who starts and stops; and a host has a name of its own in namespaces only.
is_possible() {
    case $(<"$1") in
    *guide_control*) setpriv --reuid=65534 true 2>/dev/null ;;
    *gustaikrum-report*) [ "$(uname -n)" = hxehost ] ;;
    esac
}

# Paths in links and between backquotes, and commands of ./dev, that lead nowhere.
check_references() {
    local target
    sed '/^```/,/^```$/d' "$1" >"$work/prose"
    while read -r target; do
        [ -e "$(dirname "$1")/${target%%#*}" ] || fail "$1" "no such file: $target"
    done < <(grep -o '](\([^)]*\))' "$work/prose" | sed 's/^](//; s/)$//' | grep -v '^https\?:\|^#')
    while read -r target; do
        compgen -G "$target" >/dev/null || fail "$1" "no such path: $target"
    done < <(grep -o '`\(bench\|cmake\|docs\|examples\|fuzz\|hana/[bc][a-z_]*\|platform\|sandbox\|tests\|tools\)/[^` ]*`' "$work/prose" |
        tr -d '\`' | grep -vF ... | sed 's/NAME/*/')
    while read -r target; do
        grep -q "^cmd_$target()" dev || fail "$1" "no such command: ./dev $target"
    done < <(grep -o '\./dev [a-z]\+' "$1" | sed 's/.* //')
}

shopt -s nullglob
for document in README.md CONTRIBUTING.md CHANGELOG.md docs/*.md platform/README.md fuzz/README.md; do
    [ -e "$document" ] || continue
    for block in $(blocks "$document" cpp); do
        is_example "$block" || { fail "$document" "not the text of a program in examples/:" && cat "$block"; }
    done
    for block in $(blocks "$document" console); do
        is_possible "$block" || { echo "$document: not possible in this sandbox:" && cat "$block"; continue; }
        type_block "$block" >"$work/typed" # a file, as no program left running keeps it from its end
        diff "$block" "$work/typed" || fail "$document" "(above) < is what it shows, > what is printed"
    done
    check_references "$document"
done
exit $status
