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


def stretch(layer, low, high):
    """Draws the first band in grey between two values."""
    from qgis.core import QgsContrastEnhancement, QgsSingleBandGrayRenderer
    provider = layer.dataProvider()
    renderer = QgsSingleBandGrayRenderer(provider, 1)
    enhancement = QgsContrastEnhancement(provider.dataType(1))
    enhancement.setMinimumValue(low)
    enhancement.setMaximumValue(high)
    enhancement.setContrastEnhancementAlgorithm(QgsContrastEnhancement.StretchToMinimumMaximum)
    renderer.setContrastEnhancement(enhancement)
    layer.setRenderer(renderer)


def grey_values(image):
    image = image.convertToFormat(QImage.Format_Grayscale8)
    bits = image.constBits()
    bits.setsize(image.sizeInBytes())
    rows = np.frombuffer(bits, np.uint8).reshape(image.height(), image.bytesPerLine())
    return rows[:, :image.width()].astype(float)


def bright_spot(grey, radius):
    """Column and row of the middle of the brightest spot, in pixels from the picture's corner."""
    row, column = np.unravel_index(grey.argmax(), grey.shape)
    top, left = max(row - radius, 0), max(column - radius, 0)
    part = grey[top:row + radius + 1, left:column + radius + 1]
    weight = np.where(part >= part.max() / 2, part, 0)
    rows, columns = np.indices(part.shape) + 0.5
    return (left + (weight * columns).sum() / weight.sum(),
            top + (weight * rows).sum() / weight.sum())
