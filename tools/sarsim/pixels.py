# SPDX-License-Identifier: MIT
"""What the radar sees: speckle over a ground pattern, and point targets.

The pattern is fixed to the ground and drawn north up: a dark sea with a curved coast in the
south-west, fields of different brightness, and a bright letter F. Seen in an image it tells at
once whether the image is mirrored or turned.
"""
from dataclasses import dataclass
from typing import Optional

import numpy as np

from . import ellipsoid
from .bursts import Burst

TARGET_SIGMA = 0.9      # pixels; a Gaussian, nearly free of aliases
TARGET_REACH = 6        # pixels around the centre
STRIP_LINES = 256       # one random stream a strip: equal pixels however the file is laid out
WIDE_STRIP_LINES = 64   # for images wider than WIDE_SAMPLES
WIDE_SAMPLES = 20000
COARSE = 1024           # the pattern is computed on no more cells than this along a side

# Speckle (mean square root of intensity) and target peak, by stored type.
LEVELS = {"uint8": (10.0, 240.0), "uint16": (350.0, 40000.0), "int16": (90.0, 14000.0),
          "uint32": (900.0, 4e6), "int32": (900.0, 4e6),
          "float32": (0.2, 40.0), "float64": (0.2, 40.0)}
POLE_GAIN = {"HH": 1.0, "VV": 0.9, "HV": 0.45, "VH": 0.45, "CH": 0.7, "CV": 0.7}


def ground_pattern(east, north):
    """Amplitude 0.25..1.9 over the unit square of the scene, east and north from -0.5 to 0.5."""
    column, row = np.floor((east + 0.5) * 9), np.floor((north + 0.5) * 7)
    fields = 0.75 + 0.35 * np.sin(12.9898 * column + 78.233 * row)
    coast = -0.25 + 0.07 * np.sin(9 * east) + 0.6 * np.clip(-0.2 - east, 0, None)
    amplitude = np.where(north < coast, 0.25, fields)
    stem = (np.abs(east + 0.09) < 0.03) & (np.abs(north - 0.1) < 0.2)
    top = (np.abs(east - 0.03) < 0.15) & (np.abs(north - 0.27) < 0.03)
    middle = (np.abs(east + 0.01) < 0.09) & (np.abs(north - 0.12) < 0.03)
    return np.where(stem | top | middle, 1.9, amplitude)


@dataclass(frozen=True)
class Picture:
    """One image file: the whole grid or a burst's part of it, in one polarization."""
    path: str       # relative to the product's folder
    pole: str
    index: int      # of the polarization; equal indices have equal speckle
    scene: "Scene"
    burst: Optional[Burst]

    @property
    def window(self):
        """First line and sample in the grid, number of lines and of samples."""
        b, r = self.burst, self.scene.recipe
        return ((b.first_line, b.first_sample, b.lines, b.samples) if b
                else (0, 0, r.lines, r.samples))

    @property
    def is_complex(self):
        return self.scene.recipe.image_is_complex(self.pole)

    @property
    def targets(self):
        """Their lines and samples count in the grid."""
        return self.scene.beam_targets[self.burst.beam] if self.burst else self.scene.targets


class Content:
    """Pixels of a scene, strip by strip; the same seed gives the same pixels."""

    def __init__(self, scene):
        self.scene = scene
        self.recipe = scene.recipe
        self.strip_lines = (STRIP_LINES if self.recipe.samples <= WIDE_SAMPLES
                            else WIDE_STRIP_LINES)
        self.speckle, self.peak = LEVELS[self.recipe.pixel_type]
        self._pattern, self._factor = self._coarse_pattern()
        self._phases = np.random.default_rng([self.recipe.seed, 13]).uniform(
            -np.pi, np.pi, max(len(scene.targets), 1))

    def _coarse_pattern(self):
        r, grid = self.recipe, self.scene.grid
        factor = -(-max(r.lines, r.samples) // COARSE)
        u, v = np.linspace(-1, 1, 12), np.linspace(-1, 1, 12)
        line, sample = np.meshgrid((u + 1) / 2 * (r.lines - 1), (v + 1) / 2 * (r.samples - 1),
                                   indexing="ij")
        points = grid.ground(line, sample) - self.scene.centre_ecef
        east, north, _ = ellipsoid.local_axes(*r.lon_lat)
        span = [np.ptp(points @ axis) for axis in (east, north)]
        basis = np.polynomial.polynomial.polyvander2d(
            np.repeat(u, 12), np.tile(v, 12), [3, 3])
        east_c, north_c = (
            np.linalg.lstsq(basis, points @ axis / max(size, 1.0), rcond=None)[0].reshape(4, 4)
            for axis, size in zip((east, north), span))
        x, y = (np.polynomial.polynomial.polyvander(
            (2 * np.arange(-(-size // factor)) + 1) * factor / size - 1, 3)
            for size in (r.lines, r.samples))
        return (ground_pattern(x @ east_c @ y.T, x @ north_c @ y.T).astype(np.float32), factor)

    def strips(self, picture):
        """Yields (first line, array) of the picture: complex64 where it is complex, else float32
        amplitude. A burst shows exactly what the whole grid would, where its targets lie alike."""
        r = self.recipe
        top, left, lines, samples = picture.window
        for number in range(top // self.strip_lines, -(-(top + lines) // self.strip_lines)):
            first = number * self.strip_lines
            strip = self._strip(picture, number, min(self.strip_lines, r.lines - first))
            self._add_targets(strip, first, picture)
            begin, end = max(first, top), min(first + len(strip), top + lines)
            yield begin - top, strip[begin - first:end - first, left:left + samples]

    def _strip(self, picture, number, count):
        r = self.recipe
        rng = np.random.Generator(np.random.SFC64([r.seed, picture.index, number]))
        rows = (number * self.strip_lines + np.arange(count)) // self._factor
        clutter = np.repeat(self._pattern[rows], self._factor, axis=1)[:, :r.samples]
        clutter *= np.float32(self.speckle * POLE_GAIN.get(picture.pole, 1.0))
        shape = (count, r.samples)
        if picture.is_complex:
            strip = rng.standard_normal(shape + (2,), np.float32).view(np.complex64)[..., 0]
            return strip * (clutter * np.float32(np.sqrt(0.5)))
        return np.sqrt(rng.standard_exponential(shape, np.float32)) * clutter

    def _add_targets(self, strip, first, picture):
        for target, phase in zip(picture.targets, self._phases):
            top = max(int(target.line) - TARGET_REACH, first)
            bottom = min(int(target.line) + TARGET_REACH + 1, first + len(strip) - 1)
            left = max(int(target.sample) - TARGET_REACH, 0)
            right = min(int(target.sample) + TARGET_REACH + 1, strip.shape[1] - 1)
            if not target.inside or top > bottom:
                continue
            along = np.exp(-0.5 * ((np.arange(top, bottom + 1) - target.line) / TARGET_SIGMA) ** 2)
            across = np.exp(-0.5 * ((np.arange(left, right + 1) - target.sample)
                                    / TARGET_SIGMA) ** 2)
            blob = self.peak * np.outer(along, across)
            window = strip[top - first:bottom + 1 - first, left:right + 1]
            if np.iscomplexobj(strip):
                window += (blob * np.exp(1j * phase)).astype(np.complex64)
            else:
                np.sqrt(window ** 2 + blob.astype(np.float32) ** 2, out=window)
