#!/usr/bin/env bash
# Builds the Debian package from a configured and built tree, checks what it holds and what
# it depends on, installs it with dpkg into an empty root, and builds and runs an example
# against that root.
#
# The root is a fresh dpkg database in a temporary folder (dpkg --root), not a debootstrapped
# system: it takes a second instead of minutes and needs no mirror. Its dependencies are
# therefore not installed inside the root (--force-depends); they are checked against this
# Debian machine instead, where the example's build and run find them.
# usage: tests/package/run.sh BUILD-DIR
set -euo pipefail
build=$(cd "${1:?usage: run.sh BUILD-DIR}" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
examples="$here/../../examples"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "package: $*"; exit 1; }

(cd "$build" && cpack -G DEB -B "$work/out" >/dev/null)
deb=$(ls "$work"/out/tlvutl_*.deb)
echo "package: $(basename "$deb"), $(stat -c %s "$deb") bytes"

# What it holds.
contents=$(dpkg-deb -c "$deb" | awk '{print $6}')
for f in ./usr/bin/tlvutl ./usr/share/man/man1/tlvutl.1.gz ./usr/lib/libtlvutl.so \
         ./usr/lib/tlvutl/intl/en/libtlvutlintl.so ./usr/share/tlvutl/installation/Data/guidmap.dat \
         ./usr/include/tlvutl/tlvutl.h ./usr/lib/cmake/tlvutl/tlvutlConfig.cmake \
         ./usr/lib/pkgconfig/tlvutl.pc; do
  grep -qxF "$f" <<<"$contents" || fail "$f is missing"
done

# What it depends on: dpkg-shlibdeps found the libraries the binaries link, and each
# dependency is met on this machine.
depends=$(dpkg-deb -f "$deb" Depends)
echo "package: Depends: $depends"
for lib in libc6 libstdc++6 libsqlite3-0 libxml2 libxslt1.1; do
  grep -q "\b$lib\b" <<<"$depends" || fail "no dependency on $lib"
done
IFS=',' read -ra deps <<<"$depends"
for dep in "${deps[@]}"; do
  dep=${dep%%|*}
  name=$(awk '{print $1}' <<<"$dep")
  want=$(sed -n 's/.*(>= *\([^)]*\)).*/\1/p' <<<"$dep")
  have=$(dpkg-query -W -f='${Version}' "$name" 2>/dev/null) || fail "$name is not installed here"
  [ -z "$want" ] || dpkg --compare-versions "$have" ge "$want" || fail "$name $have < $want"
done

# A host's package that links libtlvutl gets "tlvutl (>= this version)" from its shlibs.
dpkg-deb -I "$deb" shlibs | grep -qx "libtlvutl 0 tlvutl (>= $(dpkg-deb -f "$deb" Version))" ||
  fail "no shlibs entry for libtlvutl.so.0"

# Install into an empty root.
root="$work/root"
mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates" "$root/var/lib/dpkg/triggers"
touch "$root/var/lib/dpkg/status"
dpkg --root="$root" --force-depends --force-script-chrootless -i "$deb" >/dev/null 2>&1 ||
  fail "dpkg -i failed"
dpkg --root="$root" -s tlvutl | grep -q '^Status: install ok installed' || fail "not installed"

# The tool, its man page, and an example built against the root.
"$root/usr/bin/tlvutl" --help >/dev/null || fail "tlvutl --help failed"
zcat "$root/usr/share/man/man1/tlvutl.1.gz" | grep -q "^\.SH COMMANDS" ||
  fail "the man page has no COMMANDS section"
cmake -S "$examples/startup" -B "$work/startup" -G Ninja -DCMAKE_PREFIX_PATH="$root/usr" >/dev/null
cmake --build "$work/startup" >/dev/null
mkdir -p "$work/home"
env -u XDG_CONFIG_HOME -u XDG_DATA_HOME -u TLV_INSTALL_DIR -u TLV_RESOURCE_DIR \
  HOME="$work/home" TLV_REGISTRY_DIR="$work/home/registry" LD_LIBRARY_PATH="$root/usr/lib" \
  "$work/startup/startup" >/dev/null || fail "the start-up example failed against the package"
echo "package: built, installed into an empty root, example built and run against it"
