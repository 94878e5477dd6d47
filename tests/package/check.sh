#!/usr/bin/env bash
# Unpacks the packages in the given folder beside the system, and builds and runs programs against them by every way
# that a user has. Then compares what the libraries export with what they are known to export.
set -euo pipefail
packages=$1
sources=$(dirname "$(readlink -f "$0")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

root=$work/root
for package in "$packages"/*.deb; do dpkg-deb -x "$package" "$root"; done
export LD_LIBRARY_PATH=$root/usr/lib PKG_CONFIG_PATH=$root/usr/lib/pkgconfig

cmake -S "$sources" -B "$work/find_package" -DCMAKE_PREFIX_PATH="$root/usr"
cmake --build "$work/find_package"
"$work/find_package/consumer"

# shellcheck disable=SC2046 # pkg-config prints words
g++ "$sources/consumer.cpp" -o "$work/pkg_config" $(pkg-config --cflags --libs gustaikrum)
"$work/pkg_config"

# Each header by itself, for either compiler and the language that a program may have chosen.
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

g++ -std=c++17 "$sources/loader.cpp" -o "$work/loader"
"$work/loader"

nm -DC --defined-only "$LD_LIBRARY_PATH"/libgustaikrum{,_platform}.so.0 | sed -n 's/^[0-9a-f]* [A-Z] \(.*\)@@.*/\1/p' |
  LC_ALL=C sort -u >"$work/exported"
diff "$sources/exported_symbols.txt" "$work/exported" || {
  echo "The exported symbols have changed. If that is meant, change tests/package/exported_symbols.txt alike."
  exit 1
}
echo "the packages serve find_package, pkg-config and dlopen"
