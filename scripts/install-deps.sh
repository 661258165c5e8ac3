#!/usr/bin/env bash
# Installs the Debian 12 packages the build, the tests and the benchmarks need (as root, or
# through sudo). Does nothing when they are all present.
set -euo pipefail
packages=(cmake ninja-build g++ clang libclang-rt-14-dev pkg-config
          libgtest-dev libgmock-dev libbenchmark-dev
          libxml2-dev libxslt1-dev libsqlite3-dev locales-all
          libglib2.0-dev # tests only: a host main loop driving the timers
          libmuparser-dev libpugixml-dev # muparser, pugixml: benchmark comparisons only
          exiv2 # reads back the XMP packets in the tool tests
          sqlite3 # folds a store's log into its file before the damaged-store tool test
          doxygen graphviz help2man dpkg-dev) # the API reference, the man page, the package
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
SUDO=""
[ "$(id -u)" = 0 ] || SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
