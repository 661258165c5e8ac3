#!/usr/bin/env bash
# Installs what is missing, builds the release configuration and runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build build/release -j"${JOBS:-2}"
ctest --preset release -j"${JOBS:-2}"
