#!/usr/bin/env bash
# Installs the Debian packages needed to build and test vnagent.
# Idempotent: prints nothing and touches nothing when all packages are present.
set -euo pipefail

packages=(
  g++
  cmake
  make
  libgtest-dev
  libgmock-dev
  libbenchmark-dev
  libyaml-cpp-dev
  nlohmann-json3-dev
  libcli11-dev
  clang-format
  graphviz
  ccache
  clang
  libclang-rt-dev
  gcovr
  llvm
  redis-server
  libhiredis-dev
)

missing=()
for pkg in "${packages[@]}"; do
  status="$(dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null || true)"
  if [[ "$status" != "install ok installed" ]]; then
    missing+=("$pkg")
  fi
done

if ((${#missing[@]} == 0)); then
  exit 0
fi

echo "setup: installing ${missing[*]}"
sudo_cmd=()
if [[ "$(id -u)" -ne 0 ]]; then
  sudo_cmd=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
echo "setup: done"
