#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs what is needed, builds the library, the program and the GDAL driver, makes a sample
# product of each format, opens them, and writes pictures into demo-output/.
set -euo pipefail
cd "$(dirname "$0")"
tools/install_packages.sh build demo
cmake --preset dev -DRF_SAR_TESTS=OFF -DRF_SAR_BENCHMARKS=OFF -DRF_SAR_PYTHON_PACKAGE=OFF
cmake --build --preset dev

rfsar=build/bin/rfsar
out=demo-output
rm -rf "$out"
mkdir "$out"

show() {
    printf '\n$ %s\n' "$*"
    "$@"
}

echo
echo "Making one product of each format (simulated) ..."
products=()
for family in capella-geo capella-slc capella-grd rcm radarsat2; do
    products+=("$(/usr/bin/python3 tools/sarsim "$family" "$out" --name "sample-$family" \
        --lines 512 --samples 512)")
done

show "$rfsar" formats
show "$rfsar" identify "${products[@]}"
for product in "${products[@]}"; do
    name=$(cut -d/ -f1 <<<"${product#"$out"/}")
    show "$rfsar" info "$product"
    show "$rfsar" quicklook "$product" -o "$out/$name.png" --size 512
done
echo
echo "Pictures: $(echo "$out"/*.png)"
