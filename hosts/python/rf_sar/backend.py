# SPDX-License-Identifier: MIT
"""xarray.open_dataset(path, engine="rf_sar", group=...)

Groups: none (what the product is, and the list of groups), "HH" (an image and its coordinates),
"HH/orbit", "HH/calibration", "HH/gcp", "HH/dc_estimate", "HH/noise_range".
"""

import datetime
import os
import pathlib

import numpy as np
import xarray as xr
from xarray.backends import BackendArray, BackendEntrypoint
from xarray.core import indexing

from . import _core, _pixels, _product

_pixels.gdal_with_driver()  # or fails now, with a sentence

LIGHT_M_PER_S = 299792458.0
_QUANTITIES = {"sigma_nought": "SIGMA_NOUGHT", "beta_nought": "BETA_NOUGHT",
               "gamma_nought": "GAMMA"}
_PARTS = ("orbit", "calibration", "gcp", "dc_estimate", "noise_range")
_CHUNK_PIXELS = 1 << 20  # about


class Pixels(BackendArray):
    """An image of a product, not read yet. Can be pickled; any thread may use it."""

    def __init__(self, source):
        self.source = source
        self.shape, self.blocks, self.dtype, self.unit, self.metadata = source.describe()

    def __getitem__(self, key):
        return indexing.explicit_indexing_adapter(key, self.shape, indexing.IndexingSupport.OUTER,
                                                  self._read)

    def _read(self, key):
        places, squeezed = [], []
        for axis, (wanted, size) in enumerate(zip(key, self.shape)):
            if isinstance(wanted, slice):
                places.append(range(size)[wanted])
            elif np.ndim(wanted) == 0:
                places.append(range(size)[int(wanted):][:1])
                squeezed.append(axis)
            else:
                chosen = np.asarray(wanted)
                places.append(np.where(chosen < 0, chosen + size, chosen))
        if all(len(each) > 0 for each in places):
            found = _pixels.outer(self.source, self.blocks, *places)
        else:
            found = np.empty([len(each) for each in places], self.dtype)
        return found.squeeze(tuple(squeezed)) if squeezed else found

    def preferred_chunks(self):
        """Whole blocks, about a million pixels; wide before high."""
        (height, width), (down, across) = self.shape, self.blocks
        columns = across * max(1, min(-(-width // across), 1024 // across or 1))
        rows = down * max(1, min(-(-height // down), _CHUNK_PIXELS // (columns * down) or 1))
        return rows, columns


def _day(record):
    date = datetime.date(record["firstLineYear"], record["firstLineMonth"],
                         record["firstLineDay"])
    return np.datetime64(date, "ns")


def _times(day, seconds):
    """Instants to the nanosecond; seconds of the day may be below 0 or above 86400."""
    return day + np.round(np.asarray(seconds) * 1e9).astype("timedelta64[ns]")


def _near(start, day, seconds):
    """Converts seconds of day to instants, on the day that brings them nearest to the start.

    If an acquisition crosses midnight, the day of a record's seconds of day is ambiguous.
    """
    times = _times(day, seconds)
    if start is None or times.size == 0:
        return times
    away = np.datetime64(start.rstrip("Z"), "ns") - times.min()
    return times + np.timedelta64(1, "D") * round(away / np.timedelta64(1, "D"))


class _Reader:
    """The datasets of a product."""

    def __init__(self, path):
        self.product = _product.open(path)

    def poles(self):
        return list(dict.fromkeys(entry["pole"] for entry in self._images()))

    def _images(self):
        """The entries of the images: complex samples if there are any, else magnitudes."""
        entries = self.product.entries
        whole = [e for e in entries if e["kind"] == "complex"]
        return whole or [e for e in entries if e["kind"] == "layer" and not e["phase"]]

    def _image(self, pole):
        for entry in self._images():
            if entry["pole"] == pole:
                return entry
        raise _core.Error(f"{self.product.path}: has no group \"{pole}\"; it has "
                          + ", ".join(self.groups()))

    def groups(self):
        found = []
        for pole in self.poles():
            found.append(pole)
            found += [f"{pole}/{part}" for part in _PARTS if self._has(pole, part)]
        return found

    def _has(self, pole, part):
        if part == "calibration":
            return any(e["kind"] == "calibrated" and e["pole"] in ("", pole)
                       for e in self.product.entries)
        if part == "noise_range":
            return any(e["kind"] == "noise" and e["pole"] in ("", pole)
                       for e in self.product.entries)
        if part == "gcp":
            return self.product.tie_points["line"].size > 0
        return ":SAR_Metadata" in self.product._core.nodes

    def attributes(self, pole=None):
        about, acquired = self.product.info, self.product.acquisition
        record = self.product.record if ":SAR_Metadata" in self.product._core.nodes else {}
        found = {
            "family_name": about["format"]["title"], "number": about["satellite"],
            "mode": acquired["beamMode"], "swaths": [acquired["beamMode"]],
            "product_id": acquired["productId"], "product_type": about["productType"],
            "start_time": acquired["start"], "stop_time": acquired["stop"],
            "orbit_direction": acquired["orbitDirection"], "look_side": acquired["lookSide"],
            "pass": (acquired["orbitDirection"] or "").upper() or None,
            "transmitter_receiver_polarisations": [pole] if pole else self.poles(),
            "azimuth_pixel_spacing": acquired["lineSpacingM"],
            "range_pixel_spacing": acquired["pixelSpacingM"],
            "incidence_angle_mid_swath": acquired["incidenceDeg"]["centre"],
            "Conventions": "CF-1.8",
        }
        if record.get("wavelength"):
            found["radar_frequency"] = LIGHT_M_PER_S / record["wavelength"] / 1e9
        return {name: value for name, value in found.items() if value is not None}

    # groups

    def root(self):
        return xr.Dataset(attrs={**self.attributes(), "subgroups": self.groups()})

    def measurement(self, pole, calibrate, db, denoise):
        entry = self._image(pole)
        name, layer, options = "measurement", entry["name"], ()
        if calibrate is not None:
            if calibrate not in _QUANTITIES:
                raise _core.Error(f"calibrate={calibrate!r}: is none of "
                                  + ", ".join(_QUANTITIES))
            name = calibrate
            layer = f"{_QUANTITIES[calibrate]}{'_DB' if db else ''}_{pole}".rstrip("_")
        elif db or denoise:
            raise _core.Error("db and denoise need calibrate, such as calibrate=\"sigma_nought\"")
        if denoise:
            options = ("DENOISE=YES",)
        pixels = Pixels(_pixels.Source(self.product.path, layer, options))
        dims, coordinates, facts = self._grid(pixels.shape)
        rows, columns = pixels.preferred_chunks()
        variable = xr.Variable(dims, indexing.LazilyIndexedArray(pixels),
                               {"units": pixels.unit or "1",
                                "long_name": entry["description"] if name == "measurement"
                                else name.replace("_", " ")},
                               {"preferred_chunks": {dims[0]: rows, dims[1]: columns}})
        return xr.Dataset({name: variable}, coordinates, {**self.attributes(pole), **facts})

    def _grid(self, shape):
        """The dimensions of images, their coordinates and their attributes."""
        lines, samples = np.arange(shape[0]), np.arange(shape[1])
        try:
            model = self.product.model._core
            timed = model.line_times
        except _core.Error:
            timed = None
        if timed is None:
            dims = ("line", "pixel")
            return dims, {"line": lines, "pixel": samples}, {}
        record = self.product.record
        first, step = timed
        ranges = 2 * model.slant_ranges(samples.astype(float)) / LIGHT_M_PER_S
        ground = record["rangeGeometry"] != 2
        dims = ("azimuth_time", "ground_range" if ground else "slant_range_time")
        times = self._instants(first + step * lines)
        across = (samples * record["sampledPixelSpacing"], "m") if ground else (ranges, "s")
        facts = {"azimuth_time_interval": abs(step),
                 "image_slant_range_time": float(ranges.min()),
                 "stated_first_line_time": str(self._instants([record["firstLineTime"]])[0]),
                 "stated_last_line_time": str(self._instants([record["lastLineTime"]])[0])}
        return dims, {
            "azimuth_time": ("azimuth_time", times, {"long_name": "zero-Doppler time of the line"}),
            dims[1]: (dims[1], across[0], {"units": across[1]}),
            "line": ("azimuth_time", lines), "pixel": (dims[1], samples),
        }, facts

    def _instants(self, seconds):
        """Seconds of day of the record as instants."""
        return _near(self.product.acquisition["start"], _day(self.product.record), seconds)

    def orbit(self):
        record = self.product.record
        count = record["numberOfStateVectors"]
        seconds = record["stateVectorFirstTime"] + np.arange(count) * record["stateVectorInterval"]
        vectors = {name: np.array([record[f"stateVector{axis}{kind}"] for axis in "XYZ"])
                   for name, kind in (("position", "Position"), ("velocity", "Velocity"))}
        return xr.Dataset(
            {"position": (("axis", "azimuth_time"), vectors["position"], {"units": "m"}),
             "velocity": (("axis", "azimuth_time"), vectors["velocity"], {"units": "m s-1"})},
            {"axis": [0, 1, 2], "azimuth_time": self._instants(seconds)},
            {"reference_system": "Earth Fixed"})

    def calibration(self, pole):
        variables = {}
        for name, entry in _QUANTITIES.items():
            key = f"{entry}_{pole}" if f"{entry}_{pole}" in self.product.calibration else entry
            if key in self.product.calibration:
                offset, divisors = self.product.calibration[key]
                variables[name] = ("pixel", divisors, {
                    "offset": offset,
                    "comment": "power is (sample**2 + offset) / this number of the column"})
        self._require(variables, pole, "calibration")
        return xr.Dataset(variables, {"pixel": np.arange(len(divisors))})

    def noise_range(self, pole):
        levels = self.product.noise(pole)
        self._require(levels is not None, pole, "noise_range")
        return xr.Dataset({"noise_range_lut": ("pixel", levels, {
            "units": "dB", "long_name": "noise-equivalent sigma nought"})},
            {"pixel": np.arange(levels.size)})

    def gcp(self, pole):
        ties = self.product.tie_points
        self._require(ties["line"].size, pole, "gcp")
        lines, samples = np.unique(ties["line"]), np.unique(ties["sample"])
        names = {"latitude": "lat", "longitude": "lon", "height": "height"}
        if lines.size * samples.size == ties["line"].size:
            order = np.lexsort((ties["sample"], ties["line"]))
            return xr.Dataset({name: (("line", "pixel"),
                                      ties[key][order].reshape(lines.size, samples.size))
                               for name, key in names.items()},
                              {"line": lines, "pixel": samples})
        return xr.Dataset({name: ("point", ties[key]) for name, key in names.items()},
                          {"line": ("point", ties["line"]), "pixel": ("point", ties["sample"])})

    def dc_estimate(self, pole):
        record = self.product.record
        known = [each for each in record["dopplerCentroid"] if each["numberOfCoefficients"] > 0]
        self._require(known, pole, "dc_estimate")
        degrees = max(each["numberOfCoefficients"] for each in known)
        return xr.Dataset(
            {"data_dc_polynomial": (("azimuth_time", "degree"),
                                    [each["coefficients"][:degrees] for each in known],
                                    {"units": "Hz"}),
             "t0": ("azimuth_time", [each["referenceTime"] for each in known], {"units": "s"})},
            {"azimuth_time": self._instants([each["azimuthTime"] for each in known]),
             "degree": np.arange(degrees)})

    def _require(self, there, pole, part):
        if not there:
            raise _core.Error(f"{self.product.path}: has no group \"{pole}/{part}\"; it has "
                              + ", ".join(self.groups()))

    def dataset(self, group, calibrate, db, denoise):
        if not group:
            return self.root()
        pole, _, part = group.strip("/").partition("/")
        self._image(pole)
        if not part:
            return self.measurement(pole, calibrate, db, denoise)
        if part not in _PARTS:
            raise _core.Error(f"{self.product.path}: has no group \"{group}\"; it has "
                              + ", ".join(self.groups()))
        return self.orbit() if part == "orbit" else getattr(self, part)(pole)


class Backend(BackendEntrypoint):
    """Opens SAR products lazily; chunks are whole blocks of the image file."""

    description = "SAR satellite products: RADARSAT-2, RADARSAT Constellation, Capella"
    open_dataset_parameters = ("filename_or_obj", "drop_variables", "group", "calibrate", "db",
                               "denoise")

    def open_dataset(self, filename_or_obj, *, drop_variables=None, group=None, calibrate=None,
                     db=False, denoise=False):
        """Opens a group of a product.

        :param group: None for what the product is and which groups it has; "HH", "HH/orbit", ...
        :param calibrate: "sigma_nought", "beta_nought" or "gamma_nought": linear power under that
            name in place of the samples.
        :param db: that power in decibels.
        :param denoise: the product's noise level is subtracted from the power.
        """
        opened = _Reader(filename_or_obj).dataset(group, calibrate, db, denoise)
        return opened.drop_vars(drop_variables, errors="ignore") if drop_variables else opened

    def guess_can_open(self, filename_or_obj):
        try:
            path = pathlib.Path(os.fspath(filename_or_obj))
        except TypeError:
            return False
        named = path.suffix.lower() in (".xml", ".json") or path.name == "manifest.safe"
        return named and _core.identifies(str(path))
