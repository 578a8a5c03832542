# SPDX-License-Identifier: MIT
"""NAME.truth.json: what a reader of the product must find. Stands beside the product's folder.

Positions are (line, sample) from 0,0 at the centre of the first pixel, as a layer is read.
"""
import dataclasses
import json

from . import ellipsoid, instants

FORMAT_INDEX = {"capella-geo": 0, "capella-slc": 1, "rcm": 2, "radarsat2": 3, "capella-grd": 4}
BEAM_CLASSES = {
    "capella": {"stripmap": 1, "spotlight": 2, "sliding_spotlight": 3},
    "rcm": {**dict.fromkeys((
        "Ship Detection", "Low Noise", "Low Resolution 100m", "Medium Resolution 50m",
        "Medium Resolution 30m", "Quad-Polarization", "Medium Resolution 16m",
        "High Resolution 5m", "Very High Resolution 3m"), 1), "Spotlight": 2},
    "radarsat2": {**dict.fromkeys((
        "Standard", "Wide", "Fine", "Multi-Look Fine", "Ultrafine", "Low Incidence",
        "High Incidence", "Standard Quad Polarization", "Fine Quad Polarization"), 1),
        "SpotlightA": 2, "SpotlightB": 2, "ScanSAR Narrow": 3, "ScanSAR Wide": 3}}


def _timing(scene):
    r = scene.recipe
    digits = 9 if r.platform == "capella" else 6

    def at(time_s):
        ns = r.start_ns + round(time_s / scene.tick_s) * round(scene.tick_s * 1e9)
        return {"utc": instants.text(ns, digits), "secondsOfDay": instants.seconds_of_day(ns),
                "afterStart": time_s}

    return at, {
        "fileLine0": at(scene.first_line_s), "fileLastLine": at(scene.last_line_s),
        "lineIntervalS": scene.line_interval_s, "durationS": scene.duration_s,
        "statedLateS": scene.line_times_late_s,
        "startDate": r.start.split("T")[0]}


def _record(scene):
    """Values of the SAR metadata that follow from the recipe alone, under the record's names."""
    r, radar = scene.recipe, scene.radar
    capella = r.platform == "capella"
    prf = radar["prf"]
    if r.family == "radarsat2" and any(w in ("Fore", "Aft") for w in r.wings.split()):
        prf *= 2  # one wing after the other: every pulse is heard twice
    if capella:
        incidence = scene.incidence_centre_deg
    elif r.family == "rcm":  # the middle entry of the angle file, the lower one of two
        profile = scene.incidence_profile(r.samples)
        incidence = profile[r.samples // 2 - 1] if r.samples > 1 else 0.0
    else:
        incidence = (scene.incidence_near_deg + scene.incidence_far_deg) / 2
    return {
        "passDirection": 1 if r.pass_direction == "ascending" else 2,
        "productGeometry": 3 if r.product_is_slant else 0,
        "beamModeClass": BEAM_CLASSES[r.platform].get(r.acquisition, 0),
        "numberOfSamplesPerLine": r.samples, "numberOfLines": r.lines,
        "semiMajorAxis": ellipsoid.SEMI_MAJOR_M, "semiMinorAxis": ellipsoid.SEMI_MINOR_M,
        "geodeticTerrainHeight": 0.0 if capella else r.height,
        "lookDirection": 90.0 if r.look == "right" else -90.0,
        "incidenceAngleCentre": float(incidence),
        "wavelength": radar["wavelength"], "pulseRepetitionFrequency": prf,
        "adcSamplingRate": sum(rate for _, rate in radar["pulses"]),
        "totalProcessedRangeBandwidth": radar["range_bandwidth"],
        "totalProcessedAzimuthBandwidth": radar["azimuth_bandwidth"],
        "sampledPixelSpacing": r.pixel_spacing, "sampledLineSpacing": r.line_spacing,
        "slantRangeNearEdge": scene.near_range_m,
        "rangeGeometry": 2 if r.product_is_slant else 1,
        "groundToSlantRangeCoefficients": scene.range_coefficients,
        "pixelTimeOrdering": int(r.pixel_order == "decreasing"),
        "lineTimeOrdering": int(r.line_order == "decreasing"),
        "numberOfStateVectors": len(scene.vector_times_s)}


def _burst(scene, burst, images):
    """Its place in the grid, and where it shows the targets that lie in it."""
    shown = [{**dataclasses.asdict(target), "target": number,
              "line": target.line - burst.first_line, "sample": target.sample - burst.first_sample}
             for number, target in enumerate(scene.beam_targets[burst.beam])]
    return {"beam": burst.beam, "burst": burst.number, "lineOffset": burst.first_line,
            "sampleOffset": burst.first_sample, "lines": burst.lines, "samples": burst.samples,
            "files": {image.pole: image.path for image in images if image.burst == burst},
            "targets": [t for t in shown if 0 <= t["line"] <= burst.lines - 1
                        and 0 <= t["sample"] <= burst.samples - 1]}


def write(path, scene, writer, opened, images, documents):
    r = scene.recipe
    at, timing = _timing(scene)
    vectors = scene.vectors()
    facts = {
        "name": r.name, "family": r.family, "formatIndex": FORMAT_INDEX[r.family],
        "productType": r.product_type, "open": f"{r.name}/{writer.opened(r)}",
        "documents": documents,
        "images": [{"file": image.path, "pole": image.pole} for image in images],
        "polarizations": r.poles, "complex": r.product_is_complex,
        "mapProjected": r.product_is_map,
        "geometry": {"line0sample0": "centre of the first pixel", "heightM": r.height,
                     "incidenceNearDeg": float(scene.incidence_near_deg),
                     "incidenceCentreDeg": float(scene.incidence_centre_deg),
                     "incidenceFarDeg": float(scene.incidence_far_deg),
                     "slantRangeFarEdgeM": scene.far_range_m},
        "timing": timing, "record": _record(scene),
        "stateVectors": [{**at(t), "position": p, "velocity": v} for t, p, v in vectors],
        "doppler": {"referenceTimeS": scene.doppler_reference_s,
                    "rateCoefficients": scene.doppler_rate,
                    "estimates": [{**at(d.time_s), "coefficients": d.coefficients}
                                  for d in scene.doppler]},
        "targets": [dataclasses.asdict(target) for target in scene.targets],
        "tiePoints": [dict(zip(("line", "sample", "lon", "lat", "height"), row))
                      for row in scene.tie_points],
        "recipe": dataclasses.asdict(r)}
    if scene.bursts:
        facts["bursts"] = [_burst(scene, burst, images) for burst in scene.bursts]
    if r.product_is_map:
        facts["geometry"].update(epsg=scene.grid.epsg, geotransform=scene.grid.geotransform)
    with open(path, "w", encoding="utf-8") as stream:
        json.dump(facts, stream, indent=1, ensure_ascii=False)
    return facts
