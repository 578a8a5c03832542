# SPDX-License-Identifier: MIT
"""RCM ScanSAR bursts, MLC and ground-range complex products, as a user opens them."""

import json
import os
import pathlib
import re
import shutil
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
os.environ.setdefault("GDAL_DRIVER_PATH", str(ROOT / "build/lib"))  # GDAL looks for drivers once
sys.path.insert(0, str(ROOT / "tests/support"))

import numpy as np  # noqa: E402
from osgeo import gdal  # noqa: E402
from products import ProductCase, rfsar, rfsar_json  # noqa: E402

gdal.UseExceptions()

SCANSAR = {"product_type": "SLC", "polarizations": "HH HV", "beams": 2, "bursts": 3, "lines": 300,
           "samples": 260}


def peak(power, line, sample):
    """Where the spot near a place is brightest, by parabolas through the logarithm."""
    y, x = round(line), round(sample)
    window = power[y - 2:y + 3, x - 2:x + 3]
    i, j = np.unravel_index(np.argmax(window), window.shape)
    i, j = i + y - 2, j + x - 2

    def offset(values):
        a, b, c = np.log(values.astype(float))
        return 0.5 * (a - c) / (a - 2 * b + c)

    return i + offset(power[i - 1:i + 2, j]), j + offset(power[i, j - 1:j + 2])


class BurstCase(ProductCase):
    def scansar(self, name, **fields):
        return self.make("rcm", name=name, **{**SCANSAR, **fields})

    def export(self, product, layer):
        out = self.folder / "out.tif"
        done = rfsar("export", product.opened, "--layer", layer, "-o", out, "--force")
        self.assertEqual(done.returncode, 0, done.stderr)
        return gdal.Open(str(out)).ReadAsArray()

    def located(self, product, layer, targets):
        """Image positions of targets, (line, sample)."""
        lines = "".join(f"{t['lon']!r} {t['lat']!r} {t['height']!r}\n" for t in targets)
        done = rfsar("locate", product.opened, "--layer", layer, "--inverse", stdin=lines)
        self.assertEqual(done.returncode, 0, done.stderr)
        return [tuple(map(float, row.split()))[::-1] for row in done.stdout.splitlines()]

    def problems(self, product):
        done = rfsar("check", product.opened, "--json")
        found = json.loads(done.stdout)["checks"]
        self.assertEqual(done.returncode, int(any(c["status"] == "fail" for c in found)))
        return [c["check"] + ": " + c["message"] for c in found if c["status"] != "ok"]


class Bursts(BurstCase):
    def test_the_mosaic_shows_every_target_once_in_its_place(self):
        for name, fields in {"rising": {}, "falling": {
                "line_order": "decreasing", "pixel_order": "decreasing", "look": "left"}}.items():
            with self.subTest(name):
                product = self.scansar(name, target_grid=6, **fields)
                power = self.export(product, "MOSAIC_SIGMA_NOUGHT_HH")
                self.assertEqual(power.shape, (300, 260))
                targets = [t for t in product.truth["targets"]
                           if min(t["line"], t["sample"], 299 - t["line"], 259 - t["sample"]) > 4]
                self.assertGreater(len(targets), 20)
                found = self.located(product, "MOSAIC_SIGMA_NOUGHT_HH", targets)
                for target, place in zip(targets, found):
                    shown = peak(power, target["line"], target["sample"])
                    np.testing.assert_allclose(place, shown, rtol=0, atol=0.1)
                # Nothing else is as bright: no target stands twice.
                for target in targets:
                    y, x = round(target["line"]), round(target["sample"])
                    power[y - 4:y + 5, x - 4:x + 5] = 0
                inner = power[8:-8, 8:-8]
                self.assertLess(inner.max(), 0.1 * np.nanmax(self.export(
                    product, "MOSAIC_SIGMA_NOUGHT_HH")))

    def test_each_burst_lies_at_its_place_in_the_grid(self):
        product = self.scansar("b", target_grid=6, shuffle=True, line_order="decreasing")
        for burst in product.truth["bursts"]:
            of = f"@{burst['beam']}/{burst['burst']}"
            found = self.located(product, "COMPLEX_HV" + of, burst["targets"])
            image = self.export(product, "COMPLEX_HV" + of)
            self.assertEqual(image.shape, (burst["lines"], burst["samples"]))
            for target, place in zip(burst["targets"], found):
                stated = target["line"], target["sample"]
                np.testing.assert_allclose(place, stated, rtol=0, atol=1e-3)
                if min(*stated, burst["lines"] - stated[0], burst["samples"] - stated[1]) > 4:
                    np.testing.assert_allclose(peak(np.abs(image), *stated), stated, rtol=0,
                                               atol=0.1)

    def test_calibrated_bursts_and_mosaics_equal_the_same_scene_as_one_strip(self):
        strip = self.make("rcm", name="strip", target_grid=0, **{**SCANSAR, "beams": 0})
        for order in ("increasing", "decreasing"):
            product = self.scansar("m" + order, target_grid=0, pixel_order=order, shuffle=True)
            if order == "decreasing":
                strip = self.make("rcm", name="strip2", target_grid=0, pixel_order=order,
                                  **{**SCANSAR, "beams": 0})
            for layer in ("SIGMA_NOUGHT_HH", "GAMMA_HV"):
                whole = self.export(strip, layer)
                np.testing.assert_allclose(self.export(product, "MOSAIC_" + layer), whole, rtol=1e-6)
                for burst in product.truth["bursts"][1:5:2]:
                    part = self.export(product, f"{layer}@{burst['beam']}/{burst['burst']}")
                    top, left = burst["lineOffset"], burst["sampleOffset"]
                    np.testing.assert_allclose(
                        part, whole[top:top + burst["lines"], left:left + burst["samples"]],
                        rtol=1e-6)
            angles = self.export(strip, "INCIDENCE_ANGLE")
            burst = product.truth["bursts"][-1]
            np.testing.assert_allclose(
                self.export(product, f"INCIDENCE_ANGLE@{burst['beam']}/{burst['burst']}")[0],
                angles[0, burst["sampleOffset"]:], rtol=1e-6)

    def test_the_order_in_the_document_changes_nothing(self):
        ordered, shuffled = (self.scansar(f"o{k}", shuffle=bool(k)) for k in range(2))
        rows = rfsar_json("info", ordered.opened)["bursts"]
        self.assertEqual(rows, rfsar_json("info", shuffled.opened)["bursts"])
        np.testing.assert_array_equal(self.export(ordered, "MOSAIC_SIGMA_NOUGHT_HV"),
                                      self.export(shuffled, "MOSAIC_SIGMA_NOUGHT_HV"))
        self.assertEqual(self.problems(shuffled), [])

    def test_info_lists_the_bursts_and_warns_of_the_layers(self):
        product = self.scansar("i")
        info = rfsar_json("info", product.opened)
        rows = iter(info["bursts"])
        timing = product.truth["timing"]
        for burst in product.truth["bursts"]:
            for pole in ("HH", "HV"):
                row = next(rows)
                self.assertEqual(
                    {key: row[key] for key in ("beam", "burst", "pole", "lines", "samples",
                                               "lineOffset", "sampleOffset")},
                    {**{key: burst[key] for key in ("beam", "burst", "lines", "samples",
                                                    "lineOffset", "sampleOffset")}, "pole": pole})
                self.assertTrue((product.opened.parent / row["file"]).resolve().samefile(
                    product.folder / burst["files"][pole]))
                begin = float(row["start"][17:-1]) - float(timing["fileLine0"]["utc"][17:-1])
                self.assertAlmostEqual(begin, burst["lineOffset"] * timing["lineIntervalS"],
                                       delta=2e-6)
        self.assertRaises(StopIteration, next, rows)
        self.assertIn("6 bursts of 2 beams", " ".join(info["warnings"]))
        self.assertNotIn("bursts", rfsar_json("info", self.make(
            "rcm", name="g", lines=50, samples=50).opened))

    def test_damaged_lists_are_named(self):
        product = self.scansar("d")
        self.assertEqual(self.problems(product), [])
        original = product.opened.read_text()
        first = re.search(r'<imageAttributes [^>]*burst="2".*?</imageAttributes>', original, re.S)[0]

        def damaged(change):
            product.opened.write_text(original.replace(first, change(first)))
            return " ".join(self.problems(product))

        def with_offset(value):
            return lambda text: re.sub(r"(<lineOffset>)[^<]*", rf"\g<1>{value}", text)

        self.assertIn("burst SC50MA/2 has the line offset -4", damaged(with_offset(-4)))
        self.assertIn("burst SC50MA/2 has its centre on line", damaged(with_offset(0)))
        self.assertIn("lie in no burst of beam SC50MA", damaged(with_offset(0)))
        self.assertIn("the product states", damaged(with_offset(5000)))
        self.assertIn("burst SC50MA/2 is listed twice", damaged(lambda text: text + text))
        self.assertIn("burst SC50MA/2 is missing", damaged(lambda text: ""))
        self.assertIn("\"x\" is not a number", damaged(with_offset("x")))
        product.opened.write_text(original)
        burst = product.truth["bursts"][4]
        (product.folder / burst["files"]["HV"]).unlink()
        self.assertIn("SC50MB_2_HV.tif is missing", " ".join(self.problems(product)))
        shutil.copyfile(product.folder / product.truth["bursts"][0]["files"]["HH"],
                        product.folder / burst["files"]["HH"])
        self.assertIn("the product states", " ".join(self.problems(product)))

    def test_each_burst_has_a_record_of_its_own(self):
        product = self.scansar("r", shuffle=True)
        estimates = set()
        for burst in product.truth["bursts"]:
            name = f":SAR_Metadata@{burst['beam']}/{burst['burst']}"
            record = json.loads(rfsar("node", product.opened, name).stdout)
            self.assertEqual((record["numberOfLines"], record["numberOfSamplesPerLine"]),
                             (burst["lines"], burst["samples"]))
            timing = product.truth["timing"]
            self.assertAlmostEqual(
                record["firstLineTime"], timing["fileLine0"]["secondsOfDay"] +
                burst["lineOffset"] * timing["lineIntervalS"], delta=1e-9)
            self.assertAlmostEqual(
                record["slantRangeNearEdge"], product.truth["record"]["slantRangeNearEdge"] +
                burst["sampleOffset"] * product.truth["recipe"]["pixel_spacing"], delta=1e-6)
            estimates.add((record["pulseRepetitionFrequency"],
                           record["dopplerCentroid"][0]["coefficients"][0]))
        self.assertEqual(len(estimates), 6)
        self.assertFails(rfsar("node", product.opened, ":SAR_Metadata@SC50MC/1"), "has no node")

    def test_the_driver_opens_mosaic_and_bursts(self):
        product = self.scansar("g", target_grid=4)
        root = gdal.OpenEx(str(product.opened), allowed_drivers=["RF_SAR"])
        self.assertEqual((root.RasterXSize, root.RasterYSize, root.RasterCount), (260, 300, 2))
        np.testing.assert_array_equal(root.GetRasterBand(1).ReadAsArray(),
                                      self.export(product, "MOSAIC_SIGMA_NOUGHT_HH"))
        burst = product.truth["bursts"][3]
        name = next(n for n, _ in root.GetSubDatasets()
                    if n.endswith(f":COMPLEX_HH@{burst['beam']}/{burst['burst']}"))
        image = gdal.Open(name)
        np.testing.assert_array_equal(
            image.ReadAsArray(), self.export(product, name.rsplit(":", 1)[1]))
        for dataset, targets in ((root, product.truth["targets"]), (image, burst["targets"])):
            for target in targets:
                transformer = gdal.Transformer(dataset, None, [
                    "METHOD=RPC", f"RPC_HEIGHT={target['height']}",
                    "RPC_PIXEL_ERROR_THRESHOLD=1e-6"])
                found = transformer.TransformPoint(1, target["lon"], target["lat"])[1]
                np.testing.assert_allclose(
                    found[:2], (target["sample"] + 0.5, target["line"] + 0.5), rtol=0, atol=0.05)


class MultilookComplex(BurstCase):
    def test_the_channels_open_in_their_place(self):
        product = self.make("rcm", product_type="MLC", name="mlc", lines=120, samples=100,
                            line_order="decreasing")
        images = {image["pole"]: gdal.Open(str(product.folder / image["file"])).ReadAsArray()
                  for image in product.truth["images"]}
        np.testing.assert_allclose(self.export(product, "MAGNITUDE_CH"), images["CH"], rtol=1e-6)
        np.testing.assert_array_equal(self.export(product, "COMPLEX_XC"),
                                      images["XC"][0] + 1j * images["XC"][1])
        power = self.export(product, "BETA_NOUGHT_CV")
        np.testing.assert_allclose(power, images["CV"].astype(float) ** 2 / 1.27e8, rtol=1e-5)
        found = self.located(product, "MAGNITUDE_CH", product.truth["targets"])
        stated = [(t["line"], t["sample"]) for t in product.truth["targets"]]
        np.testing.assert_allclose(found, stated, rtol=0, atol=1e-3)
        info = rfsar_json("info", product.opened)
        self.assertEqual((info["layers"], info["polarizations"]), ([], ["CH", "CV"]))
        self.assertNotIn("SIGMA_NOUGHT_XC", info["exports"])
        self.assertFails(rfsar("info", self.folder / "mlc/imagery/2000001_1_CH.tif"), "2000001_1_CH")


class ComplexOnTheGround(BurstCase):
    def test_ground_range_complex_images_have_magnitude_and_phase(self):
        product = self.make("rcm", product_type="GRC", name="grc", lines=64, samples=48)
        real, imaginary = gdal.Open(str(
            product.folder / product.truth["images"][0]["file"])).ReadAsArray().astype(float)
        np.testing.assert_allclose(self.export(product, "MAGNITUDE_HH"),
                                   np.hypot(real, imaginary), rtol=1e-6)
        np.testing.assert_allclose(self.export(product, "PHASE_HH"),
                                   np.arctan2(imaginary, real), rtol=0, atol=1e-6)


if __name__ == "__main__":
    unittest.main()
