#!/usr/bin/env bash
# The one test command: installs what is missing, builds natively (plain and
# under AddressSanitizer/UBSan) and for Windows, runs every native test and
# then the Windows-side tests under Wine on a private Xvfb display.
set -euo pipefail
cd "$(dirname "$0")/.."
radice=$PWD
jobs=$(nproc)

bash script/installa.sh

echo "== build nativo"
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$jobs"
(cd build && ctest --output-on-failure -j"$jobs")

echo "== fuzz: prova breve di ogni bersaglio (libFuzzer, clang)"
# Ten seconds per target on a copy of the corpus; a finding fails the run.
J8_FUZZ_CORPUS=0 bash script/fuzz.sh 10

echo "== build nativo con AddressSanitizer e UBSan"
cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DJ8_SANITIZZA=address,undefined >/dev/null
cmake --build build-asan -j"$jobs"
(cd build-asan && ASAN_OPTIONS=detect_leaks=1 ctest --output-on-failure -j"$jobs")

echo "== build Windows (mingw-w64)"
cmake -S . -B build-win -DCMAKE_TOOLCHAIN_FILE="$radice/cmake/mingw-w64.cmake" \
      -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build-win -j"$jobs"

if [ -x script/prova_wine.sh ]; then
  echo "== prove sotto Wine"
  script/prova_wine.sh build-win/bin
fi
echo "Tutte le prove superate."
