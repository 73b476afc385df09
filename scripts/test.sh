#!/usr/bin/env bash
# Builds and runs every test twice: a plain build in build/ and an
# AddressSanitizer + UndefinedBehaviorSanitizer build in build-asan/.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
root="$(pwd)"
jobs=2

bash "$root/scripts/setup.sh"

echo "=== plain build (build/) ==="
cmake -S "$root" -B "$root/build" -DVNAGENT_SANITIZE=OFF
cmake --build "$root/build" -j"$jobs"
ctest --test-dir "$root/build" --output-on-failure -j"$jobs"

echo "=== ASan + UBSan build (build-asan/) ==="
cmake -S "$root" -B "$root/build-asan" -DVNAGENT_SANITIZE=ON -DVNAGENT_BENCH=OFF
cmake --build "$root/build-asan" -j"$jobs"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=0:halt_on_error=1 \
UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ctest --test-dir "$root/build-asan" --output-on-failure -j"$jobs"
