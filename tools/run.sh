#!/usr/bin/env bash
# Installs what is missing, builds the release configuration and starts the program.
# Arguments are passed on to the program (files or folders to open).
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release
exec build/release/bin/kvtconverter "$@"
