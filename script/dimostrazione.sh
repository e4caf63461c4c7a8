#!/usr/bin/env bash
# The whole job of j8_bbs, watched from start to finish: installs what is
# missing, builds, prepares a pharmacy workstation and its supplier's BBS in
# a folder, and runs j8_bbs.exe under Wine. It dials the (simulated) BBS,
# sends the orders waiting, downloads two update packages attached to mail,
# logs out and applies them to the drug tables.
#
#   bash script/dimostrazione.sh [CARTELLA]     (default: ./dimostrazione)
#
# Windows appear on $DISPLAY when there is one, on a private Xvfb display
# otherwise; pictures of both forms are saved either way.
# Environment: J8_BUILD, J8_BUILD_WIN (build folders, default build and
# build-win), J8_DISPLAY (virtual display, default :95).
set -euo pipefail
cd "$(dirname "$0")/.."
radice=$PWD
jobs=$(nproc)
demo=$(realpath -m "${1:-$radice/dimostrazione}")

bash script/installa.sh

echo "== Compilazione (nativa: strumenti; Windows: programmi)"
build=${J8_BUILD:-$radice/build}
build_win=${J8_BUILD_WIN:-$radice/build-win}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j"$jobs" --target genera_dati j8_impostazioni j8_pacchetto j8_tabelle
cmake -S . -B "$build_win" -DCMAKE_TOOLCHAIN_FILE="$radice/cmake/mingw-w64.cmake" \
      -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$build_win" -j"$jobs" --target j8_bbs terminale_prova estrattore_pacchetto regia_bbs
nativi=$build/bin
windows=$build_win/bin

echo "== Preparazione della postazione in $demo"
export WINEPREFIX=$demo/wine WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
rm -rf "$demo"
mkdir -p "$demo"
# shellcheck source=script/display_wine.sh
source script/display_wine.sh
pid_xvfb=""
fine() {
  wineserver -k 2>/dev/null || true
  if [ -n "$pid_xvfb" ]; then kill "$pid_xvfb" 2>/dev/null || true; fi
}
trap fine EXIT
if [ -z "${DISPLAY:-}" ]; then
  export DISPLAY=${J8_DISPLAY:-:95}
  echo "== Nessun display: uso lo schermo virtuale $DISPLAY"
  avvia_display
fi
# Every window opens inside one Wine virtual desktop.
prepara_prefisso
c=$WINEPREFIX/drive_c
prog=$c/j8/programma
tabelle=$c/j8/direttorio_tabelle
mkdir -p "$prog" "$tabelle" "$c/j8/A_BBS" "$c/j8/DA_BBS" "$c/j8/archivio_aggiornamenti" \
         "$c/j8/schermate" "$c/bbs/file" "$c/bbs/carico" "$c/bbs/ricevuti" "$demo/lavoro"
mkdir -p "$c/programmi/terminale"
cp "$windows/j8_bbs.exe" "$prog/"
cp "$windows/terminale_prova.exe" "$c/programmi/terminale/"
cp "$windows/regia_bbs.exe" "$c/j8/"

# A drug database and the update files of two packages.
"$nativi/genera_dati" "$demo/lavoro/p1" 3000 --seme 11 >/dev/null
"$nativi/genera_dati" "$demo/lavoro/p2" 3000 --seme 12 >/dev/null
cp "$demo/lavoro/p1/"*.tda "$tabelle/"
"$nativi/j8_tabelle" secondario "$tabelle" >/dev/null
mkdir -p "$demo/lavoro/prima"
cp "$tabelle/"*.tda "$demo/lavoro/prima/"
for n in 1 2; do
  "$nativi/j8_pacchetto" --estrattore "$windows/estrattore_pacchetto.exe" "$c/bbs/file/j800000$n.exe" "$demo/lavoro/p$n/"*.faf >/dev/null
done
printf 'ordine del giorno\r\n' >"$c/j8/A_BBS/ordine_001.txt"

# The BBS: two new mails with a package each, one already read. The
# terminal stand-in reads it from the file beside it.
cat >"$c/programmi/terminale/terminale_prova.txt" <<'FINE'
# BBS del fornitore per la dimostrazione
lingua = italiano
utente = cliente
password = zeta
linea = libera
direttorio_file = c:\bbs\file
direttorio_carico = c:\bbs\carico
direttorio_ricezione = c:\bbs\ricevuti
secondi_trasferimento = 3
messaggio = nuovo | j8000001.exe | Aggiornamento banca dati farmaci
messaggio = letto | | Orari di assistenza
messaggio = nuovo | j8000002.exe | Aggiornamento banca dati farmaci
FINE

# The two ciphered settings files, as the workstation has them.
"$nativi/j8_impostazioni" crea "$prog/j8_bbs_config.txt" <<'FINE'
aggiornamento=j8000000
direttorio a bbs=c:\j8\A_BBS
direttorio da bbs=c:\j8\DA_BBS\
direttorio archivio aggiornamenti=c:\j8\archivio_aggiornamenti\
telefono bbs=0612345678
userid bbs=cliente
password bbs=zeta
lingua bbs=0
direttorio hyperterminal=c:\programmi\terminale\terminale_prova.exe
FINE
"$nativi/j8_impostazioni" crea "$prog/j8_config.txt" <<'FINE'
direttorio tabelle=c:\j8\direttorio_tabelle\
FINE

echo "== j8_bbs.exe al lavoro (collegamento, scarico, aggiornamento: qualche minuto)"
esito=0
wine 'c:\j8\regia_bbs.exe' \
     'c:\j8\programma\j8_bbs.exe' 'c:\j8\schermate' 900 | tr -d '\r' || esito=$?
wineserver -w 2>/dev/null || true
for bmp in "$c/j8/schermate/"*.bmp; do
  [ -e "$bmp" ] && convert "$bmp" "${bmp%.bmp}.png" && rm -f "$bmp"
done

echo
echo "== Risultato"
echo "Tabelle aggiornate:      $tabelle"
echo "Archivio aggiornamenti:  $c/j8/archivio_aggiornamenti ($(ls "$c/j8/archivio_aggiornamenti" | tr '\n' ' '))"
echo "File inviati al BBS:     $c/bbs/carico ($(ls "$c/bbs/carico" | tr '\n' ' '))"
echo "Schermate:               $c/j8/schermate"
ls -1 "$c/j8/schermate" | sed 's/^/                         /'
echo "Ultimo aggiornamento:    $("$nativi/j8_impostazioni" leggi "$prog/j8_bbs_config.txt" | grep -i '^aggiornamento=')"
echo
echo "Cosa e' cambiato nelle tabelle (righe prima -> dopo, righe diverse):"
for f in "$tabelle/"*.tda; do
  nome=$(basename "$f")
  prima=$demo/lavoro/prima/$nome
  if [ -e "$prima" ]; then
    diverse=$(diff "$prima" "$f" | grep -c '^>' || true)
    printf '  %-34s %7d -> %7d  %6d\n' "$nome" "$(wc -l <"$prima")" "$(wc -l <"$f")" "$diverse"
  else
    printf '  %-34s  nuova: %d righe\n' "$nome" "$(wc -l <"$f")"
  fi
done
exit "$esito"
