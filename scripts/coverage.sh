#!/usr/bin/env bash
# Prints the library's line and branch coverage from a build configured with
# -DVNAGENT_COVERAGE=ON whose tests have run (scripts/test.sh does both for
# build-asan/), with the lines never run, file by file.
#
#   bash scripts/coverage.sh [BUILD_DIR]
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
root="$(pwd)"
build="${1:-$root/build-asan}"
library='(reactive|schema|agent|client|topology|element|switch)/'

# Lines: the table lists, per file, the lines never run ("Missing").
gcovr --root "$root" --object-directory "$build" --filter "$root/$library" \
  --txt - --print-summary --fail-under-line 90
echo
gcovr --root "$root" --object-directory "$build" --filter "$root/$library" \
  --branches --txt - | tail -n 3
