#!/usr/bin/env bash
# Tries the packages in the given folder: in a new Debian that has compilers and nothing of ours, and header by header.
# Then looks at how the libraries are hardened, asks lintian, and compares the ABI with the one described.
set -euo pipefail
packages=$1
sources=$(dirname "$(readlink -f "$0")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

root=$work/root
for package in "$packages"/*.deb; do dpkg-deb -x "$package" "$root"; done
libraries=$(dirname "$(find "$root/usr/lib" -name libgustaikrum.so)")

# The release that the packages were made on.
suite=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)

programs=$work/programs
mkdir "$programs"
cp "$packages"/*.deb "$sources"/{CMakeLists.txt,loader.cpp,use_packages.sh} "$programs"
cp "$root"/usr/share/doc/libgustaikrum-dev/examples/* "$programs"
if ! mmdebstrap --variant=apt --format=tar --include=g++,cmake,make,pkg-config \
  --customize-hook="touch '$work/has_debian'" \
  --customize-hook="copy-in '$programs' /root" \
  --customize-hook='chroot "$1" sh -c "apt-get install -y --no-install-recommends /root/programs/*.deb"' \
  --customize-hook='chroot "$1" /root/programs/use_packages.sh' "$suite" "$work/debian.tar"; then
  [ ! -e "$work/has_debian" ] || exit 1
  echo "note: no new Debian can be made here, so the packages were unpacked and tried beside this system"
  LD_LIBRARY_PATH=$libraries PKG_CONFIG_PATH=$libraries/pkgconfig CMAKE_PREFIX_PATH=$root/usr \
    "$programs/use_packages.sh"
fi

# Each header by itself, for either compiler and the language that a program may have chosen.
headers=$root/usr/include/gustaikrum
export headers
(cd "$headers" && for compiler in g++ clang++; do
  find . -name '*.h' -printf "$compiler c++17 %P\n$compiler c++20 %P\n"
done) | xargs -P "$(nproc)" -L 1 bash -c 'echo "#include <$2>" |
  "$0" -std="$1" -I"$headers" ${BOOST_ROOT:+-isystem "$BOOST_ROOT/include"} -Wall -Wextra -Wconversion -Wshadow -Werror \
    -fsyntax-only -x c++ - || { echo "$2 does not compile by itself with $0 -std=$1"; exit 255; }'

"$sources/hardening.sh" "$libraries"/libgustaikrum{,_platform}.so.0.1

lintian --allow-root --fail-on error,warning --tag-display-limit 0 "$packages"/*.deb

# What the libraries are like depends on the release's compiler and Boost, too.
if [ "$suite" = bookworm ]; then
  "$sources/../../packaging/abi/describe" "$root" "$work"
  for known in "$sources"/../../packaging/abi/*.abi.xz; do
    library=$(basename "$known" .xz)
    xz -dc "$known" >"$work/known.abi"
    xz -dc "$work/$library.xz" >"$work/$library"
    abidiff --no-show-locs "$work/known.abi" "$work/$library" || {
      echo "What programs rely on has changed. If the version says so, run packaging/abi/describe."
      exit 1
    }
  done
else
  echo "note: the ABI is described for Debian 12 and was not compared"
fi
