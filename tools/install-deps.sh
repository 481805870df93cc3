#!/usr/bin/env bash
# Installs the Debian 12 packages the build, the tests and the benchmarks need.
# Only missing packages are installed, so a machine that already has them is done in a second.
set -euo pipefail

packages=(
    cmake ninja-build g++ pkg-config
    qt6-base-dev qt6-base-dev-tools qt6-qpa-plugins libgl-dev
    libcurl4-openssl-dev ca-certificates openssl
    fonts-lato fonts-dejavu-core
    aha
    libifcplusplus-dev libboost-dev libxlsxwriter-dev
)
# The test suite also compiles the Windows-only files with MinGW, runs the fake converter
# built as a Windows program through Wine (wine64 alone, without its recommends, is enough),
# compares the log benchmark with aha, asks a stand-in desktop portal on a private
# dbus-daemon, runs a batch split in parts under GNU parallel and checks the IFC exporter on
# Debian's sample house, reading its results back with openpyxl and assimp; the program alone
# needs none of them.
if [ "${1:-}" = "--tests" ]; then
    packages+=(g++-mingw-w64-x86-64 wine64 dbus-daemon parallel assimp-testmodels assimp-utils python3-openpyxl)
fi

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$p")
    fi
done

if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

echo "Installing: ${missing[*]}"
SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
