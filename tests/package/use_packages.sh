#!/bin/sh
# Builds and runs the programs beside this script by every way that a user of the installed packages has, and tries the
# tools that are installed.
set -eu
cd "$(dirname "$0")"

cmake -S . -B find_package
cmake --build find_package
find_package/guide_names find_package

for program in list_systems guide_*.cpp; do
  # shellcheck disable=SC2046 # pkg-config prints words
  c++ -std=c++17 "${program%.cpp}.cpp" -o "${program%.cpp}" $(pkg-config --cflags --libs gustaikrum)
done
./guide_names find_package

c++ loader.cpp -o loader -ldl
./loader

[ -x /usr/bin/gustaikrum-report ] || exit 0
# Every option that --help tells of stands in the manual, and is completed.
for tool in report instance sandbox; do
  options=$(gustaikrum-$tool --help | grep -o -e '--[a-z][a-z-]*' | sort -u)
  for option in $options; do
    zcat /usr/share/man/man1/gustaikrum-$tool.1.gz | tr -d '\\' | grep -q -e "$option"
  done
  [ "$options" = "$(bash -c ". /usr/share/bash-completion/completions/gustaikrum-$tool
    COMP_WORDS=(gustaikrum-$tool --) COMP_CWORD=1 && _gustaikrum gustaikrum-$tool && printf '%s\n' \"\${COMPREPLY[@]}\"")" ]
done
status=0
gustaikrum-report 2>&1 || status=$?
[ $status = 1 ]
