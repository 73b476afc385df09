#!/usr/bin/env bash
# Installs the library from the build tree into a fresh prefix, builds the
# host example against the installed package alone, runs it, and checks the
# port record it prints against what its client asked for.
#   host.sh <build dir> <source dir>
set -euo pipefail
build="$1"
source="$2"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -S "$source/examples/host" -B "$work/host" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/host" -j2 >/dev/null
"$work/host/vnagent_host" >"$work/out"
cat "$work/out"

expected=$'vlanList 10,20\nEthernet1 allowed 10,20 native 10'
if [[ "$(cat "$work/out")" != "$expected" ]]; then
  echo "host.sh: expected:"
  echo "$expected"
  exit 1
fi
