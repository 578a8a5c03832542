# SPDX-License-Identifier: MIT
"""The GDAL driver RF_SAR against GDAL's own driver for RCM, which GDAL has from 3.11 on.

Both are called by the same program in the same run: opening a product, reading a detected image and
a calibrated one block by block, and gdal_translate of the image into a tiled GeoTIFF; each opens the
product anew, so that no block is in GDAL's cache. Processor time of all threads, medians of
interleaved runs, for ratios.py."""

import os
import pathlib
import statistics
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
os.environ.setdefault("GDAL_DRIVER_PATH", str(ROOT / "build/lib"))
sys.path.insert(0, str(ROOT / "tools"))

import sarsim  # noqa: E402
from osgeo import gdal  # noqa: E402

AT_MOST, AT_LEAST = "≤", "≥"
PEER = "RCM"


def there():
    return gdal.GetDriverByName(PEER) is not None and gdal.GetDriverByName("RF_SAR") is not None


def opened(name, driver):
    dataset = gdal.OpenEx(str(name), gdal.OF_RASTER, allowed_drivers=[driver])
    assert dataset and dataset.GetDriver().ShortName == driver
    return dataset


def open_often(name, driver):
    for _ in range(20):
        opened(name, driver)


def read_blocks(name, driver):
    dataset = opened(name, driver)
    band = dataset.GetRasterBand(1)
    width, height = band.GetBlockSize()
    for y in range(0, band.YSize, height):
        for x in range(0, band.XSize, width):
            band.ReadRaster(x, y, min(width, band.XSize - x), min(height, band.YSize - y))


def translate(name, driver, output):
    gdal.Translate(str(output), opened(name, driver), bandList=[1], creationOptions=["TILED=YES"])
    output.unlink()


def seconds(task, *arguments):
    start = time.process_time()
    task(*arguments)
    return time.process_time() - start


def measure(folder, runs, side=10000):
    """Yields rows: what, our median in s, the peer, its median in s, the goal."""
    gdal.UseExceptions()
    with tempfile.TemporaryDirectory(dir=folder) as name:
        work = pathlib.Path(name)
        product = sarsim.make(sarsim.Recipe("rcm", lines=side, samples=side, polarizations="HH",
                                            tiled=True, block=512, target_grid=1), work)
        file, output = product.opened, work / "out.tif"
        tasks = {
            "open, RCM": (open_often, file, file, (), (AT_MOST, 1.5)),
            "detected blocks, RCM": (read_blocks, file, file, (), 0.9),
            "calibrated blocks, RCM": (read_blocks, f"RF_SAR:{file}:SIGMA_NOUGHT_HH",
                                       f"RCM_CALIB:SIGMA0:{file}", (), 1),
            "gdal_translate, RCM": (translate, file, file, (output,), 0.9)}
        for what, (task, ours, theirs, more, goal) in tasks.items():
            pairs = [(seconds(task, ours, "RF_SAR", *more), seconds(task, theirs, PEER, *more))
                     for _ in range(runs)]
            times = [statistics.median(times) for times in zip(*pairs)]
            yield what, times[0], f"GDAL's {PEER} driver", times[1], goal
