#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds and tests this tree in a clean root of a Debian release, for example trixie or forky:
# test_on_debian.sh RELEASE [--quick] [--qgis] [--fuzz]
#   --quick  builds library, program and driver, and opens a product of each family; no tests
#   --qgis   with the tests in QGIS
#   --fuzz   runs every fuzzer for some seconds as well
# The root is kept in ${RF_SAR_ROOTS:-~/.cache/rf_sar/roots}/RELEASE, some GB with what is installed
# and built in it. Needs root and debootstrap.
set -euo pipefail
cd "$(dirname "$0")/.."
source tools/debian_root.sh

usage() { sed -n '/^# Builds/,/^[^#]/s/^# \{0,1\}//p' "$0"; exit 2; }
release=
quick= qgis= fuzz=
for argument in "$@"; do
    case $argument in
    --quick) quick=1 ;;
    --qgis) qgis=1 ;;
    --fuzz) fuzz=1 ;;
    -*) usage ;;
    *) [[ -z $release ]] || usage; release=$argument ;;
    esac
done
[[ -n $release ]] || usage
need_root_and_debootstrap

root=$(kept_root "$release")
copy_sources "$root"
products=${RF_SAR_PRODUCTS:-../shared/products}
[[ ! -d $products ]] || RF_SAR_BIND=$(realpath "$products")
export RF_SAR_BIND

groups=(build demo)
[[ $quick ]] || groups+=(python test archives bench)
[[ ! $qgis ]] || groups+=(qgis)
[[ ! $fuzz ]] || groups+=(fuzz)

SECONDS=0
in_root "$root" tools/install_packages.sh "${groups[@]}" \
    > "$roots/$release.packages.log" || { tail -n 5 "$roots/$release.packages.log"; exit 1; }
echo "packages: $SECONDS s"

SECONDS=0
if [[ $quick ]]; then
    in_root "$root" nice bash -ec '
        cmake --preset install > build-install.log || { tail -n 20 build-install.log; exit 1; }
        cmake --build --preset install
        export GDAL_DRIVER_PATH=$PWD/build-install/lib
        rm -rf products
        for family in capella-geo capella-slc capella-grd rcm radarsat2; do
            product=$(python3 tools/sarsim $family products --lines 100 --samples 100)
            build-install/bin/rfsar info --json "$product" > /dev/null
            gdalinfo -if RF_SAR -checksum "$product" | grep -qE "Checksum=[1-9]"
            echo "$family: opened by rfsar and GDAL"
        done'
    echo "$release: built and tried in $SECONDS s"
    exit
fi

in_root "$root" nice bash -ec '
    cmake --preset dev -DRF_SAR_PRODUCTS=/real_products
    cmake --build --preset dev'
echo "$release: built in $SECONDS s"
SECONDS=0
skip=()
[[ $qgis ]] || skip=(--exclude-regex '^qgis')
status=0
in_root "$root" nice ctest --preset dev "${skip[@]}" || status=$?
echo "$release: tested in $SECONDS s"
if [[ $fuzz ]]; then
    SECONDS=0
    in_root "$root" nice cmake --workflow --preset fuzz || status=$?
    echo "$release: fuzzers built and run in $SECONDS s"
fi
exit "$status"
