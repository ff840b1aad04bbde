#!/usr/bin/env bash
# Installs what is missing on a Debian 12 machine, builds, checks the product library,
# runs the thread tests under ThreadSanitizer and then every test under AddressSanitizer
# and UndefinedBehaviorSanitizer, then the whole suite built for 32-bit ARM under qemu-arm,
# the fuzz targets over their seeds and the allocation-failure sweep.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(g++ cmake ninja-build pkg-config libgtest-dev libgmock-dev libbenchmark-dev libpugixml-dev libssl-dev binutils
          libsofia-sip-ua-dev libpcap-dev nlohmann-json3-dev libcli11-dev
          kamailio kamailio-presence-modules sip-tester jq iproute2)
packages+=(g++-arm-linux-gnueabihf qemu-user clang libclang-rt-14-dev)   # armhf and fuzzing
tools/install-packages.sh "${packages[@]}"

jobs=$(nproc)
cmake --preset default >/dev/null
cmake --build --preset default -j "$jobs"
ctest --preset default -R '^library_exports$'
build/default/tools/soak 1000000   # the module's blocks and resident memory stay flat

cmake --preset tsan >/dev/null
cmake --build --preset tsan -j "$jobs" --target thread_tests
ctest --preset tsan --no-tests=ignore

cmake --preset asan >/dev/null
cmake --build --preset asan -j "$jobs"
ctest --preset asan
# The allocation-failure sweep ran above; its failure points per scenario, for the log.
build/asan/tests/test_sweep --gtest_brief=1 | grep '^sweep '

# ---- 32-bit ARM: the whole suite built by the cross compiler, run under qemu-arm ----
tools/armhf/sysroot.sh
cmake --preset armhf >/dev/null
cmake --build --preset armhf -j "$jobs"
ctest --preset armhf
ctest --preset armhf -R '^library_size$' -V | grep '^[0-9]*: stripped'

# ---- Fuzz targets: every seed replayed, then a fixed count of executions each ----
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j "$jobs"
ctest --preset fuzz
