#!/usr/bin/env bash
# Benchmark of the table engine: builds j8_tabelle and genera_dati in
# Release, generates a database of N drugs (default 150000) with its side
# tables and the update files of one package, then times
# `j8_tabelle aggiorna` on a fresh copy a few times and reports wall time and
# peak memory (GNU time), next to the size of the tables. The machine's
# other load shows in the wall time: the CPU time is printed beside it.
#
#   bash script/misura_motore.sh [N] [RIPETIZIONI]
set -euo pipefail
cd "$(dirname "$0")/.."
numero=${1:-150000}
ripetizioni=${2:-5}
build=${J8_BUILD_MISURA:-build-misura}

cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DJ8_PROVE=OFF >/dev/null
cmake --build "$build" -j"$(nproc)" --target j8_tabelle genera_dati >/dev/null

dati=$(mktemp -d)
trap 'rm -rf "$dati"' EXIT
"$build/bin/genera_dati" "$dati/originale" "$numero"

tabelle=(farmaci.tda notessn.tda principi_attivi.tda atc.tda ditte.tda)
byte_tabelle=0
for t in "${tabelle[@]}"; do
  byte_tabelle=$((byte_tabelle + $(stat -c %s "$dati/originale/$t")))
done

echo "Farmaci: $numero; tabelle: $byte_tabelle byte ($(awk -v b="$byte_tabelle" 'BEGIN{printf "%.1f", b/1048576}') MiB)"
echo "Comando: j8_tabelle aggiorna DIR --oggi 20260101 farmaci.faf notessn.faf principi_attivi.faf atc.faf ditte.faf"
migliore_s=""
massima_kb=0
for i in $(seq 1 "$ripetizioni"); do
  rm -rf "$dati/lavoro"
  cp -r "$dati/originale" "$dati/lavoro"
  /usr/bin/time -f "%e %M %U %S" -o "$dati/tempo" "$build/bin/j8_tabelle" aggiorna "$dati/lavoro" --oggi 20260101 \
    farmaci.faf notessn.faf principi_attivi.faf atc.faf ditte.faf
  read -r secondi kb utente sistema <"$dati/tempo"
  echo "  prova $i: ${secondi} s (CPU: utente ${utente} s, sistema ${sistema} s), picco di memoria ${kb} KiB"
  if [ -z "$migliore_s" ] || awk -v a="$secondi" -v b="$migliore_s" 'BEGIN{exit !(a<b)}'; then
    migliore_s=$secondi
  fi
  [ "$kb" -gt "$massima_kb" ] && massima_kb=$kb
done
rapporto=$(awk -v k="$massima_kb" -v b="$byte_tabelle" 'BEGIN{printf "%.2f", k*1024/b}')
echo "Tempo migliore: ${migliore_s} s (obiettivo < 0.5 s)"
echo "Picco di memoria massimo: ${massima_kb} KiB = ${rapporto} volte le tabelle (obiettivo < 3)"
