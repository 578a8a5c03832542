# SPDX-License-Identifier: MIT
"""A page about a product: HTML in one file, plots as SVG, for light and dark screens."""

import base64
import html
import io
import os
import pathlib
import re
import tempfile

import jinja2
import matplotlib
import numpy as np
from matplotlib.figure import Figure

from . import _product, _verbs
from ._core import Error

_LINE, _MARK = "#2a78c8", "#c8562a"
_LIGHT_M_PER_S = 299792458.0


def _figure(title, across, up, width=6.4, height=3.6):
    """Axes on a clear ground; text and frame take the page's colour."""
    figure = Figure(figsize=(width, height), layout="constrained")
    axes = figure.subplots()
    axes.set_title(title)
    axes.set_xlabel(across)
    axes.set_ylabel(up)
    axes.grid(alpha=0.3)
    axes.ticklabel_format(useOffset=False) if across else None
    return figure, axes


def _svg(figure, name, words):
    """The figure as SVG with a name and words for those who cannot see it."""
    text = io.StringIO()
    with matplotlib.rc_context({"svg.fonttype": "none", "svg.hashsalt": name}):
        figure.savefig(text, format="svg", transparent=True, metadata={"Date": None})
    drawn = text.getvalue()
    drawn = drawn[drawn.index("<svg"):]
    # Names within the drawing must not meet those of another on the page.
    for kind in (r'id="', r'xlink:href="#', r'url\(#'):
        drawn = re.sub(kind + r"(?=[A-Za-z])", lambda found: found.group(0) + name + "-", drawn)
    drawn = drawn.replace("stroke: #000000", "stroke: currentColor")
    drawn = drawn.replace("fill: #000000", "fill: currentColor").replace(
        '<g id="' + name + '-text', '<g fill="currentColor" id="' + name + '-text')
    size = re.match(r'<svg[^>]*viewBox="([^"]*)"', drawn).group(1)
    label = html.escape(words, quote=True)
    return re.sub(r"<svg[^>]*>", f'<svg role="img" aria-label="{label}" viewBox="{size}" '
                  'xmlns="http://www.w3.org/2000/svg" '
                  'xmlns:xlink="http://www.w3.org/1999/xlink">', drawn, count=1)


def _picture(product):
    """The picture with north up where the product has a place, else as stored."""
    with tempfile.TemporaryDirectory(prefix="rf_sar") as folder:
        file = os.path.join(folder, "picture.png")
        common = (product.path, "-o", file, "--size", "900")
        try:
            _verbs.run("quicklook", *common, "--north-up", "--db", "--graticule", "--scale-bar",
                       "--north-arrow", quiet=True)
            how = "north is up, in decibels"
        except Error:
            _verbs.run("quicklook", *common, "--force", quiet=True)
            how = "as stored"
        return base64.b64encode(pathlib.Path(file).read_bytes()).decode(), how


def _rings(footprint):
    parts = (footprint["coordinates"] if footprint["type"] == "MultiPolygon"
             else [footprint["coordinates"]])
    return [np.array(part[0])[:, :2] for part in parts]


def _plot_footprint(product):
    if not product.footprint:
        return None
    figure, axes = _figure("Footprint", "longitude (degrees)", "latitude (degrees)", height=4.2)
    latitudes = []
    for ring in _rings(product.footprint):
        axes.plot(ring[:, 0], ring[:, 1], color=_LINE)
        axes.fill(ring[:, 0], ring[:, 1], color=_LINE, alpha=0.2)
        latitudes += list(ring[:, 1])
    middle = np.radians(np.clip(np.mean(latitudes), -80, 80))
    axes.set_aspect(1 / np.cos(middle), adjustable="datalim")
    return _svg(figure, "footprint", "Outline of the image in longitude and latitude")


def _plot_columns(name, title, up, curves):
    """Curves over the samples of a line."""
    curves = [(label, values) for label, values in curves if values is not None]
    if not curves:
        return None
    figure, axes = _figure(title, "sample", up)
    for label, values in curves:
        values = np.asarray(values)
        places = np.unique(np.linspace(0, values.size - 1, 500).astype(int))
        axes.plot(places, values[places], label=label)
    if len(curves) > 1 or curves[0][0]:
        axes.legend(frameon=False)
    lowest, highest = (f(np.nanmin(v) if f is min else np.nanmax(v) for _, v in curves)
                       for f in (min, max))
    return _svg(figure, name, f"{title}: {lowest:.4g} to {highest:.4g} over the samples of a line")


def _plot_incidence(product):
    try:
        angles = product.incidence()
    except Error:
        return None
    return _plot_columns("incidence", "Incidence angle over range", "degrees", [("", angles)])


def _plot_noise(product):
    curves = [(pole, product.noise(pole)) for pole in dict.fromkeys(product.polarizations)]
    return _plot_columns("noise", "Noise-equivalent sigma nought over range", "dB", curves)


def _plot_gains(product):
    curves = []
    for entry in product.entries:
        if entry["kind"] == "calibrated":
            _, divisors = product.calibration[entry["name"]]
            curves.append((entry["name"], -10 * np.log10(divisors)))
    return _plot_columns("calibration", "Calibration: factor from squared samples to power",
                         "dB", curves)


def _plot_doppler(product, record):
    centroids = [each for each in record["dopplerCentroid"] if each["numberOfCoefficients"]]
    curves = []
    near = 2 * record["slantRangeNearEdge"] / _LIGHT_M_PER_S
    if centroids and near > 0:
        times = near + np.linspace(0, 1, 100) * 2 * record["numberOfSamplesPerLine"] * record[
            "sampledPixelSpacing"] / _LIGHT_M_PER_S
        for index, each in enumerate(centroids):
            x = times - each["referenceTime"]
            curves.append((f"estimate {index + 1}",
                           np.polynomial.polynomial.polyval(x, each["coefficients"])))
        figure, axes = _figure("Doppler centroid over slant-range time",
                               "two-way slant-range time (ms)", "Hz")
        for label, values in curves:
            axes.plot(times * 1e3, values, label=label)
        axes.legend(frameon=False)
        return _svg(figure, "centroid", "Doppler centroid frequency over slant-range time")
    return None


def _plot_rate(product):
    doppler = product.doppler
    if not doppler or not doppler.get("rateCoefficients"):
        return None
    count = doppler["rateCoefficientCount"]
    reference, times = doppler["rateReferenceTimes"][0], np.linspace(-0.2e-3, 0.2e-3, 100)
    rate = np.polynomial.polynomial.polyval(times, doppler["rateCoefficients"][:count])
    figure, axes = _figure("Doppler rate around its reference time",
                           "two-way slant-range time (ms)", "Hz/s")
    axes.plot((reference + times) * 1e3, rate, color=_LINE)
    return _svg(figure, "rate", "Doppler rate over slant-range time")


def _plot_orbit(record):
    count = record["numberOfStateVectors"]
    if count < 2:
        return None
    position = np.array([record[f"stateVector{axis}Position"] for axis in "XYZ"])
    seconds = np.arange(count) * record["stateVectorInterval"]
    figure, axes = _figure("Orbit: distance from the earth's centre",
                           "seconds from the first state vector", "km")
    axes.plot(seconds, np.linalg.norm(position, axis=0) / 1e3, "o-", color=_LINE, markersize=3)
    return _svg(figure, "orbit", f"Distance of {count} state vectors from the earth's centre")


def _plot_residuals(product):
    """Arrows from the product's tie points to where the model has them."""
    ties = product.tie_points
    if ties["line"].size < 3:
        return None
    try:
        sample, line = product.model.ground_to_image(ties["lon"], ties["lat"], ties["height"])
    except Error:
        return None
    across, down = sample - ties["sample"], line - ties["line"]
    known = np.isfinite(across) & np.isfinite(down)
    if not known.any():
        return None
    rms = np.sqrt(np.mean(across[known] ** 2 + down[known] ** 2))
    figure, axes = _figure(f"Model minus tie points: {rms:.3f} pixel rms", "sample", "line",
                           height=4.6)
    arrows = axes.quiver(ties["sample"][known], ties["line"][known], across[known], down[known],
                         angles="xy", color=_MARK)
    length = max(float(f"{rms:.1g}"), 1e-9)
    axes.quiverkey(arrows, 0.8, -0.12, length, f"{length:g} pixel", labelpos="E")
    axes.invert_yaxis()
    return _svg(figure, "residuals", f"Arrows at {known.sum()} tie points from where the product "
                f"states them to where the model has them, {rms:.3f} pixel rms")


def _facts(product):
    """What people ask first, in words."""
    acquired, about = product.acquisition, product.info
    angles = acquired["incidenceDeg"]

    def with_unit(value, unit):
        return None if value is None else f"{value:.6g} {unit}"

    rows = (("Satellite", about["satellite"]), ("Product", acquired["productId"]),
            ("Type", about["productType"]), ("Beam mode", acquired["beamMode"]),
            ("Polarizations", " ".join(product.polarizations)),
            ("First line", acquired["start"]), ("Last line", acquired["stop"]),
            ("Pass", acquired["orbitDirection"]), ("Look side", acquired["lookSide"]),
            ("Incidence", ", ".join(f"{name} {angle:.2f}°" for name, angle in angles.items()
                                    if angle is not None)),
            ("Geometry", acquired["geometry"]),
            ("Pixel spacing", with_unit(acquired["pixelSpacingM"], "m")),
            ("Line spacing", with_unit(acquired["lineSpacingM"], "m")))
    return [(name, value) for name, value in rows if value]


def write(path, output, force):
    output = pathlib.Path(output)
    if output.exists() and not force:
        raise Error(f"{output}: exists already; force=True (--force) replaces it")
    product = _product.open(path)
    try:
        record = product.record
    except Error:
        record = None
    picture, how = _picture(product)
    plots = [_plot_footprint(product), _plot_incidence(product), _plot_noise(product),
             _plot_gains(product)]
    if record:
        plots += [_plot_doppler(product, record), _plot_rate(product), _plot_orbit(record),
                  _plot_residuals(product)]
    template = jinja2.Environment(autoescape=True, trim_blocks=True, lstrip_blocks=True).from_string(
        (pathlib.Path(__file__).parent / "report.html.j2").read_text(encoding="utf-8"))
    page = template.render(product=product, facts=_facts(product), picture=picture, how=how,
                           findings=product.check(), plots=[plot for plot in plots if plot])
    part = output.with_name(f".{os.getpid()}.part")
    try:
        part.write_text(page, encoding="utf-8")
        part.replace(output)
    finally:
        part.unlink(missing_ok=True)
