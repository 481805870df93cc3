#!/usr/bin/env bash
# Installs what is missing, builds the release configuration and starts the program.
# Arguments are passed on to the program (files or folders to open). Without arguments it
# opens a fresh copy of demo/, whose files the demo converter in kavantolibs/ plays, so a
# first start shows a real run. KVT_EDITION=ifc (or dwg, dgn, rvt2ifc) builds and starts that
# edition instead, in build/release-<edition>; the IFC edition with the open IFC exporter.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/install-deps.sh
edition=${KVT_EDITION:-revit}
build=build/release
targets=(kvtconverter fakeconverter)
if [ "$edition" != revit ]; then
    build=build/release-$edition
    cmake --preset release -B "$build" -DKVT_EDITION="$edition" >/dev/null
    if [ "$edition" = ifc ]; then targets+=(ifcexporter); fi
    cmake --build "$build" --target "${targets[@]}"
else
    cmake --preset release >/dev/null
    # Only the program and the demo converter: the tests and benchmarks wait for tools/test.sh.
    cmake --build --preset release --target "${targets[@]}"
fi
if [ $# -eq 0 ]; then
    # A copy, so that the results written beside the demo files stay out of the repository.
    demo=$build/demo
    rm -rf "$demo"
    mkdir -p "$demo"
    cp demo/* "$demo"/
    set -- "$demo"
fi
exec "$build"/bin/kvtconverter "$@"
