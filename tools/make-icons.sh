#!/usr/bin/env bash
# Renders the interface icons from the lucide-static SVG set (ISC licence) into
# resources/style/icons/, each as NAME.png (24 px; 48 px for the drop overlay's two) and NAME@2x.png at twice that for high-DPI screens.
# Usage: tools/make-icons.sh [path to an unpacked lucide-static package]
# Without an argument the pinned package version is fetched with `npm pack` into a temporary folder.
# Needs rsvg-convert (Debian: librsvg2-bin). The rendered PNGs are committed; the build does not run this.
set -euo pipefail

lucide_version=1.62.0
# One neutral grey-blue that keeps enough contrast on the light and on the dark theme.
neutral='#7d8a9e'
white='#ffffff'
base=24

root="$(cd "$(dirname "$0")/.." && pwd)"
out="$root/resources/style/icons"
mkdir -p "$out"

if [ $# -ge 1 ]; then
    package="$1"
else
    tmp="$(mktemp -d)"
    trap 'rm -rf "$tmp"' EXIT
    (cd "$tmp" && npm pack --silent "lucide-static@$lucide_version" >/dev/null && tar xzf "lucide-static-$lucide_version.tgz")
    package="$tmp/package"
fi
[ -d "$package/icons" ] || { echo "no icons folder in $package" >&2; exit 1; }

# render OUTPUT-NAME SOURCE-NAME COLOUR FILL [BASE-SIZE]
render() {
    local name="$1" source="$2" colour="$3" fill="$4" size="${5:-$base}"
    local svg="$package/icons/$source.svg"
    [ -f "$svg" ] || { echo "missing icon $source" >&2; exit 1; }
    local coloured
    coloured="$(sed -e "s/stroke=\"currentColor\"/stroke=\"$colour\"/" -e "s/fill=\"none\"/fill=\"$fill\"/" "$svg")"
    printf '%s' "$coloured" | rsvg-convert -w "$size" -h "$size" -o "$out/$name.png"
    printf '%s' "$coloured" | rsvg-convert -w $((size * 2)) -h $((size * 2)) -o "$out/$name@2x.png"
}

neutral_icons=(
    check chevron-down chevron-right chevron-up download external-link eye-off eye file-text file
    folder-open folder-output folder folders history info list log-out
    mouse-pointer-click palette refresh-cw save scroll-text search settings skip-forward
    sliders-horizontal sparkles sun-moon x
)
for icon in "${neutral_icons[@]}"; do
    render "$icon" "$icon" "$neutral" none
done

# The drop overlay shows these two as a plain pixmap, large in the middle of a panel.
render file-up file-up "$neutral" none 48
render folder-up folder-up "$neutral" none 48

# The start/stop button carries white, filled glyphs on its coloured face.
render play-white play "$white" "$white"
render square-white square "$white" "$white"
# The tick inside a checked check box sits on the accent colour.
render check-white check "$white" none

cp "$package/LICENSE" "$root/resources/style/icons/LICENSE.lucide"
echo "lucide-static $lucide_version rendered into $out"
