# SPDX-License-Identifier: MIT
"""One simulated acquisition: orbit, times, image grid, tie points, targets. What documents state.

All times are seconds after the recipe's start, already rounded as the documents write them, so
that the grid built from them is the one that a reader of the documents gets.
"""
import math
from dataclasses import dataclass

import numpy as np

from . import bursts, ellipsoid, grids, orbit as orbits, polarformat, zerodoppler

LIGHT_M_PER_S = 299792458.0
RANGE_POLYNOMIAL_DEGREE = 5
INCLINATION_DEG = {"capella": 97.5, "rcm": 97.74, "radarsat2": 98.6}
RCM_VECTORS, RS2_VECTORS, CAPELLA_VECTOR_INTERVAL_S = 10, 5, 0.6


def rounded(value):
    """The double that `%.15e` text gives back."""
    return float(f"{value:.15e}")


@dataclass
class Target:
    lon: float
    lat: float
    height: float
    line: float
    sample: float
    inside: bool


@dataclass
class DopplerEstimate:
    time_s: float
    coefficients: tuple


class Scene:
    """Immutable after construction; `recipe` must be complete."""

    def __init__(self, recipe, radar):
        r = self.recipe = recipe
        self.radar = radar
        self.tick_s = 1e-9 if r.platform == "capella" else 1e-6
        lon, lat = r.lon_lat
        position, velocity, self.centre_range_m = orbits.place(
            lon, lat, r.height, r.altitude, r.incidence, r.look,
            r.pass_direction == "ascending", INCLINATION_DEG[r.platform])
        self.centre_ecef = ellipsoid.to_ecef(lon, lat, r.height)
        self.ground_speed_m_s = (np.linalg.norm(velocity) * np.linalg.norm(self.centre_ecef)
                                 / np.linalg.norm(position))
        self._set_times()
        reach_s = 5.0 + 0.3 * self.duration_s
        self.centre_s = self.duration_s / 2 - self.line_times_late_s
        self.orbit = orbits.Orbit(position, velocity, self.centre_s,
                                  min(-reach_s, self.vector_times_s[0] - 1),
                                  max(self.duration_s + reach_s, self.vector_times_s[-1] + 1))
        self._set_grid()
        self._set_angles()
        self.doppler_reference_s = rounded(2 * self.near_range_m / LIGHT_M_PER_S)
        self._set_doppler()
        self._set_bursts()
        self.tie_points = [] if r.product_is_map else self._tie_points()
        self.targets, self.beam_targets = self._targets()

    def tick(self, time_s):
        return round(time_s / self.tick_s) * self.tick_s

    def _set_times(self):
        r = self.recipe
        if r.product_is_polar:
            duration = polarformat.APERTURE_S
        elif r.product_is_map:  # the acquisition covers the map's diagonal
            duration = 1.1 * math.hypot(r.lines * r.line_spacing,
                                        r.samples * r.pixel_spacing) / self.ground_speed_m_s
        else:
            duration = (r.lines - 1) * r.line_spacing / self.ground_speed_m_s
        self.duration_s = max(self.tick(duration), self.tick_s)
        self.line_interval_s = self.duration_s / (r.lines - 1)
        self.first_line_s, self.last_line_s = 0.0, self.duration_s
        if r.line_order == "decreasing":
            self.first_line_s, self.last_line_s = self.last_line_s, self.first_line_s
        # RCM states the line times of its strips a quarter of the pulse interval late.
        strip = r.family == "rcm" and "spotlight" not in r.acquisition.lower()
        self.line_times_late_s = 0.25 / self.radar["prf"] if strip else 0.0
        self._set_vector_times()

    def _set_vector_times(self):
        r = self.recipe
        count, interval, start = r.state_vectors, r.vector_interval, r.vector_start
        if r.family == "radarsat2":  # the arc is the image, whatever its length
            count = count or RS2_VECTORS
            if interval is None:
                interval = self.duration_s / max(count - 1, 1)
                start = 0.0 if start is None else start
        elif r.family == "rcm":
            count = count or RCM_VECTORS
            interval = interval or next((step for step in (1.0, 4.0, 10.0, 30.0)
                                         if (count - 1) * step >= self.duration_s), 60.0)
        else:
            interval = interval or CAPELLA_VECTOR_INTERVAL_S
            count = count or math.ceil(self.duration_s / interval) + 18
        interval = max(self.tick(interval), self.tick_s)
        if start is None:
            start = round((self.duration_s - (count - 1) * interval) / 2, 3)
        times = self.tick(start) + interval * np.arange(count)
        if r.vector_jitter:
            shift = np.random.default_rng([r.seed, 7]).uniform(-1, 1, count) * r.vector_jitter
            times = np.sort(times + shift)
        self.vector_times_s = [self.tick(t) for t in times]

    def _set_grid(self):
        r = self.recipe
        far_first = r.pixel_order == "decreasing"
        if r.product_is_map:
            self.grid = grids.MapGrid(self.orbit, r.look, r.height, r.lines, r.samples,
                                      r.pixel_spacing, r.line_spacing, r.lon_lat)
            corners = self.grid.ground([0, 0, r.lines - 1, r.lines - 1],
                                       [0, r.samples - 1, 0, r.samples - 1])
            ranges = zerodoppler.time_and_range(self.orbit, corners)[1]
            self.near_range_m = rounded(ranges.min())
            self.far_range_m = float(ranges.max())
            self.range_coefficients = self._ground_to_slant(from_near_m=self.near_range_m)
            return
        if r.product_is_slant:
            near = self.centre_range_m - (r.samples - 1) / 2 * r.pixel_spacing
            self.range_coefficients = [rounded(near), 1.0, 0.0, 0.0, 0.0, 0.0]
        else:
            self.range_coefficients = self._ground_to_slant()
        self.near_range_m = self.range_coefficients[0]
        self.grid = self._sensor_grid(self.line_times_late_s)
        self.far_range_m = float(self.grid.time_range(0, 0 if far_first else r.samples - 1)[1])
        if r.product_is_polar:
            self.grid = polarformat.PolarFormatGrid(
                self.orbit, self.centre_s, self.centre_ecef, r.height, r.lines, r.samples,
                r.pixel_spacing, r.line_spacing)

    def _sensor_grid(self, late_s):
        r = self.recipe
        step = self.line_interval_s * (1 if r.line_order == "increasing" else -1)
        return grids.SensorGrid(self.orbit, r.look, r.height, r.lines, r.samples,
                                self.first_line_s - late_s, step, r.pixel_spacing,
                                self.range_coefficients, r.pixel_order == "decreasing")

    def _set_bursts(self):
        """Each beam's lines are late by its own pulse interval; without beams there is one grid."""
        self.bursts = bursts.layout(self.recipe, self.radar["beams"]) if self.recipe.beams else []
        self.beam_grids = {beam: self._sensor_grid(0.25 / prf) for beam, prf in zip(
            self.radar["beams"], self.radar["prfs"])} if self.bursts else {}

    def _grid_at(self, sample):
        return (self.beam_grids[bursts.owner(self.bursts, sample)] if self.bursts else self.grid)

    def _ground_to_slant(self, from_near_m=None):
        """Slant range as a polynomial of the distance along the ground from the near edge."""
        r = self.recipe
        length = (r.samples - 1) * r.pixel_spacing
        margin = grids.margin_m(r.samples, r.pixel_spacing)
        reach = length / 2 + 2 * margin
        position, _ = self.orbit.state(self.centre_s)
        nadir = float(ellipsoid.to_geodetic(position)[2]) - r.height
        nearest = self.centre_range_m - reach * np.sin(np.radians(r.incidence))
        ranges = np.linspace(max(nearest, nadir + 100.0), self.centre_range_m + reach, 4001)
        points = zerodoppler.ground_points(self.orbit, r.look, np.full(4001, self.centre_s),
                                           ranges, r.height)
        ground = np.concatenate([[0.0], np.cumsum(np.linalg.norm(np.diff(points, axis=0), axis=1))])
        if from_near_m is None:
            centre = np.interp(self.centre_range_m, ranges, ground)
            ground -= centre - (r.samples - 1) * r.pixel_spacing / 2
        else:
            ground -= np.interp(from_near_m, ranges, ground)
        if ground[0] > 0:
            raise ValueError("the swath reaches beyond nadir: fewer samples or more incidence")
        used = (ground > -margin) & (ground < length + margin)
        fit = np.polynomial.Polynomial.fit(ground[used], ranges[used], RANGE_POLYNOMIAL_DEGREE)
        return [rounded(c) for c in fit.convert().coef]

    def _set_angles(self):
        ranges = np.array([self.near_range_m, self.far_range_m, self.centre_range_m])
        times = np.full(3, self.centre_s)
        points = zerodoppler.ground_points(self.orbit, self.recipe.look, times, ranges,
                                           self.recipe.height)
        self.incidence_near_deg, self.incidence_far_deg, self.incidence_centre_deg = (
            zerodoppler.incidence_deg(self.orbit, times, points))
        if self.recipe.product_is_polar:
            line, last = self.recipe.lines // 2, self.recipe.samples - 1
            self.incidence_near_deg, self.incidence_far_deg, self.incidence_centre_deg = (
                self.grid.incidence_deg(line, [0, last, self.recipe.samples // 2]))
        position, _ = self.orbit.state(self.centre_s)
        self.satellite_height_m = float(ellipsoid.to_geodetic(position)[2])

    def incidence_profile(self, count):
        """Incidence angles at `count` samples evenly from near to far range, mid-image."""
        q = np.linspace(0, self.recipe.samples - 1, count) * self.recipe.pixel_spacing
        ranges = np.polynomial.polynomial.polyval(q, self.range_coefficients)
        times = np.full(count, self.centre_s)
        points = zerodoppler.ground_points(self.orbit, self.recipe.look, times, ranges,
                                           self.recipe.height)
        return zerodoppler.incidence_deg(self.orbit, times, points)

    def _set_doppler(self):
        r = self.recipe
        places = r.doppler_positions or [(k + 0.5) / r.doppler_estimates
                                         for k in range(r.doppler_estimates)]
        steering = 2400.0 if "spotlight" in r.acquisition.lower() else 40.0
        self.doppler = [
            DopplerEstimate(self.tick(place * self.duration_s),
                            (rounded(118.25 - steering * (place - 0.5)), -81901.25, 20215109.0))
            for place in places]
        rate = -2 * self.ground_speed_m_s ** 2 / (self.radar["wavelength"] * self.near_range_m)
        tau = self.doppler_reference_s
        self.doppler_rate = [rounded(c) for c in (rate, -rate / tau, rate / tau ** 2)]

    def vectors(self):
        """[(time_s, position, velocity)], positions and velocities as floats."""
        return [(t, *(tuple(map(float, part)) for part in self.orbit.state(t)))
                for t in self.vector_times_s]

    def _tie_points(self):
        """[(line, sample, lon, lat, height)] at whole pixels; 0,0 is the first pixel's centre."""
        r = self.recipe
        lines = np.unique(np.round(np.linspace(0, r.lines - 1, r.tie_points)))
        samples = np.unique(np.round(np.linspace(0, r.samples - 1, r.tie_points)))
        line, sample = (grid.ravel() for grid in np.meshgrid(lines, samples, indexing="ij"))
        points = np.concatenate([self._grid_at(s).ground(l, s) for l, s in zip(line, sample)]
                                if self.bursts else [self.grid.ground(line, sample)])
        lon, lat, _ = ellipsoid.to_geodetic(points)
        return [(*map(float, row), r.height) for row in zip(line, sample, lon, lat)]

    def _targets(self):
        """All targets where the image shows them, and where each beam does."""
        r = self.recipe
        wanted = r.targets if r.targets is not None else self._target_grid()
        if not wanted:
            return [], {beam: [] for beam in self.beam_grids}
        lon, lat = (np.array([float(t[key]) for t in wanted]) for key in ("lon", "lat"))
        height = np.array([float(t.get("height", r.height)) for t in wanted])

        def seen(grid):
            line, sample = grid.image(ellipsoid.to_ecef(lon, lat, height))
            inside = ((line > -0.5) & (line < r.lines - 0.5)
                      & (sample > -0.5) & (sample < r.samples - 0.5))
            return [Target(*map(float, row[:5]), bool(row[5]))
                    for row in zip(lon, lat, height, line, sample, inside)]

        by_beam = {beam: seen(grid) for beam, grid in self.beam_grids.items()}
        targets = seen(self.grid)
        if self.bursts:
            targets = [by_beam[bursts.owner(self.bursts, target.sample)][k]
                       for k, target in enumerate(targets)]
        return targets, by_beam

    def _target_grid(self):
        """Targets spread over the image; all on the terrain but the last, 40 m above it."""
        r, n = self.recipe, self.recipe.target_grid
        if n < 1:
            return []
        rng = np.random.default_rng([r.seed, 11])
        i, j = (axis.ravel() for axis in np.meshgrid(np.arange(n), np.arange(n), indexing="ij"))
        line = (i + 0.5 + rng.uniform(-0.2, 0.2, n * n)) / n * (r.lines - 1)
        sample = (j + 0.5 + rng.uniform(-0.2, 0.2, n * n)) / n * (r.samples - 1)
        heights = np.full(n * n, r.height)
        heights[-1] += 40.0
        found = []
        for height in np.unique(heights):
            chosen = heights == height
            lon, lat, _ = ellipsoid.to_geodetic(
                self.grid.ground(line[chosen], sample[chosen], height))
            found += [dict(lon=round(float(x), 9), lat=round(float(y), 9), height=float(height))
                      for x, y in zip(lon, lat)]
        return found
