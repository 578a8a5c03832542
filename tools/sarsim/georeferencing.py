# SPDX-License-Identifier: MIT
"""The geographic elements that RADARSAT-2 and RCM documents share."""
import numpy as np

from . import ellipsoid, rational
from .markup import element, measure, number, numbers


def geodetic(lon, lat, height):
    return element("geodeticCoordinate", measure("latitude", lat, "deg"),
                   measure("longitude", lon, "deg"), measure("height", height, "m"))


def geolocation_grid(scene):
    return element("geolocationGrid", *(
        element("imageTiePoint",
                element("imageCoordinate", element("line", number(line)),
                        element("pixel", number(sample))),
                geodetic(lon, lat, height))
        for line, sample, lon, lat, height in scene.tie_points))


def rational_functions(scene):
    f = rational.fit(scene)
    return element(
        "rationalFunctions", measure("biasError", 0.5, "m"), measure("randomError", 0.5, "m"),
        element("lineFitQuality", number(f.line_fit_rms)),
        element("pixelFitQuality", number(f.pixel_fit_rms)),
        element("lineOffset", f.line_offset), element("pixelOffset", f.pixel_offset),
        measure("latitudeOffset", f.lat_offset, "deg"),
        measure("longitudeOffset", f.lon_offset, "deg"),
        measure("heightOffset", f.height_offset, "m"),
        element("lineScale", f.line_scale), element("pixelScale", f.pixel_scale),
        element("latitudeScale", number(f.lat_scale)),
        element("longitudeScale", number(f.lon_scale)),
        element("heightScale", number(f.height_scale)),
        element("lineNumeratorCoefficients", numbers(f.line_numerator)),
        element("lineDenominatorCoefficients", numbers(f.line_denominator)),
        element("pixelNumeratorCoefficients", numbers(f.pixel_numerator)),
        element("pixelDenominatorCoefficients", numbers(f.pixel_denominator)))


def ellipsoid_parameters(scene, name):
    return element(
        name, element("ellipsoidName", "WGS 1984"),
        measure("semiMajorAxis", ellipsoid.SEMI_MAJOR_M, "m"),
        measure("semiMinorAxis", ellipsoid.SEMI_MINOR_M, "m"),
        element("datumShiftParameters", numbers([0, 0, 0]), units="m"),
        measure("geodeticTerrainHeight", scene.recipe.height, "m"))


def satellite_heading_deg(scene):
    _, velocity = scene.orbit.state(scene.centre_s)
    east, north, _ = ellipsoid.local_axes(*scene.recipe.lon_lat)
    return float(np.degrees(np.arctan2(velocity @ east, velocity @ north)) % 360)


def map_projection(scene):
    r, grid = scene.recipe, scene.grid

    def corner(name, line, sample):
        lon, lat, height = ellipsoid.to_geodetic(grid.ground(line, sample)[0])
        x, y = grid.map_position(line, sample)
        return element(name, element("mapCoordinate", measure("northing", y, "m"),
                                     measure("easting", x, "m")), geodetic(lon, lat, height))

    if grid.zone is None:
        descriptor = "UPS"
        parameters = element(
            "nspProjectionParameters", measure("mapOriginFalseEasting", 2e6, "m"),
            measure("mapOriginFalseNorthing", 2e6, "m"),
            measure("centerOfProjectionLongitude", 0, "deg"),
            measure("centerOfProjectionLatitude", 90 if grid.hemisphere == "N" else -90, "deg"))
    else:
        descriptor = "UTM"
        parameters = element(
            "utmProjectionParameters", element("utmZone", grid.zone),
            element("hemisphere", grid.hemisphere),
            measure("mapOriginFalseEasting", 500e3, "m"),
            measure("mapOriginFalseNorthing", 0 if grid.hemisphere == "N" else 1e7, "m"))
    bottom, right = r.lines - 1, r.samples - 1
    return element(
        "mapProjection", element("mapProjectionDescriptor", descriptor),
        measure("mapProjectionOrientation", 0, "deg"), element("productOrientation", "Map North"),
        element("resamplingKernel", "KD16"), element("elevationCorrection", "Coarse DEM"),
        measure("satelliteHeading", satellite_heading_deg(scene), "deg"), parameters,
        element("positioningInformation", corner("upperLeftCorner", 0, 0),
                corner("upperRightCorner", 0, right), corner("lowerRightCorner", bottom, right),
                corner("lowerLeftCorner", bottom, 0)))


def state_vectors(scene, instant):
    """`instant` turns scene seconds into text."""
    for time_s, position, velocity in scene.vectors():
        yield element(
            "stateVector", element("timeStamp", instant(time_s)),
            *(measure(f"{axis}Position", value, "m") for axis, value in zip("xyz", position)),
            *(measure(f"{axis}Velocity", value, "m/s") for axis, value in zip("xyz", velocity)))


def attitude(scene, instant):
    roll = scene.incidence_centre_deg * (-0.86 if scene.recipe.look == "right" else 0.86)
    return element(
        "attitudeInformation", element("attitudeDataSource", "Downlink"),
        element("attitudeOffsetsApplied", True),
        *(element("attitudeAngles", element("timeStamp", instant(t)), measure("yaw", 3.4, "deg"),
                  measure("roll", roll, "deg"), measure("pitch", 0.002, "deg"))
          for t in scene.vector_times_s))


def raw_analysis(**attributes):
    streams = ("Real", "Imaginary")
    return element(
        "rawDataAnalysis", *(element("bias", number(-0.1), dataStream=s) for s in streams),
        *(element("standardDeviation", number(14), dataStream=s) for s in streams),
        element("gainImbalance", number(1)), measure("phaseOrthogonality", -0.03, "deg"),
        *(element("rawDataHistogram", " ".join(["0"] * 120 + ["1000"] * 16 + ["0"] * 120),
                  dataStream=s) for s in streams), **attributes)


def chirp(**attributes):
    return element(
        "chirp", element(
            "chirpQuality", element("replicaQualityValid", True),
            element("crossCorrelationWidth", number(0.93)), measure("sideLobeLevel", -13, "dB"),
            measure("integratedSideLobeRatio", -10.1, "dB"),
            element("crossCorrelationPeakLoc", number(9.5))),
        measure("chirpPower", 64, "dB"),
        element("amplitudeCoefficients", numbers([1, -1500, 0, 0])),
        element("phaseCoefficients", numbers([0.4, -1300, -3.6e11, 0])), **attributes)


def slant_to_ground(scene, instant, light_m_per_s):
    return element(
        "slantRangeToGroundRange",
        element("zeroDopplerAzimuthTime", instant(scene.tick(scene.centre_s))),
        measure("slantRangeTimeToFirstRangeSample", 2 * scene.near_range_m / light_m_per_s, "s"),
        measure("groundRangeOrigin", 0, "m"),
        element("groundToSlantRangeCoefficients", numbers(scene.range_coefficients)))
