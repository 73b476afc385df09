#!/usr/bin/env bash
# Configures build-asan/: clang, AddressSanitizer + UndefinedBehaviorSanitizer,
# the libFuzzer targets, and the library's coverage counts. A build-asan/
# left by another compiler is configured afresh.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
build="$(pwd)/build-asan"
if [[ -f "$build/CMakeCache.txt" ]] &&
   ! grep -q '^CMAKE_CXX_COMPILER:[A-Z]*=.*clang++' "$build/CMakeCache.txt"; then
  rm -rf "$build"
fi
cmake -S . -B "$build" -DCMAKE_CXX_COMPILER=clang++ -DVNAGENT_SANITIZE=ON -DVNAGENT_BENCH=OFF \
  -DVNAGENT_FUZZ=ON -DVNAGENT_COVERAGE=ON >/dev/null
