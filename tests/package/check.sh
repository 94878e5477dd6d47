#!/usr/bin/env bash
# Tries the packages in the given folder: in a new Debian that has compilers and nothing of ours, and header by header.
# Then compares what the libraries export with what they are known to export.
set -euo pipefail
packages=$1
sources=$(dirname "$(readlink -f "$0")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

root=$work/root
for package in "$packages"/*.deb; do dpkg-deb -x "$package" "$root"; done

programs=$work/programs
mkdir "$programs"
cp "$packages"/*.deb "$sources"/{CMakeLists.txt,consumer.cpp,loader.cpp,use_packages.sh} "$programs"
cp "$sources"/../../examples/{list_systems,guide_*}.cpp "$programs"
if ! mmdebstrap --variant=apt --format=null --include=g++,cmake,make,pkg-config \
  --customize-hook="touch '$work/has_debian'" \
  --customize-hook="copy-in '$programs' /root" \
  --customize-hook='chroot "$1" sh -c "apt-get install -y --no-install-recommends /root/programs/*.deb"' \
  --customize-hook='chroot "$1" /root/programs/use_packages.sh' bookworm -; then
  [ ! -e "$work/has_debian" ] || exit 1
  echo "note: no new Debian can be made here, so the packages were unpacked and tried beside this system"
  LD_LIBRARY_PATH=$root/usr/lib PKG_CONFIG_PATH=$root/usr/lib/pkgconfig CMAKE_PREFIX_PATH=$root/usr \
    "$programs/use_packages.sh"
fi

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

nm -DC --defined-only "$root"/usr/lib/libgustaikrum{,_platform}.so.0.1 | sed -n 's/^[0-9a-f]* [A-Z] \(.*\)@@.*/\1/p' |
  LC_ALL=C sort -u >"$work/exported"
diff "$sources/exported_symbols.txt" "$work/exported" || {
  echo "The exported symbols have changed. If that is meant, change tests/package/exported_symbols.txt alike."
  exit 1
}
