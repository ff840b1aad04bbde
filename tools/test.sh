#!/usr/bin/env bash
# Installs what is missing on a Debian 12 machine, builds, checks the product library,
# runs the thread tests under ThreadSanitizer and then every test under AddressSanitizer
# and UndefinedBehaviorSanitizer. The last line is CTest's summary of that run.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(g++ cmake ninja-build pkg-config libgtest-dev libgmock-dev libbenchmark-dev libpugixml-dev libssl-dev binutils
          libsofia-sip-ua-dev libpcap-dev nlohmann-json3-dev libcli11-dev
          kamailio kamailio-presence-modules sip-tester jq iproute2)
tools/install-packages.sh "${packages[@]}"

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
