# SPDX-License-Identifier: MIT
"""Brute-force polar format geometry: what the algorithm does to the pulses, by differences.

A point appears where, at the centre of the aperture, its range beside that of the scene reference
point, and the change of that with time, are those of the grid's own spatial frequencies. All
changes are taken from the simulated flight by differences; nothing is differentiated by hand.
"""
import numpy as np
from numpy.polynomial import polynomial

from . import ellipsoid

APERTURE_S = 10.0
STEP_S = 0.05
STENCIL = np.array([-1, 9, -45, 0, 45, -9, 1]) / 60 / STEP_S  # d/dt to the sixth order
DEGREE = 3


def unit(vector):
    return vector / np.linalg.norm(vector)


class PolarFormatGrid:
    """Samples along the range direction of polar angle 0, lines across it, in the slant plane."""

    def __init__(self, orbit, middle_s, reference, height_m, lines, samples, spacing_m,
                 line_spacing_m):
        self.orbit, self.reference, self.height_m = orbit, reference, height_m
        self.lines, self.samples = lines, samples
        self.spacing_m, self.line_spacing_m = spacing_m, line_spacing_m
        # Off the image's middle, off broadside, and off the direction of polar angle 0.
        self.reference_sample, self.reference_line = samples // 2 - 3, lines // 2 + 5
        self.centre_s = middle_s + 0.7
        self.position, self.velocity = orbit.state(self.centre_s)
        self._set_plane(middle_s - 0.8)
        self._set_polynomials(np.linspace(middle_s - APERTURE_S / 2, middle_s + APERTURE_S / 2, 201))

    def _set_plane(self, zero_s):
        position, velocity = self.orbit.state(zero_s)
        self.row = unit(self.reference - position)
        self.ground_normal = ellipsoid.normals(self.reference)
        normal = unit(np.cross(self.row, velocity))
        self.normal = normal if normal @ self.ground_normal > 0 else -normal
        self.column = np.cross(self.normal, self.row)

    def _set_polynomials(self, t):
        """Polar angle over time, scale over angle: the line of sight, on the slant plane as the
        ground under it sees it."""
        position, _ = self.orbit.state(t)
        sight = self.reference - position
        sight /= np.linalg.norm(sight, axis=1, keepdims=True)
        lift = (sight @ self.normal) / (self.ground_normal @ self.normal)
        row, column = (sight @ axis - lift * (self.ground_normal @ axis)
                       for axis in (self.row, self.column))
        angle = np.arctan2(column, row)
        self.angle = polynomial.polyfit(t, angle, DEGREE)
        self.scale = polynomial.polyfit(angle, np.hypot(row, column), DEGREE)
        self.antenna = polynomial.polyfit(t, position, DEGREE)

    def _frequencies(self, t):
        """How range grows with sample and line, in m a pixel."""
        angle = polynomial.polyval(t, self.angle)
        scale = polynomial.polyval(angle, self.scale)
        return (scale * np.cos(angle) * self.spacing_m, scale * np.sin(angle) * self.line_spacing_m)

    def image(self, points):
        """(line, sample) of earth-fixed points (n, 3)."""
        t = self.centre_s + STEP_S * np.arange(-3, 4)
        position, _ = self.orbit.state(t)
        ranges = np.linalg.norm(np.atleast_2d(points)[:, None] - position, axis=-1)
        ranges -= np.linalg.norm(self.reference - position, axis=-1)
        across, along = self._frequencies(t)
        system = np.array([[across[3], along[3]], [across @ STENCIL, along @ STENCIL]])
        sample, line = np.linalg.solve(system, np.stack([ranges[:, 3], ranges @ STENCIL]))
        return line + self.reference_line, sample + self.reference_sample

    def ground(self, line, sample, height_m=None):
        """Earth-fixed points (n, 3) on the terrain height, or on another one: tried and mended."""
        height = self.height_m if height_m is None else height_m
        wanted = np.stack(np.broadcast_arrays(np.ravel(line), np.ravel(sample)), axis=-1)
        east, north, _ = ellipsoid.local_axes(*ellipsoid.to_geodetic(self.reference)[:2])

        def at(offset):
            flat = self.reference + offset[:, :1] * east + offset[:, 1:] * north
            lon, lat, _ = ellipsoid.to_geodetic(flat)
            points = ellipsoid.to_ecef(lon, lat, height)
            return points, np.stack(self.image(points), axis=-1)

        offset = np.zeros(wanted.shape)
        for _ in range(8):
            _, found = at(offset)
            slopes = np.stack([(at(offset + step)[1] - found) / 10.0
                               for step in ([10.0, 0.0], [0.0, 10.0])], axis=-1)
            offset = offset + np.linalg.solve(slopes, (wanted - found)[..., None])[..., 0]
        return at(offset)[0]

    def incidence_deg(self, line, sample):
        points = self.ground(line, sample)
        rays = self.position - points
        rays /= np.linalg.norm(rays, axis=-1, keepdims=True)
        return np.degrees(np.arccos(np.sum(rays * ellipsoid.normals(points), axis=-1)))
