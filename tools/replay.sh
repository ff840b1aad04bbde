#!/usr/bin/env bash
# Replays SIP traffic through the module on a fresh Debian 12 machine: installs what is
# missing with apt-get, builds the default preset, and replays one example with its
# timeline and what the phone shows at the end. With arguments, they go to amreplay:
#   tools/replay.sh                                   # examples/blf-list
#   tools/replay.sh capture.pcapng -s my.scenario --reenact --state
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(g++ cmake ninja-build pkg-config libgtest-dev libgmock-dev libbenchmark-dev libpugixml-dev libssl-dev
          libsofia-sip-ua-dev libpcap-dev nlohmann-json3-dev libcli11-dev)
tools/install-packages.sh "${packages[@]}"

cmake --preset default >/dev/null
cmake --build --preset default --target amreplay >/dev/null
tool=$PWD/build/default/tools/amreplay
if [ $# -gt 0 ]; then
  exec "$tool" "$@"
fi
cd examples/blf-list
exec "$tool" traffic.sip -s scenario.txt --reenact --state
