#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds the Debian packages in a clean root, asks lintian, installs them into another clean root,
# tries them there as debian/tests say, and removes them; nothing may be left then:
# test_package.sh [RELEASE] [--keep FOLDER]
#   RELEASE  by default that of this machine
#   --keep   copies the packages there
# Needs root and debootstrap; the roots are made from the one that tools/test_on_debian.sh keeps.
set -euo pipefail
cd "$(dirname "$0")/.."
source tools/debian_root.sh

release= keep=
while [[ $# -gt 0 ]]; do
    case $1 in
    --keep) keep=$2; shift ;;
    -*) sed -n '/^# Builds/,/^[^#]/s/^# \{0,1\}//p' "$0"; exit 2 ;;
    *) release=$1 ;;
    esac
    shift
done
[[ -n $release ]] || release=$(. /etc/os-release; echo "$VERSION_CODENAME")
need_root_and_debootstrap
base=$(base_root "$release")

work=$(mktemp -d "$roots/package.XXXXXX")
trap 'rm -rf --one-file-system "$work"' EXIT
builder=$work/builder user=$work/user

echo "Building in a clean $release ..."
SECONDS=0
cp -a "$base" "$builder"
copy_sources "$builder"
in_root "$builder" bash -ec '
    apt-get update -q
    apt-get install -y -q --no-install-recommends build-essential lintian
    apt-get build-dep -y -q --no-install-recommends ./' > "$work/packages.log" ||
    { tail -n 5 "$work/packages.log"; exit 1; }
# Without packages of debugging symbols, which nothing here looks at.
in_root "$builder" nice env DEB_BUILD_OPTIONS=noautodbgsym dpkg-buildpackage -us -uc \
    > "$work/build.log" 2>&1 || { tail -n 40 "$work/build.log"; exit 1; }
ls "$builder"/src/*.deb
in_root "$builder" bash -c 'lintian --fail-on error,warning --info ../*.changes'
[[ -z $keep ]] || cp "$builder"/src/*.deb "$keep"/
echo "built and without complaint in $SECONDS s"

# Only what Debian and the packages bring is there from here on, and what the tests ask for besides.
SECONDS=0
cp -a "$base" "$user"
mkdir "$user/packages"
cp "$builder"/src/*.deb "$user/packages/"
ours=$(for file in "$user"/packages/*.deb; do dpkg-deb --field "$file" Package; done)
tests=$(sed -n 's/^Tests: //p' debian/tests/control)
helpers=$(sed -n 's/^Depends: //p' debian/tests/control | tr -d ' ' | tr ',' '\n' | sort -u |
    grep -vxF "$ours")
needed=$(for file in "$user"/packages/*.deb; do
    dpkg-deb --field "$file" Depends | sed 's/, */\n/g' |
        grep -vE "^($(echo $ours | tr ' ' '|')) " || true
done | paste -sd,)
# shellcheck disable=SC2016
in_root "$user" bash -ec '
    apt-get update -q
    apt-get install -y -q --no-install-recommends $0
    apt-get satisfy -y -q --no-install-recommends "$1"' "$(echo $helpers)" "$needed" \
    > "$work/packages.log" || { tail -n 5 "$work/packages.log"; exit 1; }

files_of() {
    (cd "$1" && find . -xdev \( -path ./proc -o -path ./dev -o -path ./tmp -o -path ./var/log -o \
        -path ./var/cache -o -path ./var/lib/apt -o -path ./var/lib/dpkg -o -path ./src -o \
        -path ./root -o -path ./etc/ld.so.cache -o -name __pycache__ \) -prune -o -print |
        LC_ALL=C sort)
}
files_of "$user" > "$work/before"
in_root "$user" bash -c 'apt-get install -y -q --no-install-recommends /packages/*.deb' \
    > "$work/packages.log" || { tail -n 5 "$work/packages.log"; exit 1; }
copy_sources "$user"
for test in $tests; do
    in_root "$user" "debian/tests/$test" > "$work/$test.log" 2>&1 ||
        { echo "$test failed:"; tail -n 20 "$work/$test.log"; exit 1; }
    echo "$test: done"
done
in_root "$user" apt-get remove -y -q --purge $ours > "$work/packages.log"
files_of "$user" > "$work/after"
left=$(LC_ALL=C comm -13 "$work/before" "$work/after")
[[ -z $left ]] || { printf 'left behind:\n%s\n' "$left"; exit 1; }
echo "the packages work in a clean $release, and leave nothing behind; tried in $SECONDS s"
