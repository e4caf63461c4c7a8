#!/usr/bin/env bash
# Builds the libFuzzer programs (clang, ASan + UBSan) in build-fuzz/ and runs
# each target for the given number of seconds, growing its corpus in
# fuzz/corpus/<target>/. A finding (crash, sanitizer report, timeout,
# memory over the limits) stops the script with a non-zero status; the input
# is left in build-fuzz/trovati/<target>/.
#
#   script/fuzz.sh [SECONDI_PER_BERSAGLIO] [BERSAGLIO...]
#
# Targets: impostazioni tabelle secondario tasti simulazione_bbs.
# Environment: J8_FUZZ_DIR (build directory, default build-fuzz),
# J8_FUZZ_CORPUS=0 to leave fuzz/corpus untouched (runs on a copy).
set -euo pipefail
cd "$(dirname "$0")/.."
secondi=${1:-60}
shift || true
bersagli=("$@")
((${#bersagli[@]})) || bersagli=(impostazioni tabelle secondario tasti simulazione_bbs)
build=${J8_FUZZ_DIR:-build-fuzz}

command -v clang++ >/dev/null || { echo "fuzz: clang++ mancante (script/installa.sh)" >&2; exit 2; }
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
      -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
      -DJ8_FUZZ=ON -DJ8_PROVE=OFF -DJ8_SANITIZZA=address,undefined \
      -DCMAKE_CXX_FLAGS="-fsanitize=fuzzer-no-link" >/dev/null
cmake --build "$build" -j2 --target $(printf 'fuzz_%s ' "${bersagli[@]}") >/dev/null

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:allocator_may_return_null=0}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
for b in "${bersagli[@]}"; do
  corpus=fuzz/corpus/$b
  mkdir -p "$corpus" "$build/trovati/$b"
  if [ "${J8_FUZZ_CORPUS:-1}" = 0 ]; then
    lavoro=$build/corpus_copia/$b
    rm -rf "$lavoro"; mkdir -p "$lavoro"; cp -r "$corpus"/. "$lavoro"/
    corpus=$lavoro
  fi
  regressioni=()
  [ -d fuzz/regressioni/$b ] && regressioni=(fuzz/regressioni/$b)
  echo "== fuzz $b: ${secondi}s"
  # Inputs are at most 64 KB: the readers must stay within a small multiple
  # of that, which -malloc_limit_mb and -rss_limit_mb check.
  if ! "$build/bin/fuzz_$b" "$corpus" -max_total_time="$secondi" -max_len=65536 \
        -timeout=10 -rss_limit_mb=1024 -malloc_limit_mb=256 -print_final_stats=1 \
        -artifact_prefix="$build/trovati/$b/" "${regressioni[@]}" 2>"$build/fuzz_$b.log"; then
    tail -n 60 "$build/fuzz_$b.log" >&2
    echo "fuzz: $b ha trovato un errore; input in $build/trovati/$b/" >&2
    exit 1
  fi
  grep -E '^stat::number_of_executed_units|^stat::peak_rss_mb|^#[0-9]+ *DONE' "$build/fuzz_$b.log" || true
done
