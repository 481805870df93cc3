#!/usr/bin/env bash
# Installs what is missing, builds the release configuration and starts the program.
# Arguments are passed on to the program (files or folders to open). Without arguments it
# opens a fresh copy of demo/, whose files the demo converter in kavantolibs/ plays, so a
# first start shows a real run.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/install-deps.sh
cmake --preset release >/dev/null
# Only the program and the demo converter: the tests and benchmarks wait for tools/test.sh.
cmake --build --preset release --target kvtconverter fakeconverter
if [ $# -eq 0 ]; then
    # A copy, so that the results written beside the demo files stay out of the repository.
    demo=build/release/demo
    rm -rf "$demo"
    mkdir -p "$demo"
    cp demo/* "$demo"/
    set -- "$demo"
fi
exec build/release/bin/kvtconverter "$@"
