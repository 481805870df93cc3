#!/usr/bin/env bash
# Draws the program's own pictures (title pictures, header strip, splash, banner fallbacks,
# e-mail and warning icons) as SVG and renders each with rsvg-convert into resources/png/,
# as NAME.png at its logical size and NAME@2x.png at twice that size for high-DPI screens.
# Needs rsvg-convert (Debian: librsvg2-bin) and the Lato font (fonts-lato). The PNGs are
# committed; the build does not run this.
set -euo pipefail

root="$(cd "$(dirname "$0")/.." && pwd)"
out="$root/resources/png"
mkdir -p "$out"

accent='#0078d7'
navy_top='#0c2340'
navy_bottom='#12406e'

# render NAME WIDTH HEIGHT [single]: SVG on standard input, drawn in a WIDTH x HEIGHT view box.
render() {
    local name="$1" w="$2" h="$3" svg
    svg="$(cat)"
    printf '%s' "$svg" | rsvg-convert -w "$w" -h "$h" -o "$out/$name.png"
    if [ "${4:-}" != single ]; then
        printf '%s' "$svg" | rsvg-convert -w $((w * 2)) -h $((h * 2)) -o "$out/$name@2x.png"
    fi
}

# The program's mark: an isometric block whose left face is the solid model and whose
# right face is ruled like a table, drawn in a 64 x 64 box. Arguments: x y size.
mark() {
    local x="$1" y="$2" size="$3"
    cat <<SVG
<g transform="translate($x $y) scale($(awk "BEGIN{print $size/64}"))">
  <polygon points="32,5 57,19 32,33 7,19" fill="#6cb8ff"/>
  <polygon points="7,19 32,33 32,60 7,46" fill="$accent"/>
  <polygon points="57,19 32,33 32,60 57,46" fill="#0a4f91"/>
  <g stroke="#6cb8ff" stroke-width="2.2" stroke-linecap="round">
    <line x1="36" y1="38" x2="53" y2="28.5"/>
    <line x1="36" y1="45" x2="53" y2="35.5"/>
    <line x1="36" y1="52" x2="53" y2="42.5"/>
  </g>
  <polyline points="7,19 32,33 57,19" fill="none" stroke="#ffffff" stroke-opacity="0.55" stroke-width="1.4" stroke-linejoin="round"/>
  <line x1="32" y1="33" x2="32" y2="60" stroke="#ffffff" stroke-opacity="0.35" stroke-width="1.4"/>
</g>
SVG
}

svg_open() {
    local w="$1" h="$2"
    printf '<svg xmlns="http://www.w3.org/2000/svg" width="%s" height="%s" viewBox="0 0 %s %s">\n' "$w" "$h" "$w" "$h"
}

navy_gradient() {
    cat <<SVG
<defs>
  <linearGradient id="navy" x1="0" y1="0" x2="1" y2="1">
    <stop offset="0" stop-color="$navy_top"/>
    <stop offset="1" stop-color="$navy_bottom"/>
  </linearGradient>
</defs>
SVG
}

# Header strip: the mark and the name on a transparent ground, with text in the accent
# colour so it reads on the light and on the dark theme alike.
{
    svg_open 224 48
    mark 2 2 44
    cat <<SVG
<text x="54" y="28" font-family="Lato" font-weight="900" font-size="26" fill="$accent" letter-spacing="1">KVT</text>
<text x="55" y="41" font-family="Lato" font-weight="700" font-size="9.5" fill="#7d8a9e" letter-spacing="2">CONVERTER</text>
<rect x="138" y="10" width="1.5" height="30" rx="0.75" fill="#7d8a9e" fill-opacity="0.5"/>
<text x="147" y="22" font-family="Lato" font-weight="700" font-size="10.5" fill="#7d8a9e">model data</text>
<text x="147" y="36" font-family="Lato" font-weight="700" font-size="10.5" fill="#7d8a9e">to tables</text>
</svg>
SVG
} | render title_left_side 224 48

# One title picture per converter: a navy card with the mark, the converter's short name,
# and what it reads and writes.
title() {
    local name="$1" tag="$2" from="$3" to="$4" hue="$5"
    {
        svg_open 320 56
        navy_gradient
        cat <<SVG
<rect x="0.5" y="0.5" width="319" height="55" rx="10" fill="url(#navy)" stroke="$hue" stroke-opacity="0.7"/>
$(mark 10 6 44)
<text x="62" y="26" font-family="Lato" font-weight="900" font-size="19" fill="#ffffff" letter-spacing="0.5">KVT <tspan fill="$hue">$tag</tspan></text>
<text x="62" y="44" font-family="Lato" font-weight="700" font-size="11.5" fill="#c9d6e6">$from  <tspan fill="$hue">&#8594;</tspan>  $to</text>
</svg>
SVG
    } | render "$name" 320 56
}
title title_revit "RVT" "RVT · RFA" "XLSX · DAE" '#4fb3ff'
title title_ifc "IFC" "IFC" "XLSX · DAE · CSV" '#2fd19a'
title title_dwg "DWG" "DWG" "XLSX · CSV" '#ffb347'
title title_dgn "DGN" "DGN" "XLSX · CSV" '#c79bff'
title title_rvt2ifc "RVT2IFC" "RVT · RFA" "IFC" '#5fd4e0'

# Splash: scaled by the program to a share of the screen height, so one large picture.
{
    svg_open 640 640
    navy_gradient
    cat <<SVG
<rect width="640" height="640" fill="url(#navy)"/>
<g fill="none" stroke="#ffffff" stroke-opacity="0.05" stroke-width="1">
$(for i in $(seq 0 40 640); do printf '<line x1="%s" y1="0" x2="%s" y2="640"/><line x1="0" y1="%s" x2="640" y2="%s"/>' "$i" "$i" "$i" "$i"; done)
</g>
<circle cx="320" cy="250" r="150" fill="$accent" fill-opacity="0.12"/>
$(mark 220 140 200)
<text x="320" y="430" text-anchor="middle" font-family="Lato" font-weight="900" font-size="64" fill="#ffffff" letter-spacing="4">KVT</text>
<text x="320" y="468" text-anchor="middle" font-family="Lato" font-weight="700" font-size="20" fill="#6cb8ff" letter-spacing="6">CONVERTER</text>
<rect x="280" y="496" width="80" height="3" rx="1.5" fill="$accent"/>
<text x="320" y="540" text-anchor="middle" font-family="Lato" font-size="18" fill="#c9d6e6">Construction models to tables and geometry</text>
</svg>
SVG
} | render splash_screen 640 640 single

# Banner fallbacks, 300 x 83: a coloured card with a glyph on the left and two lines of text.
banner() {
    local name="$1" from="$2" to="$3" heading="$4" line="$5" glyph="$6"
    {
        svg_open 300 83
        cat <<SVG
<defs>
  <linearGradient id="ground" x1="0" y1="0" x2="1" y2="1">
    <stop offset="0" stop-color="$from"/>
    <stop offset="1" stop-color="$to"/>
  </linearGradient>
</defs>
<rect width="300" height="83" rx="8" fill="url(#ground)"/>
<circle cx="268" cy="-6" r="46" fill="#ffffff" fill-opacity="0.07"/>
<circle cx="300" cy="83" r="34" fill="#ffffff" fill-opacity="0.06"/>
<circle cx="42" cy="41.5" r="27" fill="#ffffff" fill-opacity="0.16"/>
<g transform="translate(26 25.5)" fill="none" stroke="#ffffff" stroke-width="2.2" stroke-linecap="round" stroke-linejoin="round">
$glyph
</g>
<text x="82" y="37" font-family="Lato" font-weight="900" font-size="17" fill="#ffffff">$heading</text>
<text x="82" y="56" font-family="Lato" font-weight="700" font-size="11" fill="#ffffff" fill-opacity="0.85">$line</text>
<text x="82" y="71" font-family="Lato" font-weight="900" font-size="9" fill="#ffffff" fill-opacity="0.7" letter-spacing="1.5">LEARN MORE &#8250;</text>
</svg>
SVG
    } | render "$name" 300 83
}
# Glyphs are drawn in a 32 x 32 box.
banner excel_plugin '#16a06a' '#0b6b45' "Spreadsheet add-in" "Model data straight in your workbook" \
    '<rect x="2" y="4" width="28" height="24" rx="3"/><line x1="2" y1="12" x2="30" y2="12"/><line x1="2" y1="20" x2="30" y2="20"/><line x1="12" y1="4" x2="12" y2="28"/><line x1="21" y1="4" x2="21" y2="28"/>'
banner chatgpt_and_llm '#7b4ee0' '#45259a' "AI and LLM ready" "Ask questions of your model data" \
    '<path d="M4 6h20a3 3 0 0 1 3 3v11a3 3 0 0 1-3 3H13l-6 5v-5H4a3 3 0 0 1-3-3V9a3 3 0 0 1 3-3z"/><path d="M14 10l1.4 3.1 3.1 1.4-3.1 1.4L14 19l-1.4-3.1-3.1-1.4 3.1-1.4z" fill="#ffffff"/><path d="M27 1l.8 1.7 1.7.8-1.7.8L27 6l-.8-1.7-1.7-.8 1.7-.8z" fill="#ffffff"/>'
banner versions_kvt '#1c8de6' '#0b4a86' "All KVT converters" "RVT · IFC · DWG · DGN and more" \
    '<path d="M16 3 30 10 16 17 2 10z"/><path d="M2 16l14 7 14-7"/><path d="M2 22l14 7 14-7"/>'
banner revit_back_import '#e8783a' '#a9411a' "Import back to the model" "Edit in a sheet, send changes back" \
    '<rect x="2" y="4" width="12" height="24" rx="2"/><line x1="2" y1="12" x2="14" y2="12"/><line x1="2" y1="20" x2="14" y2="20"/><path d="M19 16h11"/><path d="M24 11l-5 5 5 5"/><path d="M30 6v20"/>'

# Small notice icons of the information panel, 16 x 16.
{
    svg_open 16 16
    cat <<SVG
<rect x="1.5" y="3.5" width="13" height="9.5" rx="1.8" fill="$accent"/>
<path d="M2.5 5 8 9l5.5-4" fill="none" stroke="#ffffff" stroke-width="1.3" stroke-linecap="round" stroke-linejoin="round"/>
</svg>
SVG
} | render email 16 16
{
    svg_open 16 16
    cat <<SVG
<path d="M8 1.6c.45 0 .86.24 1.08.63l5.9 10.4A1.25 1.25 0 0 1 13.9 14.5H2.1a1.25 1.25 0 0 1-1.08-1.87l5.9-10.4C7.14 1.84 7.55 1.6 8 1.6z" fill="#e0a100"/>
<rect x="7.15" y="5.2" width="1.7" height="5" rx="0.85" fill="#ffffff"/>
<circle cx="8" cy="12.1" r="0.95" fill="#ffffff"/>
</svg>
SVG
} | render warning 16 16

echo "pictures rendered into $out"
