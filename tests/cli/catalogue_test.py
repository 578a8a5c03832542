# SPDX-License-Identifier: MIT
"""rfsar list, catalogue and find, judged by the simulator's truth and by GDAL's own reading."""

import csv
import io
import json
import os
import pathlib
import shutil
import sys
import unittest

from osgeo import gdal, ogr

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / "tests/support"), str(ROOT / "tools/archive_trial")]
from products import ProductCase, rfsar, rfsar_json  # noqa: E402
from copies import Copies  # noqa: E402

gdal.UseExceptions()
SMALL = dict(lines=60, samples=60)


class Catalogue(ProductCase):
    def setUp(self):
        super().setUp()
        self.catalogue = self.folder / "mes données.gpkg"

    def update(self, *arguments):
        """Returns what the last line tells: opened, damaged, unchanged, vanished."""
        done = rfsar("catalogue", self.folder, "-o", self.catalogue, *arguments)
        self.assertEqual(done.returncode, 0, done.stderr)
        return [int(word.strip("(),")) for word in done.stderr.splitlines()[-1].split()
                if word.strip("(),").isdigit()]

    def find(self, *arguments):
        done = rfsar("find", self.catalogue, "--list", *arguments)
        self.assertEqual(done.returncode, 0, done.stderr)
        return sorted(done.stdout.splitlines())

    def test_list_says_what_the_simulator_made(self):
        left = self.make("radarsat2", look="left", pass_direction="descending",
                         polarizations="HH HV", centre="-100,60", **SMALL)
        right = self.make("rcm", **SMALL)
        item = self.make("capella-slc", **SMALL)
        shutil.make_archive(str(self.folder / "zipped"), "zip", right.folder)
        (self.folder / "cut").mkdir()
        (self.folder / "cut/product.xml").write_text("<product><a>")
        rows = {row["file"]: row for row in rfsar_json("list", self.folder)}
        zipped, cut = str(self.folder / "zipped.zip"), str(self.folder / "cut/product.xml")
        self.assertEqual(sorted(rows), sorted([str(left.opened), str(right.opened),
                                               str(item.opened), zipped, cut]))
        self.assertIn("product.xml", rows[cut]["error"])
        row = rows[str(left.opened)]
        self.assertEqual((row["lookSide"], row["orbitDirection"], row["polarizations"],
                          row["format"]), ("left", "descending", ["HH", "HV"], "RADARSAT-2"))
        lon, lat = row["footprint"]["coordinates"][0][0]
        self.assertAlmostEqual(lon, -100, delta=0.1)
        self.assertAlmostEqual(lat, 60, delta=0.1)
        same = dict(rows[zipped], file=str(right.opened))
        self.assertEqual(same, rows[str(right.opened)])
        for product in (left, right, item):
            row = rows[str(product.opened)]
            angles = [a for a in row["incidenceDeg"].values() if a is not None]
            self.assertTrue(angles and all(10 < a < 60 for a in angles), angles)
            self.assertRegex(row["start"], r"^20\d\d-\d\d-\d\dT[\d:.]+Z$")
            self.assertLessEqual(row["start"], row["stop"])
        table = list(csv.DictReader(io.StringIO(rfsar("list", self.folder, "--csv").stdout)))
        self.assertEqual({line["file"] for line in table}, set(rows))
        for line in table:
            if not line["error"]:
                outline = ogr.CreateGeometryFromWkt(line["footprint"])
                self.assertEqual(outline.GetPointCount() or
                                 outline.GetGeometryRef(0).GetPointCount(),
                                 len(rows[line["file"]]["footprint"]["coordinates"][0]))
        lines = rfsar("list", self.folder).stdout.splitlines()
        self.assertEqual(len(lines), 5)
        missing = rfsar("list", self.folder / "nothing")
        self.assertEqual(missing.returncode, 1)
        self.assertIn("nothing", missing.stdout)

    def test_a_catalogue_follows_the_archive(self):
        archive = self.folder / "archive"
        files = Copies(archive, families=("rcm", "radarsat2")).make_all(4)
        shutil.rmtree(self.folder / "archive templates")
        self.assertEqual(self.update(), [4, 0, 0, 0])
        self.assertEqual(self.update(), [0, 0, 4, 0])
        self.assertEqual(self.find(), sorted(map(str, files)))

        os.utime(files[0])
        shutil.move(files[1].parent, self.folder / "aside")
        files[2].write_text("<product")
        self.assertEqual(self.update(), [3, 1, 1, 1])  # the moved one is found where it is now
        shutil.move(self.folder / "aside", files[1].parent)
        self.assertEqual(self.update(), [0, 0, 4, 1])
        self.assertEqual(self.find(), sorted(map(str, (files[0], files[1], files[3]))))
        self.assertEqual(len(self.find("--all")), 5)

        rfsar("batch", "check", archive, "--into", self.folder / "checked")
        self.assertEqual(self.update("--checks", self.folder / "checked"), [0, 0, 4, 0])
        table = ogr.Open(str(self.catalogue))
        layer = table.GetLayer(0)
        rows = {feature["file"]: feature for feature in layer}
        self.assertEqual(len(rows), 5)
        self.assertEqual(rows[str(files[3])]["checked"], "ok")
        self.assertEqual(rows[str(files[0])]["bytes"], files[0].stat().st_size)
        self.assertEqual(rows[str(files[1])]["vanished"], 0)
        self.assertEqual(layer.GetSpatialRef().GetAuthorityCode(None), "4326")
        footprint = rfsar_json("info", files[3])["footprint"]
        shown = rows[str(files[3])].GetGeometryRef()
        self.assertTrue(shown.GetGeometryRef(0).Equals(ogr.CreateGeometryFromJson(
            json.dumps(footprint))))

    def test_find(self):
        here = self.make("rcm", name="here", centre="11.5,48.1", **SMALL)
        seam = self.make("rcm", name="seam", centre="180,20", lines=400, samples=400)
        polar = self.make("radarsat2", name="polar", centre="30,85", look="left", **SMALL)
        self.assertEqual(self.update()[:2], [3, 0])
        everything = {str(p.opened) for p in (here, seam, polar)}
        self.assertEqual(set(self.find()), everything)
        for box, product in (("11,48,12,49", here), ("179.99,19,-179.99,21", seam),
                             ("-180,10,-179.99,30", seam), ("29,84,31,86", polar)):
            self.assertEqual(self.find("--bbox", box), [str(product.opened)], box)
        self.assertEqual(self.find("--bbox=-170,10,0,30"), [])
        self.assertEqual(self.find("--satellite", "radarsat-2", "--look", "left"),
                         [str(polar.opened)])
        found = rfsar_json("find", self.catalogue, "--bbox", "11,48,12,49")
        listed = rfsar_json("list", here.opened)
        for key, value in listed[0].items():
            if key not in ("start", "stop", "footprint"):  # a GeoPackage keeps milliseconds
                self.assertEqual(found[0][key], value, key)
        start = listed[0]["start"]
        day = start[:10]
        for time, hit in ((f"{day}/{day}", True), (f"../{start[:13]}", True), (f"{start[:4]}/..", True),
                          (f"{start[:19]}Z/..", True), ("../2001", False), ("2093-01/..", False)):
            self.assertEqual(str(here.opened) in self.find("--time", time), hit, time)
        for wrong, text in ((("--time", "yesterday/.."), "yesterday"), (("--time", day), "START/END"),
                            (("--bbox", "1,5,2,3"), "south")):
            self.assertFails(rfsar("find", self.catalogue, *wrong), text)
        self.assertFails(rfsar("find", self.folder / "none.gpkg"), "none.gpkg")
        fed = rfsar("batch", "stac", "--into", self.folder / "items", "--list", "-",
                    stdin="\n".join(self.find("--bbox", "11,48,12,49")))
        self.assertIn("1 done", fed.stderr)

    def test_a_row_without_a_file_is_told(self):
        self.make("rcm", **SMALL)
        self.update()
        table = ogr.Open(str(self.catalogue), 1)
        table.ExecuteSQL("UPDATE products SET file = NULL")
        table = None
        for verb in (("find", self.catalogue, "--list"), ("catalogue", self.folder, "-o", self.catalogue)):
            self.assertFails(rfsar(*verb), "données.gpkg: row 1 names no file")


if __name__ == "__main__":
    unittest.main()
