#!/usr/bin/env bash
# Runs fuzz targets with the engine and keeps the inputs they find.
# usage: scripts/fuzz.sh [TARGET|all] [SECONDS]
#   TARGET   default: all
#   SECONDS  time for each target, default: 60; 0 only replays the inputs that are kept
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
target=${1:-all}
seconds=${2:-60}
limit=-max_total_time=$seconds
[ "$seconds" != 0 ] || limit=-runs=0

if [ "$target" = all ]; then
  mapfile -t targets < <(cd fuzz/corpus && printf '%s\n' *)
else
  targets=("$target")
fi

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target "${targets[@]}"
for name in "${targets[@]}"; do
  found=build/fuzz/found/$name
  grown=build/fuzz/corpus/$name
  mkdir -p "$found" "$grown"
  echo "== $name"
  dictionary=()
  [ ! -f "fuzz/$name.dict" ] || dictionary=("-dict=fuzz/$name.dict")
  # The limit leaves room for the allocation history of the sanitizer in a long run.
  "build/fuzz/fuzz/$name" "${dictionary[@]}" "$limit" -timeout=10 -rss_limit_mb=4096 \
    -malloc_limit_mb=512 \
    -print_final_stats=1 -artifact_prefix="$found/" "$grown" "fuzz/corpus/$name"
done
