# SPDX-License-Identifier: MIT
"""Run by QGIS itself (--code): adds a product's layers one after the other, as a user does who drops
the product on the window and picks from the list; measures what the canvas shows; keeps a picture.

Files come in RF_SAR_PRODUCT and RF_SAR_TRUTH, names of layers in RF_SAR_LAYERS; results go to
RF_SAR_REPORT and RF_SAR_IMAGE.
"""

import json
import math
import os
import pathlib
import sys
import traceback

from qgis.core import (QgsCoordinateReferenceSystem, QgsCoordinateTransform, QgsProject,
                       QgsProviderRegistry, QgsRaster)
from qgis.PyQt.QtCore import QTimer
from qgis.PyQt.QtGui import QColor
from qgis.PyQt.QtWidgets import QWidget
from qgis.utils import iface

sys.path.insert(0, str(pathlib.Path(os.environ["RF_SAR_TESTS"])))
import drawing  # noqa: E402

TRUTH = json.loads(pathlib.Path(os.environ["RF_SAR_TRUTH"]).read_text())


def settled(then):
    """Calls what is next when the canvas has been drawn to the end."""
    canvas = iface.mapCanvas()

    def look():
        if canvas.isDrawing():
            QTimer.singleShot(200, look)
        else:
            guarded(then)
    canvas.refresh()
    QTimer.singleShot(1000, look)


def guarded(step):
    try:
        step()
    except Exception:  # whatever it is, it must end the program, with a word on why
        traceback.print_exc()
        os._exit(1)


def start():
    iface.mainWindow().resize(1500, 1150)
    for name in ("Browser", "mMessageBar"):
        panel = iface.mainWindow().findChild(QWidget, name)
        if panel:
            panel.hide()
    iface.mapCanvas().setCanvasColor(QColor("white"))
    listed = {each.name(): each for each in QgsProviderRegistry.instance().querySublayers(
        os.environ["RF_SAR_PRODUCT"])}
    names = os.environ["RF_SAR_LAYERS"].split()
    settled(lambda: show([listed[name] for name in names], {}))


def show(remaining, report):
    if not remaining:
        return add_overlays(report)
    QgsProject.instance().removeAllMapLayers()
    details = remaining[0]
    layer = iface.addRasterLayer(details.uri(), details.name(), "gdal")
    QgsProject.instance().setCrs(QgsCoordinateReferenceSystem("EPSG:32632"))
    canvas = iface.mapCanvas()
    canvas.setExtent(canvas.mapSettings().layerExtentToOutputExtent(layer, layer.extent()))
    return settled(lambda: (measure(layer, report), show(remaining[1:], report)))


def samples_of(layer):
    """How many bands hold samples: of warped images QGIS adds one for what lies outside."""
    provider = layer.dataProvider()
    return sum(provider.colorInterpretation(band + 1) != QgsRaster.AlphaBand
               for band in range(layer.bandCount()))


def measure(layer, report):
    canvas = iface.mapCanvas()
    picture = drawing.grey_values(canvas.viewport().grab().toImage())  # without the frame around
    settings = canvas.mapSettings()
    to_map = QgsCoordinateTransform(QgsCoordinateReferenceSystem("EPSG:4326"),
                                    QgsProject.instance().crs(), QgsProject.instance())
    places = [settings.mapToPixel().transform(to_map.transform(target))
              for target in drawing.targets_on_the_ground(TRUTH)]
    offsets = []
    for expected in places:
        left, top = int(expected.x()) - 12, int(expected.y()) - 12
        x, y = drawing.bright_spot(picture[top:top + 25, left:left + 25], 3)
        offsets.append(math.hypot(left + x - expected.x(), top + y - expected.y()))
    columns, rows = sorted(p.x() for p in places), sorted(p.y() for p in places)
    inside = picture[int(rows[1]):int(rows[-2]), int(columns[1]):int(columns[-2])]
    report[layer.name()] = {
        "valid": layer.isValid(), "crs": layer.crs().authid(), "bands": samples_of(layer),
        "offsets": offsets, "faults": drawing.faults_of_greys(inside)}


def add_overlays(report):
    layer = iface.activeLayer()
    targets = drawing.target_layer(TRUTH, size="4", color="0,0,0,0", outline_color="red",
                                   outline_width="0.5")
    grid = drawing.graticule(layer.extent(), 0.01, color="0,160,255", width="0.3")
    QgsProject.instance().addMapLayers([grid, targets])
    settled(lambda: finish(report))


def finish(report):
    iface.mainWindow().grab().save(os.environ["RF_SAR_IMAGE"])
    pathlib.Path(os.environ["RF_SAR_REPORT"]).write_text(json.dumps(report))
    os._exit(0)  # no question whether to save the project


guarded(start)
