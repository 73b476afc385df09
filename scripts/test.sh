#!/usr/bin/env bash
# Builds and runs every test twice: a plain build (g++) in build/, and a
# clang build with AddressSanitizer + UndefinedBehaviorSanitizer in
# build-asan/ that also counts the library's coverage and holds the libFuzzer
# targets, each of which then runs for a minute.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
root="$(pwd)"
jobs=2

bash "$root/scripts/setup.sh"

echo "=== plain build (build/) ==="
cmake -S "$root" -B "$root/build" -DVNAGENT_SANITIZE=OFF
cmake --build "$root/build" -j"$jobs"
ctest --test-dir "$root/build" --output-on-failure -j"$jobs"

echo "=== ASan + UBSan build with coverage and fuzz targets (build-asan/, clang) ==="
bash "$root/scripts/configure-asan.sh"
cmake --build "$root/build-asan" -j"$jobs"
find "$root/build-asan" -name '*.gcda' -delete
ASAN_OPTIONS=detect_leaks=1:abort_on_error=0:halt_on_error=1 \
UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ctest --test-dir "$root/build-asan" --output-on-failure -j"$jobs"

echo "=== library coverage (build-asan/) ==="
bash "$root/scripts/coverage.sh"

echo "=== fuzzing, 60 s per target (build-asan/) ==="
bash "$root/scripts/fuzz.sh" 60
