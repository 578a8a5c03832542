# SPDX-License-Identifier: MIT
"""Items are what the STAC 1.0 rules ask for, say what the product says, and lead to its files."""

import datetime
import json
import pathlib
import re
import sys
import unittest
import urllib.parse
import zipfile

import numpy as np
from osgeo import osr

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from products import ProductCase, rfsar, rfsar_json  # noqa: E402

POSITIVE = (lambda v: isinstance(v, (int, float)) and v > 0)
COUNT = (lambda v: isinstance(v, int) and v > 0)
FIELDS = {  # of the extensions' schemas
    "sar:instrument_mode": lambda v: isinstance(v, str) and v,
    "sar:frequency_band": lambda v: v in ("P", "L", "S", "C", "X", "Ku", "K", "Ka"),
    "sar:center_frequency": POSITIVE,
    "sar:polarizations": lambda v: v and set(v) <= {"HH", "VV", "HV", "VH", "CH", "CV"},
    "sar:product_type": lambda v: isinstance(v, str) and v,
    "sar:pixel_spacing_range": POSITIVE, "sar:pixel_spacing_azimuth": POSITIVE,
    "sar:resolution_range": POSITIVE, "sar:resolution_azimuth": POSITIVE,
    "sar:looks_equivalent_number": POSITIVE,
    "sar:looks_range": COUNT, "sar:looks_azimuth": COUNT,
    "sar:observation_direction": lambda v: v in ("left", "right"),
    "sat:orbit_state": lambda v: v in ("ascending", "descending", "geostationary"),
    "view:incidence_angle": lambda v: 0 <= v <= 90,
    "proj:epsg": lambda v: v is None or COUNT(v),
    "proj:transform": lambda v: len(v) == 6,
    "proj:shape": lambda v: len(v) == 2 and all(map(COUNT, v)),
}
REQUIRED = {"sar": ["sar:instrument_mode", "sar:frequency_band", "sar:polarizations",
                    "sar:product_type"],
            "sat": ["sat:orbit_state"], "view": ["view:incidence_angle"],
            "projection": ["proj:epsg"]}


def instant(text):
    assert text.endswith("Z"), text
    return datetime.datetime.fromisoformat(text[:26].rstrip("Z") + "+00:00")


class Stac(ProductCase):
    def check_item(self, item):
        self.assertEqual((item["type"], item["stac_version"]), ("Feature", "1.0.0"))
        self.assertTrue(item["id"])
        self.assertIsInstance(item["links"], list)
        properties = item["properties"]
        start, end = instant(properties["start_datetime"]), instant(properties["end_datetime"])
        self.assertTrue(start <= instant(properties["datetime"]) <= end)
        declared = [url.split("/")[3] for url in item["stac_extensions"]]
        for extension in declared:
            for key in REQUIRED[extension]:
                self.assertIn(key, properties)
        for key, value in properties.items():
            if key.split(":")[0].replace("proj", "projection") in declared:
                self.assertTrue(FIELDS[key](value), f"{key}: {value}")
        for asset in item["assets"].values():
            self.assertRegex(asset["href"], r"^[^ \"<>\\^`{|}]+$")
            self.assertTrue(asset["type"] and asset["roles"])
        for ring in item["geometry"]["coordinates"] if item["geometry"]["type"] == "Polygon" else []:
            self.assertEqual(ring[0], ring[-1])
            west, south, east, north = item["bbox"]
            self.assertEqual((west, east), (min(p[0] for p in ring), max(p[0] for p in ring)))
            self.assertEqual((south, north), (min(p[1] for p in ring), max(p[1] for p in ring)))
        return declared

    def test_items_of_every_family_are_valid_true_and_lead_to_the_files(self):
        for family in ("capella-slc", "capella-geo", "capella-grd", "rcm", "radarsat2"):
            with self.subTest(family):
                product = self.make(family, lines=40, samples=30, name=f"{family} 50% #1",
                                    pass_direction="descending", look="left")
                output = self.folder / "items" / f"{family}.json"
                output.parent.mkdir(exist_ok=True)
                done = rfsar("stac", product.folder, "-o", output)
                self.assertEqual((done.returncode, done.stderr), (0, ""))
                item = json.loads(output.read_text("utf-8"))
                self.assertEqual(self.check_item(item), ["sar", "sat", "view", "projection"])
                properties, truth = item["properties"], product.truth
                self.assertEqual(properties["sar:product_type"], truth["productType"])
                self.assertEqual(properties["sar:polarizations"], truth["polarizations"])
                self.assertEqual(properties["sat:orbit_state"], "descending")
                self.assertEqual(properties["sar:observation_direction"], "left")
                self.assertEqual(properties["proj:shape"], [40, 30])
                self.assertEqual(properties["proj:epsg"] is None, family != "capella-geo")
                self.check_transform(properties, truth, item)
                self.assertAlmostEqual(properties["sar:center_frequency"],
                                       9.65 if "capella" in family else 5.405, places=3)
                info = rfsar_json("info", product.folder)
                self.assertEqual(item["geometry"], info["footprint"])
                images = {i["pole"].lower(): product.folder / i["file"] for i in truth["images"]}
                for key, asset in item["assets"].items():
                    file = output.parent / urllib.parse.unquote(asset["href"])
                    self.assertTrue(file.is_file(), asset["href"])
                    if "data" in asset["roles"]:
                        self.assertTrue(file.samefile(images.pop(key)))
                self.assertEqual(images, {})

    def check_transform(self, properties, truth, item):
        """Corners of the map, taken to the ground by GDAL, are the footprint's."""
        self.assertEqual("proj:transform" in properties, truth["recipe"]["product_type"] == "GEO")
        if "proj:transform" not in properties:
            return
        a, b, c, d, e, f = properties["proj:transform"]
        to = osr.SpatialReference()
        to.ImportFromEPSG(4326)
        of = osr.SpatialReference()
        of.ImportFromEPSG(properties["proj:epsg"])
        for system in (of, to):
            system.SetAxisMappingStrategy(osr.OAMS_TRADITIONAL_GIS_ORDER)
        ring = item["geometry"]["coordinates"][0]
        for x, y in ((0, 0), (30, 0), (30, 40), (0, 40)):
            lon, lat, _ = osr.CoordinateTransformation(of, to).TransformPoint(
                a * x + b * y + c, d * x + e * y + f)
            self.assertLess(min(abs(p[0] - lon) + abs(p[1] - lat) for p in ring), 1e-8)

    def test_resolution_is_what_the_bandwidths_give(self):
        product = self.make("radarsat2", lines=200, samples=64)
        text = product.opened.read_text("utf-8")
        of_range, azimuth = (float(re.search(f"<{name}[^>]*>([^<]*)<", text)[1]) for name in
                             ("rangeLookBandwidth", "azimuthLookBandwidth"))
        found = json.loads(rfsar("stac", product.opened).stdout)["properties"]
        self.assertAlmostEqual(found["sar:resolution_range"], 149896229 / of_range, places=6)
        # The beam runs over the ground at some 6.8 km/s.
        self.assertAlmostEqual(found["sar:resolution_azimuth"] * azimuth, 6800, delta=300)

    def test_metadata_alone_make_an_item(self):
        for family in ("capella-slc", "capella-geo", "rcm", "radarsat2"):
            for centre in ("11.5,48.1", "180,-16.5"):
                with self.subTest(family, centre=centre):
                    product = self.make(family, lines=400, samples=300, centre=centre,
                                        name=f"{family} {centre}")
                    whole = json.loads(rfsar("stac", product.folder).stdout)
                    for image in product.truth["images"]:
                        (product.folder / image["file"]).unlink()
                    done = rfsar("stac", product.folder)
                    self.assertEqual(done.returncode, 0, done.stderr)
                    self.assertIn(pathlib.Path(product.truth["images"][0]["file"]).name,
                                  done.stderr)
                    item = json.loads(done.stdout)
                    self.check_item(item)
                    self.assertEqual(item["properties"]["proj:shape"], [400, 300])
                    self.assertEqual(item["geometry"]["type"], whole["geometry"]["type"])
                    np.testing.assert_allclose(item["bbox"], whole["bbox"], atol=2e-4)
                    self.assertEqual(set(item["assets"]), set(whole["assets"]))

    def test_an_item_across_the_antimeridian_has_its_west_east_of_its_east(self):
        item = json.loads(rfsar("stac", self.make("rcm", lines=40, samples=40,
                                                  centre="180,10").opened).stdout)
        self.check_item(item)
        self.assertEqual(item["geometry"]["type"], "MultiPolygon")
        west, _, east, _ = item["bbox"]
        self.assertTrue(179 < west < 180 and -180 < east < -179, item["bbox"])

    def test_compact_polarization_has_words_and_what_is_missing_is_named(self):
        product = self.make("rcm", lines=40, samples=40, polarizations="CH CV")
        item = json.loads(rfsar("stac", product.opened).stdout)
        self.assertIn("sar", self.check_item(item))
        self.assertIn("/sar/v1.3.0/", item["stac_extensions"][0])
        self.assertEqual(item["properties"]["sar:polarizations"], ["CH", "CV"])
        text = product.opened.read_text("utf-8")
        product.opened.write_text(re.sub("<beamMode>[^<]*", "<beamMode>", text), "utf-8")
        done = rfsar("stac", product.opened)
        self.assertIn("the SAR extension of STAC knows for sar:instrument_mode;", done.stderr)
        self.assertNotIn("sar", self.check_item(json.loads(done.stdout)))

    def test_a_product_in_an_archive_has_an_asset_that_clients_can_open(self):
        product = self.make("rcm", lines=40, samples=40)
        archive = self.folder / "as sent.zip"
        with zipfile.ZipFile(archive, "w") as out:
            for file in sorted(product.folder.rglob("*")):
                out.write(file, file.relative_to(product.folder.parent))
        output = self.folder / "item.json"
        self.assertEqual(rfsar("stac", archive, "-o", output).returncode, 0)
        item = json.loads(output.read_text("utf-8"))
        self.check_item(item)
        self.assertEqual([(a["href"], a["type"]) for a in item["assets"].values()],
                         [("as%20sent.zip", "application/zip")])

    def test_bursts_lie_in_the_footprint_of_all_of_them(self):
        product = self.make("rcm", product_type="SLC", lines=600, samples=400, beams=2)
        item = json.loads(rfsar("stac", product.opened).stdout)
        self.check_item(item)
        self.assertEqual(item["geometry"], rfsar_json("info", product.opened)["footprint"])
        self.assertEqual(item["properties"]["proj:shape"], [600, 400])

    def test_nothing_is_replaced_unasked(self):
        product = self.make("radarsat2", lines=40, samples=40)
        output = self.folder / "item.json"
        output.write_text("mine")
        self.assertFails(rfsar("stac", product.opened, "-o", output), "--force")
        self.assertEqual(output.read_text(), "mine")


if __name__ == "__main__":
    unittest.main()
