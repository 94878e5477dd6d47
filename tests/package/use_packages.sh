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
for tool in report instance sandbox; do gustaikrum-$tool --version; done
status=0
gustaikrum-report 2>&1 || status=$?
[ $status = 1 ]
