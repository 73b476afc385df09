#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, ASan + UBSan, in build-asan/) and runs
# each for SECONDS (default 60), one after the other.
#
#   bash scripts/fuzz.sh                      # every target, 60 s each
#   bash scripts/fuzz.sh 14400 EventStreamFuzz  # one target for four hours
#
# Seeds: fuzz/corpus/<target>/ and, for the scenario reader, every scenario
# file of the repo. What a run learns goes to build-asan/corpus/<target>/
# (kept between runs); a crashing input to build-asan/findings/.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
root="$(pwd)"
seconds="${1:-60}"
# A fixed seed by default, so that a CI run can be repeated; VNAGENT_FUZZ_SEED=0
# lets libFuzzer pick one.
seed="${VNAGENT_FUZZ_SEED:-1}"
shift || true
targets=("$@")
if ((${#targets[@]} == 0)); then
  # EventStreamFuzz is built, and run by name, while the random suite it
  # shares is disabled (docs/testing.md).
  targets=(VlanListFuzz ScenarioFuzz)
fi

bash "$root/scripts/setup.sh"

build="$root/build-asan"
bash "$root/scripts/configure-asan.sh"
cmake --build "$build" -j2 --target "${targets[@]}"

mkdir -p "$build/findings"
for target in "${targets[@]}"; do
  corpus="$build/corpus/$target"
  mkdir -p "$corpus"
  seeds=("$root/fuzz/corpus/$target")
  if [[ "$target" == ScenarioFuzz ]]; then
    seeds+=("$root/tests/scenarios" "$root/examples")
  fi
  echo "=== $target: ${seconds} s ==="
  ASAN_OPTIONS=detect_leaks=1:abort_on_error=0 \
  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    "$build/bin/$target" -max_total_time="$seconds" -print_final_stats=1 -seed="$seed" \
      -dict="$root/fuzz/$target.dict" -artifact_prefix="$build/findings/$target-" \
      "$corpus" "${seeds[@]}" 2>"$build/$target.log" || {
        tail -n 60 "$build/$target.log"
        echo "fuzz: $target found a fault; the input is in $build/findings/" >&2
        exit 1
      }
  grep -E '^(stat::number_of_executed_units|stat::peak_rss_mb|#[0-9]+ +DONE)' \
    "$build/$target.log" || true
done
