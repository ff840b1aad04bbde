#!/usr/bin/env bash
# Unpacks the armhf packages that the cross build links against into a folder:
#   tools/armhf/sysroot.sh [folder]     (default build/armhf-sysroot)
# The packages are downloaded, not installed: multiarch -dev packages of the two
# architectures often cannot be installed side by side when the archives are out of step.
set -euo pipefail
cd "$(dirname "$0")/../.."
root=${1:-build/armhf-sysroot}
packages=(libgtest-dev libgmock-dev libpugixml-dev libpugixml1v5 libssl-dev libssl3)
[ -f "$root/.complete" ] && exit 0
cache=build/armhf-debs
mkdir -p "$cache" "$root"
(cd "$cache" && apt-get download -q "${packages[@]/%/:armhf}" >/dev/null)
for deb in "$cache"/*_armhf.deb; do
  dpkg -x "$deb" "$root"
done
touch "$root/.complete"
