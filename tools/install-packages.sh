#!/usr/bin/env bash
# Installs with apt-get those of the given Debian packages that are missing.
#   tools/install-packages.sh PACKAGE...
set -euo pipefail
missing=()
for p in "$@"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  # One index failing to download (a mirror in sync) must not stop the run.
  $sudo apt-get update -qq || echo "install-packages.sh: apt-get update failed in part; using the indexes there are" >&2
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}" >/dev/null
fi
