# SPDX-License-Identifier: MIT
"""Pixels through the GDAL driver, read on demand.

Each thread and process opens datasets of its own; they are never pickled.
"""

import dataclasses
import os
import pathlib
import threading

import numpy as np

from . import _core

_DRIVER = "RF_SAR"
_local = threading.local()
_most_open = 8  # datasets of a thread


def _driver_folders():
    libraries = pathlib.Path(_core.library_folder())
    return libraries, libraries.parent / "gdalplugins"


def gdal_with_driver():
    """Returns the module osgeo.gdal, with the driver RF_SAR registered.

    :raises ImportError: where there is none.
    """
    try:
        from osgeo import gdal
    except ImportError as error:
        raise ImportError("rf_sar reads pixels with GDAL's Python bindings (python3-gdal), "
                          "which are not installed") from error
    if gdal.GetDriverByName(_DRIVER):
        return gdal
    for folder in _driver_folders():
        if (folder / "gdal_RF_SAR.so").exists():
            before = gdal.GetConfigOption("GDAL_DRIVER_PATH")
            gdal.SetConfigOption("GDAL_DRIVER_PATH", str(folder))
            gdal.AllRegister()
            gdal.SetConfigOption("GDAL_DRIVER_PATH", before)
    if not gdal.GetDriverByName(_DRIVER):
        raise ImportError(f"GDAL does not find the driver {_DRIVER}; set GDAL_DRIVER_PATH to the "
                          "folder that holds gdal_RF_SAR.so")
    return gdal


def _open(name, options):
    """Returns this thread's dataset."""
    if getattr(_local, "process", None) != os.getpid():
        _local.process, _local.opened = os.getpid(), {}
    key = name, options
    if key in _local.opened:
        return _local.opened[key]
    gdal = gdal_with_driver()
    try:
        opened = gdal.OpenEx(name, gdal.OF_RASTER, allowed_drivers=[_DRIVER],
                             open_options=list(options))
        reason = gdal.GetLastErrorMsg()
    except RuntimeError as error:  # with gdal.UseExceptions()
        opened, reason = None, str(error)
    if opened is None:
        raise _core.Error(reason or f"{name}: cannot be opened")
    while len(_local.opened) >= _most_open:
        del _local.opened[next(iter(_local.opened))]
    _local.opened[key] = opened
    return opened


@dataclasses.dataclass(frozen=True)
class Source:
    """An image of a product. Can be pickled; any thread may use it."""

    file: str  #: the product file
    layer: str  #: "COMPLEX_HH", "SIGMA_NOUGHT_HH", ...
    options: tuple = ()  #: open options, "NAME=value"

    def _dataset(self):
        return _open(f"{_DRIVER}:{self.file}:{self.layer}", self.options)

    def describe(self):
        """Returns lines, samples, block (lines, samples), dtype, unit, metadata."""
        dataset = self._dataset()
        band = dataset.GetRasterBand(1)
        from osgeo import gdal_array
        dtype = gdal_array.GDALTypeCodeToNumericTypeCode(band.DataType)
        across, down = band.GetBlockSize()
        return ((dataset.RasterYSize, dataset.RasterXSize), (down, across), np.dtype(dtype),
                band.GetUnitType(), dataset.GetMetadata())

    def read(self, line, sample, lines, samples):
        """Returns a window of the image."""
        try:
            pixels = self._dataset().GetRasterBand(1).ReadAsArray(sample, line, samples, lines)
            reason = "" if pixels is not None else gdal_with_driver().GetLastErrorMsg()
        except RuntimeError as error:
            pixels, reason = None, str(error)
        if pixels is None:
            raise _core.Error(reason or f"{self.file}: cannot be read")
        return pixels


def runs(places, block):
    """Cuts sorted indices into runs to read together, with gaps of at most a block.

    Yields (first, last, positions in `places`).
    """
    cuts = np.flatnonzero(np.diff(places) > max(block, 1)) + 1
    for part in np.split(np.arange(len(places)), cuts):
        yield int(places[part[0]]), int(places[part[-1]]), part


def outer(source, blocks, lines, samples):
    """Reads the outer product of two sequences of indices, without blocks between them.

    :param blocks: lines and samples of a block.
    :param lines: a range, or an array of any order; not empty. So are samples.
    """
    if all(isinstance(each, range) and each.step == 1 for each in (lines, samples)):
        return source.read(lines[0], samples[0], len(lines), len(samples))
    (line_places, line_back), (sample_places, sample_back) = (
        np.unique(places, return_inverse=True) for places in (lines, samples))
    found = None
    for top, bottom, rows in runs(line_places, blocks[0]):
        for left, right, columns in runs(sample_places, blocks[1]):
            part = source.read(top, left, bottom - top + 1, right - left + 1)
            if rows.size < part.shape[0]:
                part = part[line_places[rows] - top]
            if columns.size < part.shape[1]:
                part = part[:, sample_places[columns] - left]
            if part.shape == (line_places.size, sample_places.size):
                found = part
            else:
                if found is None:
                    found = np.empty((line_places.size, sample_places.size), part.dtype)
                found[rows[0]:rows[-1] + 1, columns[0]:columns[-1] + 1] = part
    identity = (np.array_equal(line_back, np.arange(line_back.size)),
                np.array_equal(sample_back, np.arange(sample_back.size)))
    if all(identity):
        return found
    return found[np.ix_(line_back, sample_back)]
