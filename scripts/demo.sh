#!/usr/bin/env bash
# Builds the vnagent tool, prints each example's switch outputs as a table,
# and runs the example scenarios: one line per scenario, then "N passed, N
# failed". The exit status is vnagent's: 0 when
# every example passes.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
root="$(pwd)"

bash "$root/scripts/setup.sh"

cmake -S "$root" -B "$root/build" >/dev/null
cmake --build "$root/build" --target vnagent -j2 >/dev/null

# What each example leaves on its switches, as a person reads it.
for example in examples/*.yaml; do
  echo "vnagent table $example"
  "$root/build/bin/vnagent" table "$example" 2>/dev/null | sed 's/^/  /'
  echo
done

echo "vnagent run examples/*.yaml"
exec "$root/build/bin/vnagent" run examples/*.yaml
