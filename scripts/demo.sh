#!/usr/bin/env bash
# Builds the vnagent tool and runs the demo.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
root="$(pwd)"

bash "$root/scripts/setup.sh"

cmake -S "$root" -B "$root/build" >/dev/null
cmake --build "$root/build" --target vnagent -j2

"$root/build/bin/vnagent" selfcheck
