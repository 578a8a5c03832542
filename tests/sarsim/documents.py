# SPDX-License-Identifier: MIT
"""Reads simulated documents the way any reader would, and projects with what they state.

Independent of the simulator's geometry: the written state vectors are fitted by polynomials and
the zero-Doppler time is found by Newton's method.
"""
import datetime
import json
import xml.etree.ElementTree as ElementTree

import numpy as np
from osgeo import gdal

gdal.UseExceptions()
EPOCH = datetime.datetime(2000, 1, 1)


def seconds(text):
    whole, fraction = text.rstrip("Z").split(".")
    return (datetime.datetime.fromisoformat(whole) - EPOCH).total_seconds(), float("0." + fraction)


class Geometry:
    """Times relative to the first state vector, to keep nanoseconds."""

    def __init__(self, line0, line_last, dt, samples, spacing, coefficients, far_first, vectors,
                 late=0.0):
        self.base = seconds(vectors[0][0])
        self.dt = dt
        self.t0 = self.relative(line0)
        if line_last is not None:
            self.dt = (self.relative(line_last) - self.t0) / dt
        self.t0 -= late
        self.samples, self.spacing = samples, spacing
        self.coefficients, self.far_first = coefficients, far_first
        t = np.array([self.relative(v[0]) for v in vectors])
        self.middle, self.half = (t[0] + t[-1]) / 2, max((t[-1] - t[0]) / 2, 1e-9)
        degree = min(len(vectors) - 1, 6)
        self.position, self.velocity = (
            np.polynomial.polynomial.polyfit((t - self.middle) / self.half,
                                             np.array([v[k] for v in vectors]), degree)
            for k in (1, 2))

    def relative(self, text):
        whole, fraction = seconds(text)
        return whole - self.base[0] + (fraction - self.base[1])

    def state(self, t):
        u = (t - self.middle) / self.half
        return (np.polynomial.polynomial.polyval(u, self.position),
                np.polynomial.polynomial.polyval(u, self.velocity))

    def misfit(self, line, sample, point):
        """(lines, samples) between a stated image position and where the documents put it."""
        t = self.t0
        for _ in range(20):
            p, v = self.state(t)
            t -= v @ (point - p) / -(v @ v)
        distance = np.linalg.norm(point - self.state(t)[0])
        q = self.samples - 1 - sample if self.far_first else sample
        stated = np.polynomial.polynomial.polyval(q * self.spacing, self.coefficients)
        slope = np.polynomial.polynomial.polyval(
            q * self.spacing, np.polynomial.polynomial.polyder(self.coefficients)) * self.spacing
        return (t - self.t0) / self.dt - line, (distance - stated) / slope


class PolarFormat:
    """The published projection of a polar-format grid, by its derivatives."""

    def __init__(self, geometry):
        def coefficients(name):
            return np.array(geometry[name]["coefficients"])

        aperture = geometry["center_of_aperture"]
        value, slope = np.polynomial.polynomial.polyval, np.polynomial.polynomial.polyder
        angle, scale = (coefficients("polar_angle_polynomial"),
                        coefficients("spatial_frequency_scale_factor_polynomial"))
        self.a = value(aperture["time"], angle)
        self.rate = value(aperture["time"], slope(angle))
        self.k, self.dk = value(self.a, scale), value(self.a, slope(scale))
        self.position = np.array(aperture["antenna_reference_point"])
        self.velocity = np.array(aperture["velocity_antenna_reference_point"])
        self.origin = np.array(geometry["scene_reference_point_ecef"])
        self.sample0, self.line0 = geometry["scene_reference_point_row_col"]
        self.spacing = geometry["row_sample_spacing"], geometry["col_sample_spacing"]

    def seen(self, point):
        sight = self.position - point
        distance = np.linalg.norm(sight)
        return np.array([distance, self.velocity @ sight / distance])

    def misfit(self, line, sample, point):
        """As Geometry's, but the stated image position is projected and compared in range."""
        row, column = ((sample - self.sample0) * self.spacing[0],
                       (line - self.line0) * self.spacing[1])
        sin, cos = np.sin(self.a), np.cos(self.a)
        u, w = row * cos + column * sin, column * cos - row * sin
        stated = np.array([self.k * u, (self.dk * u + self.k * w) * self.rate])
        off = self.seen(point) - self.seen(self.origin) - stated
        return off[1] / (self.k * self.rate * self.spacing[1]), off[0] / self.spacing[0]


def strip_namespaces(path):
    root = ElementTree.parse(path).getroot()
    for node in root.iter():
        node.tag = node.tag.split("}")[-1]
    return root


def bursts(root):
    """{(beam, burst): (line offset, sample offset, lines, samples, {pole: file})} as stated."""
    return {(image.get("beam"), int(image.get("burst"))): (
        *(int(image.find(name).text)
          for name in ("lineOffset", "pixelOffset", "numLines", "samplesPerLine")),
        {file.get("pole"): file.text for file in image.iter("ipdf")})
        for image in root.find("sceneAttributes").iter("imageAttributes")}


def read_xml(path, beam=None):
    """@param beam  of a product of bursts; positions then count in the common grid."""
    root = strip_namespaces(path)

    def text(name):
        return root.find(".//" + name).text

    vectors = [(v.find("timeStamp").text,
                [float(v.find(a + "Position").text) for a in "xyz"],
                [float(v.find(a + "Velocity").text) for a in "xyz"])
               for v in root.iter("stateVector")]
    lines = root.find(".//numberOfLines")
    lines = int(lines.text if lines is not None else text("numLines"))
    samples = root.find(".//numberOfSamplesPerLine")
    samples = int(samples.text if samples is not None else text("samplesPerLine"))
    if beam:
        ends = [(top + height, left + width) for top, left, height, width, _ in
                bursts(root).values()]
        lines, samples = (max(numbers) for numbers in zip(*ends))
    if text("productType") in ("SLC", "MLC"):
        coefficients = [float(text("slantRangeNearEdge")), 1.0]
    else:
        coefficients = [float(c) for c in text("groundToSlantRangeCoefficients").split()]
    # RCM states the line times of its strips a quarter of the pulse interval late.
    strip = root.find(".//sceneAttributes") is not None and text("beamMode") != "Spotlight"
    which = f"prfInformation[@beam='{beam}']/" if beam else ""
    late = 0.25 / float(text(which + "pulseRepetitionFrequency")) if strip else 0.0
    return Geometry(text("zeroDopplerTimeFirstLine"), text("zeroDopplerTimeLastLine"), lines - 1,
                    samples, float(text("sampledPixelSpacing")), coefficients,
                    text("pixelTimeOrdering") == "Decreasing", vectors, late)


def read_capella(path):
    with open(path, encoding="utf-8") as stream:
        collect = json.load(stream)["collect"]
    image, geometry = collect["image"], collect["image"]["image_geometry"]
    if geometry["type"] == "pfa":
        return PolarFormat(geometry)
    if "gr_to_sr_poly_coeffs" in geometry:
        spacing = geometry["ground_range_spacing"]
        coefficients = geometry["gr_to_sr_poly_coeffs"][::-1]
    else:
        spacing = geometry["delta_range_sample"]
        coefficients = [geometry["range_to_first_sample"], 1.0]
    vectors = [(v["time"], v["position"], v["velocity"])
               for v in collect["state"]["state_vectors"]]
    return Geometry(geometry["first_line_time"], None, geometry["delta_line_time"],
                    image["columns"], spacing, coefficients, False, vectors)


def gcps(path):
    """[(line, sample, lon, lat, height)] with 0,0 at the centre of the first pixel."""
    return [(g.GCPLine - 0.5, g.GCPPixel - 0.5, g.GCPX, g.GCPY, g.GCPZ)
            for g in gdal.Open(path).GetGCPs()]


def amplitude(path):
    """The first layer's amplitude, one band or two."""
    data = gdal.Open(path).ReadAsArray()
    return np.abs(data) if data.ndim == 2 else np.hypot(*data.astype(float))


def peak(image, line, sample):
    """Centre of the brightest spot near a position: parabolas through log amplitude."""
    top, left = max(int(line) - 4, 0), max(int(sample) - 4, 0)
    window = image[top:top + 10, left:left + 10]
    i, j = np.unravel_index(np.argmax(window), window.shape)
    i, j = i + top, j + left

    def offset(values):
        a, b, c = np.log(values.astype(float))
        return 0.5 * (a - c) / (a - 2 * b + c)

    return i + offset(image[i - 1:i + 2, j]), j + offset(image[i, j - 1:j + 2])
