#!/usr/bin/env bash
# Runs every Windows-side test suite (prova_win_*.exe in BINDIR) under Wine
# on a private Xvfb display, inside a Wine virtual desktop so that focus and
# activation across processes behave as on a real desktop.
#   script/prova_wine.sh BINDIR
# Environment: J8_DISPLAY (default :77), WINEPREFIX (default ~/.wine-j8),
#   J8_RIPETI=N runs the whole set N times, J8_FILTRO=glob picks suites,
#   J8_ISTANTANEE=dir saves a screenshot of the display after a failure.
set -uo pipefail

if [ $# -ne 1 ] || [ ! -d "$1" ]; then
  echo "uso: $0 BINDIR" >&2
  exit 2
fi
bindir=$(cd "$1" && pwd)
qui=$(cd "$(dirname "$0")" && pwd)
export J8_DISPLAY=${J8_DISPLAY:-:77}
export DISPLAY=$J8_DISPLAY
export WINEPREFIX=${WINEPREFIX:-$HOME/.wine-j8}
export WINEDEBUG=${WINEDEBUG:--all}
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-mscoree,mshtml=}
ripeti=${J8_RIPETI:-1}
filtro=${J8_FILTRO:-prova_win_*.exe}
wine=$(command -v wine64 || command -v wine)

# shellcheck source=script/display_wine.sh
source "$qui/display_wine.sh"

pid_xvfb=""
fine() {
  WINEPREFIX=$WINEPREFIX wineserver -k >/dev/null 2>&1 || true
  if [ -n "$pid_xvfb" ]; then
    kill "$pid_xvfb" 2>/dev/null || true
    wait "$pid_xvfb" 2>/dev/null || true
  fi
}
trap fine EXIT
trap 'exit 130' INT TERM

avvia_display || exit 1
prepara_prefisso || exit 1

shopt -s nullglob
prove=("$bindir"/$filtro)
if [ ${#prove[@]} -eq 0 ]; then
  echo "nessuna prova $filtro in $bindir" >&2
  exit 1
fi

fallite=0
riuscite=0
for giro in $(seq 1 "$ripeti"); do
  for exe in "${prove[@]}"; do
    nome=$(basename "$exe" .exe)
    [ "$ripeti" -gt 1 ] && echo "== giro $giro: $nome" || echo "== $nome"
    (cd "$bindir" && timeout 900 "$wine" "$exe" --gtest_color=no)
    rc=$?
    if [ $rc -eq 0 ]; then
      riuscite=$((riuscite + 1))
    else
      fallite=$((fallite + 1))
      echo "!! $nome fallita (codice $rc, giro $giro)" >&2
      if [ -n "${J8_ISTANTANEE:-}" ]; then
        mkdir -p "$J8_ISTANTANEE"
        istantanea "$J8_ISTANTANEE/${nome}_giro${giro}.png"
      fi
    fi
    # Nothing left over from one suite may disturb the next.
    wineserver -k >/dev/null 2>&1 || true
    wineserver -w 2>/dev/null || true
  done
done

echo "prove Wine: $riuscite riuscite, $fallite fallite"
[ $fallite -eq 0 ]
