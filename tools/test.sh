#!/usr/bin/env bash
# Installs what is missing on a Debian 12 machine, builds, checks the product library,
# runs the thread tests under ThreadSanitizer and then every test under AddressSanitizer
# and UndefinedBehaviorSanitizer. The last line is CTest's summary of that run.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(g++ cmake ninja-build pkg-config libgtest-dev libgmock-dev libbenchmark-dev libpugixml-dev libssl-dev binutils
          libsofia-sip-ua-dev libpcap-dev nlohmann-json3-dev libcli11-dev
          kamailio kamailio-presence-modules sip-tester jq iproute2)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}" >/dev/null
fi

jobs=$(nproc)
cmake --preset default >/dev/null
cmake --build --preset default -j "$jobs"
ctest --preset default -R '^library_exports$'

cmake --preset tsan >/dev/null
cmake --build --preset tsan -j "$jobs" --target thread_tests
ctest --preset tsan --no-tests=ignore

cmake --preset asan >/dev/null
cmake --build --preset asan -j "$jobs"
ctest --preset asan
