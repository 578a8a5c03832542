# SPDX-License-Identifier: MIT
"""Products: what they state, and their georeferencing."""

import functools
import json
import os

import numpy as np

from . import _core, _verbs


def _open_model(path):
    return open(path).model


class Model:
    """Converts between the pixels of a product and the ground.

    Samples and lines count from (0, 0) at the centre of the first pixel; longitudes and latitudes
    are degrees on WGS 84, heights metres above its ellipsoid. Arguments are numbers or arrays of
    any shape, broadcast against each other; results are float64 arrays of the common shape, NaN
    where there is no solution. Any number of threads may use a model; it pickles as the product's
    path.
    """

    def __init__(self, core):
        self._core = core

    def __reduce__(self):
        return _open_model, (self._core.file,)

    @property
    def scene_height(self):
        """Height of the scene in m, used where no height is given."""
        return self._core.scene_height

    @property
    def uses_height(self):
        """Whether heights matter; with the image's own map or tie points they do not."""
        return self._core.uses_height

    def ground_to_image(self, lon, lat, height=None):
        """Returns (sample, line) of points on the ground, also beyond the image's edges.

        :param height: m; None for the scene's.
        """
        return self._core.ground_to_image(lon, lat, self._height(height))

    def image_to_ground(self, sample, line, height=None):
        """Returns (lon, lat, height) of image positions at a height.

        :param height: m; None for the scene's.
        """
        return self._core.image_to_ground(sample, line, self._height(height))

    def incidence(self, sample, line, height=None):
        """Returns the angle in degrees between the line of sight and the ellipsoid's normal.

        NaN where there is no sensor model.
        """
        return self._core.incidence(sample, line, self._height(height))

    def _height(self, height):
        return self.scene_height if height is None else height


class Product:
    """An open product. Constant; any thread. Made by open()."""

    def __init__(self, path):
        self._core = _core.open(os.fspath(path))
        self.path = self._core.file  #: the product file

    def __repr__(self):
        return f"<rf_sar.Product {self.path!r}>"

    def __reduce__(self):
        return Product, (self.path,)

    @functools.cached_property
    def info(self):
        """The output of `rfsar info --json`, as a dictionary."""
        return _verbs.run_json("info", self.path)

    @property
    def satellite(self):
        return self.info["satellite"]

    @property
    def product_type(self):
        return self.info["productType"]

    @property
    def polarizations(self):
        """The polarizations of the images, in the order of their layers."""
        return [image["pole"] for image in self.info["images"]]

    @property
    def acquisition(self):
        """When and how it was acquired: start, stop, productId, beamMode, lookSide, ..."""
        return self.info["acquisition"]

    @property
    def footprint(self):
        """The outline on the ground, a GeoJSON polygon; None if it is not known."""
        return self.info["footprint"]

    @property
    def warnings(self):
        """Warnings about the product, each a sentence."""
        return self.info["warnings"]

    def check(self):
        """Returns what `rfsar check` finds: dictionaries of check, status and message."""
        return json.loads(_verbs.run("check", self.path, "--json", quiet=True))["checks"]

    def node(self, name):
        """Returns a node of the product, such as ":SAR_Metadata", as a dictionary."""
        return json.loads(self._core.node(name))

    @property
    def record(self):
        """The metadata record, under the names of `rfsar node FILE :SAR_Metadata`."""
        return self.node(":SAR_Metadata")

    @property
    def doppler(self):
        """The Doppler rates, under the names of `rfsar node FILE :Doppler`; None without them."""
        return self.node(":Doppler") if ":Doppler" in self._core.nodes else None

    @functools.cached_property
    def model(self):
        """The product's georeferencing, a Model. Raises Error if there is none."""
        return Model(_core.Model(self._core))

    @functools.cached_property
    def entries(self):
        """What the product can be opened as: dictionaries of name, description, pole, kind."""
        return self._core.entries()

    @functools.cached_property
    def calibration(self):
        """{name: (offset, divisors)}: linear power is (sample**2 + offset) / divisor of the column.

        float64 arrays, one number a column.
        """
        return {entry["name"]: self._core.gains(entry["name"]) for entry in self.entries
                if entry["kind"] == "calibrated"}

    def noise(self, pole):
        """Returns noise-equivalent sigma nought in dB, one a column; None without a table."""
        for entry in self.entries:
            if entry["kind"] == "noise" and entry["pole"] in ("", pole):
                return self._core.noise(entry["name"])
        return None

    def incidence(self, line=0):
        """Returns the incidence angle in degrees of every column of a line, as INCIDENCE_ANGLE."""
        return self._core.incidence(line)

    @functools.cached_property
    def tie_points(self):
        """The product's own tie points: {"line", "sample", "lon", "lat", "height"}, arrays."""
        return dict(zip(("line", "sample", "lon", "lat", "height"),
                        map(np.asarray, self._core.tie_points())))


def open(path):  # noqa: A001
    """Opens a product.

    :param path: the product's folder, product.xml, manifest.safe, a Capella item or its extended
        JSON, a .zip as downloaded, or a virtual path of GDAL's.
    :raises Error: naming the file and the reason.
    """
    return Product(path)
