# SPDX-License-Identifier: MIT
"""rfsar rtc: flattened values on level ground and slopes, in both geometries, and how it fails."""

import json
import os
import pathlib
import re
import sys
import unittest

import numpy as np
from osgeo import gdal, osr

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from maps import system  # noqa: E402
from products import RFSAR, ProductCase, rfsar  # noqa: E402

gdal.UseExceptions()

VALID, LAYOVER, SHADOW, OUTSIDE = 1, 2, 4, 8


class RtcCase(ProductCase):
    def model(self, product, relief=lambda east, north: 0 * east, step=3e-4, side=240, shift=0):
        """An elevation model around the scene: relief in m above its height, of m from its centre."""
        lon, lat = map(float, product.truth["recipe"]["centre"].split(","))
        height = product.truth["recipe"]["height"]
        path = self.folder / "élévation model.tif"
        image = gdal.GetDriverByName("GTiff").Create(str(path), side, side, 1, gdal.GDT_Float32)
        image.SetGeoTransform((lon + shift - side / 2 * step, step, 0, lat + side / 2 * step, 0,
                               -step))
        image.SetSpatialRef(system("EPSG:4979"))
        rows, columns = np.mgrid[0:side, 0:side] + 0.5 - side / 2
        metre = 111200
        image.WriteArray((height + relief(columns * step * metre * np.cos(np.radians(lat)),
                                          -rows * step * metre)).astype(np.float32))
        image = None
        return path

    def rtc(self, product, *options, name="flat.tif"):
        out = self.folder / name
        done = rfsar("rtc", product.opened, "-o", out, "--force", *options)
        self.assertEqual(done.returncode, 0, done.stderr)
        return self.bands(out), done

    @staticmethod
    def bands(path):
        image = gdal.Open(str(path))
        return {image.GetRasterBand(i + 1).GetDescription(): image.GetRasterBand(i + 1).ReadAsArray()
                for i in range(image.RasterCount)}

    def layer(self, product, name):
        out = self.folder / "layer.tif"
        done = rfsar("export", product.opened, "--layer", name, "-o", out, "--force")
        self.assertEqual(done.returncode, 0, done.stderr)
        return gdal.Open(str(out)).ReadAsArray().astype(float)


class Values(RtcCase):
    def test_level_ground_has_beta_nought_times_the_tangent(self):
        size = {"lines": 300, "samples": 260}
        for family, pole, fields in (("rcm", "HH", {"height": 370.0}),
                                     ("rcm", "HH", {"lines": 8, "samples": 8}),
                                     ("radarsat2", "HH", {"look": "left", "height": 3000.0,
                                                          "line_order": "decreasing"}),
                                     ("capella-slc", "VV", {}),
                                     ("capella-grd", "HH", {"pass_direction": "descending"})):
            with self.subTest(family, **fields):
                product = self.make(family, name=f"{family} {len(fields)} level", **{**size, **fields})
                if family == "capella-grd":  # which state sigma nought
                    document = product.opened.with_name(product.opened.stem + "_extended.json")
                    text = document.read_text("utf-8")
                    self.assertIn('"beta_nought"', text)
                    document.write_text(text.replace('"beta_nought"', '"sigma_nought"'), "utf-8")
                options = ("--dem", self.model(product), "--radar-geometry")
                found, _ = self.rtc(product, *options)
                angle = np.radians(self.layer(product, "INCIDENCE_ANGLE"))
                power = self.layer(product, f"SIGMA_NOUGHT_{pole}") if family == "capella-grd" \
                    else self.layer(product, f"BETA_NOUGHT_{pole}") * np.sin(angle)
                self.assertTrue((found["MASK"] == VALID).all())
                seen = power > 0
                gamma = found[f"GAMMA_NOUGHT_RTC_{pole}"]
                # The tables' angles are rounded, and of one height.
                np.testing.assert_allclose(gamma[seen], (power / np.cos(angle))[seen], rtol=2e-3)
                np.testing.assert_allclose(found["SCATTERING_AREA"], 1 / np.tan(angle), rtol=2e-3)
                np.testing.assert_allclose(found["LOCAL_INCIDENCE_ANGLE"], np.degrees(angle),
                                           atol=0.06)
                np.testing.assert_allclose(found["GAMMA_TO_SIGMA_RATIO"], np.cos(angle), rtol=2e-3)
                decibel, _ = self.rtc(product, *options, "--db", name="db.tif")
                np.testing.assert_allclose(decibel[f"GAMMA_NOUGHT_RTC_{pole}"][seen],
                                           10 * np.log10(gamma[seen]), atol=1e-3)

    def test_the_map_shows_the_image_where_locate_finds_it(self):
        product = self.make("rcm", lines=400, samples=300)
        relief = self.model(product, lambda east, north: 60 * np.sin(east / 300) * np.cos(north / 400))
        image, _ = self.rtc(product, "--dem", relief, "--radar-geometry")
        drawn, _ = self.rtc(product, "--dem", relief, "--crs", "EPSG:32632", "--resampling",
                            "nearest", name="map.tif")
        picture = gdal.Open(str(self.folder / "map.tif"))
        x0, step, _, y0, _, down = picture.GetGeoTransform()
        for corner in (x0, y0):  # snapped to the grid
            self.assertAlmostEqual(corner / step, round(corner / step), places=6)
        heights = gdal.Open(str(relief))
        lon0, size, _, lat0, _, _ = heights.GetGeoTransform()
        heights = heights.ReadAsArray()
        to_ground = osr.CoordinateTransformation(system("EPSG:32632"), system("EPSG:4326"))
        rng = np.random.default_rng(3)
        at, points = [], ""
        for row, column in zip(rng.integers(0, picture.RasterYSize, 500),
                               rng.integers(0, picture.RasterXSize, 500)):
            lon, lat, _ = to_ground.TransformPoint(x0 + (column + 0.5) * step,
                                                   y0 + (row + 0.5) * down)
            x, y = (lon - lon0) / size - 0.5, (lat0 - lat) / size - 0.5
            u, v = x % 1, y % 1
            part = heights[int(y):int(y) + 2, int(x):int(x) + 2]
            height = (part[0] @ (1 - u, u)) * (1 - v) + (part[1] @ (1 - u, u)) * v
            at.append((row, column))
            points += f"{lon!r} {lat!r} {float(height)!r}\n"
        found = rfsar("locate", product.opened, "--inverse", stdin=points).stdout.splitlines()
        inside = 0
        for (row, column), line in zip(at, found):
            sample, line = map(float, line.split())
            if not (-0.4 < sample < 299.4 and -0.4 < line < 399.4):
                if not (-0.6 < sample < 299.6 and -0.6 < line < 399.6):
                    self.assertEqual(drawn["MASK"][row, column], OUTSIDE)
                    self.assertTrue(np.isnan(drawn["GAMMA_NOUGHT_RTC_HH"][row, column]))
                continue
            if max(abs(sample % 1 - 0.5), abs(line % 1 - 0.5)) < 0.02:
                continue  # on the edge of two pixels
            inside += 1
            for name, band in drawn.items():
                options = [image[name][j, i]
                           for j in {int(np.floor(line + 0.5 + e)) for e in (-.02, .02)}
                           for i in {int(np.floor(sample + 0.5 + e)) for e in (-.02, .02)}
                           if j < 400 and i < 300]
                self.assertTrue(any(np.isclose(band[row, column], each, rtol=1e-5, equal_nan=True)
                                    for each in options), (name, options))
        self.assertGreater(inside, 100)
        # Coarse pixels: sums of beta nought over sums of areas, whatever the speckle.
        coarse, _ = self.rtc(product, "--dem", relief, "--crs", "EPSG:32632", "--resolution",
                             str(12 * step), name="coarse.tif")
        beta = self.layer(product, "BETA_NOUGHT_HH")
        middle = coarse["GAMMA_NOUGHT_RTC_HH"][np.isfinite(coarse["GAMMA_NOUGHT_RTC_HH"])]
        self.assertAlmostEqual(middle.mean() / (beta.sum() / image["SCATTERING_AREA"].sum()), 1,
                               delta=0.1)

    def test_slopes_are_evened_out_and_steep_ones_masked(self):
        product = self.make("radarsat2", lines=500, samples=400, pixel_spacing=10.0,
                            line_spacing=10.0)
        cone = self.model(product, lambda east, north: np.maximum(
            0, 400 - np.hypot(east, north)) * 1.8, step=1e-4, side=1200)
        found, _ = self.rtc(product, "--dem", cone, "--radar-geometry")
        mask = found["MASK"].astype(int)
        self.assertGreater(((mask & LAYOVER) > 0).sum(), 100)
        self.assertGreater((mask == SHADOW).sum(), 100)
        self.assertEqual((mask & OUTSIDE).sum(), 0)
        dark = (mask & VALID) == 0
        for name, band in found.items():
            if name != "MASK":
                self.assertTrue(np.isnan(band[dark]).all(), name)
                self.assertTrue(np.isfinite(band[~dark]).all(), name)
        # Shadow lies behind the layover: farther out along the lines.
        columns = np.arange(mask.shape[1])
        self.assertGreater((columns * (mask == SHADOW)).sum() / (mask == SHADOW).sum(),
                           (columns * ((mask & LAYOVER) > 0)).sum() / ((mask & LAYOVER) > 0).sum())

    def test_noise_is_taken_away_before(self):
        product = self.make("rcm", lines=200, samples=200)
        model = self.model(product)
        plain, _ = self.rtc(product, "--dem", model, "--radar-geometry")
        clean, _ = self.rtc(product, "--dem", model, "--radar-geometry", "--denoise")
        # Flattening starts from beta nought, whose own noise level the product states.
        text = (product.folder / "metadata/calibration/noiseLevels_HH.xml").read_text()
        level = re.search("Beta Nought<.*?pixelFirstNoiseValue>(.*?)<.*?stepSize>(.*?)<"
                          ".*?noiseLevelValues.*?>(.*?)<", text, re.S)
        values = np.array(level[3].split(), float)
        columns = int(level[1]) + int(level[2]) * np.arange(values.size)
        noise = 10 ** (np.interp(np.arange(200), columns, values) / 10)
        angle = np.radians(self.layer(product, "INCIDENCE_ANGLE"))
        taken = plain["GAMMA_NOUGHT_RTC_HH"] - clean["GAMMA_NOUGHT_RTC_HH"]
        np.testing.assert_allclose(taken, np.broadcast_to(noise * np.tan(angle), taken.shape),
                                   rtol=3e-3, atol=1e-5 * np.nanmax(plain["GAMMA_NOUGHT_RTC_HH"]))


class Files(RtcCase):
    def test_neither_memory_nor_threads_change_a_bit_in_mountains(self):
        product = self.make("rcm", lines=450, samples=5000)
        model = self.model(product, lambda east, north: 500 * np.sin(east / 260) +
                           200 * np.sin(north / 300), side=1100)
        every = os.sched_getaffinity(0)
        results = []
        for memory, cores in (("1024", every), ("64", every), ("150", every), ("64", {min(every)})):
            out = self.folder / f"{memory} {len(cores)}.tif"
            os.sched_setaffinity(0, cores)  # the program takes as many threads
            self.addCleanup(os.sched_setaffinity, 0, every)
            done = rfsar("rtc", product.opened, "--dem", model, "--crs", "EPSG:32632", "-o", out,
                         "--resolution", "25", "--max-memory", memory)
            self.assertEqual(done.returncode, 0, done.stderr)
            results.append(self.bands(out))
        mask = results[0]["MASK"].astype(int)
        self.assertGreater((mask == SHADOW).sum(), 1000)
        self.assertGreater(((mask & LAYOVER) > 0).sum(), 1000)
        for other in results[1:]:
            for name, band in results[0].items():
                self.assertEqual(band.tobytes(), other[name].tobytes(), name)

    def test_metadata_tell_what_was_done(self):
        product = self.make("rcm", lines=700, samples=600, polarizations="HH HV")
        model = self.model(product, lambda east, north: 90 * np.sin(east / 400))
        out = self.folder / "told.tif"
        done = rfsar("rtc", product.opened, "--dem", model, "--crs", "EPSG:32632", "-o", out,
                     "--stac")
        self.assertEqual(done.returncode, 0, done.stderr)
        told = gdal.Open(str(out))
        tags = told.GetMetadata()
        self.assertEqual(tags["NOISE_REMOVED"], "NO")
        self.assertEqual(tags["DEM"], str(model))
        self.assertIn("10.1109/TGRS.2011.2120616", tags["RTC_ALGORITHM"])
        self.assertIn("ORBIT_DATA_SOURCE", tags)
        self.assertLess(abs(float(tags["GEOLOCATION_BIAS_EAST_M"])), 0.5)
        self.assertTrue(re.fullmatch(r"-?\d+\.\d+ to -?\d+\.\d+",
                                     tags["NOISE_EQUIVALENT_SIGMA_NOUGHT_HV_DB"]))
        item = json.loads((self.folder / "told.tif.json").read_text("utf-8"))
        self.assertEqual(item["assets"]["data"]["href"], "told.tif")
        self.assertEqual([band["name"] for band in item["assets"]["data"]["bands"]][:3],
                         ["GAMMA_NOUGHT_RTC_HH", "GAMMA_NOUGHT_RTC_HV", "MASK"])
        self.assertEqual(item["properties"]["proj:shape"],
                         [told.RasterYSize, told.RasterXSize])
        cog, _ = self.rtc(product, "--dem", model, "--crs", "EPSG:32632", "--cog", name="cog.tif")
        np.testing.assert_array_equal(cog["MASK"], told.GetRasterBand(3).ReadAsArray())
        leftover = [path.name for path in self.folder.glob("*part*")]
        self.assertEqual(leftover, [])

    def test_what_cannot_be_flattened_is_named(self):
        rcm = self.make("rcm", lines=64, samples=64)
        polar = self.make("capella-slc", lines=64, samples=64, image_geometry="pfa", name="polar")
        on_map = self.make("capella-geo", lines=64, samples=64)
        model = self.model(rcm)
        far = self.folder / "far.tif"
        self.model(rcm, shift=5).rename(far)
        self.model(rcm)
        utm = ("--crs", "EPSG:32632")
        for product, options, reason in (
                (polar, ("--dem", model, *utm), "polar format"),
                (on_map, ("--dem", model, *utm), "map already"),
                (rcm, ("--dem", far, *utm), "no heights"),
                (rcm, ("--dem", self.folder / "no.tif", *utm), "no.tif"),
                (rcm, ("--dem", model, "--crs", "EPSG:99999999"), "EPSG:99999999")):
            with self.subTest(reason):
                out = self.folder / "out.tif"
                self.assertFails(rfsar("rtc", product.opened, *options, "-o", out), reason)
                self.assertEqual(list(self.folder.glob("out*")), [])
        for options in (("--dem", model), ("--dem", model, *utm, "--radar-geometry"), utm):
            self.assertEqual(rfsar("rtc", rcm.opened, *options, "-o", "out.tif").returncode, 2)

    def test_interruptions_leave_nothing(self):
        product = self.make("rcm", lines=2000, samples=2000)
        command = [RFSAR, "rtc", str(product.opened), "--crs", "EPSG:32632", "--dem",
                   str(self.model(product)), "-o", str(self.folder / "out.tif"), "--cog"]
        self.assertSignalsLeaveNothing(command)


if __name__ == "__main__":
    unittest.main()
