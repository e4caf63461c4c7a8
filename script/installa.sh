#!/usr/bin/env bash
# Installs, from Debian's packages, whatever this machine lacks to build
# j8_bbs natively and for Windows and to run its tests under Wine.
set -euo pipefail
# Nothing is taken for granted, not even the compilers: a bare Debian 12
# (debootstrap minbase) has none of these.
pacchetti=(ca-certificates coreutils procps time diffutils
           cmake make g++ googletest libgtest-dev zlib1g-dev
           mingw-w64 libz-mingw-w64-dev
           wine wine64 xvfb x11-utils x11-xkb-utils xkb-data imagemagick
           clang libclang-rt-14-dev llvm zip unzip)
mancanti=()
for p in "${pacchetti[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || mancanti+=("$p")
done
if ((${#mancanti[@]})); then
  echo "Installo: ${mancanti[*]}"
  sudo_=""
  [ "$(id -u)" -eq 0 ] || sudo_="sudo"
  $sudo_ apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo_ apt-get install -y -qq --no-install-recommends "${mancanti[@]}"
fi
