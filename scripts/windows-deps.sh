#!/usr/bin/env bash
# Builds the libraries the Windows build needs and Debian does not ship for mingw-w64
# (libxml2, libxslt, GoogleTest) from Debian's own source packages, statically, into
# <build>/deps/prefix. Does nothing when that prefix is complete, so CI keeps it between runs.
#
#   scripts/windows-deps.sh [build folder]      (default build/windows)
#
# As root it first installs the Debian packages the Windows build and its tests need. The
# source packages come through a private apt state below the build folder, so the system's
# package lists stay as they are.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
build=$(realpath -m "${1:-build/windows}")
deps=$build/deps
prefix=$deps/prefix
stamp=$prefix/.complete
JOBS=${JOBS:-2}
triple=x86_64-w64-mingw32

packages=(g++-mingw-w64-x86-64 wine64 dpkg-dev cmake ninja-build)
if [ "$(id -u)" = 0 ]; then
  missing=()
  for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
  done
  if [ ${#missing[@]} -gt 0 ]; then
    export DEBIAN_FRONTEND=noninteractive
    apt-get install -y -qq --no-install-recommends "${missing[@]}" ||
      { apt-get update -qq && apt-get install -y -qq --no-install-recommends "${missing[@]}"; }
  fi
fi

[ -f "$stamp" ] && exit 0

# ---- Source packages through a private apt state --------------------------------------------
apt_state=$deps/apt
mkdir -p "$apt_state/sources" "$apt_state/lists/partial" "$apt_state/cache/archives/partial" \
         "$deps/src"
found=0
for f in /etc/apt/sources.list.d/*.sources; do
  [ -f "$f" ] || continue
  sed 's/^Types:.*/Types: deb-src/' "$f" > "$apt_state/sources/$(basename "$f")"
  found=1
done
if [ -f /etc/apt/sources.list ]; then
  grep -E '^deb ' /etc/apt/sources.list | sed 's/^deb /deb-src /' > "$apt_state/sources/list.list" || true
  [ -s "$apt_state/sources/list.list" ] && found=1
fi
[ "$found" = 1 ] || { echo "windows-deps: no apt sources to take deb-src entries from" >&2; exit 1; }
apt_opts=(-o APT::Sandbox::User=root -o Dir::Etc::SourceParts="$apt_state/sources" -o Dir::Etc::SourceList=/dev/null
          -o Dir::State::Lists="$apt_state/lists" -o Dir::Cache="$apt_state/cache")
apt-get "${apt_opts[@]}" update -qq
(cd "$deps/src" && apt-get "${apt_opts[@]}" source --download-only -qq libxml2 libxslt googletest)

unpack() { # package name -> folder of its unpacked source
  local dsc
  dsc=$(ls "$deps/src/$1"_*.dsc | head -n 1)
  local dir=$deps/src/$1
  rm -rf "$dir"
  dpkg-source --no-check -x "$dsc" "$dir" >/dev/null 2>&1
  echo "$dir"
}

cmake_build() { # source folder, build folder, options...
  local src=$1 bld=$2
  shift 2
  cmake -S "$src" -B "$bld" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchains/mingw-w64.cmake" \
    -DTLVUTL_WINDOWS_DEPS="$prefix" -DCMAKE_INSTALL_PREFIX="$prefix" \
    -DBUILD_SHARED_LIBS=OFF "$@" >/dev/null
  cmake --build "$bld" -j"$JOBS" >/dev/null
  cmake --install "$bld" >/dev/null
}

rm -rf "$prefix" "$deps/build"
echo "windows-deps: libxml2"
cmake_build "$(unpack libxml2)" "$deps/build/libxml2" \
  -DLIBXML2_WITH_PYTHON=OFF -DLIBXML2_WITH_LZMA=OFF -DLIBXML2_WITH_ZLIB=OFF \
  -DLIBXML2_WITH_ICONV=OFF -DLIBXML2_WITH_HTTP=OFF -DLIBXML2_WITH_FTP=OFF \
  -DLIBXML2_WITH_MODULES=OFF -DLIBXML2_WITH_PROGRAMS=OFF -DLIBXML2_WITH_TESTS=OFF
echo "windows-deps: libxslt"
cmake_build "$(unpack libxslt)" "$deps/build/libxslt" \
  -DLIBXSLT_WITH_PYTHON=OFF -DLIBXSLT_WITH_MODULES=OFF -DLIBXSLT_WITH_TESTS=OFF \
  -DLIBXSLT_WITH_CRYPTO=OFF
echo "windows-deps: googletest"
cmake_build "$(unpack googletest)" "$deps/build/googletest" -Dgtest_disable_pthreads=OFF
rm -rf "$deps/build" "$deps/src"
touch "$stamp"
echo "windows-deps: static libraries in $prefix"
