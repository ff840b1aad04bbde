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
# The armhf package index, once per machine.
if ! dpkg --print-foreign-architectures | grep -qx armhf; then
  sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  $sudo dpkg --add-architecture armhf
  $sudo apt-get update -qq || echo "sysroot.sh: apt-get update failed in part; using the indexes there are" >&2
fi
cache=build/armhf-debs
mkdir -p "$cache" "$root"
# A mirror in the middle of a sync can refuse a file for a moment: three tries.
for try in 1 2 3; do
  (cd "$cache" && apt-get download -q -o APT::Sandbox::User=root "${packages[@]/%/:armhf}" >/dev/null) && break
  [ "$try" -eq 3 ] && { echo "sysroot.sh: cannot download the armhf packages ${packages[*]}" >&2; exit 1; }
  sleep 10
done
for deb in "$cache"/*_armhf.deb; do
  dpkg -x "$deb" "$root"
done
touch "$root/.complete"
