# SPDX-License-Identifier: MIT
"""A satellite on a near-circular J2 orbit, in the earth-fixed frame.

The equations of motion are integrated in the rotating frame itself (RK4, half-second steps);
between the nodes a quintic through position, velocity and acceleration is exact to micrometres.
Times are seconds from the recipe's start.
"""
import numpy as np

from . import ellipsoid

GM = 3.986004418e14
J2 = 1.08262668e-3
EARTH_RATE = np.array([0.0, 0.0, 7.2921150e-5])
STEP_S = 0.5


def acceleration(position, velocity):
    """Gravity with J2 plus Coriolis and centrifugal terms; arrays (..., 3)."""
    r2 = np.sum(position * position, axis=-1, keepdims=True)
    r = np.sqrt(r2)
    z2 = position[..., 2:3] ** 2 / r2
    factor = 1.5 * J2 * ellipsoid.SEMI_MAJOR_M ** 2 / r2
    oblate = 1 + factor * (np.array([1.0, 1.0, 3.0]) - 5 * z2)
    gravity = -GM / (r2 * r) * position * oblate
    return (gravity - 2 * np.cross(EARTH_RATE, velocity)
            - np.cross(EARTH_RATE, np.cross(EARTH_RATE, position)))


class Orbit:
    """Positions and velocities over [first_s, last_s]; immutable."""

    def __init__(self, position, velocity, at_s, first_s, last_s):
        back = self._walk(position, velocity, -STEP_S, int(np.ceil((at_s - first_s) / STEP_S)))
        ahead = self._walk(position, velocity, STEP_S, int(np.ceil((last_s - at_s) / STEP_S)))
        nodes = back[:0:-1] + ahead
        self.start_s = at_s - (len(back) - 1) * STEP_S
        self.stop_s = at_s + (len(ahead) - 1) * STEP_S
        self.position = np.array([node[0] for node in nodes])
        self.velocity = np.array([node[1] for node in nodes])
        self.accel = acceleration(self.position, self.velocity)

    @staticmethod
    def _walk(p, v, h, count):
        nodes = [(p, v)]
        for _ in range(count):
            k1 = acceleration(p, v)
            k2 = acceleration(p + h / 2 * v, v + h / 2 * k1)
            k3 = acceleration(p + h / 2 * v + h * h / 4 * k1, v + h / 2 * k2)
            k4 = acceleration(p + h * v + h * h / 2 * k2, v + h * k3)
            p, v = (p + h * v + h * h / 6 * (k1 + k2 + k3), v + h / 6 * (k1 + 2 * k2 + 2 * k3 + k4))
            nodes.append((p, v))
        return nodes

    def node_times(self):
        return self.start_s + STEP_S * np.arange(len(self.position))

    def state(self, time_s):
        """Position and velocity at each time, (..., 3) each; times outside the arc raise."""
        time_s = np.asarray(time_s, float)
        if np.any(time_s < self.start_s - 1e-9) or np.any(time_s > self.stop_s + 1e-9):
            raise ValueError("time outside the simulated orbit arc")
        cell = (time_s - self.start_s) / STEP_S
        i = np.clip(np.floor(cell).astype(int), 0, len(self.position) - 2)
        u = (cell - i)[..., None]
        p0, v0, a0 = self.position[i], self.velocity[i] * STEP_S, self.accel[i] * STEP_S ** 2
        p1, v1 = self.position[i + 1], self.velocity[i + 1] * STEP_S
        a1 = self.accel[i + 1] * STEP_S ** 2
        # p = p0 + v0 u + a0 u^2/2 + c3 u^3 + c4 u^4 + c5 u^5, c from the conditions at u = 1
        dp = p1 - p0 - v0 - a0 / 2
        dv = v1 - v0 - a0
        da = a1 - a0
        c3 = 10 * dp - 4 * dv + da / 2
        c4 = -15 * dp + 7 * dv - da
        c5 = 6 * dp - 3 * dv + da / 2
        position = p0 + u * (v0 + u * (a0 / 2 + u * (c3 + u * (c4 + u * c5))))
        velocity = (v0 + u * (a0 + u * (3 * c3 + u * (4 * c4 + u * 5 * c5)))) / STEP_S
        return position, velocity


def place(lon, lat, height_m, altitude_m, incidence_deg, look, ascending, inclination_deg):
    """State of a satellite that sees the place at zero Doppler, and the slant range.

    The heading follows from the inclination; where the place lies too far poleward for it, the
    satellite passes almost along the parallel (a higher inclination), still ascending or not.
    """
    target = ellipsoid.to_ecef(lon, lat, height_m)
    east, north, up = ellipsoid.local_axes(lon, lat)
    sin_heading = np.cos(np.radians(inclination_deg)) / max(np.cos(np.radians(lat)), 1e-9)
    heading = np.arcsin(np.clip(sin_heading, -0.97, 0.97))
    if not ascending:
        heading = np.pi - heading
    side = 1.0 if look == "right" else -1.0
    look_azimuth = heading + side * np.pi / 2
    outward = -(np.sin(look_azimuth) * east + np.cos(look_azimuth) * north)
    incidence = np.radians(incidence_deg)
    line_of_sight = np.cos(incidence) * up + np.sin(incidence) * outward
    orbit_radius = ellipsoid.SEMI_MAJOR_M + altitude_m
    along = target @ line_of_sight
    slant_range = -along + np.sqrt(along ** 2 + orbit_radius ** 2 - target @ target)
    satellite = target + slant_range * line_of_sight
    # Horizontal and perpendicular to the line of sight: the zero-Doppler condition itself.
    forward = side * np.cross(line_of_sight, satellite)
    forward /= np.linalg.norm(forward)
    frame = np.cross(EARTH_RATE, satellite)
    # |speed * forward + frame|^2 = GM / R: the circular speed, seen from the rotating earth
    dot = forward @ frame
    speed = -dot + np.sqrt(dot ** 2 - frame @ frame + GM / orbit_radius)
    return satellite, speed * forward, float(slant_range)
