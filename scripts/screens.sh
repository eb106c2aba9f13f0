#!/usr/bin/env bash
# Sets up, builds and renders every screen of the app offscreen, walking simulated Macs through
# the real window, into build/screens/<scenario>/<step>-<state>-<palette>-<W>x<H>.png, with an
# index.html that shows each state's pictures side by side.
#   ./scripts/screens.sh [--fixtures developer-no-java,healthy,…]
set -euo pipefail
cd "$(dirname "$0")/.."

fixtures=""
while [ $# -gt 0 ]; do
    case "$1" in
    --fixtures) fixtures=${2:?--fixtures needs a comma-separated list of simulated Macs}; shift 2 ;;
    --fixtures=*) fixtures=${1#--fixtures=}; shift ;;
    *) echo "Usage: $0 [--fixtures name,name,…]" >&2; exit 2 ;;
    esac
done

./scripts/setup.sh
./scripts/build.sh default

out=build/screens
rm -rf "$out"
mkdir -p "$out"
status=0
QT_QPA_PLATFORM=offscreen build/default/tools/tarnwick_screens "$out" ${fixtures:+"$fixtures"} || status=$?

columns=(light-640x480 light-1280x860 dark-640x480 dark-1280x860 focus-640x480)
{
    echo '<!doctype html><meta charset="utf-8"><title>Tarnwick screens</title>'
    echo '<style>body{font:14px sans-serif;margin:16px}img{border:1px solid #999;max-width:100%}'
    echo 'td{vertical-align:top;padding:4px}th{text-align:left;padding:4px}h2{margin-top:32px}</style>'
    for dir in "$out"/*/; do
        scenario=$(basename "$dir")
        echo "<h2>$scenario</h2><table><tr><th>state</th>"
        for column in "${columns[@]}"; do echo "<th>$column</th>"; done
        echo "</tr>"
        for state in $(ls "$dir" | sed -E 's/-(light|dark|focus)-[0-9]+x[0-9]+\.png$//' | sort -u); do
            echo "<tr><td>$state</td>"
            for column in "${columns[@]}"; do
                echo "<td><a href=\"$scenario/$state-$column.png\"><img src=\"$scenario/$state-$column.png\" width=\"320\"></a></td>"
            done
            echo "</tr>"
        done
        echo "</table>"
    done
} >"$out/index.html"

echo "The screens: $(pwd)/$out/index.html"
exit "$status"
