#!/usr/bin/env bash
# Builds the fuzz targets (fuzz preset: clang, libFuzzer, AddressSanitizer and
# UndefinedBehaviorSanitizer) and fuzzes each for long, keeping what it finds:
#   tools/fuzz/build.sh [seconds per target] [target ...]     (default 60 s, all targets)
#   RUNS=10000000 tools/fuzz/build.sh 0 notify_dialog          (a count of executions instead)
# Corpora grow in build/fuzz/corpus/<target>; an input that crashes is left as
# build/fuzz/artifacts/<target>/crash-* and belongs in tools/fuzz/seeds/<target>/ once fixed.
set -euo pipefail
cd "$(dirname "$0")/../.."
seconds=${1:-60}
shift || true
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j "$(nproc)"
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for dir in tools/fuzz/seeds/*/; do targets+=("$(basename "$dir")"); done
fi
for t in "${targets[@]}"; do
  corpus=build/fuzz/corpus/$t artifacts=build/fuzz/artifacts/$t/
  mkdir -p "$corpus" "$artifacts"
  options=(-max_len=4096 -timeout=10 -print_final_stats=1 -artifact_prefix="$artifacts")
  [ -f "tools/fuzz/dict/$t.dict" ] && options+=(-dict="tools/fuzz/dict/$t.dict")
  if [ -n "${RUNS:-}" ]; then options+=(-runs="$RUNS"); else options+=(-max_total_time="$seconds"); fi
  build/fuzz/tools/fuzz/fuzz_"$t" "${options[@]}" "$corpus" "tools/fuzz/seeds/$t" 2>"build/fuzz/$t.log" ||
    { tail -40 "build/fuzz/$t.log"; exit 1; }
  echo "$t: $(grep -E '^#[0-9]+' "build/fuzz/$t.log" | tail -1)"
done
