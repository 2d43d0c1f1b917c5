#!/usr/bin/env bash
# Installs the Debian packages of the given lists (default: packages.txt)
# that are missing, and nothing else. Safe to run every time: with everything
# present it only looks.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)

lists=("$@")
[ ${#lists[@]} -gt 0 ] || lists=(packages.txt)

missing=()
for list in "${lists[@]}"; do
while read -r pkg; do
  pkg=${pkg%%#*}
  pkg=${pkg//[[:space:]]/}
  [ -n "$pkg" ] || continue
  if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$pkg")
  fi
done < "$here/$list"
done

[ ${#missing[@]} -eq 0 ] && exit 0

echo "setup: installing ${missing[*]}"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
