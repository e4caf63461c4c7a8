#!/usr/bin/env bash
# Peak memory of `j8_tabelle aggiorna` on hostile tables and update files,
# as a multiple of the hostile file's size: a 1 MB file without line ends,
# 1 MB of LF only, 1 MB of CR LF only, 1 MB of 100 KB lines, 1 MB of
# one-character lines, and 1000 one-character lines. Every shape is taken
# (long lines cut at the layout, short and empty ones blank records): the
# bound comes from how the engine holds the data, 16 bytes of row per line
# plus the line's own stored bytes. Each case is run with the file as the
# table (the update file empty) and as the update file (the table one valid
# line). Prints exit status, peak RSS, RSS above the tool's own start-up,
# its ratio to the file's size, and the seconds taken; then the ordered
# merges' worst cases: long runs of one key, each update crossing them.
#
#   bash fuzz/misura_memoria.sh [DIRETTORIO_BUILD]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-/tmp/b_fuzz_misura}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DJ8_PROVE=OFF >/dev/null
cmake --build "$build" -j2 --target j8_tabelle >/dev/null
tool=$build/bin/j8_tabelle
lav=$(mktemp -d)
trap 'rm -rf "$lav"' EXIT

mega=1048576
python3 - "$lav" "$mega" <<'PY'
import sys, os
d, n = sys.argv[1], int(sys.argv[2])
casi = {
    "senza_a_capo": b"x" * n,
    "solo_lf": b"\n" * n,
    "solo_crlf": b"\r\n" * (n // 2),
    "righe_100k": (b"y" * (100 * 1024 - 2) + b"\r\n") * (n // (100 * 1024)),
    "righe_1_carattere": b"z\n" * (n // 2),
    "mille_righe_brevi": b"z\r\n" * 1000,
}
os.makedirs(d + "/casi")
for nome, dati in casi.items():
    open(d + "/casi/" + nome, "wb").write(dati)
PY

picco() {  # runs the tool, prints "status KB seconds"
  local stato=0
  /usr/bin/time -f "%M %e" -o "$lav/tempo" "$tool" "$@" >/dev/null 2>"$lav/errore" || stato=$?
  echo "$stato $(tail -n 1 "$lav/tempo")"
}

# Start-up cost: empty tables, empty update.
mkdir -p "$lav/base"; : >"$lav/base/ditte.faf"
read -r _ base _ < <(picco aggiorna "$lav/base" --oggi 20260101 ditte.faf)
echo "j8_tabelle a vuoto: $base KB"
printf '%-20s %-20s %6s %10s %10s %8s %8s\n' caso file esito picco_KB sopra_KB x_file secondi
for t in farmaci notessn principi_attivi atc ditte; do
  for caso in "$lav"/casi/*; do
    nome=$(basename "$caso")
    dim=$(stat -c %s "$caso")
    for ruolo in tda faf; do
      rm -rf "$lav/d"; mkdir -p "$lav/d"
      if [ $ruolo = tda ]; then
        cp "$caso" "$lav/d/$t.tda"; : >"$lav/d/$t.faf"
      else
        printf '000%s\r\n' "1" >"$lav/d/$t.tda"; cp "$caso" "$lav/d/$t.faf"
      fi
      read -r stato kb sec < <(picco aggiorna "$lav/d" --oggi 20260101 "$t.faf")
      sopra=$((kb > base ? kb - base : 0))
      printf '%-20s %-20s %6s %10s %10s %8s %8s\n' "$nome" "$t.$ruolo" "$stato" "$kb" "$sopra" \
        "$(awk -v s="$sopra" -v d="$dim" 'BEGIN{printf "%.2f", s*1024/d}')" "$sec"
    done
  done
done
# The ordered merges' worst cases: a 1 MB ATC table of 70000 short lines
# with one description and 10000 updates with that description and new
# codes; 100000 companies of one code and 90000 updates of that code with
# new names. Each update crosses the whole run of equal keys.
rm -rf "$lav/d"; mkdir -p "$lav/d"
python3 -c "
import sys
open(sys.argv[1] + '/atc.tda', 'wb').write((b'000' + b'x' * 8 + b'zz\n') * 70000)
open(sys.argv[1] + '/atc.faf', 'wb').write(b''.join(b'%08dzz    \n' % i for i in range(10000)))
open(sys.argv[1] + '/ditte.tda', 'wb').write((b'000' + b'0001' + b'NOME\n') * 100000)
open(sys.argv[1] + '/ditte.faf', 'wb').write(b''.join(b'0001%07d\n' % i for i in range(90000)))" "$lav/d"
read -r stato kb sec < <(picco aggiorna "$lav/d" --oggi 20260101 atc.faf)
echo "atc, 70000 descrizioni uguali + 10000 aggiornamenti: esito $stato, $kb KB, $sec s"
read -r stato kb sec < <(picco aggiorna "$lav/d" --oggi 20260101 ditte.faf)
echo "ditte, 100000 codici uguali + 90000 aggiornamenti: esito $stato, $kb KB, $sec s"
