#!/usr/bin/env bash
# Prints the library's line and branch coverage from build-asan/ (clang,
# configured with -DVNAGENT_COVERAGE=ON) after its tests have run: per file,
# the lines never run ("Missing"), then the totals of lines, functions and
# branches. Fails under 90% of lines.
#
#   bash scripts/coverage.sh
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
root="$(pwd)"
build="${VNAGENT_ASAN_BUILD:-$root/build-asan}"
library="$root/(reactive|schema|agent|client|topology|element|switch)/"

gcovr --root "$root" --object-directory "$build" --filter "$library" \
  --gcov-executable "llvm-cov gcov" --txt - --print-summary --fail-under-line 90
