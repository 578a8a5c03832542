# SPDX-License-Identifier: MIT
"""The Python package: points a second through the model, and 1024 x 1024 blocks through xarray beside
rasterio on the same driver, in processor time of one run.

    PYTHONPATH=build/python GDAL_DRIVER_PATH=build/lib /usr/bin/python3 bench/python_bench.py
"""

import os
import pathlib
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "tools"))
os.environ["GDAL_CACHEMAX"] = "32"  # MB: blocks are read, not found again

import numpy as np  # noqa: E402
import rasterio  # noqa: E402
import xarray as xr  # noqa: E402
from osgeo import gdal  # noqa: E402
from rasterio.windows import Window  # noqa: E402

import rf_sar  # noqa: E402
import sarsim  # noqa: E402

POINTS, SIDE, BLOCK, ROUNDS = 1_000_000, 10000, 1024, 7


def seconds(*works):
    """The least of each; they alternate."""
    least = [float("inf")] * len(works)
    for _ in range(ROUNDS):
        for i, work in enumerate(works):
            start = time.process_time()
            work()
            least[i] = min(least[i], time.process_time() - start)
    return least


def model_rates(product):
    model = rf_sar.open(product.opened).model
    sample, line = np.random.default_rng(1).uniform(0, 1000, (2, POINTS))
    ground = model.image_to_ground(sample, line)
    to_ground, to_image = seconds(lambda: model.image_to_ground(sample, line),
                                  lambda: model.ground_to_image(*ground))
    return POINTS / to_ground / 1e6, POINTS / to_image / 1e6


def fill(image):
    speckle = np.random.default_rng(7).rayleigh(300, (500, SIDE)).astype(np.uint16)
    dataset = gdal.Open(str(image), gdal.GA_Update)
    for line in range(0, SIDE, len(speckle)):
        dataset.GetRasterBand(1).WriteArray(np.roll(speckle, line, axis=1), 0, line)


def block_times(product):
    windows = [(x, y, min(BLOCK, SIDE - x), min(BLOCK, SIDE - y))
               for y in range(0, SIDE, BLOCK) for x in range(0, SIDE, BLOCK)]
    lazy = xr.open_dataset(str(product.opened), engine="rf_sar", group="HH")["measurement"]
    with rasterio.open(str(product.opened)) as image:
        return seconds(
            lambda: [lazy[y:y + h, x:x + w].values for x, y, w, h in windows],
            lambda: [image.read(1, window=Window(x, y, w, h)) for x, y, w, h in windows])


def main():
    with tempfile.TemporaryDirectory() as folder:
        for family in ("radarsat2", "rcm"):
            product = sarsim.make(sarsim.Recipe(family, lines=1000, samples=1000),
                                  f"{folder}/{family}")
            to_ground, to_image = model_rates(product)
            print(f"{family}: image_to_ground {to_ground:.1f}, ground_to_image {to_image:.1f} "
                  "million points a second")
        product = sarsim.make(
            sarsim.Recipe("rcm", lines=SIDE, samples=SIDE, polarizations="HH", sparse=True,
                          target_grid=0, line_spacing=5.0, pixel_spacing=5.0),
            f"{folder}/large")
        fill(next(pathlib.Path(product.folder).rglob("*.tif")))
        ours, theirs = block_times(product)
        print(f"{SIDE} x {SIDE} samples in blocks: xarray {ours:.3f} s, rasterio {theirs:.3f} s, "
              f"ratio {ours / theirs:.2f}")


if __name__ == "__main__":
    main()
