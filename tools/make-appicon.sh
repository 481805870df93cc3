#!/usr/bin/env bash
# Renders the program's icon (app/icons/kvtconverter.svg, our own drawing) into the PNG sizes
# the desktop file and the window use. Needs rsvg-convert (Debian: librsvg2-bin). The PNGs
# are committed; the build does not run this.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
icons="$root/app/icons"
for size in 16 32 48 64 128 256; do
    rsvg-convert -w "$size" -h "$size" -o "$icons/kvtconverter-$size.png" "$icons/kvtconverter.svg"
done
echo "icon rendered into $icons"
