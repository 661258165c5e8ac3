#!/usr/bin/env bash
# Installs what is missing, builds the release configuration and runs the tlvutl tour on the
# bundled default installation.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build build/release -j"${JOBS:-2}" --target tlvutl_cli tlvutl_installation
build/release/bin/tlvutl tour
