# SPDX-License-Identifier: MIT
"""Elevation models: from what their heights count, what they cover, files together, memory."""

import os
import pathlib
import re
import subprocess
import sys
import unittest

import numpy as np
from osgeo import gdal, osr

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from maps import system  # noqa: E402
from products import RFSAR, SANITIZERS, ProductCase, for_others, rfsar  # noqa: E402

gdal.UseExceptions()
EGM96 = next((f for f in (pathlib.Path(p) / "egm96_15.gtx" for p in (
    os.environ.get("PROJ_DATA", ""), "/usr/share/proj")) if f.exists()), None)


def undulation(lon, lat):
    """Of EGM96 by PROJ itself, point by point."""
    to = osr.CoordinateTransformation(system("EPSG:4326+5773"), system("EPSG:4979"))
    return np.array([to.TransformPoint(x, y, 0.0)[2] for x, y in zip(lon, lat)])


class HeightsCase(ProductCase):
    def setUp(self):
        super().setUp()
        self.product = self.make("rcm", lines=260, samples=200, height=370.0)
        lines, samples = np.mgrid[5:255:16, 5:195:12]
        self.pixels = np.column_stack([samples.ravel(), lines.ravel()]).astype(float)
        ground = self.locate(self.pixels)
        self.lon, self.lat = ground[:, 0], ground[:, 1]

    def model(self, name, heights, stated="EPSG:4326", west=None, width=0.2, step=1e-3):
        """A model of heights(lon, lat) around the scene, or of a part of it."""
        path = str(self.folder / name)
        west = 11.4 if west is None else west
        columns, rows = round(width / step), round(0.2 / step)
        file = gdal.GetDriverByName("GTiff").Create(path, columns, rows, 1, gdal.GDT_Float64)
        file.SetGeoTransform((west, step, 0, 48.2, 0, -step))
        file.SetSpatialRef(system(stated))
        lat, lon = np.mgrid[0:rows, 0:columns]
        file.WriteArray(heights(west + (lon + 0.5) * step, 48.2 - (lat + 0.5) * step))
        return path

    def locate(self, points, *options, inverse=False):
        done = rfsar("locate", self.product.opened, *(["--inverse"] if inverse else []), *options,
                     stdin="".join(" ".join(repr(float(v)) for v in p) + "\n" for p in points))
        self.assertEqual(done.returncode, 0, done.stderr)
        self.said = done.stderr
        return np.array([[float(w) for w in line.split()] for line in done.stdout.splitlines()])

    def over(self, *options):
        return self.locate(np.column_stack([self.lon, self.lat]), *options, inverse=True)

    def at(self, heights):
        return self.locate(np.column_stack([self.lon, self.lat, heights]), inverse=True)

    def geocode(self, name, *options, memory="256"):
        out = self.folder / name
        done = rfsar("geocode", self.product.opened, "--crs", "EPSG:32632", "-o", out, "--force",
                     "--max-memory", memory, *options)
        self.said = done.stderr
        return done, out


def flat(height):
    return lambda lon, lat: np.full(lon.shape, float(height))


@unittest.skipIf(EGM96 is None, "PROJ's grid egm96_15.gtx is not installed")
class Geoids(HeightsCase):
    def test_a_model_at_sea_level_lies_where_its_geoid_does(self):
        exact = self.at(undulation(self.lon, self.lat))
        self.assertGreater(np.abs(exact - self.at(np.zeros(self.lon.size))).max(), 5)
        stated = self.model("stated.tif", flat(0), "EPSG:4326+5773")
        silent = self.model("silent.tif", flat(0))
        west = self.model("west.tif", flat(0), "EPSG:4326+5773", width=0.1)
        east = self.model("east.tif", lambda lon, lat: undulation(
            lon.ravel(), lat.ravel()).reshape(lon.shape), "EPSG:4979", west=11.5, width=0.1,
            step=2e-3)
        utm = str(self.folder / "utm.vrt")
        gdal.Warp(utm, silent, format="VRT", dstSRS="EPSG:32632", xRes=60, yRes=60,
                  dstNodata=-9999)
        for options in (("--dem", stated), ("--dem", silent, "--dem-heights", "egm96"),
                        ("--dem", silent, "--dem-heights", EGM96),
                        ("--dem", west, "--dem", east),
                        ("--dem", utm, "--dem-heights", "egm96")):
            with self.subTest(options):
                self.assertLess(np.abs(self.over(*options) - exact).max(), 1e-3)
                self.assertEqual(self.said, "")
        level = self.at(np.zeros(self.lon.size))
        self.assertLess(np.abs(self.over("--dem", silent) - level).max(), 1e-6)
        self.assertEqual(self.said.count("taken as heights above the ellipsoid; use "
                                         "--dem-heights egm2008 for Copernicus, egm96 for SRTM"), 1)
        self.over("--dem", stated, "--dem-heights", "ellipsoid")
        self.assertIn('says that its heights are "EGM96 height"', self.said)

    def test_maps_and_the_driver_follow(self):
        fine = self.model("fine.tif", lambda lon, lat: undulation(
            lon.ravel(), lat.ravel()).reshape(lon.shape), "EPSG:4979", step=2e-3)
        stated = self.model("stated.tif", flat(0), "EPSG:4326+5773")
        maps = [gdal.Open(str(self.geocode(name + ".tif", "--dem", file)[1])) for name, file in
                (("a", fine), ("b", stated), ("c", self.model("none.tif", flat(0))))]
        pixels = [m.ReadAsArray().astype(float) for m in maps]
        self.assertEqual(maps[0].GetGeoTransform(), maps[1].GetGeoTransform())
        self.assertLess(np.abs(pixels[0] - pixels[1]).max(), 2)  # 1e-3 pixel of this picture
        self.assertNotEqual(maps[0].GetGeoTransform(), maps[2].GetGeoTransform())
        os.environ.setdefault("GDAL_DRIVER_PATH", str(pathlib.Path(RFSAR).parents[1] / "lib"))
        shown = {}
        for name, options in (("stated", {"DEM": stated}), ("fine", {"DEM": fine}),
                              ("named", {"DEM": self.folder / "none.tif", "DEM_HEIGHTS": "EGM96"})):
            done = subprocess.run(["gdalinfo", "-checksum", "-if", "RF_SAR", "-oo", "GEOREF=MAP",
                                   *(w for k, v in options.items() for w in ("-oo", f"{k}={v}")),
                                   str(self.product.opened)], capture_output=True, text=True,
                                  check=True, env=for_others())
            shown[name] = re.search(r"Origin = .*", done.stdout)[0]
        self.assertEqual(shown["stated"], shown["named"])
        numbers = [np.array([float(n) for n in re.findall(r"[-\d.]+", shown[n])])
                   for n in ("stated", "fine")]
        self.assertLess(np.abs(np.subtract(*numbers)).max(), 1e-6)

    def test_what_cannot_be_converted_is_refused_by_name(self):
        silent = self.model("silent.tif", flat(0))
        own = self.folder / "own.vrt"
        gdal.Translate(str(own), silent, format="VRT")
        wkt = ('COMPD_CS["both",' + system("EPSG:4326").ExportToWkt() +
               ',VERT_CS["Height above Tom\'s bench",VERT_DATUM["Tom\'s bench",2005],'
               'UNIT["metre",1],AXIS["Up",UP]]]').replace('"', "&quot;")
        own.write_text(re.sub("<SRS[^>]*>.*</SRS>", f"<SRS>{wkt}</SRS>", own.read_text(), flags=re.S))
        nowhere = self.folder / "proj"
        nowhere.mkdir()
        (nowhere / "proj.db").symlink_to(EGM96.parent / "proj.db")
        for options, words, where in (
                (["--dem", own], ["own.vrt", "Tom's bench"], None),
                (["--dem", self.model("msl.tif", flat(0), "EPSG:4326+5714")], ["MSL height"], None),
                (["--dem", silent, "--dem-heights", "egm2008"],
                 ["EGM2008", "us_nga_egm08_25.tif", str(nowhere)], nowhere),
                (["--dem", self.model("96.tif", flat(0), "EPSG:4326+5773")],
                 ["96.tif", "us_nga_egm96_15.tif", str(nowhere)], nowhere),
                (["--dem", silent, "--dem-heights", "egm84"], ["egm84"], None),
                (["--dem", self.folder / "proj"], ["holds no elevation models"], None)):
            with self.subTest(words):
                env = {**os.environ, **({"PROJ_DATA": str(where), "PROJ_LIB": str(where)}
                                        if where else {}), "PROJ_NETWORK": "OFF"}
                done = subprocess.run(
                    [RFSAR, "locate", str(self.product.opened), *map(str, options)],
                    input="1 1\n", env=env, capture_output=True, text=True, check=False)
                self.assertFails(done, *words)
        doctor = subprocess.run([RFSAR, "doctor"], env={**os.environ, "PROJ_DATA": str(nowhere),
                                                        "PROJ_LIB": str(nowhere)},
                                capture_output=True, text=True, check=False).stdout
        self.assertRegex(doctor, "geoid EGM96 +missing: .*us_nga_egm96_15.tif")
        self.assertRegex(rfsar("doctor").stdout, "geoid EGM96 +at hand")


class Files(HeightsCase):
    def test_tiles_a_folder_and_a_mosaic_are_one_model(self):
        def hills(lon, lat):
            return 600 + 300 * np.sin(300 * lon) * np.cos(200 * lat)
        folder = self.folder / "tiles é"
        folder.mkdir()
        whole = self.over("--dem", self.model("whole.tif", hills, "EPSG:4979"))
        parts = [self.model(f"tiles é/{i}.tif", hills, "EPSG:4979", west=11.4 + 0.05 * i, width=0.05)
                 for i in range(4)]
        mosaic = str(self.folder / "mosaic.vrt")
        gdal.BuildVRT(mosaic, parts).FlushCache()
        for options in ([w for part in parts for w in ("--dem", part)], ["--dem", folder],
                        ["--dem", mosaic]):
            self.assertLess(np.abs(self.over(*options) - whole).max(), 1e-6)

    def test_coverage_is_told_and_can_be_required(self):
        half = self.model("half.tif", flat(370), "EPSG:4979", width=0.1)
        for options, status, words in (
                ((self.model("all.tif", flat(370), "EPSG:4979"),), 0, "covers 100 % of the image"),
                ((half,), 0, "warning: the elevation model covers"),
                ((half, "--require-dem"), 1, "--require-dem asks for all of it")):
            done, out = self.geocode("map.tif", "--dem", *options)
            self.assertEqual(done.returncode, status, done.stderr)
            self.assertIn(words, done.stderr)
            share = int(re.search(r"covers (\d+) %", done.stderr)[1])
            east = 11.5 if "half" in str(options[0]) else 99
            self.assertAlmostEqual(share, 100 * (self.lon < east).mean(), delta=4)
        holes = self.model("holes.tif", lambda lon, lat: np.where(lon < 11.5, 370.0, np.nan),
                           "EPSG:4979")
        found = self.over("--dem", holes)
        np.testing.assert_array_equal(np.isnan(found[:, 0]), self.lon > 11.4995)

    @unittest.skipIf(SANITIZERS, "sanitizers take memory of their own")
    def test_memory_is_bounded_with_a_larger_model(self):
        path = str(self.folder / "large.tif")
        side = 12000  # 550 MiB of heights
        gdal.SetCacheMax(16 << 20)  # what this process holds counts for those that it starts
        file = gdal.GetDriverByName("GTiff").Create(
            path, side, side, 1, gdal.GDT_Float32, ["TILED=YES", "COMPRESS=ZSTD"])
        step = 0.2 / side
        file.SetGeoTransform((11.4, step, 0, 48.2, 0, -step))
        file.SetSpatialRef(system("EPSG:4979"))
        file.GetRasterBand(1).Fill(370)
        file = None
        before = self.geocode("plain.tif", memory="64")[0]
        self.assertEqual(before.returncode, 0)
        out = self.folder / "over.tif"
        pid = os.fork()
        if pid == 0:
            os.execv(RFSAR, [RFSAR, "-q", "geocode", str(self.product.opened), "--crs",
                             "EPSG:32632", "-o", str(out), "--max-memory", "64", "--dem", path])
        _, status, usage = os.wait4(pid, 0)
        self.assertEqual(status, 0)
        self.assertLess(usage.ru_maxrss, 64 * 1024 + 100 * 1024)  # and what a program has anyhow
        self.assertLess(np.abs(gdal.Open(str(out)).ReadAsArray().astype(int)
                               - gdal.Open(str(self.folder / "plain.tif")).ReadAsArray()).max(), 2)


if __name__ == "__main__":
    unittest.main()
