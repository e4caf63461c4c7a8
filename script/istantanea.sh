#!/usr/bin/env bash
# Screenshot of the Wine tests' display: script/istantanea.sh FILE.png
# (display from J8_DISPLAY, default :77).
set -euo pipefail
export DISPLAY=${J8_DISPLAY:-:77}
source "$(dirname "$0")/display_wine.sh"
istantanea "${1:?uso: $0 FILE.png}"
