# SPDX-License-Identifier: MIT
"""The Python package, on simulated products: places, records, lazy images, verbs, the report."""

import contextlib
import io
import logging
import multiprocessing
import os
import pathlib
import pickle
import re
import subprocess
import sys
import threading
import unittest

import numpy as np
import xarray as xr
from osgeo import gdal

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from products import ROOT, ProductCase, rfsar, rfsar_json  # noqa: E402

import rf_sar  # noqa: E402

SIZE = {"lines": 300, "samples": 200}


def open_group(product, group=None, **options):
    return xr.open_dataset(str(product.opened), engine="rf_sar", group=group, **options)


def raw(product, layer, dtype, shape):
    done = rfsar("read", product.opened, layer, "-o", "-", binary=True)
    return np.frombuffer(done.stdout, dtype).reshape(shape)


def sum_in_child(dataset, model, queue):
    """Reads what the parent has open, in another process."""
    ground = model.image_to_ground(10.0, 20.0)
    queue.put((float(dataset["measurement"].astype(float).sum()), float(ground[0])))


class Model(ProductCase):
    def test_places_are_those_of_the_command_line_and_of_the_targets(self):
        for family, fields in (("rcm", {"height": 370}), ("capella-slc", {"look": "left"}),
                               ("radarsat2", {"centre": "179.99,-16"}), ("capella-geo", {})):
            with self.subTest(family):
                product = self.make(family, **SIZE, name=f"m {family}", **fields)
                model = rf_sar.open(product.opened).model
                truth = product.truth["targets"]
                columns = {key: np.array([t[key] for t in truth])
                           for key in ("lon", "lat", "height", "sample", "line")}
                sample, line = model.ground_to_image(columns["lon"], columns["lat"],
                                                     columns["height"])
                off = np.hypot(sample - columns["sample"], line - columns["line"])
                self.assertLess(off[columns["height"] == product.truth["recipe"]["height"]].max(),
                                0.02)
                points = [(3.25, 7.5), (150, 299), (-5, 310)]
                said = rfsar("locate", product.opened,
                             stdin="".join(f"{x} {y}\n" for x, y in points)).stdout
                expected = np.array([list(map(float, row.split())) for row in said.splitlines()])
                found = np.stack(model.image_to_ground(*np.array(points).T), axis=1)
                np.testing.assert_array_equal(found, expected)

    def test_arrays_are_broadcast_and_holes_stay_holes(self):
        opened = rf_sar.open(self.make("radarsat2", **SIZE).opened)
        model = opened.model
        lon, lat, height = model.image_to_ground(np.arange(4.0).reshape(4, 1),
                                                 np.arange(6, dtype=np.int32), 100)
        self.assertEqual((lon.shape, lat.shape, height.shape), ((4, 6),) * 3)
        back = model.ground_to_image(lon[::-1, ::2], lat[::-1, ::2], 100.0)
        np.testing.assert_allclose(back[0], np.broadcast_to([[3], [2], [1], [0]], (4, 3)),
                                   atol=1e-6)
        self.assertTrue(np.isnan(model.ground_to_image(np.nan, 1.0, 0.0)[0]))
        self.assertEqual(model.image_to_ground(np.empty((0, 3)), 1.0)[0].shape, (0, 3))
        self.assertTrue(np.isnan(model.incidence(10.0, 10.0, np.nan)))
        with self.assertRaises(ValueError):
            model.image_to_ground(np.zeros(3), np.zeros(4))
        angles = opened.incidence(5)
        np.testing.assert_allclose(model.incidence(np.arange(200), 5), angles, atol=2e-4)

    def test_threads_and_pickles_give_equal_answers(self):
        model = pickle.loads(pickle.dumps(rf_sar.open(self.make("rcm", **SIZE).opened).model))
        sample, line = np.random.default_rng(3).uniform(0, 200, (2, 20000))
        expected = model.image_to_ground(sample, line)
        found = {}
        threads = [threading.Thread(
            target=lambda n=n: found.update({n: model.image_to_ground(sample, line)}))
            for n in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        for answer in found.values():
            np.testing.assert_array_equal(answer, expected)


class Product(ProductCase):
    def test_says_what_the_command_line_says(self):
        product = self.make("radarsat2", **SIZE)
        opened = rf_sar.open(product.folder)
        info = rfsar_json("info", product.opened)
        for name, key in (("satellite", "satellite"), ("product_type", "productType"),
                          ("acquisition", "acquisition"), ("footprint", "footprint"),
                          ("warnings", "warnings")):
            self.assertEqual(getattr(opened, name), info[key])
        self.assertEqual(opened.check(), rfsar_json("check", product.opened)["checks"])
        self.assertEqual(opened.record["numberOfLines"], 300)
        self.assertEqual(opened.doppler["rateEstimateCount"], 1)
        offset, divisors = opened.calibration["SIGMA_NOUGHT_HH"]
        calibrated = open_group(product, "HH", calibrate="sigma_nought")["sigma_nought"][7]
        squares = np.abs(open_group(product, "HH")["measurement"][7].values) ** 2
        np.testing.assert_allclose((squares + offset) / divisors, calibrated, rtol=1e-5)
        self.assertEqual(opened.noise("HH").size, 200)

    def test_power_comes_in_decibels_and_without_noise(self):
        for family, pole in (("rcm", "HV"), ("capella-slc", "VV")):
            product = self.make(family, **SIZE)
            level = 10 ** (rf_sar.open(product.opened).noise(pole) / 10)
            for name in ("sigma_nought", "gamma_nought"):
                plain, decibels, clean, both = (
                    open_group(product, pole, calibrate=name, **options)[name]
                    for options in ({}, {"db": True}, {"denoise": True},
                                    {"db": True, "denoise": True}))
                np.testing.assert_allclose(
                    decibels, 10 * np.log10(plain.where(plain > 0)), atol=2e-5)
                np.testing.assert_allclose(both, 10 * np.log10(clean.where(clean > 0)), atol=2e-5)
                self.assertEqual([each.units for each in (plain, decibels, clean, both)],
                                 ["1", "dB", "1", "dB"])
                if name == "sigma_nought":
                    np.testing.assert_allclose(plain - clean, np.broadcast_to(level, plain.shape),
                                               atol=1e-6 * float(plain.max()))
                self.assertLess(float(clean.min()), 0)
        self.assertEqual(list(rf_sar.open(product.opened).calibration), ["BETA_NOUGHT_VV"])

    def test_errors_and_warnings_are_told_not_printed(self):
        product = self.make("rcm", **SIZE, polarizations="HH HV VH VV",
                            image_order="HH VV HV VH")
        with self.assertLogs("rf_sar", logging.WARNING):
            rf_sar.geocode(product.opened, self.folder / "m.tif", "EPSG:32632", dem=self.flat_dem())
        self.assertTrue(any("HV" in warning for warning in rf_sar.open(product.opened).warnings))
        for call in (lambda: rf_sar.open(self.folder / "none.xml"),
                     lambda: rf_sar.geocode(product.opened, self.folder / "m.tif", "EPSG:32632"),
                     lambda: rf_sar.geocode(product.opened, self.folder / "n.tif", "EPSG:1"),
                     lambda: open_group(product, "XX"),
                     lambda: open_group(product, "HH/nothing"),
                     lambda: open_group(product, "HH", calibrate="delta")):
            with self.assertRaises(rf_sar.Error) as told:
                call()
            self.assertGreater(len(str(told.exception)), 10)

    def flat_dem(self):
        """An elevation model that does not say what its heights count from."""
        from osgeo import gdal, osr
        file = str(self.folder / "dem.tif")
        made = gdal.GetDriverByName("GTiff").Create(file, 40, 40, 1, gdal.GDT_Float32)
        made.SetGeoTransform((11, 0.05, 0, 49, 0, -0.05))
        system = osr.SpatialReference()
        system.ImportFromEPSG(4326)
        made.SetProjection(system.ExportToWkt())
        return file

    def test_geocode_is_the_command_lines_and_tells_its_progress(self):
        product = self.make("capella-slc", **SIZE)
        seen = []
        rf_sar.geocode(product.opened, self.folder / "a.tif", "EPSG:32632", resolution=5.0,
                       progress=seen.append)
        self.assertEqual(seen[-1], 1)
        self.assertEqual(rfsar("geocode", product.opened, "-o", self.folder / "b.tif", "--crs",
                               "EPSG:32632", "--resolution", "5").returncode, 0)
        self.assertEqual((self.folder / "a.tif").read_bytes(),
                         (self.folder / "b.tif").read_bytes())

        def stop(_):
            raise KeyboardInterrupt

        with self.assertRaises(KeyboardInterrupt):
            rf_sar.geocode(product.opened, self.folder / "c.tif", "EPSG:32632", progress=stop)
        self.assertEqual(list(self.folder.glob("c*")), [])


class Images(ProductCase):
    def test_pixels_are_those_that_rfsar_reads(self):
        product = self.make("rcm", **SIZE, tiled=True, block=64, polarizations="HH HV VH VV",
                            image_order="HH VV HV VH")
        names = {layer["pole"]: layer["name"] for layer in rfsar_json("info",
                                                                       product.opened)["layers"]}
        for pole in ("HH", "HV"):
            whole = raw(product, names[pole], "<u2", (300, 200))
            lazy = open_group(product, pole)["measurement"]
            np.testing.assert_array_equal(lazy.values, whole)
            for key in (np.s_[5], np.s_[:, 7], np.s_[3, 9], np.s_[5:290:40, ::-1], np.s_[10:10],
                        np.s_[[290, 3, 3, 70], 20:150:11], np.s_[-5:, -3:],
                        np.s_[:, [199, 0, 64]]):
                np.testing.assert_array_equal(open_group(product, pole)["measurement"][key],
                                              whole[key])
        chunked = open_group(product, "HH", chunks={})["measurement"]
        self.assertTrue(all(size % 64 == 0 for size in chunked.chunks[0][:-1]))
        np.testing.assert_array_equal(chunked.values, raw(product, names["HH"], "<u2", (300, 200)))

    def test_complex_samples_are_as_stored(self):
        from osgeo import gdal
        product = self.make("capella-slc", **SIZE)
        stored = gdal.Open(str(product.folder / product.truth["images"][0]["file"])).ReadAsArray()
        np.testing.assert_array_equal(open_group(product, "VV")["measurement"], stored)

    def test_coordinates_are_the_models_times_and_ranges(self):
        for family, fields in (("radarsat2", {}), ("rcm", {"line_order": "decreasing"}),
                               ("capella-slc", {}), ("rcm", {"start": "2024-05-06T23:59:59.9"})):
            with self.subTest(family, **fields):
                product = self.make(family, **SIZE, name=f"c {family} {fields}".replace(":", ""),
                                    **fields)
                pole = rf_sar.open(product.opened).polarizations[0]
                image = open_group(product, pole)
                record = rf_sar.open(product.opened).record
                # Strips of RCM state their times a quarter of the pulse interval late.
                late = 0.25 / record["pulseRepetitionFrequency"] if family == "rcm" else 0
                times = image.azimuth_time.values
                last = record["lastLineTime"] if family != "capella-slc" else (
                    record["firstLineTime"] + (record["lastLineTime"] - record["firstLineTime"])
                    * 299 / 300)  # its last time is one line too late
                start = product.truth["recipe"]["start"]
                self.assertEqual(str(times.min() + np.timedelta64(1, "ms"))[:10], start[:10])
                of_day = (times - times.astype("datetime64[D]")).astype(float) / 1e9 + late
                # The record has the earlier of both first, whichever line it belongs to.
                for time, seconds in zip(sorted(of_day[[0, -1]] % 86400),
                                         sorted((record["firstLineTime"], last))):
                    self.assertAlmostEqual(time, seconds, delta=1.1e-9)
                self.assertEqual(len(np.unique(np.sign(np.diff(times.astype(np.int64))))), 1)
                near = image.attrs["image_slant_range_time"] * 299792458 / 2
                self.assertAlmostEqual(near, record["slantRangeNearEdge"], delta=1e-3)
                orbit = open_group(product, f"{pole}/orbit")
                at = orbit.azimuth_time.values
                self.assertTrue((at[0] - times.min()).astype("timedelta64[m]").astype(int) < 60)
                self.assertGreater(np.linalg.norm(orbit.position[:, 0]), 6.5e6)

    def test_groups_and_recognition(self):
        product = self.make("radarsat2", **SIZE)
        root = xr.open_dataset(str(product.opened))  # without an engine
        self.assertEqual(root.attrs["subgroups"],
                         ["HH"] + [f"HH/{part}" for part in ("orbit", "calibration", "gcp",
                                                             "dc_estimate", "noise_range")])
        self.assertEqual(len(root.variables), 0)
        for group in root.attrs["subgroups"]:
            self.assertGreater(len(open_group(product, group).variables), 0)
        decibels = open_group(product, "HH", calibrate="beta_nought")["beta_nought"]
        self.assertEqual(decibels.dtype, np.float32)

    def test_processes_and_pickles_open_their_own_files(self):
        product = self.make("rcm", **SIZE, tiled=True, compress="DEFLATE")
        image = open_group(product, "HH")
        model = rf_sar.open(product.opened).model
        expected = float(image["measurement"].astype(float).sum()), float(
            model.image_to_ground(10.0, 20.0)[0])
        self.assertLess(len(pickle.dumps(open_group(product, "HH"))), 100_000)
        lazy = open_group(product, "HH")
        lazy["measurement"][0].load()  # the parent has it open now
        for method in ("fork", "spawn"):
            context = multiprocessing.get_context(method)
            queue = context.Queue()
            children = [context.Process(target=sum_in_child,
                                        args=(pickle.loads(pickle.dumps(lazy)) if n else lazy,
                                              model, queue))
                        for n in range(4)]
            for child in children:
                child.start()
            found = [queue.get(timeout=120) for _ in children]
            for child in children:
                child.join()
            self.assertEqual(found, [expected] * 4, method)


    def test_a_sum_over_a_large_image_stays_small(self):
        side = 10000
        product = self.make("rcm", lines=side, samples=side, polarizations="HH", sparse=True,
                            target_grid=0, line_spacing=5.0, pixel_spacing=5.0)
        image = gdal.Open(str(next(product.folder.rglob("*.tif"))), gdal.GA_Update)
        stripe = np.arange(250 * side, dtype=np.uint16).reshape(250, side)
        for line in range(0, side, 250):
            image.GetRasterBand(1).WriteArray(stripe, 0, line)
        image = None
        code = ("import pathlib, re, sys, xarray; "
                "image = xarray.open_dataset(sys.argv[1], engine='rf_sar', group='HH', chunks={}); "
                "print(int(image['measurement'].sum(dtype='uint64').compute()), "
                "re.search(r'VmHWM:\\s+(\\d+)', pathlib.Path('/proc/self/status').read_text())[1])")
        done = subprocess.run([sys.executable, "-c", code, str(product.opened)], check=True,
                              capture_output=True, text=True,
                              env={**os.environ, "GDAL_CACHEMAX": "32"})
        total, highest_kib = map(int, done.stdout.split())
        self.assertEqual(total, int(stripe.sum(dtype=np.uint64)) * side // 250)
        self.assertLess(highest_kib, 300 << 10)


class Report(ProductCase):
    def test_a_page_holds_all_it_shows(self):
        for family, fields, plots in (("radarsat2", {}, 7), ("rcm", {"height": 3000}, 6),
                                      ("capella-geo", {}, 2)):
            with self.subTest(family):
                product = self.make(family, **SIZE, name=f"r {family}", **fields)
                page = self.folder / f"{family}.html"
                rf_sar.report(product.opened, page)
                text = page.read_text(encoding="utf-8")
                self.assertEqual(text.count('role="img" aria-label="'), text.count("<svg"))
                self.assertGreaterEqual(text.count("<svg"), plots)
                self.assertIn("data:image/png;base64,", text)
                self.assertNotIn("<script", text)
                self.assertNotRegex(text, r'(src|href)="(?!data:|#)')
                with self.assertRaises(rf_sar.Error):
                    rf_sar.report(product.opened, page)
        self.assertEqual(list(self.folder.glob(".*")), [])


class Documents(ProductCase):
    def test_the_code_of_the_documents_runs(self):
        for name in ("first", "second"):
            self.make("radarsat2", **SIZE, name=name)
        before = os.getcwd()
        self.addCleanup(os.chdir, before)
        os.chdir(self.folder)
        for document in ("README.md", "docs/python.md"):
            text = (ROOT / document).read_text(encoding="utf-8")
            blocks = re.findall(r"^```python\n(.*?)^```", text, re.M | re.S)
            self.assertGreater(len(blocks), 0)
            names = {}
            for block in blocks:
                if document == "README.md":
                    os.chdir(self.folder / "first")
                with self.subTest(document, code=block), \
                        contextlib.redirect_stdout(io.StringIO()):
                    exec(compile(block, document, "exec"), names)  # noqa: S102
            os.chdir(self.folder)
        sample, line = names["product"].model.ground_to_image(*names["product"].model
                                                               .image_to_ground(7.0, 9.0))
        self.assertAlmostEqual(float(sample), 7, places=6)
        self.assertEqual(names["change"].shape[-2:], names["dates"].shape[-2:])


if __name__ == "__main__":
    os.environ.setdefault("PYTHONPATH", str(pathlib.Path(rf_sar.__file__).parents[1]))
    unittest.main()
