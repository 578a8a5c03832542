"""Run by QGIS itself (--code): adds a product, measures what the canvas shows, keeps a picture.

Files come in RF_SAR_PRODUCT and RF_SAR_TRUTH, results go to RF_SAR_REPORT and RF_SAR_IMAGE.
"""

import json
import math
import os
import pathlib
import sys
import traceback

from qgis.core import (QgsCoordinateReferenceSystem, QgsCoordinateTransform, QgsProject,
                       QgsProviderRegistry)
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
    listed = QgsProviderRegistry.instance().querySublayers(os.environ["RF_SAR_PRODUCT"])
    magnitude = next(each for each in listed if "MAGNITUDE" in each.name())
    layer = iface.addRasterLayer(magnitude.uri(), magnitude.name(), "gdal")
    settled(lambda: place(layer))


def place(layer):
    iface.mainWindow().resize(1200, 740)
    for name in ("Browser", "mMessageBar"):
        panel = iface.mainWindow().findChild(QWidget, name)
        if panel:
            panel.hide()
    canvas = iface.mapCanvas()
    canvas.setCanvasColor(QColor("white"))
    QgsProject.instance().setCrs(QgsCoordinateReferenceSystem("EPSG:32632"))
    draw(layer, 0, layer.dataProvider().bandStatistics(1).maximumValue)
    canvas.setExtent(canvas.mapSettings().layerExtentToOutputExtent(layer, layer.extent()))
    settled(lambda: measure(layer))


def draw(layer, low, high):
    drawing.stretch(layer, low, high)
    layer.triggerRepaint()


def measure(layer):
    canvas = iface.mapCanvas()
    picture = drawing.grey_values(canvas.viewport().grab().toImage())  # without the frame around
    picture[picture == 255] = 0  # around the layer
    settings = canvas.mapSettings()
    to_map = QgsCoordinateTransform(QgsCoordinateReferenceSystem("EPSG:4326"),
                                    QgsProject.instance().crs(), QgsProject.instance())
    offsets = []
    for target in drawing.targets_on_the_ground(TRUTH):
        expected = settings.mapToPixel().transform(to_map.transform(target))
        left, top = int(expected.x()) - 12, int(expected.y()) - 12
        x, y = drawing.bright_spot(picture[top:top + 25, left:left + 25], 3)
        offsets.append(math.hypot(left + x - expected.x(), top + y - expected.y()))
    report = {"valid": layer.isValid(), "crs": layer.crs().authid(), "bands": layer.bandCount(),
              "offsets": offsets}
    add_overlays(layer)
    settled(lambda: finish(report))


def add_overlays(layer):
    draw(layer, *layer.dataProvider().cumulativeCut(1, 0.02, 0.98))
    targets = drawing.target_layer(TRUTH, size="4", color="0,0,0,0", outline_color="red",
                                   outline_width="0.5")
    grid = drawing.graticule(layer.extent(), 0.01, color="0,160,255", width="0.3")
    QgsProject.instance().addMapLayers([grid, targets])


def finish(report):
    iface.mainWindow().grab().save(os.environ["RF_SAR_IMAGE"])
    pathlib.Path(os.environ["RF_SAR_REPORT"]).write_text(json.dumps(report))
    os._exit(0)  # no question whether to save the project


guarded(start)
