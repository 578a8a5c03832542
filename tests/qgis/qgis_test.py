# SPDX-License-Identifier: MIT
"""Debian's QGIS draws products upright and in their place; measured in rendered pictures."""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import unittest

os.environ.setdefault("QT_QPA_PLATFORM", "offscreen")
HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parents[0] / "gdal"))
from gdal_case import ProductCase, np, open_product, subdatasets  # noqa: E402

from qgis.core import (QgsApplication, QgsCoordinateReferenceSystem,  # noqa: E402
                       QgsCoordinateTransform, QgsMapRendererSequentialJob, QgsMapSettings,
                       QgsPointXY, QgsProject, QgsProviderRegistry, QgsRasterLayer, QgsRectangle)
from qgis.PyQt.QtCore import QSize  # noqa: E402
from qgis.PyQt.QtGui import QColor  # noqa: E402

import drawing  # noqa: E402

APPLICATION = None
WINDOW = 96  # pixels of the rendered pictures, each half a pixel of the product


def setUpModule():
    global APPLICATION
    APPLICATION = QgsApplication([], False)
    APPLICATION.initQgis()


def tearDownModule():
    APPLICATION.exitQgis()


def picture(layers, system, centre, resolution):
    settings = QgsMapSettings()
    settings.setLayers(layers)
    settings.setDestinationCrs(system)
    settings.setBackgroundColor(QColor("black"))
    settings.setOutputSize(QSize(WINDOW, WINDOW))
    half = WINDOW / 2 * resolution
    settings.setExtent(QgsRectangle(centre.x() - half, centre.y() - half,
                                    centre.x() + half, centre.y() + half))
    job = QgsMapRendererSequentialJob(settings)
    job.start()
    job.waitForFinished()
    assert not job.errors(), [error.message for error in job.errors()]
    return drawing.grey_values(job.renderedImage())


class Qgis(ProductCase):
    def layer(self, product, kind="MAGNITUDE", **options):
        """What a user gets who opens the product, with options, and picks from QGIS's list."""
        text = "".join(f"|option:{key}={value}" for key, value in options.items())
        listed = QgsProviderRegistry.instance().querySublayers(str(product.opened) + text)
        details = next(each for each in listed if kind in each.name())
        return QgsRasterLayer(details.uri(), details.name(), "gdal")

    def offsets(self, product, layer, system):
        """How far targets are drawn from where the truth has them, in pixels of the product."""
        self.assertTrue(layer.isValid(), layer.source())
        recipe = product.truth["recipe"]
        truth = drawing.target_layer(product.truth, size="1", color="white", outline_style="no")
        resolution = min(recipe["pixel_spacing"], recipe["line_spacing"]) / 2
        to_map = QgsCoordinateTransform(truth.crs(), system, QgsProject.instance())
        found = []
        for target in map(to_map.transform, drawing.targets_on_the_ground(product.truth)):
            drawn, expected = (
                np.array(drawing.bright_spot(picture([each], system, target, resolution), 6))
                for each in (layer, truth))
            found.append(np.hypot(*(drawn - expected)) / 2)
        self.assertGreaterEqual(len(found), 8)
        return np.array(found)

    def test_targets_of_every_family_are_drawn_where_the_truth_has_them(self):
        cases = [
            ("capella-geo", {}, 32632), ("capella-grd", {"look": "left"}, 32632),
            ("capella-slc", {"line_order": "decreasing"}, 32632),
            ("radarsat2", {}, 32632),
            ("radarsat2", {"product_type": "SGF", "pass_direction": "descending"}, 32632),
            ("radarsat2", {"product_type": "SSG"}, 32632),
            ("rcm", {"pixel_order": "decreasing", "look": "left"}, 32632),
            ("rcm", {"product_type": "GCD"}, 32632), ("rcm", {"product_type": "SLC"}, 32632),
            ("rcm", {"centre": "179.999,10"}, 32660), ("radarsat2", {"centre": "30,87.5"}, 5041),
        ]
        for number, (family, fields, epsg) in enumerate(cases):
            with self.subTest(family=family, **fields):
                product = self.make(family, lines=300, samples=300, name=f"{family} {number}",
                                    **fields)
                for kind in ("MAGNITUDE", "MAP"):  # the latter is the product as a whole
                    off = self.offsets(product, self.layer(product, kind),
                                       QgsCoordinateReferenceSystem(f"EPSG:{epsg}"))
                    # QGIS warps to the nearest pixel and draws that to the nearest; on the ground
                    # a pixel of a slant image is up to twice as wide as its spacing.
                    self.assertLess(off.max(), 1.5, (kind, off))

    def test_wide_slant_images_need_the_sensor_model(self):
        product = self.make("radarsat2", lines=64, samples=16000, target_grid=3)
        utm = QgsCoordinateReferenceSystem("EPSG:32632")
        drawn_by_ties = self.offsets(product, self.layer(product), utm)
        self.assertGreater(drawn_by_ties.max(), 3)  # a quadratic polynomial, as GDAL has it
        for layer in (self.layer(product, GEOREF="MAP"), self.layer(product, "MAP_SIGMA_NOUGHT_DB")):
            drawn_by_model = self.offsets(product, layer, utm)
            self.assertLess(drawn_by_model.max(), 1.5, drawn_by_model)

    def test_the_list_that_qgis_shows_is_the_drivers_and_all_of_it_opens(self):
        for family in ("radarsat2", "rcm", "capella-slc"):
            product = self.make(family, lines=64, samples=64)
            listed = QgsProviderRegistry.instance().querySublayers(str(product.opened))
            own = list(subdatasets(open_product(product.opened)))
            self.assertEqual([each.name() for each in listed][:len(own)], own)
            for each in listed:
                if each.providerKey() == "ogr":  # the outline that a Capella item holds
                    continue
                layer = QgsRasterLayer(each.uri(), each.name(), "gdal")
                self.assertTrue(layer.isValid(), each.uri())
                self.assertEqual(layer.crs().authid(), "EPSG:4326")

    def test_the_list_tells_the_polarization_that_an_image_really_has(self):
        product = self.make("rcm", lines=64, samples=64, polarizations="HH HV VH VV")
        listed = QgsProviderRegistry.instance().querySublayers(str(product.opened))
        self.assertEqual([each.description().split()[0] for each in listed[:4]],
                         [image["pole"] for image in product.truth["images"]])
        for each in listed:
            if "SIGMA" in each.name() and not each.name().startswith("MAP"):
                self.assertTrue(each.name().endswith(each.description().split()[0]), each.name())

    def test_an_archive_is_listed_and_opens(self):
        product = self.make("rcm", lines=64, samples=64)
        archive = shutil.make_archive(str(self.folder / "as downloaded"), "zip", self.folder,
                                      product.folder.name)
        listed = QgsProviderRegistry.instance().querySublayers(archive)
        details = next(each for each in listed if each.name() == "MAP")
        self.assertTrue(QgsRasterLayer(details.uri(), details.name(), "gdal").isValid())

    def test_every_layer_is_drawn_clearly_as_qgis_stretches_it(self):
        for family, fields in (("rcm", {}), ("radarsat2", {}), ("capella-slc", {})):
            product = self.make(family, lines=900, samples=900, target_grid=2, **fields)
            before = sorted(product.folder.rglob("*"))
            lon, lat = map(float, product.truth["recipe"]["centre"].split(","))
            system = QgsCoordinateReferenceSystem("EPSG:32632")
            centre = QgsCoordinateTransform(QgsCoordinateReferenceSystem("EPSG:4326"), system,
                                            QgsProject.instance()).transform(QgsPointXY(lon, lat))
            step = max(product.truth["recipe"]["pixel_spacing"],
                       product.truth["recipe"]["line_spacing"])
            for details in QgsProviderRegistry.instance().querySublayers(str(product.opened)):
                if not any(kind in details.name() for kind in ("MAGNITUDE", "NOUGHT", "MAP")):
                    continue
                if any(kind in details.name() for kind in ("NESZ", "INCIDENCE", "PHASE")):
                    continue
                layer = QgsRasterLayer(details.uri(), details.name(), "gdal")
                grey = picture([layer], system, centre, 4 * step)
                with self.subTest(family=family, layer=details.name()):
                    self.assertEqual(drawing.faults_of_greys(grey), [])
            self.assertEqual(sorted(product.folder.rglob("*")), before)  # nothing is written there


class Application(ProductCase):
    """The program itself, on a screen in memory; RF_SAR_QGIS_PICTURE keeps the picture of it."""

    LAYERS = {"C_HH_MAGNITUDE_1": 1, "SIGMA_NOUGHT_HH": 1, "SIGMA_NOUGHT_DB_HV": 1,
              "MAP_C_HV_MAGNITUDE_2": 1, "MAP": 2, "MAP_SIGMA_NOUGHT_DB_HH": 1}  # and their bands

    def test_the_window_shows_a_product_under_its_targets(self):
        product = self.make("rcm", lines=900, samples=900, name="sample-rcm")
        profile, report = self.folder / "profile", self.folder / "report.json"
        image = os.environ.get("RF_SAR_QGIS_PICTURE", str(self.folder / "window.png"))
        truth = product.folder.parent / f"{product.folder.name}.truth.json"
        environment = dict(os.environ, RF_SAR_PRODUCT=str(product.opened), RF_SAR_IMAGE=image,
                           RF_SAR_TRUTH=str(truth), RF_SAR_REPORT=str(report),
                           RF_SAR_LAYERS=" ".join(self.LAYERS), RF_SAR_TESTS=str(HERE))
        environment.pop("QT_QPA_PLATFORM")
        done = subprocess.run(
            ["xvfb-run", "-a", "-s", "-screen 0 1600x1200x24", "qgis", "--nologo",
             "--noversioncheck", "--noplugins", "--profiles-path", profile, "--code",
             HERE / "in_the_application.py"],
            env=environment, capture_output=True, text=True, timeout=300, check=False)
        self.assertTrue(report.exists(), done.stderr)
        found = json.loads(report.read_text())
        self.assertEqual(list(found), list(self.LAYERS))
        for name, bands in self.LAYERS.items():
            shown = found[name]
            with self.subTest(layer=name):
                self.assertEqual((shown["valid"], shown["crs"], shown["bands"]),
                                 (True, "EPSG:4326", bands))
                self.assertEqual(len(shown["offsets"]), 8)
                # Pixels of the screen, each about one of the product's; drawn to the nearest, twice.
                self.assertLess(max(shown["offsets"]), 1.5, shown)
                self.assertEqual(shown["faults"], [])
        self.assertGreater(os.path.getsize(image), 10000)


if __name__ == "__main__":
    unittest.main()
