# SPDX-License-Identifier: MIT
"""What the QGIS tests share: truth as vector layers, and where a picture is bright."""

import numpy as np
from qgis.core import (QgsFeature, QgsGeometry, QgsLineSymbol, QgsMarkerSymbol, QgsPointXY,
                       QgsSingleSymbolRenderer, QgsVectorLayer)
from qgis.PyQt.QtGui import QImage


def vector_layer(kind, name, geometries, symbol):
    layer = QgsVectorLayer(f"{kind}?crs=EPSG:4326", name, "memory")
    features = []
    for geometry in geometries:
        feature = QgsFeature()
        feature.setGeometry(geometry)
        features.append(feature)
    layer.dataProvider().addFeatures(features)
    layer.setRenderer(QgsSingleSymbolRenderer(symbol))
    return layer


def targets_on_the_ground(truth):
    """Those at the height of the scene: a picture on the map shows others elsewhere."""
    height = truth["recipe"]["height"]
    return [QgsPointXY(t["lon"], t["lat"]) for t in truth["targets"]
            if t["inside"] and t["height"] == height]


def target_layer(truth, **symbol):
    return vector_layer("Point", "targets (truth)",
                        map(QgsGeometry.fromPointXY, targets_on_the_ground(truth)),
                        QgsMarkerSymbol.createSimple(symbol))


def graticule(extent, step, **symbol):
    """Meridians and parallels through an extent in degrees."""
    west, east = (step * round(x / step) for x in (extent.xMinimum(), extent.xMaximum()))
    south, north = (step * round(y / step) for y in (extent.yMinimum(), extent.yMaximum()))
    lines = [[(x, south), (x, north)] for x in np.arange(west, east + step / 2, step)]
    lines += [[(west, y), (east, y)] for y in np.arange(south, north + step / 2, step)]
    return vector_layer("LineString", "longitudes and latitudes",
                        [QgsGeometry.fromPolylineXY([QgsPointXY(*p) for p in line])
                         for line in lines], QgsLineSymbol.createSimple(symbol))


def grey_values(image):
    image = image.convertToFormat(QImage.Format_Grayscale8)
    bits = image.constBits()
    bits.setsize(image.sizeInBytes())
    rows = np.frombuffer(bits, np.uint8).reshape(image.height(), image.bytesPerLine())
    return rows[:, :image.width()].astype(float)


def bright_spot(grey, radius):
    """Column and row of the middle of the brightest spot, in pixels from the picture's corner.

    A spot is brighter all over than its surroundings are in the mean, however the picture is
    stretched: single pixels of speckle may be as bright.
    """
    reach = max(radius // 2, 1)
    side = 2 * reach + 1
    sums = np.pad(np.pad(grey, reach, mode="edge").cumsum(0).cumsum(1), ((1, 0), (1, 0)))
    means = sums[side:, side:] - sums[:-side, side:] - sums[side:, :-side] + sums[:-side, :-side]
    row, column = np.unravel_index(means.argmax(), means.shape)
    rows, columns = np.indices(grey.shape)
    weight = np.maximum(grey - (np.percentile(grey, 90) + grey.max()) / 2, 0)
    for _ in range(20):  # to its middle, wherever in it the search began
        near = weight * (np.hypot(rows - row, columns - column) <= 2 * radius)
        row, column = ((near * places).sum() / near.sum() for places in (rows, columns))
    return column + 0.5, row + 0.5


def faults_of_greys(grey):
    """Sentences on a picture that is black, white or flat."""
    low, middle, high = np.percentile(grey, [5, 50, 95])
    dark, bright = (grey < 8).mean(), (grey > 247).mean()
    return [text for text, wrong in (
        (f"flat: {low} to {high}", high - low < 80), (f"its middle grey is {middle}",
                                                      not 30 < middle < 225),
        (f"{dark:.0%} black", dark > 0.25), (f"{bright:.0%} white", bright > 0.25)) if wrong]
