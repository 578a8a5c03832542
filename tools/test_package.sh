#!/usr/bin/env bash
# Builds the Debian package as the README says, installs it into a clean Debian 12 made in a
# temporary folder, and uses it there. Needs root and debootstrap.
# Usage: tools/test_package.sh [BUILD_FOLDER]    a folder that is configured already, to save time
set -euo pipefail
cd "$(dirname "$0")/.."

[ "$(id -u)" -eq 0 ] || { echo "test_package: needs root, for debootstrap and chroot" >&2; exit 2; }
command -v debootstrap >/dev/null ||
    { echo "test_package: debootstrap is not installed" >&2; exit 2; }

work=$(mktemp -d)
root=$work/root
trap 'umount "$root/proc" 2>/dev/null || true; rm -rf --one-file-system "$work"' EXIT

if [ $# -gt 0 ]; then
    build=$(realpath "$1")
    cmake --build "$build" --target rfsar rf_sar gdal_RF_SAR man
else
    build=$PWD/build-release
    cmake --preset release && cmake --build --preset release
fi
(cd "$build" && cpack -G DEB -B "$work/package")
package=$(echo "$work"/package/*.deb)
dpkg-deb --info "$package"
dpkg-deb --contents "$package"

debootstrap --variant=minbase bookworm "$root"
mount -t proc proc "$root/proc"
mkdir "$root/products"
cp "$package" "$root/"
for family in radarsat2 rcm capella-slc; do
    /usr/bin/python3 tools/sarsim "$family" "$root/products" --name "$family é" \
        --lines 100 --samples 80 >/dev/null
done

# Only what Debian and the package bring is there from here on.
chroot "$root" /bin/bash -euxc '
    export DEBIAN_FRONTEND=noninteractive LANG=C.UTF-8
    apt-get update -q
    apt-get install -y -q --no-install-recommends "/'"$(basename "$package")"'" gdal-bin
    rfsar --version
    rfsar doctor
    gdalinfo --formats | grep RF_SAR
    zcat /usr/share/man/man1/rfsar.1.gz | grep -q "SH NAME"
    bash -n /usr/share/bash-completion/completions/rfsar
    for product in /products/*/; do
        rfsar info "$product"
        rfsar quicklook "$product" -o "/tmp/picture.png" --size 50 --force
    done
    gdalinfo -if RF_SAR "/products/radarsat2 é/product.xml"
    gdalinfo -checksum "/products/rcm é/metadata/product.xml" | grep -E "Driver|Checksum"
    gdalinfo "/products/capella-slc é/capella-slc é.json" | grep Driver
    gdal_translate -q "/products/rcm é" /tmp/out.tif
    dpkg --remove rf-sar
    ! gdalinfo --formats | grep RF_SAR
'
echo "the package works in a clean Debian 12"
