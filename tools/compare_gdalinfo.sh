#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Compares what gdalinfo says of simulated products here and in a root of another Debian release
# where tools/test_on_debian.sh has built this tree: compare_gdalinfo.sh RELEASE
# Each product as a whole and each of its subdatasets, with checksums and every metadata domain.
# Coordinate systems are compared as WKT 1, whose words the releases share, and metadata in any
# order, as newer GDAL sorts it; rational functions by where they place the image's corners and centre,
# to 1e-9 degrees, as their fit ends in other digits; tie points to 1e-8 of their unit. Prints the
# differences; exit 1 when there are any. Needs root, and a build of the preset dev here and there.
set -euo pipefail
cd "$(dirname "$0")/.."
source tools/debian_root.sh
[[ $# -eq 1 && $1 != -* ]] || { sed -n '/^# Compares/,/^[^#]/s/^# \{0,1\}//p' "$0"; exit 2; }
need_root_and_debootstrap
root=$(kept_root "$1")

# Both read the same files, under the same names.
work=build/gdalinfo
rm -rf "$work" "$root/src/rf_sar/$work"
mkdir -p "$work/products"
while read -r name family options; do
    # shellcheck disable=SC2086
    /usr/bin/python3 tools/sarsim "$family" "$work/products" --name "$name" \
        --lines 130 --samples 151 $options > /dev/null
done << 'PRODUCTS'
rs2-slc            radarsat2   --product-type SLC --polarizations HH,HV
rs2-sgf            radarsat2   --product-type SGF
rs2-sgx            radarsat2   --product-type SGX --pass descending
rs2-sgc            radarsat2   --product-type SGC --look left
rs2-ssg            radarsat2   --product-type SSG
rs2-spg            radarsat2   --product-type SPG
rcm-slc            rcm         --product-type SLC --bands 2
rcm-bursts         rcm         --product-type SLC --beams 2
rcm-grd            rcm         --product-type GRD --tiled --block 64
rcm-antimeridian   rcm         --product-type GRD --centre 180.0,51.0
rcm-pole           rcm         --product-type GRD --centre 30.0,86.5
rcm-backwards      rcm         --product-type SCD --line-order decreasing --pixel-order decreasing
rcm-mlc            rcm         --product-type MLC
rcm-grc            rcm         --product-type GRC
rcm-gcc            rcm         --product-type GCC
rcm-gcd            rcm         --product-type GCD
capella-geo        capella-geo
capella-grd        capella-grd
capella-slc        capella-slc --image-geometry slant_plane
capella-spotlight  capella-slc --image-geometry pfa
PRODUCTS
mkdir -p "$root/src/rf_sar/build"
cp -a "$work" "$root/src/rf_sar/$work"

cat > "$work/say.py" << 'PYTHON'
import itertools
import os
import pathlib
import re
import sys

os.environ["GDAL_DRIVER_PATH"] = "build/lib"
os.environ["GDAL_PAM_ENABLED"] = "NO"
from osgeo import gdal

gdal.UseExceptions()
HOW = ["-checksum", "-mdd", "all", "-wkt_format", "WKT1"]


def placed(dataset):
    """Where its rational functions put it, at two heights."""
    if not dataset.GetMetadata("RPC"):
        return []
    to_ground = gdal.Transformer(dataset, None, ["METHOD=RPC"])
    width, height = dataset.RasterXSize, dataset.RasterYSize
    places = [(x * width, y * height, z) for x, y, z in itertools.product((0, .5, 1), repeat=3)]
    return ["%.9f %.9f" % to_ground.TransformPoint(0, x, y, 400 * z)[1][:2] for x, y, z in places]


def info(name):
    dataset = gdal.Open(name) if isinstance(name, str) else name
    lines = gdal.Info(dataset, options=HOW).split("\n")
    lines = [re.sub(r"\d+\.\d{8,}", lambda number: "%.8f" % float(number[0]), line)
             if ") -> (" in line else line for line in lines
             if not re.match("  (ERR_(BIAS|RAND)|(LINE|SAMP)_(NUM|DEN)_COEFF)=", line)]
    lines += placed(dataset)
    groups = itertools.groupby(lines, lambda line: line.startswith("  ") and "=" in line)
    return "\n".join(line for items, group in groups for line in (sorted(group) if items else group))


work = pathlib.Path(sys.argv[1])
for folder in sorted(path for path in (work / "products").iterdir() if path.is_dir()):
    whole = gdal.OpenEx(f"RF_SAR:{folder}", allowed_drivers=["RF_SAR"])
    said = [info(whole)]
    for key, name in whole.GetMetadata("SUBDATASETS").items():
        if key.endswith("_NAME"):
            try:
                said.append(info(name))
            except RuntimeError as error:
                # Newer bindings append what came before.
                said.append(f"{name}: {str(error).splitlines()[0]}")
    (work / f"{folder.name}.txt").write_text("\n".join(said), encoding="utf-8")
    print(folder.name, len(said))
PYTHON
cp "$work/say.py" "$root/src/rf_sar/$work/"
mkdir -p "$work/there"
/usr/bin/python3 "$work/say.py" "$work" > "$work/counts"
in_root "$root" /usr/bin/python3 "$work/say.py" "$work" > "$work/there/counts"
cp "$root/src/rf_sar/$work"/*.txt "$work/there/"

status=0
for file in counts $(cd "$work" && ls ./*.txt); do
    diff -u "$work/$file" "$work/there/$file" || status=1
done
awk '{ products++; datasets += $2 } END { print products " products, " datasets " datasets compared" }' \
    "$work/counts"
exit "$status"
