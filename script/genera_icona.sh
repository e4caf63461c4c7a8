#!/usr/bin/env bash
# Draws the programs' icon once: a green pharmacy cross, 16x16 and 32x32,
# into risorse/j8.ico (committed; the build does not run this).
set -euo pipefail
cd "$(dirname "$0")/.."
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
# disegna LATO BORDO_ESTERNO INIZIO_BRACCIO FINE_BRACCIO SPESSORE_ORLO
disegna() {
  local l=$1 a=$2 b=$3 c=$4 o=$5 z=$(($1 - 1 - $2))
  convert -size "${l}x${l}" xc:none \
    -fill '#006b2e' -draw "rectangle $b,$a $c,$z" -draw "rectangle $a,$b $z,$c" \
    -fill '#1fb34a' -draw "rectangle $((b + o)),$((a + o)) $((c - o)),$((z - o))" \
                    -draw "rectangle $((a + o)),$((b + o)) $((z - o)),$((c - o))" \
    "PNG32:$tmp/croce_$l.png"
}
disegna 16 0 5 10 1
disegna 32 1 10 21 2
convert "$tmp/croce_16.png" "$tmp/croce_32.png" risorse/j8.ico
echo "risorse/j8.ico"
