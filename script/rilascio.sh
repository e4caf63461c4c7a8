#!/usr/bin/env bash
# Builds the release zip: the Windows programs in Release, the Italian
# installation guide and, when the repository has one, LICENZA.txt.
#   bash script/rilascio.sh [CARTELLA_USCITA]   (default: rilascio/)
set -euo pipefail
radice="$(cd "$(dirname "$0")/.." && pwd)"
uscita="$(mkdir -p "${1:-$radice/rilascio}" && cd "${1:-$radice/rilascio}" && pwd)"
build="$radice/build-rilascio"
command -v zip >/dev/null || bash "$radice/script/installa.sh"

versione=$(sed -n 's/^#define J8_VERSIONE_TESTO "\(.*\)"$/\1/p' "$radice/risorse/versione.h")
[ -n "$versione" ] || { echo "versione non trovata in risorse/versione.h" >&2; exit 1; }

cmake -S "$radice" -B "$build" -DCMAKE_TOOLCHAIN_FILE="$radice/cmake/mingw-w64.cmake" \
  -DCMAKE_BUILD_TYPE=Release -DJ8_PROVE=OFF >/dev/null
cmake --build "$build" -j2 --target j8_bbs j8_impostazioni j8_tabelle

nome="j8_bbs-$versione"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
mkdir "$tmp/$nome"
for p in j8_bbs j8_impostazioni j8_tabelle; do
  cp "$build/bin/$p.exe" "$tmp/$nome/"
  x86_64-w64-mingw32-strip "$tmp/$nome/$p.exe" 2>/dev/null || true
done
# Notepad-friendly text: UTF-8 with its mark, CRLF line ends.
a_windows() { { printf '\xef\xbb\xbf'; sed -e 's/\r$//' -e 's/$/\r/' "$1"; } > "$2"; }
sed "s/@VERSIONE@/$versione/" "$radice/doc/LEGGIMI.txt" > "$tmp/leggimi"
a_windows "$tmp/leggimi" "$tmp/$nome/LEGGIMI.txt"
if [ -f "$radice/LICENZA.txt" ]; then
  a_windows "$radice/LICENZA.txt" "$tmp/$nome/LICENZA.txt"
else
  echo "ATTENZIONE: manca LICENZA.txt nella radice del progetto: lo zip esce senza licenza." >&2
fi
rm -f "$uscita/$nome.zip"
(cd "$tmp" && zip -q -r -X "$uscita/$nome.zip" "$nome")
echo "$uscita/$nome.zip"
unzip -l "$uscita/$nome.zip" | tail -n +4 | head -n -2
