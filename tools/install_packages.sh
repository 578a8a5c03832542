#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs the groups of packages.txt that it is given, as far as they are not installed yet:
# install_packages.sh GROUP...
# With --list it prints their names and installs nothing.
set -euo pipefail
cd "$(dirname "$0")/.."

only_list=
if [[ ${1-} == --list ]]; then
    only_list=1
    shift
fi
groups=$(sed -n 's/^\[\(.*\)\]$/\1/p' packages.txt)
if [[ $# -eq 0 ]]; then
    sed -n '/^# Installs/,/^[^#]/s/^# //p' "$0"
    echo "Groups:" $groups
    exit 2
fi

packages_of() {
    awk -v group="[$1]" '/^\[/ { inside = $0 == group; next } inside && /^[^#]/' packages.txt
}

wanted=()
for group in "$@"; do
    grep -qx -- "$group" <<<"$groups" ||
        { echo "install_packages: packages.txt has no group $group; it has" $groups >&2; exit 2; }
    mapfile -t -O "${#wanted[@]}" wanted < <(packages_of "$group")
done
if [[ $only_list ]]; then
    printf '%s\n' "${wanted[@]}"
    exit 0
fi

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
