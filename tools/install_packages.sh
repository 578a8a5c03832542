#!/usr/bin/env bash
# Installs what packages.txt lists and is not installed yet. Usage: tools/install_packages.sh
set -euo pipefail
cd "$(dirname "$0")/.."

mapfile -t wanted < <(grep -vE '^\s*(#|$)' packages.txt)
missing=()
for package in "${wanted[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' ||
        missing+=("$package")
done
[ "${#missing[@]}" -gt 0 ] || exit 0

echo "Installing ${#missing[@]} Debian packages: ${missing[*]}"
as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
"${as_root[@]}" apt-get update -q
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -q --no-install-recommends "${missing[@]}"
