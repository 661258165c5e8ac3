#!/usr/bin/env bash
# Builds every example against an installed tlvutl and runs each one without arguments, in a
# home folder and registry store of its own, as a fresh user would; fails on the first
# example that does not build or does not exit 0.
# usage: examples/run.sh PREFIX   (PREFIX: what `cmake --install` or the package installed to)
set -euo pipefail
prefix=${1:?usage: run.sh INSTALL-PREFIX}
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake -S "$here" -B "$work/build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/build" >/dev/null
libdir=$(dirname "$(find "$prefix" -name 'libtlvutl.so' | head -n1)")

examples=(startup units_field xml_settings registry ini_files timer_glib paper_chooser xmp_jpeg
          dir_watch)
passed=0
failed=0
for name in "${examples[@]}"; do
  home="$work/home-$name"
  mkdir -p "$home"
  echo "-- $name"
  if env -u XDG_CONFIG_HOME -u XDG_DATA_HOME -u TLV_INSTALL_DIR -u TLV_RESOURCE_DIR \
      HOME="$home" TLV_REGISTRY_DIR="$home/registry" LD_LIBRARY_PATH="$libdir" \
      "$work/build/$name/$name"; then
    passed=$((passed + 1))
  else
    echo "examples: $name failed"
    failed=$((failed + 1))
  fi
done

# The JPEG example once more, keeping its image, read back by an independent reader.
if command -v exiv2 >/dev/null; then
  HOME="$work/home-xmp_jpeg" LD_LIBRARY_PATH="$libdir" "$work/build/xmp_jpeg/xmp_jpeg" \
    "$work/Hafen.jpg" >/dev/null
  # The packet's values start on a line of their own.
  if exiv2 -px "$work/Hafen.jpg" 2>/dev/null | grep -A1 '^Xmp.dc.title' |
      grep -q '^Hafen im Morgengrauen$'; then
    passed=$((passed + 1))
  else
    echo "examples: exiv2 does not find the title in the JPEG's XMP packet"
    failed=$((failed + 1))
  fi
fi
echo "examples: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
