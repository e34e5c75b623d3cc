#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each one for the given number of seconds:
#   scripts/fuzz.sh [seconds]      (default 20; a long run is the same with a larger number)
# Each target starts from its seeds in fuzz/corpus/<target>/ and keeps what it learns in
# build/fuzz/corpus/<target>/; an input that fails is saved in build/fuzz/findings/<target>/.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-20}

targets=()
for source in fuzz/fuzz_*.cpp; do targets+=("$(basename "$source" .cpp)"); done

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target "${targets[@]}"

failed=()
for target in "${targets[@]}"; do
  work=build/fuzz/corpus/$target
  findings=build/fuzz/findings/$target
  mkdir -p "$work" "$findings"
  echo "--- $target: ${seconds} s"
  if ! build/fuzz/fuzz/"$target" -max_total_time="$seconds" -print_final_stats=1 \
      -artifact_prefix="$findings/" "$work" "fuzz/corpus/$target" 2>"$findings/log"; then
    tail -n 40 "$findings/log"
    failed+=("$target")
  else
    grep -E '^stat::number_of_executed_units|^Done' "$findings/log" || true
  fi
done

if [ ${#failed[@]} -gt 0 ]; then
  echo "fuzzing found faults in: ${failed[*]} (inputs in build/fuzz/findings/)"
  exit 1
fi
echo "fuzzing: no findings"
