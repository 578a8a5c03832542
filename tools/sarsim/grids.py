# SPDX-License-Identifier: MIT
"""From a file's (line, sample), 0,0 at the centre of the first pixel, to the ground and back."""
import numpy as np
from osgeo import osr

from . import ellipsoid, zerodoppler


def wrap_degrees(lon):
    return (np.asarray(lon, float) + 180.0) % 360.0 - 180.0


def margin_m(samples, spacing_m):
    """Ground or slant distance beyond each edge over which the range polynomial is fitted."""
    return 0.05 * samples * spacing_m + 100.0


class SensorGrid:
    """Lines in zero-Doppler time, samples in slant range or, through a polynomial, ground range.

    q counts samples from near range: q = sample, or samples - 1 - sample when `far_first`.
    slant range = sum of coefficients[k] * (q * spacing)^k.
    """

    def __init__(self, orbit, look, height_m, lines, samples, first_line_s, line_interval_s,
                 spacing_m, coefficients, far_first):
        self.orbit, self.look, self.height_m = orbit, look, height_m
        self.lines, self.samples = lines, samples
        self.first_line_s, self.line_interval_s = first_line_s, line_interval_s
        self.spacing_m, self.coefficients, self.far_first = spacing_m, coefficients, far_first

    def time_range(self, line, sample):
        q = self.samples - 1 - sample if self.far_first else sample
        distance = np.asarray(q, float) * self.spacing_m
        return (self.first_line_s + np.asarray(line, float) * self.line_interval_s,
                np.polynomial.polynomial.polyval(distance, self.coefficients))

    def line_sample(self, time_s, slant_range_m):
        line = (time_s - self.first_line_s) / self.line_interval_s
        # The polynomial rises over the image and its margin: halve until the range is met. What
        # lies beyond comes out at the margin's end, outside the image.
        margin = margin_m(self.samples, self.spacing_m) / self.spacing_m
        low = np.full(np.shape(slant_range_m), -margin)
        high = np.full(np.shape(slant_range_m), self.samples - 1 + margin)
        for _ in range(zerodoppler.HALVINGS):
            q = (low + high) / 2
            short = np.polynomial.polynomial.polyval(q * self.spacing_m,
                                                     self.coefficients) < slant_range_m
            low, high = np.where(short, q, low), np.where(short, high, q)
        q = (low + high) / 2
        return line, (self.samples - 1 - q if self.far_first else q)

    def ground(self, line, sample, height_m=None):
        """Earth-fixed points (n, 3) on the terrain height, or on another one."""
        line, sample = np.broadcast_arrays(np.ravel(line), np.ravel(sample))
        time_s, slant_range_m = self.time_range(line, sample)
        return zerodoppler.ground_points(self.orbit, self.look, time_s, slant_range_m,
                                         self.height_m if height_m is None else height_m)

    def image(self, points):
        """(line, sample) of earth-fixed points."""
        return self.line_sample(*zerodoppler.time_and_range(self.orbit, points))


class MapGrid:
    """North-up map pixels: UTM, or polar stereographic beyond 84 degrees. Terrain height constant.

    A target above or below the terrain appears where its range and time meet the terrain.
    """

    def __init__(self, orbit, look, height_m, lines, samples, spacing_m, line_spacing_m, centre):
        self.orbit, self.look, self.height_m = orbit, look, height_m
        self.lines, self.samples = lines, samples
        lon, lat = centre
        if abs(lat) >= 84:
            self.zone, self.epsg = None, 32661 if lat > 0 else 32761
        else:
            self.zone = min(int((lon + 180) // 6) + 1, 60)
            self.epsg = (32600 if lat >= 0 else 32700) + self.zone
        self.hemisphere = "N" if lat >= 0 else "S"
        self.srs = osr.SpatialReference()
        self.srs.ImportFromEPSG(self.epsg)
        self.srs.SetAxisMappingStrategy(osr.OAMS_TRADITIONAL_GIS_ORDER)
        geographic = osr.SpatialReference()
        geographic.ImportFromEPSG(4326)
        geographic.SetAxisMappingStrategy(osr.OAMS_TRADITIONAL_GIS_ORDER)
        self._to_map = osr.CoordinateTransformation(geographic, self.srs)
        self._from_map = osr.CoordinateTransformation(self.srs, geographic)
        x, y, _ = self._to_map.TransformPoint(lon, lat)
        west = np.floor((x - samples * spacing_m / 2) / spacing_m) * spacing_m
        north = np.ceil((y + lines * line_spacing_m / 2) / line_spacing_m) * line_spacing_m
        self.geotransform = (float(west), float(spacing_m), 0.0,
                             float(north), 0.0, -float(line_spacing_m))

    def map_position(self, line, sample):
        """Easting and northing (the geotransform counts from the corner of the first pixel)."""
        g = self.geotransform
        return (g[0] + (np.asarray(sample, float) + 0.5) * g[1],
                g[3] + (np.asarray(line, float) + 0.5) * g[5])

    def ground(self, line, sample, height_m=None):
        x, y = np.broadcast_arrays(*map(np.ravel, self.map_position(line, sample)))
        lon_lat = np.array(self._from_map.TransformPoints(np.stack([x, y], axis=1)))
        return ellipsoid.to_ecef(lon_lat[:, 0], lon_lat[:, 1],
                                 self.height_m if height_m is None else height_m)

    def image(self, points):
        on_terrain = zerodoppler.ground_points(
            self.orbit, self.look, *zerodoppler.time_and_range(self.orbit, points), self.height_m)
        lon, lat, _ = ellipsoid.to_geodetic(on_terrain)
        xy = np.array(self._to_map.TransformPoints(np.stack([lon, lat], axis=1)))
        g = self.geotransform
        return (xy[:, 1] - g[3]) / g[5] - 0.5, (xy[:, 0] - g[0]) / g[1] - 0.5
