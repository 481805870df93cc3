#!/usr/bin/env bash
# Copies the interface font (Lato Regular, SIL Open Font License 1.1) from Debian's fonts-lato
# package into resources/fonts/, together with its licence text.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
source_dir=/usr/share/fonts/truetype/lato
[ -f "$source_dir/Lato-Regular.ttf" ] || { echo "install fonts-lato first" >&2; exit 1; }
mkdir -p "$root/resources/fonts"
cp "$source_dir/Lato-Regular.ttf" "$root/resources/fonts/Lato.ttf"
cp /usr/share/doc/fonts-lato/copyright "$root/resources/fonts/LICENSE.Lato.txt"
echo "Lato $(dpkg-query -W -f='${Version}' fonts-lato) copied"
