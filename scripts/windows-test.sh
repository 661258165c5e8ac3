#!/usr/bin/env bash
# Builds the Windows configuration (libtlvutl.dll, the resource DLL, tlvutl.exe and the
# tests) with mingw-w64 and runs every test under Wine, headless. The static dependencies
# are built once into build/windows/deps and kept there. Wine works in a scratch prefix in
# build/windows/wine; its server is stopped at the end.
set -euo pipefail
cd "$(dirname "$0")/.."
JOBS=${JOBS:-2}
scripts/windows-deps.sh build/windows
cmake --preset windows >/dev/null
cmake --build build/windows -j"$JOBS"
status=0
ctest --preset windows -j"$JOBS" --timeout 300 || status=$?
WINEPREFIX="$PWD/build/windows/wine/prefix" /usr/lib/wine/wineserver -k 2>/dev/null || true
exit $status
