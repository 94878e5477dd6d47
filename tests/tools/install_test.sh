#!/bin/bash
# Installs the tools into a folder of its own, and tries them from there: install_test.sh BUILD_FOLDER
set -euo pipefail
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
for component in runtime tools; do
    cmake --install "$1" --prefix "$prefix" --component $component >/dev/null
done
PATH=$prefix/bin:$PATH
# Programs that were configured to be packed do not look beside themselves.
LD_LIBRARY_PATH=$(dirname "$(find "$prefix" -name libgustaikrum.so.0.1)")
export LD_LIBRARY_PATH
cd "$prefix"

expect() {
    local wanted=$1 found
    shift
    found=$("$@" 2>&1) || true
    [ "$found" = "$wanted" ] || { printf '%s\ngives: %s\nnot:   %s\n' "$*" "$found" "$wanted" && exit 1; }
}

printf 'system QAS { instance 42 }' >host.info
expect '  HDB42' gustaikrum-sandbox run --host=host.info -- sh -c 'gustaikrum-report | grep "^  HDB"'
expect "gustaikrum-sandbox: no command is given
Try 'gustaikrum-sandbox --help' for more information." gustaikrum-sandbox run
for tool in instance report sandbox; do
    # Every option that --help tells of stands in the manual, and is completed.
    options=$(gustaikrum-$tool --help | grep -o -e '--[a-z][a-z-]*' | sort -u)
    for option in $options; do
        zcat share/man/man1/gustaikrum-$tool.1.gz | sed 's/\\//g' | grep -q -e "$option" || { echo "$tool: no manual of $option" && exit 1; }
    done
    expect "$options" bash -c ". share/bash-completion/completions/gustaikrum-$tool
        COMP_WORDS=(gustaikrum-$tool --) COMP_CWORD=1 && _gustaikrum gustaikrum-$tool && printf '%s\n' \"\${COMPREPLY[@]}\""
done
