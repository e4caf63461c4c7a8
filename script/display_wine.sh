# Helpers for Wine on a private Xvfb display; sourced by prova_wine.sh and
# usable by other scripts:
#   source script/display_wine.sh; avvia_display; prepara_prefisso; ...
#   istantanea file.png   # screenshot of the whole display
# Expects DISPLAY and WINEPREFIX set; avvia_display sets pid_xvfb.

avvia_display() {
  local numero=${DISPLAY#:}
  numero=${numero%%.*}
  if xdpyinfo -display "$DISPLAY" >/dev/null 2>&1; then
    echo "il display $DISPLAY è già in uso: scegline un altro con J8_DISPLAY" >&2
    return 1
  fi
  rm -f "/tmp/.X${numero}-lock" "/tmp/.X11-unix/X${numero}" 2>/dev/null || true
  Xvfb "$DISPLAY" -screen 0 1024x768x24 -noreset -nolisten tcp >/dev/null 2>&1 &
  pid_xvfb=$!
  local i
  for i in $(seq 1 100); do
    if xdpyinfo -display "$DISPLAY" >/dev/null 2>&1; then
      # An Italian keyboard, as on the pharmacy's PC: "@#[]" need AltGr.
      setxkbmap -display "$DISPLAY" it >/dev/null 2>&1 || true
      return 0
    fi
    if ! kill -0 "$pid_xvfb" 2>/dev/null; then break; fi
    sleep 0.1
  done
  echo "Xvfb non risponde su $DISPLAY" >&2
  return 1
}

# The prefix is made once; every program then opens inside one virtual
# desktop, which also gives the windows a manager for focus and activation.
prepara_prefisso() {
  mkdir -p "$WINEPREFIX"
  if ! wineboot -i >/dev/null 2>&1; then
    echo "wineboot non riuscito (WINEPREFIX=$WINEPREFIX)" >&2
    return 1
  fi
  wineserver -w
  wine reg add 'HKCU\Software\Wine\Explorer' /v Desktop /d j8 /f >/dev/null 2>&1 &&
    wine reg add 'HKCU\Software\Wine\Explorer\Desktops' /v j8 /d 1024x768 /f >/dev/null 2>&1
  local rc=$?
  wineserver -w
  if [ $rc -ne 0 ]; then
    echo "impostazione del desktop virtuale di Wine non riuscita" >&2
    return 1
  fi
}

istantanea() {
  import -display "$DISPLAY" -window root "$1" 2>/dev/null &&
    echo "istantanea del display: $1" >&2
}
