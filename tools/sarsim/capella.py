# SPDX-License-Identifier: MIT
"""Capella: NAME.json (the item), NAME_extended.json and NAME.tif in one folder."""
import json
import os

from numpy.polynomial import polynomial

from . import ellipsoid, instants
from .scene import LIGHT_M_PER_S

FREQUENCY_HZ = 9649999872.0
PRF_HZ = (10110.541925047182, 10111.087144089732)
MODES = {"spotlight": "SP", "stripmap": "SM", "sliding_spotlight": "SS"}
DATA_TYPES = {"uint8": "Byte", "uint16": "UInt16", "int16": "Int16", "uint32": "UInt32",
              "int32": "Int32", "float32": "Float32", "float64": "Float64"}


def radar(recipe):
    return dict(wavelength=LIGHT_M_PER_S / FREQUENCY_HZ, prf=PRF_HZ[-1], beams=[],
                pulses=[("", 7.5e8)], range_bandwidth=2e8, azimuth_bandwidth=4995.555779609965,
                window=None)


def default_name(recipe):
    craft = "".join(c for c in recipe.satellite if c.isdigit()) or "1"
    duration_ns = round(recipe.lines * recipe.line_spacing / 7000.0 * 1e9)
    return (f"CAPELLA_C{int(craft):02d}_{MODES.get(recipe.acquisition, 'SM')}_"
            f"{recipe.product_type}_{recipe.poles[-1]}_{instants.compact(recipe.start_ns)}_"
            f"{instants.compact(recipe.start_ns + duration_ns)}")


def image_paths(recipe, burst=None):
    """One image a polarization; the last one has the product's own name."""
    return [f"{recipe.name}.tif" if pole == recipe.poles[-1] else f"{recipe.name}_{pole}.tif"
            for pole in recipe.image_poles]


def opened(recipe):
    return recipe.name + ("_extended.json" if recipe.only == "extended" else ".json")


def standard(coefficients):
    """A polynomial, constant term first."""
    return {"type": "standard", "dimension": 1, "degree": len(coefficients) - 1,
            "coefficients": list(map(float, coefficients))}


def polar_format(grid):
    """The file's samples are the grid's rows."""
    def vector(values):
        return list(map(float, values))

    velocity = polynomial.polyder(grid.antenna)
    angle = float(polynomial.polyval(grid.centre_s, grid.angle))
    return {
        "type": "pfa",
        "scene_reference_point_row_col": [grid.reference_sample, grid.reference_line],
        "scene_reference_point_ecef": vector(grid.reference),
        "row_sample_spacing": grid.spacing_m, "col_sample_spacing": grid.line_spacing_m,
        "row_direction": vector(grid.row), "col_direction": vector(grid.column),
        "slant_plane_normal": vector(grid.normal),
        "ground_plane_normal": vector(grid.ground_normal),
        "polar_angle_polynomial": standard(grid.angle),
        "spatial_frequency_scale_factor_polynomial": standard(grid.scale),
        "antenna_reference_point_polynomial": {
            axis: standard(grid.antenna[:, k]) for k, axis in enumerate("xyz")},
        "velocity_antenna_reference_point_polynomial": {
            axis: standard(velocity[:, k]) for k, axis in enumerate("xyz")},
        "center_of_aperture": {
            "time": grid.centre_s, "antenna_reference_point": vector(grid.position),
            "velocity_antenna_reference_point": vector(grid.velocity), "polar_angle": angle,
            # As real products have it: the polynomial of the angle, taken at the time.
            "spatial_frequency_scale_factor": float(
                polynomial.polyval(grid.centre_s, grid.scale))}}


class _Writer:
    def __init__(self, scene):
        self.scene, self.r, self.radar = scene, scene.recipe, scene.radar
        self.step_s = scene.line_interval_s * (1 if self.r.line_order == "increasing" else -1)
        self.stop_s = scene.duration_s + scene.line_interval_s

    def instant(self, time_s):
        return instants.text(self.r.start_ns + round(time_s * 1e9), 9)

    def item(self, name):
        r, s = self.r, self.scene
        corners = s.grid.ground([0, 0, r.lines - 1, r.lines - 1],
                                [0, r.samples - 1, r.samples - 1, 0])
        lon, lat, _ = ellipsoid.to_geodetic(corners)
        ring = [[float(x), float(y)] for x, y in zip(lon, lat)]
        assets = {pole: {"href": r.href_prefix + path, "roles": ["data"],
                         "sar:polarizations": [pole], "title": "Data file",
                         "type": "image/tiff; application=geotiff"}
                  for pole, path in zip(r.image_poles, image_paths(r))}
        assets["metadata"] = {"title": "Extended Metadata", "type": "application/json",
                              "href": r.href_prefix + f"{name}_extended.json"}
        return {
            "stac_version": "1.0.0", "id": name, "type": "Feature",
            "bbox": [float(lon.min()), float(lat.min()), float(lon.max()), float(lat.max())],
            "geometry": {"type": "Polygon", "coordinates": [ring + ring[:1]]},
            "properties": {
                "datetime": self.instant(s.centre_s), "start_datetime": self.instant(0),
                "end_datetime": self.instant(self.stop_s), "platform": r.satellite,
                "sar:instrument_mode": r.acquisition, "sar:frequency_band": "X",
                "sar:center_frequency": FREQUENCY_HZ / 1e9, "sar:polarizations": r.poles,
                "sar:product_type": r.product_type,
                "sat:orbit_state": r.pass_direction, "sar:pixel_spacing_range": r.pixel_spacing,
                "sar:pixel_spacing_azimuth": r.line_spacing,
                "view:incidence_angle": float(s.incidence_centre_deg),
                "sar:observation_direction": r.look},
            "links": [], "assets": assets}

    def geometry(self):
        s, r = self.scene, self.r
        if r.product_is_map:
            return {"type": "geotransform", "geotransform": list(s.grid.geotransform),
                    "coordinate_system": {"type": "wkt", "wkt": s.grid.srs.ExportToWkt()}}
        if r.image_geometry == "surface":
            return {"type": "surface"}
        if r.product_is_polar:
            return polar_format(s.grid)
        times = {"first_line_time": self.instant(s.first_line_s), "delta_line_time": self.step_s,
                 "range_to_first_sample": s.near_range_m}
        if r.product_is_slant:
            return {"type": "slant_plane", **times, "delta_range_sample": r.pixel_spacing}
        # The file lists the highest power first; the constant is the range to the first sample.
        return {"type": "ground_plane", **times, "ground_range_spacing": r.pixel_spacing,
                "gr_to_sr_poly_coeffs": s.range_coefficients[::-1]}

    def centre_pixel(self):
        s, r = self.scene, self.r
        line, sample = r.lines // 2, r.samples // 2
        point = s.grid.ground(line, sample)[0]
        return {"incidence_angle": float(s.incidence_centre_deg), "squint_angle": 0.0,
                "target_position": [float(x) for x in point],
                "center_time": self.instant(s.first_line_s + line * self.step_s)}

    def extended(self):
        s, r, radar_ = self.scene, self.r, self.radar
        data_type = ("C" if r.product_is_complex else "") + DATA_TYPES[r.pixel_type]
        pole = r.poles[-1]
        middle = self.instant(s.centre_s)
        prf = [{"start_timestamps": [self.instant(0)], "prf": PRF_HZ[0]},
               {"start_timestamps": [middle], "prf": PRF_HZ[1]}]
        range_m, bend = s.centre_range_m, 1e-6  # dB of the slant range in m, lowest mid-image
        polynomial = {"type": "standard", "dimension": 1, "degree": 3,
                      "coefficients": [bend * range_m ** 2 - 14.0, -2 * bend * range_m, bend, 0.0]}
        return {
            "software_version": "sarsim", "processing_time": self.instant(86400),
            "processing_deployment": "simulation", "copyright": "Simulated data.",
            "product_version": "1.10", "product_type": r.product_type,
            "collect": {
                "start_timestamp": self.instant(0), "stop_timestamp": self.instant(self.stop_s),
                "platform": r.satellite, "mode": r.acquisition,
                "collect_id": f"00000000-0000-0000-0000-{r.seed:012d}",
                "image": {
                    "data_type": data_type, "length": r.lines * r.line_spacing,
                    "width": r.samples * r.pixel_spacing, "rows": r.lines, "columns": r.samples,
                    "pixel_spacing_row": r.line_spacing, "pixel_spacing_column": r.pixel_spacing,
                    "algorithm": "backprojection", "scale_factor": 0.0022,
                    "range_autofocus": None, "azimuth_autofocus": None,
                    "range_window": {"name": "rectangular", "parameters": {}},
                    "processed_range_bandwidth": radar_["range_bandwidth"],
                    "azimuth_window": {"name": "antenna-taper", "parameters": {}},
                    "processed_azimuth_bandwidth": radar_["azimuth_bandwidth"],
                    "image_geometry": self.geometry(), "center_pixel": self.centre_pixel(),
                    "azimuth_looks": 1.0, "range_looks": 1.0, "enl": 1.0,
                    "radiometry": "beta_nought", "calibration": "full",
                    "nesz_polynomial": polynomial, "nesz_peak": -14.0,
                    "terrain_models": {"focusing": {"name": f"InflatedWGS84[{r.height}]"}}},
                "radar": {
                    "rank": 49, "center_frequency": FREQUENCY_HZ, "pointing": r.look,
                    "sampling_frequency": radar_["pulses"][0][1], "transmit_polarization": pole[0],
                    "receive_polarization": pole[1],
                    "pulse_bandwidth": radar_["range_bandwidth"], "prf": prf,
                    "time_varying_parameters": [
                        {**part, "pulse_bandwidth": radar_["range_bandwidth"],
                         "pulse_duration": 1.977e-5, "rank": 49} for part in prf]},
                "state": {
                    "coordinate_system": {"type": "ecef"}, "direction": r.pass_direction,
                    "state_vectors": [
                        {"time": self.instant(t), "position": list(position),
                         "velocity": list(velocity)} for t, position, velocity in s.vectors()],
                    "source": "real_time" if r.vector_jitter else "precise_determination"}}}


def write(scene, folder, images):
    """The documents; returns their names relative to the folder."""
    writer, only, name = _Writer(scene), scene.recipe.only, scene.recipe.name
    documents = {}
    if only != "extended":
        documents[f"{name}.json"] = writer.item(name)
    if only != "item":
        documents[f"{name}_extended.json"] = writer.extended()
    for file, content in documents.items():
        with open(os.path.join(folder, file), "w", encoding="utf-8") as stream:
            json.dump(content, stream, indent=2, ensure_ascii=False)
    return list(documents)
