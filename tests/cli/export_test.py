# SPDX-License-Identifier: MIT
"""rfsar export: what GDAL reads back from the GeoTIFF, and what is left when export fails."""

import os
import pathlib
import resource
import subprocess
import sys
import unittest

import numpy as np
from osgeo import gdal

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from products import RFSAR, ProductCase, for_others, rfsar, rfsar_json  # noqa: E402

gdal.UseExceptions()

UNITS = {"NESZ_HH": "dB", "INCIDENCE_ANGLE": "degree"}
DRIVERS = str(pathlib.Path(RFSAR).parents[1] / "lib")  # where the build puts the driver


class ExportCase(ProductCase):
    def export(self, product, *options, name="out.tif"):
        out = self.folder / name
        done = rfsar("export", product.opened, "-o", out, *options)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(list(self.folder.glob(f"{name}?*")), [])  # nothing beside it
        return gdal.Open(str(out))

    def samples(self, product, layer, kind="<u2"):
        about = {each["name"]: each for each in rfsar_json("info", product.opened)["layers"]}
        raw = rfsar("read", product.opened, layer, "-o", "-", binary=True)
        return np.frombuffer(raw.stdout, kind).reshape(about[layer]["height"],
                                                       about[layer]["width"])


class Pixels(ExportCase):
    def test_every_layout_of_blocks_arrives_as_it_is_read(self):
        # lines as blocks, blocks that are the file's tiles, blocks that divide or straddle them
        for storage in ({"tiled": False}, {"tiled": True, "block": 512},
                        {"tiled": True, "block": 256}, {"tiled": True, "block": 144}):
            product = self.make("capella-slc", lines=1100, samples=700, name=str(storage),
                                **storage)
            whole = {layer: self.samples(product, layer, kind) for layer, kind in
                     (("X_VV_MAGNITUDE_1", "<u2"), ("X_VV_PHASE_2", "<i2"))}
            for layer, expected in whole.items():
                for window in ((0, 0, 700, 1100), (512, 512, 188, 588), (1, 3, 600, 1000)):
                    with self.subTest(layer=layer, window=window, **storage):
                        x, y, w, h = window
                        image = self.export(product, "--layer", layer, "--force", "--window",
                                            ",".join(map(str, window)), "--max-memory", "16")
                        band = image.GetRasterBand(1)
                        np.testing.assert_array_equal(image.ReadAsArray(),
                                                      expected[y:y + h, x:x + w])
                        self.assertEqual(band.GetBlockSize(), [512, 512])
                        self.assertEqual(band.GetDescription(), layer)
                        self.assertEqual(image.ReadAsArray().dtype, expected.dtype.newbyteorder("="))

    def test_compression_and_overviews(self):
        product = self.make("rcm", lines=1200, samples=1100)
        layer = "C_HH_MAGNITUDE_1"
        expected = self.samples(product, layer)
        sizes = {}
        for method in ("none", "deflate", "lzw", "zstd"):
            image = self.export(product, "--compress", method, name=f"{method}.tif")
            np.testing.assert_array_equal(image.ReadAsArray(), expected)
            self.assertEqual(image.GetMetadataItem("COMPRESSION", "IMAGE_STRUCTURE"),
                             None if method == "none" else method.upper())
            sizes[method] = (self.folder / f"{method}.tif").stat().st_size
        self.assertLess(sizes["zstd"], sizes["none"])
        image = self.export(product, "--overviews")
        band = image.GetRasterBand(1)
        self.assertEqual([band.GetOverview(i).XSize for i in range(band.GetOverviewCount())],
                         [550, 275])
        power = (expected.astype(float) ** 2).reshape(600, 2, 550, 2).mean(axis=(1, 3))
        self.assertLess(np.abs(band.GetOverview(0).ReadAsArray() - np.sqrt(power)).max(), 0.51)

    def test_several_layers_are_bands_when_they_match(self):
        product = self.make("rcm", lines=600, samples=520)
        names = ["C_HV_MAGNITUDE_2", "C_HH_MAGNITUDE_1"]
        image = self.export(product, "--layer", names[0], "--layer", names[1])
        for band, name in enumerate(names, 1):
            self.assertEqual(image.GetRasterBand(band).GetDescription(), name)
            np.testing.assert_array_equal(image.GetRasterBand(band).ReadAsArray(),
                                          self.samples(product, name))
        mixed = self.make("capella-slc", lines=64, samples=64, name="mixed")
        out = self.folder / "mixed.tif"
        self.assertFails(rfsar("export", mixed.opened, "--layer", "X_VV_MAGNITUDE_1", "--layer",
                               "X_VV_PHASE_2", "-o", out), "X_VV_PHASE_2 (64 x 64, phase)",
                         "--layer")
        self.assertFalse(out.exists())

    def test_what_the_driver_calibrates_is_exported_with_the_same_bits(self):
        cases = (("capella-slc", ["BETA_NOUGHT_VV"]), ("capella-slc", ["COMPLEX_VV"]),
                 ("rcm", ["SIGMA_NOUGHT_HV", "gamma_hh", "NESZ_HH", "INCIDENCE_ANGLE"]),
                 ("radarsat2", ["SIGMA_NOUGHT_HH", "BETA_NOUGHT_HH"]))
        for family, names in cases:
            product = self.make(family, lines=700, samples=600, name=f"{family} {names[0]}")
            listed = rfsar_json("info", product.opened)["exports"]
            for window in ((0, 0, 600, 700), (37, 520, 540, 100)):
                with self.subTest(names=names, window=window):
                    chosen = [word for name in names for word in ("--layer", name)]
                    image = self.export(product, *chosen, "--force", "--max-memory", "16",
                                        "--window", ",".join(map(str, window)))
                    for band, name in enumerate(names, 1):
                        self.assertIn(name.upper(), listed)
                        other = self.folder / "driver.tif"
                        subprocess.run(
                            ["gdal_translate", "-q", "-srcwin", *map(str, window),
                             f"RF_SAR:{product.opened}:{name}", other], check=True,
                            env=for_others(GDAL_DRIVER_PATH=DRIVERS))
                        driver = gdal.Open(str(other))
                        mine = image.GetRasterBand(band)
                        self.assertEqual(mine.DataType, driver.GetRasterBand(1).DataType)
                        self.assertEqual(mine.GetUnitType(), UNITS.get(name, "1"))
                        self.assertEqual(mine.ReadAsArray().tobytes(),
                                         driver.ReadAsArray().tobytes())
                        self.assertEqual(mine.GetDescription(), name.upper())
        out = self.folder / "none.tif"
        self.assertFails(rfsar("export", product.opened, "--layer", "SIGMA_NOUGHT_XX", "-o", out),
                         str(product.opened), "SIGMA_NOUGHT_XX")
        (product.folder / "lutSigma.xml").unlink()
        self.assertFails(rfsar("export", product.opened, "--layer", "SIGMA_NOUGHT_HH", "-o", out),
                         "lutSigma.xml")
        self.assertFalse(out.exists())


class Place(ExportCase):
    SIZE = {"lines": 400, "samples": 300}

    def ground(self, image, targets, window=(0, 0), **method):
        """The map positions that GDAL gives the pixels of targets, in lon and lat."""
        options = [f"{key}={value}" for key, value in method.items()] + ["DST_SRS=EPSG:4326"]
        found = []
        for target in targets:
            transformer = gdal.Transformer(image, None, options + (
                [f"RPC_HEIGHT={target['height']}"] if "RPC" in method.values() else []))
            ok, (lon, lat, _) = transformer.TransformPoint(
                0, target["sample"] + 0.5 - window[0], target["line"] + 0.5 - window[1])
            self.assertTrue(ok)
            found.append((lon, lat))
        return np.array(found)

    def metres(self, found, targets):
        truth = np.array([(t["lon"], t["lat"]) for t in targets])
        east = (found[:, 0] - truth[:, 0] + 180) % 360 - 180
        return 111e3 * np.hypot(east * np.cos(np.radians(truth[:, 1])), found[:, 1] - truth[:, 1])

    def test_rpc_and_gcps_put_targets_where_they_are(self):
        cases = {"slc": ("capella-slc", {}),
                 "rcm down left": ("rcm", {"look": "left", "pass_direction": "descending"}),
                 "date line": ("rcm", {"centre": "180,-16.5"}),
                 "pole": ("rcm", {"centre": "60,89.2"})}
        for name, (family, fields) in cases.items():
            product = self.make(family, name=name, **self.SIZE, **fields)
            targets = self.targets(product)
            pixel = min(product.truth["recipe"]["pixel_spacing"],
                        product.truth["recipe"]["line_spacing"])
            for window in ((0, 0, 300, 400), (31, 57, 200, 300)):
                with self.subTest(name, window=window):
                    image = self.export(product, "--force", "--window",
                                        ",".join(map(str, window)))
                    if name != "pole":
                        found = self.ground(image, targets, window, SRC_METHOD="RPC")
                        self.assertLess(self.metres(found, targets).max(), 0.1 * pixel)
                    flat = [t for t in targets
                            if abs(t["height"] - image.GetGCPs()[0].GCPZ) < 1e-3]
                    found = self.ground(image, flat, window, SRC_METHOD="GCP_POLYNOMIAL",
                                        MAX_GCP_ORDER="3")
                    self.assertLess(self.metres(found, flat).max(), 0.1 * pixel)
            points = np.array([(p.GCPX, p.GCPY) for p in image.GetGCPs()])
            if name in ("date line", "pole"):
                self.assertFalse(image.GetGCPSpatialRef().IsGeographic())
            self.assertLess(np.ptp(points, axis=0).max(), 1e5)

    @staticmethod
    def targets(product):
        return product.truth["targets"]

    def test_maps_carry_their_geotransform(self):
        product = self.make("capella-geo", **self.SIZE)
        own = gdal.Open(str(product.folder / product.truth["images"][0]["file"]))
        x0, dx, xy, y0, yx, dy = own.GetGeoTransform()
        for x, y in ((0, 0), (20, 30)):
            image = self.export(product, "--force", "--window", f"{x},{y},100,100")
            np.testing.assert_allclose(
                image.GetGeoTransform(),
                (x0 + dx * x + xy * y, dx, xy, y0 + yx * x + dy * y, yx, dy), rtol=1e-12)
            self.assertTrue(image.GetSpatialRef().IsSame(own.GetSpatialRef()))
            self.assertEqual((image.GetGCPCount(), image.GetMetadata("RPC")), (0, {}))


class Failure(ExportCase):
    """The file is there whole or not at all."""

    def setUp(self):
        super().setUp()
        self.product = self.make("capella-slc", lines=3000, samples=2500)
        self.out = self.folder / "out.tif"
        self.command = [RFSAR, "export", str(self.product.opened), "-o", str(self.out)]

    def assertNothingLeft(self):
        self.assertEqual(list(self.folder.glob("out*")), [])

    def test_files_keep_where_they_come_from(self):
        cases = [("rcm", "SIGMA_NOUGHT_HH", "sigma nought"), ("radarsat2", "COMPLEX_HH", "none: "),
                 ("capella-geo", "X_HH_MAGNITUDE_1", "none: ")]
        for family, layer, calibration in cases:
            product = self.make(family, lines=40, samples=30, look="left", name="from " + family)
            info = rfsar_json("info", product.opened)
            made = {"export": (), "quicklook": ("--north-up",), "geocode": ("--crs", "EPSG:32632")}
            for verb, options in made.items():
                with self.subTest(family, verb=verb):
                    output = self.folder / f"{family} {verb}.tif"
                    done = rfsar(verb, product.opened, "--layer", layer, "-o", output, *options)
                    self.assertEqual(done.returncode, 0, done.stderr)
                    found = gdal.Open(str(output)).GetMetadata()
                    self.assertEqual(found["SATELLITE_IDENTIFIER"], info["satellite"])
                    self.assertEqual(found["BEAM_MODE"], info["acquisition"]["beamMode"])
                    self.assertEqual(found["ANTENNA_POINTING"].lower(), "left")
                    self.assertEqual(found["ORBIT_DIRECTION"].lower(), "ascending")
                    self.assertIn("2024-05-06T07:08:0", found["ACQUISITION_START_TIME"])
                    self.assertTrue(found["PRODUCT_ID"])
                    self.assertTrue({"NEAR_RANGE_INCIDENCE_ANGLE", "CENTER_INCIDENCE_ANGLE"} &
                                    set(found))
                    self.assertEqual((found["LAYERS"], found["UNIT"]), (layer, "1"))
                    self.assertIn(calibration, found["CALIBRATION"])
                    self.assertRegex(found["TIFFTAG_SOFTWARE"], r"^rfsar \d+\.\d+")
                    self.assertIn(layer, found["TIFFTAG_IMAGEDESCRIPTION"])
                    self.assertEqual(found["TIFFTAG_DATETIME"][:17], "2024:05:06 07:08:")

    def test_a_calibration_within_anothers_name_is_told_too(self):
        product = self.make("radarsat2", lines=40, samples=30)
        done = rfsar("export", product.opened, "--layer", "NESZ", "--layer", "SIGMA_NOUGHT", "-o",
                     self.out, "--force")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(gdal.Open(str(self.out)).GetMetadataItem("CALIBRATION"),
                         "noise-equivalent sigma nought, sigma nought")

    def test_signals_leave_nothing(self):
        self.assertSignalsLeaveNothing([*self.command, "--compress", "zstd", "--overviews"])

    def test_a_full_disk_leaves_nothing(self):
        def limit(size):
            return lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))
        for size in (3 << 20, 14 << 20):  # among the tiles; among the overviews
            done = subprocess.run([*self.command, "--overviews"], preexec_fn=limit(size),
                                  capture_output=True, text=True, check=False)
            self.assertFails(done, str(self.out))
            self.assertNothingLeft()

    def test_damaged_images_existing_files_and_bad_arguments(self):
        self.out.write_text("mine")
        self.assertFails(rfsar(*self.command[1:]), "--force")
        self.assertEqual(self.out.read_text(), "mine")
        self.out.unlink()
        image = self.product.folder / self.product.truth["images"][0]["file"]
        image.write_bytes(image.read_bytes()[:image.stat().st_size // 2])
        self.assertFails(rfsar(*self.command[1:]), image.name)
        self.assertFails(rfsar(*self.command[1:], "--window", "2400,0,200,10"), "2500 x 3000")
        self.assertFails(rfsar(*self.command[1:-1], self.folder / "no/out.tif"), "no/out.tif")
        self.assertEqual(rfsar(*self.command[1:], "--compress", "jpeg").returncode, 2)
        self.assertNothingLeft()


if __name__ == "__main__":
    unittest.main()
