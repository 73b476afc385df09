#!/usr/bin/env bash
# The operator commands from the command line, on the example fabric: exit
# statuses, a rendered picture, a bad switch named as such, and the classes'
# descriptions.
#   operator-commands.sh <vnagent>
set -euo pipefail
vnagent="$1"
example=tests/scenarios/small-fabric.yaml
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

"$vnagent" dot "$example" --png "$work/fabric.png" 2>/dev/null
# A PNG file starts with \x89PNG.
[[ "$(head -c 4 "$work/fabric.png" | tail -c 3)" == "PNG" ]] || { echo "no PNG written"; exit 1; }

# After step 7 the port's native VLAN is in conflict; at the end it has healed.
"$vnagent" conflicts "$example" --step 7 2>/dev/null | grep -q "native VLAN on 00:00:00:00:01:01 swp2"
[[ "$("$vnagent" conflicts "$example" 2>/dev/null)" == "no conflicts" ]]
"$vnagent" plan "$example" --json 2>/dev/null | grep -q '"conflictsHealed"'

if "$vnagent" explain "$example" --switch leaf9 --port swp2 2>"$work/err"; then
  echo "explain accepted a switch that does not exist"
  exit 1
fi
grep -q "no switch leaf9" "$work/err"

# The classes as they describe themselves: the agent's twelve.
# (dump(2): a class's own name is indented by four spaces.)
"$vnagent" types --json >"$work/types.json"
[[ "$(grep -c '^    "name": "VirtualNetwork::Agent::' "$work/types.json")" == 12 ]] ||
  { echo "types --json does not list the twelve classes"; exit 1; }
"$vnagent" types HostResourcesSm | grep -q "135  hostVlan\[vlanId U32\]"
if "$vnagent" types NoSuchSm 2>/dev/null; then
  echo "types accepted a class that does not exist"
  exit 1
fi
# Every command shows an example in its help.
for command in run show table plan explain conflicts dot types serve load dump; do
  "$vnagent" "$command" --help | grep -q "^Example: vnagent $command " ||
    { echo "vnagent $command --help shows no example"; exit 1; }
done
echo "operator commands: ok"
