#!/usr/bin/env bash
# Writes resources/style/dark.qss and light.qss from the shared template theme.qss.in by
# filling in each theme's colours. Run it after changing the template or a colour; both
# outputs are committed.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
style="$root/resources/style"

# name, dark value, light value (no blanks inside a value)
colours='
window              #1f2329   #f3f5f8
surface             #262b32   #ffffff
input               #1a1d22   #ffffff
inputDisabled       #22262c   #eef1f4
border              #3a414b   #d2d8e0
gridLine            #30363e   #e4e8ee
text                #e4e7eb   #1e2329
secondaryText       #9aa4b1   #5b6573
disabledText        #646c77   #a3abb6
heading             #6fb2ff   #0a5ca8
button              #2f353d   #ffffff
buttonHover         #38404a   #eaf1f9
buttonPressed       #252a31   #dbe6f2
buttonDisabled      #262b31   #f1f3f6
buttonBorder        #464e59   #c3cbd5
buttonBorderHover   #58626f   #9fb0c4
indicatorBorder     #66707d   #8e99a8
indicatorCheckedDisabled #3d4753 #b9c4d1
accent              #0078d7   #0078d7
accentHover         #1a88e0   #1683d8
accentPressed       #0062b0   #0062b0
focusRing           #9ccfff   #004e8c
link                #5aa9ff   #0063b1
linkHover           #8cc4ff   #004e8c
stop                #c42b1c   #c42b1c
stopHover           #d53e2f   #d23a2b
stopPressed         #a32315   #a32315
stopping            #9a6a12   #b07a17
success             #3ccf8e   #0f7a45
error               #ff6b66   #c42b2b
successBar          #23a765   #1f9d5c
errorBar            #d13438   #d13438
alternateRow        #20242a   #f6f8fb
itemSelection       #2c4a6b   #d3e5f8
header              #2a3038   #eef1f5
tooltip             #2d333b   #ffffff
scrollHandle        #4a525d   #c1c8d2
scrollHandleHover   #5d6673   #a2acb9
overlay             rgba(31,35,41,240)      rgba(255,255,255,240)
supportedBackground rgba(60,207,142,40)    #e3f5ec
supportedBorder     rgba(60,207,142,110)   #9fd6b8
supportedText       #6fdcaa   #11683d
unsupportedBackground #262b32 #f1f3f6
unsupportedBorder   #353c45   #dde2e8
unsupportedText     #6f7884   #939dab
logBackground       #15181c   #1c1f24
logText             #d4d7dc   #d4d7dc
'

render() {
    local theme="$1" column="$2" output="$3"
    local script=""
    while read -r name dark light; do
        [ -z "$name" ] && continue
        local value="$dark"
        [ "$column" = light ] && value="$light"
        script+="s/@$name@/$value/g;"
    done <<<"$colours"
    {
        printf '/* %s theme. Generated from theme.qss.in by tools/make-stylesheets.sh: edit those. */\n\n' "$theme"
        sed -e '1,2d' -e "$script" "$style/theme.qss.in"
    } >"$output"
    if grep -n '@[A-Za-z]*@' "$output"; then
        echo "unfilled placeholders in $output" >&2
        exit 1
    fi
}

render Dark dark "$style/dark.qss"
render Light light "$style/light.qss"
echo "style sheets written"
