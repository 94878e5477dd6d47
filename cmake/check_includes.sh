#!/bin/bash
# Fails if a folder uses what does not lie below it:
# examples, tools, tests, bench, sandbox -> hana -> platform -> third party.
cd "$(dirname "$0")/.." || exit 1
status=0

# forbid WHAT PATTERN PATH... : no line of the files may match the pattern (perl syntax).
forbid() {
    local what=$1 pattern=$2 found
    shift 2
    found=$(grep -rnP --include='*.h' --include='*.cpp' "$pattern" "$@") || return 0
    printf '%s:\n%s\n' "$what" "$found"
    status=1
}

forbid 'platform includes a project header from outside of it' '^\s*#\s*include\s*"(?!platform/)' platform
forbid 'hana includes a project header from outside of hana and platform' '^\s*#\s*include\s*"(?!(hana|platform)/)' hana
forbid 'an example includes what an installed program has not beside it' '^\s*#\s*include\s*".*/' examples
forbid 'tools include a project header from outside of tools, the examples, hana and platform' \
    '^\s*#\s*include\s*"(?!(tools|examples|hana|platform)/)' tools
forbid 'a project header is included as if it were third party' '^\s*#\s*include\s*<(hana|platform|sandbox|tests|tools)/' \
    hana platform sandbox tests tools
# "files text" for each use of one of the platform's folders by another.
uses() {
    grep -rPo --include='*.h' --include='*.cpp' '^\s*#\s*include\s*"platform/\K\w+(?=/)' platform |
        sed -n 's|^platform/\(\w*\)/[^:]*:|\1 |p'
}
if ! uses | tsort >/dev/null; then
    echo 'the folders of the platform named above use each other'
    status=1
fi
# Each by all folders but the one that may use it.
mapfile -t no_http < <(find hana platform -name '*.h' -o -name '*.cpp' | grep -v '^platform/http/')
forbid 'libcurl is used outside platform/http' '^\s*#\s*include\s*[<"]curl/' "${no_http[@]}"
mapfile -t no_spawn < <(find hana platform -name '*.h' -o -name '*.cpp' | grep -v '^platform/process/spawn\.cpp$')
forbid 'a process is started outside platform/process/spawn.cpp' \
    '^(?!\s*//).*(?<![\w.>])(v?fork|posix_spawnp?|fexecve|execv[pe]*|execl[pe]?|clone3?|system|popen)\s*\(|^(?!\s*//).*\bSYS_(v?fork|clone3?|execve)' "${no_spawn[@]}"
exit $status
