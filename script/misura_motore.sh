#!/usr/bin/env bash
# Benchmark of the table engine: builds j8_tabelle and genera_dati in
# Release, generates a database of N drugs (default 150000) with its side
# tables and the update files of one package (some lines trimmed of their
# trailing blanks, some longer than their layout), then, a few times, copies
# the table folder with `cp -r` (the copy floor) and runs
# `j8_tabelle aggiorna` on the fresh copy. Each run prints the wall time,
# the copy floor beside it and their ratio, the peak memory (GNU time, on a
# second run) and its ratio to the bytes of the tables and update files the
# tool loads.
# The machine's other load shows in the wall time: the CPU time is printed
# too, and the summary sets the best run against the best copy.
#
#   bash script/misura_motore.sh [N] [RIPETIZIONI]
set -euo pipefail
cd "$(dirname "$0")/.."
numero=${1:-150000}
ripetizioni=${2:-5}
build=${J8_BUILD_MISURA:-build-misura}

cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DJ8_PROVE=OFF >/dev/null
cmake --build "$build" -j2 --target j8_tabelle genera_dati >/dev/null

dati=$(mktemp -d)
trap 'rm -rf "$dati"' EXIT
"$build/bin/genera_dati" "$dati/originale" "$numero"

file=(farmaci.tda notessn.tda principi_attivi.tda atc.tda ditte.tda
      farmaci.faf notessn.faf principi_attivi.faf atc.faf ditte.faf)
byte_dati=0
for t in "${file[@]}"; do
  byte_dati=$((byte_dati + $(stat -c %s "$dati/originale/$t")))
done

adesso_ms() { echo $(( $(date +%s%N) / 1000000 )); }

echo "Farmaci: $numero; tabelle e file di aggiornamento: $byte_dati byte ($(awk -v b="$byte_dati" 'BEGIN{printf "%.1f", b/1048576}') MiB)"
echo "Comando: j8_tabelle aggiorna DIR --oggi 20260101 farmaci.faf notessn.faf principi_attivi.faf atc.faf ditte.faf"
migliore_ms=""
migliore_copia_ms=""
tutti_ms=()
tutte_copie_ms=()
massima_kb=0
for i in $(seq 1 "$ripetizioni"); do
  rm -rf "$dati/lavoro"
  sync
  inizio=$(adesso_ms)
  cp -r "$dati/originale" "$dati/lavoro"
  copia_ms=$(( $(adesso_ms) - inizio ))
  inizio=$(adesso_ms)
  "$build/bin/j8_tabelle" aggiorna "$dati/lavoro" --oggi 20260101 \
    farmaci.faf notessn.faf principi_attivi.faf atc.faf ditte.faf
  motore_ms=$(( $(adesso_ms) - inizio ))
  # Timed bare, as the copy is; the peak memory and CPU times come from the
  # same update run again under GNU time on a fresh copy.
  rm -rf "$dati/lavoro"
  cp -r "$dati/originale" "$dati/lavoro"
  /usr/bin/time -f "%M %U %S" -o "$dati/tempo" "$build/bin/j8_tabelle" aggiorna "$dati/lavoro" --oggi 20260101 \
    farmaci.faf notessn.faf principi_attivi.faf atc.faf ditte.faf
  read -r kb utente sistema <"$dati/tempo"
  [ "$copia_ms" -lt 1 ] && copia_ms=1
  volte_copia=$(awk -v a="$motore_ms" -v b="$copia_ms" 'BEGIN{printf "%.2f", a/b}')
  volte_dati=$(awk -v k="$kb" -v b="$byte_dati" 'BEGIN{printf "%.2f", k*1024/b}')
  echo "  prova $i: ${motore_ms} ms, copia ${copia_ms} ms, ${volte_copia} volte la copia" \
       "(CPU: utente ${utente} s, sistema ${sistema} s); picco ${kb} KiB, ${volte_dati} volte i dati"
  tutti_ms+=("$motore_ms")
  tutte_copie_ms+=("$copia_ms")
  if [ -z "$migliore_ms" ] || [ "$motore_ms" -lt "$migliore_ms" ]; then migliore_ms=$motore_ms; fi
  if [ -z "$migliore_copia_ms" ] || [ "$copia_ms" -lt "$migliore_copia_ms" ]; then migliore_copia_ms=$copia_ms; fi
  [ "$kb" -gt "$massima_kb" ] && massima_kb=$kb
done
# Best against best: a cold first copy or a busy moment does not flatter
# the ratio.
rapporto_copia=$(awk -v a="$migliore_ms" -v b="$migliore_copia_ms" 'BEGIN{printf "%.2f", a/b}')
rapporto=$(awk -v k="$massima_kb" -v b="$byte_dati" 'BEGIN{printf "%.2f", k*1024/b}')
echo "Tempo migliore: ${migliore_ms} ms; copia migliore: ${migliore_copia_ms} ms; ${rapporto_copia} volte la copia (obiettivo <= 4)"
mediana() { printf '%s\n' "$@" | sort -n | awk '{a[NR]=$1} END{print a[int((NR+1)/2)]}'; }
mediana_ms=$(mediana "${tutti_ms[@]}")
mediana_copia_ms=$(mediana "${tutte_copie_ms[@]}")
echo "Tempo mediano: ${mediana_ms} ms; copia mediana: ${mediana_copia_ms} ms; $(awk -v a="$mediana_ms" -v b="$mediana_copia_ms" 'BEGIN{printf "%.2f", a/b}') volte la copia"
echo "Picco di memoria massimo: ${massima_kb} KiB = ${rapporto} volte i dati (obiettivo <= 2)"
