# SPDX-License-Identifier: MIT
"""Brute-force zero-Doppler geometry: dense sampling, then bisection. No derivatives, no fits."""
import numpy as np

from . import ellipsoid

HALVINGS = 60


def side_of(look):
    return 1.0 if look == "right" else -1.0


def time_and_range(orbit, points):
    """Time and slant range at which V.(P - S) = 0, for points (n, 3).

    Raises ValueError when a point passes broadside outside the simulated arc.
    """
    points = np.atleast_2d(points)
    t = orbit.node_times()
    ahead = np.stack([np.sum(orbit.velocity * (point - orbit.position), axis=1)
                      for point in points])
    # The satellite approaches (positive) and then leaves the point: one change of sign.
    if np.any(ahead[:, 0] < 0) or np.any(ahead[:, -1] > 0):
        raise ValueError("a point has no zero-Doppler time within the simulated orbit arc")
    k = np.argmax(ahead <= 0, axis=1)
    low, high = t[np.maximum(k - 1, 0)], t[k]
    for _ in range(HALVINGS):
        middle = (low + high) / 2
        position, velocity = orbit.state(middle)
        approaching = np.sum(velocity * (points - position), axis=1) > 0
        low, high = np.where(approaching, middle, low), np.where(approaching, high, middle)
    time_s = (low + high) / 2
    position, _ = orbit.state(time_s)
    return time_s, np.linalg.norm(points - position, axis=1)


def ground_points(orbit, look, time_s, slant_range_m, height_m):
    """Points (n, 3) at the height, the range and broadside of the satellite, on the look side."""
    position, velocity = orbit.state(time_s)
    along = velocity / np.linalg.norm(velocity, axis=-1, keepdims=True)
    down = -position / np.linalg.norm(position, axis=-1, keepdims=True)
    down = down - np.sum(down * along, axis=-1, keepdims=True) * along
    down /= np.linalg.norm(down, axis=-1, keepdims=True)
    sideways = side_of(look) * np.cross(down, along)
    reach = np.asarray(slant_range_m, float)[..., None]
    low, high = np.zeros(reach.shape), np.full(reach.shape, np.pi / 2)  # look angle from nadir
    for _ in range(HALVINGS):
        angle = (low + high) / 2
        points = position + reach * (np.cos(angle) * down + np.sin(angle) * sideways)
        above = (ellipsoid.to_geodetic(points)[2] > height_m)[..., None]
        low, high = np.where(above, low, angle), np.where(above, angle, high)
    miss = np.abs(ellipsoid.to_geodetic(points)[2] - height_m)
    if np.any(miss > 1e-3):
        raise ValueError("a slant range does not reach the ground")
    return points


def incidence_deg(orbit, time_s, points):
    position, _ = orbit.state(time_s)
    ray = position - points
    ray /= np.linalg.norm(ray, axis=-1, keepdims=True)
    return np.degrees(np.arccos(np.sum(ray * ellipsoid.normals(points), axis=-1)))
