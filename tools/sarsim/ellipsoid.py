# SPDX-License-Identifier: MIT
"""WGS 84: geodetic and earth-fixed positions. Angles in degrees, lengths in m, numpy arrays."""
import numpy as np

SEMI_MAJOR_M = 6378137.0
SEMI_MINOR_M = 6356752.314245179
E2 = 1 - (SEMI_MINOR_M / SEMI_MAJOR_M) ** 2


def to_ecef(lon, lat, height):
    """(..., 3) earth-fixed positions."""
    lam, phi = np.radians(lon), np.radians(lat)
    n = SEMI_MAJOR_M / np.sqrt(1 - E2 * np.sin(phi) ** 2)
    return np.stack(np.broadcast_arrays((n + height) * np.cos(phi) * np.cos(lam),
                                        (n + height) * np.cos(phi) * np.sin(lam),
                                        (n * (1 - E2) + height) * np.sin(phi)), axis=-1)


def to_geodetic(point):
    """lon (-180..180], lat, height; fixed-point iteration on the latitude, far below 1e-9 m."""
    x, y, z = np.moveaxis(np.asarray(point, float), -1, 0)
    p = np.hypot(x, y)
    phi = np.arctan2(z, p * (1 - E2))
    for _ in range(8):
        n = SEMI_MAJOR_M / np.sqrt(1 - E2 * np.sin(phi) ** 2)
        phi = np.arctan2(z + E2 * n * np.sin(phi), p)
    # This form of the height is regular at the equator and at the poles alike.
    height = (p * np.cos(phi) + z * np.sin(phi)
              - SEMI_MAJOR_M * np.sqrt(1 - E2 * np.sin(phi) ** 2))
    return np.degrees(np.arctan2(y, x)), np.degrees(phi), height


def local_axes(lon, lat):
    """Unit vectors east, north, up of one place, earth-fixed."""
    lam, phi = np.radians(lon), np.radians(lat)
    east = np.array([-np.sin(lam), np.cos(lam), 0.0])
    up = np.array([np.cos(phi) * np.cos(lam), np.cos(phi) * np.sin(lam), np.sin(phi)])
    return east, np.cross(up, east), up


def normals(point):
    """Unit outward normals of the ellipsoid below each point."""
    lon, lat, _ = to_geodetic(point)
    lam, phi = np.radians(lon), np.radians(lat)
    return np.stack([np.cos(phi) * np.cos(lam), np.cos(phi) * np.sin(lam), np.sin(phi)], axis=-1)
