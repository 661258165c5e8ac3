#!/usr/bin/env bash
# Builds and runs a small consumer project against an installed tlvutl (find_package and
# pkg-config), as a host application's build would.
set -euo pipefail
prefix=${1:?usage: run.sh INSTALL-PREFIX}
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake -S "$here/project" -B "$work/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/cmake" >/dev/null
libdir=$(dirname "$(find "$prefix" -name 'libtlvutl.so' | head -n1)")
LD_LIBRARY_PATH="$libdir" "$work/cmake/consumer"
LD_LIBRARY_PATH="$libdir" "$work/cmake/consumer_c"
# pkg-config
PKG_CONFIG_PATH="$libdir/pkgconfig" c++ -std=c++20 "$here/project/consumer.cpp" -o "$work/pc" \
  $(PKG_CONFIG_PATH="$libdir/pkgconfig" pkg-config --cflags --libs tlvutl)
LD_LIBRARY_PATH="$libdir" "$work/pc"
"$prefix/bin/tlvutl" strings 24087 >/dev/null
# The client test: every public inline template and class, against the install alone. Its
# registry and folders are its own.
cmake -S "$here/client" -B "$work/client" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/client" >/dev/null
mkdir -p "$work/home"
HOME="$work/home" XDG_CONFIG_HOME="$work/home/.config" TLV_REGISTRY_DIR="$work/registry" \
  LD_LIBRARY_PATH="$libdir" "$work/client/client"
echo "consumer: find_package, C, pkg-config and client builds run against $prefix"
