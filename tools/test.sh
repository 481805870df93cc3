#!/usr/bin/env bash
# Installs what is missing, builds the normal and the sanitizer configuration, and runs
# the whole test suite in both.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/install-deps.sh --tests
for preset in debug asan; do
    echo "== $preset build"
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset"
    echo "== $preset tests"
    ctest --preset "$preset"
done
