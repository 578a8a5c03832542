# SPDX-License-Identifier: MIT
"""Coordinate systems for tests, by GDAL's Python bindings."""

from osgeo import osr


def system(code):
    """A system of GDAL's, x before y whatever its authority says."""
    made = osr.SpatialReference()
    made.SetFromUserInput(code)
    made.SetAxisMappingStrategy(osr.OAMS_TRADITIONAL_GIS_ORDER)
    return made
