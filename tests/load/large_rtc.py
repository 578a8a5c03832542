# SPDX-License-Identifier: MIT
"""Flattens one large scene over mountains and tells what it takes: seconds, and the memory at its
highest.

    tests/load/large_rtc.py [--samples 30000] [--lines 30000] [--max-memory 512] [--cell 30]
                            [rfsar rtc options]

Without other options it draws a map of 20 m. A folder with 12 bytes a pixel is removed afterwards.
"""

import argparse
import os
import pathlib
import subprocess
import sys
import tempfile
import time

import numpy as np
from osgeo import gdal

from large_scene import RFSAR, fill, sarsim, watch

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from maps import system  # noqa: E402

gdal.UseExceptions()
SPACING = 5.0
METRES = 111200  # in a degree of latitude


def mountains(path, truth, cell, reach):
    """An elevation model of waves around the scene, in rows, which may be many."""
    lon, lat = map(float, truth["recipe"]["centre"].split(","))
    step = cell / METRES
    rows, columns = int(2 * reach / cell), int(2 * reach / cell / np.cos(np.radians(lat)))
    model = gdal.GetDriverByName("GTiff").Create(str(path), columns, rows, 1, gdal.GDT_Float32,
                                                 ["TILED=YES"])
    model.SetGeoTransform((lon - columns / 2 * step, step, 0, lat + rows / 2 * step, 0, -step))
    model.SetSpatialRef(system("EPSG:4979"))
    across = 400 * np.sin(np.arange(columns) * cell / 600)
    for row in range(0, rows, 256):
        along = 300 * np.sin(np.arange(row, min(row + 256, rows)) * cell / 900)
        model.WriteArray((truth["recipe"]["height"] + along[:, None] + across).astype(np.float32),
                         0, row)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("--samples", type=int, default=30000)
    parser.add_argument("--lines", type=int, default=30000)
    parser.add_argument("--max-memory", type=int, default=512)
    parser.add_argument("--cell", type=float, default=30)
    options, more = parser.parse_known_args()
    with tempfile.TemporaryDirectory(prefix="large scene ") as folder:
        made = sarsim.make(sarsim.Recipe("rcm", lines=options.lines, samples=options.samples,
                                         polarizations="HH", sparse=True, target_grid=0,
                                         line_spacing=SPACING, pixel_spacing=SPACING), folder)
        fill(next(pathlib.Path(made.folder).rglob("*.tif")), options.samples, options.lines)
        model = pathlib.Path(folder) / "mountains.tif"
        mountains(model, made.truth, options.cell,
                  0.65 * SPACING * np.hypot(options.samples, options.lines))
        out = pathlib.Path(folder) / "out.tif"
        begun = time.monotonic()
        process = subprocess.Popen(
            [RFSAR, "rtc", str(made.opened), "--dem", str(model), "-o", str(out), "--max-memory",
             str(options.max_memory),
             *(more or ["--crs", "EPSG:32632", "--resolution", "20"])])
        highest = watch(process)
        seconds = time.monotonic() - begun
        usage = os.times()
        if process.returncode != 0:
            return process.returncode
        drawn = gdal.Open(str(out))
        print(f"{options.samples} x {options.lines} to {drawn.RasterXSize} x {drawn.RasterYSize}: "
              f"{seconds:.1f} s, {usage.children_user + usage.children_system:.1f} s of processor, "
              f"at most {highest / 1024:.0f} MiB resident")
    return 0


if __name__ == "__main__":
    sys.exit(main())
