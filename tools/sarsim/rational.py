# SPDX-License-Identifier: MIT
"""Rational polynomials (RPC) fitted to the brute-force geometry, as the XML products carry them."""
from dataclasses import dataclass

import numpy as np

from . import ellipsoid
from .grids import wrap_degrees

HEIGHT_REACH_M = 500.0


@dataclass
class RationalFunctions:
    line_offset: int
    line_scale: int
    pixel_offset: int
    pixel_scale: int
    lat_offset: float
    lat_scale: float
    lon_offset: float
    lon_scale: float
    height_offset: float
    height_scale: float
    line_fit_rms: float
    pixel_fit_rms: float
    line_numerator: list
    line_denominator: list
    pixel_numerator: list
    pixel_denominator: list


def terms(lon, lat, height):
    """The twenty products in RPC order, of normalised arguments (n,): (n, 20)."""
    x, y, h = lon, lat, height
    return np.stack([np.ones_like(x), x, y, h, x * y, x * h, y * h, x * x, y * y, h * h,
                     x * y * h, x ** 3, x * y * y, x * h * h, x * x * y, y ** 3, y * h * h,
                     x * x * h, y * y * h, h ** 3], axis=1)


def _fit(basis, value):
    """Numerator, denominator (constant 1): linear least squares, reweighted once."""
    denominator = np.ones(len(value))
    for _ in range(2):
        matrix = np.hstack([basis, -basis[:, 1:] * value[:, None]]) / denominator[:, None]
        solution = np.linalg.lstsq(matrix, value / denominator, rcond=1e-11)[0]
        numerator_c = solution[:20]
        denominator_c = np.concatenate([[1.0], solution[20:]])
        denominator = basis @ denominator_c
    return numerator_c, denominator_c, basis @ numerator_c / denominator - value


def fit(scene):
    r, grid = scene.recipe, scene.grid
    line, sample, height = (axis.ravel() for axis in np.meshgrid(
        np.linspace(0, r.lines - 1, 12), np.linspace(0, r.samples - 1, 12),
        r.height + np.linspace(-HEIGHT_REACH_M, HEIGHT_REACH_M, 5), indexing="ij"))
    lon, lat, _ = ellipsoid.to_geodetic(grid.ground(line, sample, height))
    lon_offset = round(r.lon_lat[0], 4)
    lat_offset = round(r.lon_lat[1], 4)
    lon = wrap_degrees(lon - lon_offset)
    lon_scale = max(round(float(np.abs(lon).max()) * 1.01, 4), 1e-4)
    lat_scale = max(round(float(np.abs(lat - lat_offset).max()) * 1.01, 4), 1e-4)
    line_offset, pixel_offset = r.lines // 2, r.samples // 2
    line_scale, pixel_scale = r.lines // 2 + 1, r.samples // 2 + 1
    height_scale = HEIGHT_REACH_M + 1
    basis = terms(lon / lon_scale, (lat - lat_offset) / lat_scale,
                  (height - r.height) / height_scale)
    line_n, line_d, line_e = _fit(basis, (line - line_offset) / line_scale)
    pixel_n, pixel_d, pixel_e = _fit(basis, (sample - pixel_offset) / pixel_scale)
    return RationalFunctions(
        line_offset, line_scale, pixel_offset, pixel_scale, lat_offset, lat_scale, lon_offset,
        lon_scale, r.height, height_scale,
        float(np.sqrt(np.mean(line_e ** 2)) * line_scale),
        float(np.sqrt(np.mean(pixel_e ** 2)) * pixel_scale),
        list(line_n), list(line_d), list(pixel_n), list(pixel_d))
