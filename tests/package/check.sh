#!/usr/bin/env bash
# Tries the packages in the given folder: in a new Debian, and header by header. Then compares what the libraries export
# with what they are known to export.
set -euo pipefail
packages=$1
sources=$(dirname "$(readlink -f "$0")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

mkdir "$work/consumer"
cp "$packages"/*.deb "$sources"/{CMakeLists.txt,consumer.cpp,loader.cpp,in_clean_root.sh} "$work/consumer"
cp "$sources"/../../examples/{list_systems,guide_*}.cpp "$work/consumer"
mmdebstrap --variant=apt --format=null --include=g++,cmake,make,pkg-config \
  --customize-hook="copy-in '$work/consumer' /root" \
  --customize-hook='chroot "$1" /root/consumer/in_clean_root.sh' bookworm -

# Each header by itself, for either compiler and the language that a program may have chosen.
root=$work/root
for package in "$packages"/*.deb; do dpkg-deb -x "$package" "$root"; done
headers=$root/usr/include/gustaikrum
compile_alone() {
  echo "#include <$3>" | "$1" -std="$2" -I"$headers" -Wall -Wextra -Wconversion -Wshadow -Werror -fsyntax-only -x c++ - ||
    { echo "$3 does not compile by itself with $1 -std=$2"; return 255; }
}
export -f compile_alone
export headers
(cd "$headers" && for compiler in g++ clang++; do
  for language in c++17 c++20; do
    find . -name '*.h' -printf "$compiler $language %P\n"
  done
done) | xargs -P "$(nproc)" -L 1 bash -c 'compile_alone "$@"' -

nm -DC --defined-only "$root"/usr/lib/libgustaikrum{,_platform}.so.0 | sed -n 's/^[0-9a-f]* [A-Z] \(.*\)@@.*/\1/p' |
  LC_ALL=C sort -u >"$work/exported"
diff "$sources/exported_symbols.txt" "$work/exported" || {
  echo "The exported symbols have changed. If that is meant, change tests/package/exported_symbols.txt alike."
  exit 1
}
