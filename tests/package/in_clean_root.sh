#!/bin/sh
# Installs the packages beside this script in a Debian that has compilers and nothing of ours, and builds and runs
# programs there by every way that a user has.
set -eu
cd "$(dirname "$0")"
apt-get install -y --no-install-recommends ./*.deb

cmake -S . -B find_package
cmake --build find_package
find_package/consumer

for program in consumer list_systems guide_*.cpp; do
  # shellcheck disable=SC2046 # pkg-config prints words
  c++ "${program%.cpp}.cpp" -o "${program%.cpp}" $(pkg-config --cflags --libs gustaikrum)
done
./consumer

c++ loader.cpp -o loader
./loader
