# SPDX-License-Identifier: MIT
"""What the tests of the GDAL driver share. Import it before osgeo: GDAL looks for drivers once."""

import locale
import os
import pathlib
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ElementTree

ROOT = pathlib.Path(__file__).resolve().parents[2]
os.environ.setdefault("GDAL_DRIVER_PATH", str(ROOT / "build/lib"))
sys.path.insert(0, str(ROOT / "tests/support"))

import numpy as np  # noqa: E402
from osgeo import gdal  # noqa: E402
from products import ProductCase  # noqa: E402

gdal.UseExceptions()


def take_locale(name):
    """Makes a locale in a folder of the test's own and takes it for the whole process."""
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run(["localedef", "-i", name, "-f", "UTF-8", f"{folder}/{name}.UTF-8"],
                       check=True, capture_output=True)
        os.environ["LOCPATH"] = folder
        locale.setlocale(locale.LC_ALL, f"{name}.UTF-8")
        del os.environ["LOCPATH"]
    assert locale.localeconv()["decimal_point"] == ","


if "RF_SAR_LOCALE" in os.environ:
    take_locale(os.environ["RF_SAR_LOCALE"])


def open_product(file, **options):
    return gdal.OpenEx(str(file), gdal.OF_RASTER, allowed_drivers=["RF_SAR"],
                       open_options=[f"{key}={value}" for key, value in options.items()])


def named(file, layer):
    """The name of a subdataset, as a user would type it."""
    quoted = str(file).replace("\\", "\\\\").replace('"', '\\"')
    return f'RF_SAR:"{quoted}":{layer}'


def subdatasets(dataset):
    """{layer: (name, description)}, and a check that numbers run from 1 without gaps."""
    items = dataset.GetMetadata("SUBDATASETS")
    count = len(items) // 2
    found = {}
    for i in range(1, count + 1):
        name = items[f"SUBDATASET_{i}_NAME"]
        found[name.rsplit(":", 1)[1]] = (name, items[f"SUBDATASET_{i}_DESC"])
    assert len(found) == count, items
    return found


def on_the_map(layer):
    """Whether the layer of that name is drawn on the map, in a grid of its own."""
    return layer == "MAP" or layer.startswith("MAP_")


def complex_samples(file):
    bands = gdal.Open(str(file)).ReadAsArray()
    return bands if bands.ndim == 2 else bands[0] + 1j * bands[1].astype(float)


def pixel_rule(samples, kind):
    """Magnitude and phase as 16-bit numbers."""
    real, imaginary = samples.real.astype(float), samples.imag.astype(float)
    if kind == "MAGNITUDE":
        value = np.sqrt(real * real + imaginary * imaginary)
        return np.trunc(value + 0.5).astype(np.uint16)
    value = np.arctan2(imaginary, real) * 10430.3783505
    return np.trunc(value + 0.5).astype(np.int16)


def table(file, first, count_or_values="gains"):
    """(columns, values, offset) of a calibration document, whatever its namespace."""
    root = ElementTree.parse(file).getroot()
    texts = {}
    for element in root.iter():
        name = element.tag.split("}")[-1]
        texts[name] = texts.get(name, "") + " " + (element.text or "")
    values = np.array(texts[count_or_values].split(), float)
    start, step = int(texts.get(first, "0")), int(texts.get("stepSize", "1"))
    return start + step * np.arange(len(values)), values, float(texts.get("offset", "0"))


def by_column(columns, values, width):
    order = np.argsort(columns)
    return np.interp(np.arange(width), columns[order], values[order])


__all__ = ["ProductCase", "by_column", "complex_samples", "gdal", "named", "np", "on_the_map",
           "open_product", "pixel_rule", "subdatasets", "table"]
