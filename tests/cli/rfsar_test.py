# SPDX-License-Identifier: MIT
"""rfsar as a user meets it: every family, every entry form, and what it says of bad input."""

import functools
import http.server
import json
import os
import pathlib
import shlex
import shutil
import stat
import subprocess
import sys
import threading
import unittest
import unittest.mock
import zipfile

import numpy as np
from osgeo import gdal

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from products import RFSAR, ProductCase, rfsar, rfsar_json  # noqa: E402

gdal.UseExceptions()

FAMILIES = {"capella-geo": 0, "capella-slc": 1, "rcm": 2, "radarsat2": 3, "capella-grd": 4}


def pixel_rule(real, imaginary, kind):
    """The 16-bit rule in numpy."""
    real, imaginary = real.astype(float), imaginary.astype(float)
    value = np.hypot(real, imaginary) if kind == "MAGNITUDE" else (
        np.arctan2(imaginary, real) * 10430.3783505)
    if kind == "MAGNITUDE":  # hypot rounds otherwise than the square root of the sum
        value = np.sqrt(real * real + imaginary * imaginary)
    return np.trunc(value + 0.5).astype(np.int64).astype(np.uint16)


def expected_layer(image_file, kind, is_complex):
    bands = gdal.Open(str(image_file)).ReadAsArray()
    if not is_complex:
        return bands
    if bands.ndim == 3:
        return pixel_rule(bands[0], bands[1], kind)
    return pixel_rule(bands.real, bands.imag, kind)


class Products(ProductCase):
    def test_every_family_is_identified_described_and_read_as_gdal_reads_it(self):
        for family, index in FAMILIES.items():
            for storage in ({"tiled": False}, {"tiled": True, "block": 64}):
                with self.subTest(family=family, **storage):
                    product = self.make(family, lines=150, samples=131, target_grid=1,
                                        name=f"{family} é产 {storage['tiled']}", **storage)
                    self.check_product(product, index)

    def check_product(self, product, index):
        found = rfsar_json("identify", product.opened)
        self.assertEqual(found[0]["index"], index)
        info = rfsar_json("info", product.folder)
        truth = product.truth
        self.assertEqual(info["format"]["index"], index)
        self.assertEqual(info["productType"], truth["productType"])
        self.assertEqual(info["complex"], truth["complex"])
        self.assertEqual(info["polarizations"], truth["polarizations"])
        self.assertEqual(info["warnings"], [])
        for i, layer in enumerate(info["layers"]):
            kind = layer["name"].split("_")[2]
            image = truth["images"][i // (2 if info["complex"] else 1)]
            self.assertEqual(layer["pole"], image["pole"])
            self.assertEqual(layer["pixelType"], "s16" if kind == "PHASE" else "u16")
            expected = expected_layer(product.folder / image["file"], kind, info["complex"])
            self.assertEqual((layer["height"], layer["width"]), expected.shape)
            raw = rfsar("read", product.opened, layer["name"], "-o", "-", binary=True)
            self.assertEqual(raw.returncode, 0, raw.stderr)
            samples = np.frombuffer(raw.stdout, "<u2").reshape(expected.shape)
            np.testing.assert_array_equal(samples, expected)

    def test_windows_cross_blocks_and_stop_at_the_edge(self):
        product = self.make("capella-slc", lines=150, samples=131, tiled=True, block=64)
        name = "X_VV_PHASE_2"
        whole = rfsar("read", product.opened, name, "-o", "-", binary=True).stdout
        whole = np.frombuffer(whole, "<u2").reshape(150, 131)
        for x, y, w, h in ((60, 60, 10, 10), (0, 0, 1, 1), (130, 149, 1, 1), (3, 127, 128, 23)):
            part = rfsar("read", product.opened, name, "--window", f"{x},{y},{w},{h}", "-o", "-",
                         binary=True).stdout
            np.testing.assert_array_equal(np.frombuffer(part, "<u2").reshape(h, w),
                                          whole[y:y + h, x:x + w])
        for window in ("0,0,132,1", "131,0,1,1", "0,0,0,5"):
            self.assertFails(rfsar("read", product.opened, name, "--window", window, "-o", "-"),
                             "131 x 150", name)

    def test_folder_manifest_zip_and_virtual_paths_lead_to_the_product(self):
        rcm = self.make("rcm", lines=64, samples=64)
        capella = self.make("capella-slc", lines=64, samples=64, name="CAPELLA_X SLC é")
        for product in (rcm, capella):
            archive = self.folder / f"{product.folder.name}.zip"
            with zipfile.ZipFile(archive, "w") as packed:
                for file in product.folder.rglob("*"):
                    packed.write(file, file.relative_to(self.folder))
            reference = rfsar_json("info", product.opened)["layers"]
            entries = [product.folder, f"{product.folder}/", archive, f"/vsizip/{archive}"]
            if product is rcm:
                entries.append(product.folder / "manifest.safe")
            for entry in entries:
                with self.subTest(entry=entry):
                    self.assertEqual(rfsar_json("info", entry)["layers"], reference)
                    done = rfsar("read", entry, reference[0]["name"], "-o", "-", binary=True)
                    self.assertEqual(done.returncode, 0, done.stderr)
                    self.assertEqual(len(done.stdout), 64 * 64 * 2)

    def test_read_only_products_stay_untouched(self):
        product = self.make("radarsat2", lines=64, samples=64)
        before = sorted(p.name for p in product.folder.iterdir())
        for path in (*product.folder.iterdir(), product.folder):
            path.chmod(path.stat().st_mode & ~(stat.S_IWUSR | stat.S_IWGRP | stat.S_IWOTH))
        self.addCleanup(product.folder.chmod, 0o755)
        picture = self.folder / "out.png"
        self.assertEqual(rfsar("info", product.opened).returncode, 0)
        self.assertEqual(rfsar("quicklook", product.opened, "-o", picture).returncode, 0)
        self.assertEqual(sorted(p.name for p in product.folder.iterdir()), before)
        self.assertEqual([p.name for p in self.folder.glob("out*")], ["out.png"])

    def test_quad_polarization_names_are_told_apart_from_the_images(self):
        product = self.make("rcm", lines=64, samples=64, polarizations="HH HV VH VV")
        info = rfsar_json("info", product.opened)
        self.assertEqual([layer["name"].split("_")[1] for layer in info["layers"]],
                         ["HH", "HV", "VH", "VV"])
        self.assertEqual([layer["pole"] for layer in info["layers"]], ["HH", "VV", "HV", "VH"])
        self.assertEqual([i["pole"] for i in info["images"]], ["HH", "VV", "HV", "VH"])
        self.assertEqual(len(info["warnings"]), 3)
        self.assertIn("C_HV_MAGNITUDE_2 shows polarization VV", info["warnings"][0])

    def test_complex_images_on_the_ground_are_told_of(self):
        for product_type in ("GRC", "GCC"):
            product = self.make("rcm", lines=16, samples=16, product_type=product_type)
            said = rfsar("info", product.opened).stderr
            self.assertIn(f"{product_type} has complex samples, which its layers", said)
            self.assertFails(rfsar("read", product.opened, "C_HH_MAGNITUDE_1", "-o",
                                   self.folder / "out.raw"), "HH.tif: holds 2 real bands")


class BadInput(ProductCase):
    def test_each_kind_of_wrong_file_gets_one_clear_sentence(self):
        write = self.write
        cases = [
            (self.folder / "missing.xml", "no such file"),
            (write("x.tif", b"II*\0"), "x.tif"),
            (write("caf\udce9.xml", b""), ": the name is not valid UTF-8"),
            (write("empty.xml", b""), "cannot be opened as a product: line 1: no element found"),
            (write("broken.xml", b"<product><a>"), "broken.xml"),
            (write("latin.json", b'{"properties": "caf\xe9"}'), "UTF-8"),
            (write("item.json", b'{"properties": {}}'), "No sar:product_type in JSON file"),
            (write("cut.json", b'{"a": 1, "b" 2}'), "Line 1, Column 14: Missing ':' after object "
             "member name; is damaged JSON, or not that of a product\n"),
            (write("empty.json", b"{}"), "is damaged JSON, or not that of a product"),
            (write("other/readme.txt", b""), "other"),
        ]
        for entry, reason in cases:
            with self.subTest(entry=entry):
                entry = entry.parent if entry.name == "readme.txt" else entry
                for verb in (("info",), ("quicklook", "-o", self.folder / "q.png")):
                    self.assertFails(rfsar(*verb, entry), str(entry), reason)
                found = rfsar("identify", entry, "--json")
                self.assertEqual(found.returncode, 1)
                self.assertEqual(json.loads(found.stdout)[0]["index"], -1)
        self.assertFalse((self.folder / "q.png").exists())

    def test_a_relative_name_is_told_as_it_was_given(self):
        (self.folder / "wrong.xml").write_text("hello")
        done = subprocess.run([RFSAR, "info", "wrong.xml"], cwd=self.folder, capture_output=True,
                              text=True, check=False)
        self.assertEqual(done.stderr, "rfsar: wrong.xml: cannot be opened as a product: "
                         "line 1: syntax error\n")

    def test_slips_of_the_pen_are_answered_by_what_was_meant(self):
        self.assertFails(rfsar("inf", "product.xml"), '"inf" is no verb; did you mean info?',
                         status=2)
        self.assertFails(rfsar("frobnicate"), "rfsar --help lists them", status=2)
        self.assertFails(rfsar("info", "http://127.0.0.1/product.xml"),
                         "open it as /vsicurl/http://127.0.0.1/product.xml")

    def test_a_server_that_sends_whole_files_alone_is_named(self):
        product = self.make("rcm", lines=500, samples=400, pixel_type="uint16")
        handler = functools.partial(http.server.SimpleHTTPRequestHandler, directory=product.folder)
        with (unittest.mock.patch.object(handler.func, "log_message"),
              http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler) as server):
            server.handle_error = lambda *_: None  # the client hangs up
            threading.Thread(target=server.serve_forever, daemon=True).start()
            name = f"/vsicurl/http://127.0.0.1:{server.server_port}/metadata/product.xml"
            self.assertIn("beam mode", rfsar("info", name).stdout)
            self.assertFails(rfsar("quicklook", name, "-o", self.folder / "q.png"),
                             ".tif: its server sends no parts of files (HTTP ranges)")
            server.shutdown()

    def test_help_ends_with_two_examples_that_run(self):
        product = self.make("rcm", lines=16, samples=16)
        shutil.make_archive(str(self.folder / "product"), "zip", product.folder)
        lon, lat = map(float, product.truth["recipe"]["centre"].split(","))
        (self.folder / "points.txt").write_text(f"{lon} {lat}\n")
        self.elevation(self.folder / "dem.tif", lon, lat)
        for verb in ("check", "node", "read", "stac", "identify", "info", "export", "geocode", "rtc",
                     "locate", "quicklook", "formats"):
            *_, first, second = rfsar(verb, "--help").stdout.rstrip().split("\n")
            for example in (first, second):
                (self.folder / "map.tif").unlink(missing_ok=True)
                with self.subTest(example=example):
                    self.assertTrue(example.startswith(f"  rfsar {verb}"))
                    command = example.strip().replace("*/metadata/product.xml", "product.xml")
                    command = command.replace("product.xml", shlex.quote(str(product.opened)))
                    done = subprocess.run(["bash", "-c", "set -o pipefail; " +
                                           command.replace("rfsar ", RFSAR + " ", 1)],
                                          cwd=self.folder, capture_output=True, check=False)
                    absent = b"has no node" in done.stderr  # not every product has both
                    self.assertTrue(done.returncode == 0 or absent, done.stderr)

    def test_no_function_of_the_platform_is_named(self):
        product = self.make("rcm", lines=16, samples=16)
        for image in product.folder.rglob("*.tif"):
            image.unlink()
        surface = self.make("capella-slc", lines=16, samples=16, image_geometry="surface")
        for done in (rfsar("info", product.opened), rfsar("check", product.opened),
                     rfsar("check", surface.opened), rfsar("node", product.opened, ":Doppler")):
            self.assertTrue(done.stdout or done.stderr)
            self.assertNotRegex(done.stdout + done.stderr,
                                r"\b(k[a-z]{3}|sarm)_\w+|MIF Node|No such node")

    def elevation(self, file, lon, lat):
        dem = gdal.GetDriverByName("GTiff").Create(str(file), 20, 20, 1, gdal.GDT_Float32)
        dem.SetGeoTransform([lon - 0.1, 0.01, 0, lat + 0.1, 0, -0.01])
        dem.SetProjection("EPSG:4326")

    def write(self, name, content):
        path = self.folder / name
        path.parent.mkdir(exist_ok=True)
        path.write_bytes(content)
        return path

    def test_product_faults_are_named(self):
        product = self.make("rcm", lines=64, samples=64)
        text = product.opened.read_text(encoding="utf-8")
        copy = product.opened.with_name("product2.xml")
        copy.write_text(text.replace("RCM-2", "RCM-9"), encoding="utf-8")
        self.assertFails(rfsar("info", copy), "product2.xml", '"RCM-9" is not supported')
        copy.write_text(text.replace(">HH HV<", ">HH HV VV<"), encoding="utf-8")
        self.assertFails(rfsar("info", copy), "2 image files but 3 polarizations")
        copy.write_text(text.replace("../imagery/", "../../imagery/"), encoding="utf-8")
        self.assertFails(rfsar("info", copy), "leaves the product's folder")

    def test_an_item_that_leaves_its_metadata_file_unnamed_opens(self):
        product = self.make("capella-geo", lines=64, samples=48)
        item = product.folder / f"{product.folder.name}.json"
        whole = rfsar_json("info", item)
        document = json.loads(item.read_text(encoding="utf-8"))
        document["assets"]["metadata"]["href"] = ""
        item.write_text(json.dumps(document), encoding="utf-8")
        self.assertEqual(rfsar_json("info", item), whole)

    def test_missing_and_truncated_images(self):
        product = self.make("radarsat2", lines=200, samples=200)
        layer = "C_HH_MAGNITUDE_1"
        image = product.folder / "imagery_HH.tif"
        os.truncate(image, image.stat().st_size // 2)
        out = self.folder / "out.raw"
        self.assertFails(rfsar("read", product.opened, layer, "-o", out), "imagery_HH.tif", layer)
        self.assertFails(rfsar("quicklook", product.opened, "-o", self.folder / "q.png"), "imagery_HH.tif")
        self.assertEqual(list(self.folder.glob("out*")), [])
        image.unlink()
        self.assertFails(rfsar("read", product.opened, layer, "-o", out), "imagery_HH.tif")
        info = rfsar_json("info", product.opened)  # the metadata still serves
        self.assertIn("imagery_HH.tif", info["warnings"][0])
        self.assertIsNone(info["layers"][0]["width"])
        self.assertFails(rfsar("read", product.opened, "C_HH_MAGNITUDE_9", "-o", out),
                         "no layer", "C_HH_MAGNITUDE_9")

    def test_usage_errors_and_full_disks(self):
        product = self.make("rcm", lines=64, samples=64)
        for arguments in ((), ("nonsense",), ("info",), ("read", product.opened),
                          ("read", product.opened, "L", "--window", "1,2", "-o", "-"),
                          ("quicklook", product.opened, "-o", "x.png", "--size", "0")):
            self.assertEqual(rfsar(*arguments).returncode, 2, arguments)
        self.assertEqual(rfsar("--help").returncode, 0)
        self.assertEqual(rfsar("quicklook", "--help").returncode, 0)
        self.assertRegex(rfsar("--version").stdout, r"^rfsar \d+\.\d+\.\d+\n$")
        with open("/dev/full", "wb") as full:
            done = subprocess.run([RFSAR, "read", product.opened, "C_HH_MAGNITUDE_1", "-o", "-"],
                                  stdout=full, stderr=subprocess.PIPE, text=True, check=False)
        self.assertEqual(done.returncode, 1)
        self.assertIn("No space left", done.stderr)

    def test_unknown_folders_of_output(self):
        product = self.make("rcm", lines=64, samples=64)
        self.assertFails(rfsar("quicklook", product.opened, "-o", self.folder / "no/q.png"),
                         "no/q.png")


class RealProducts(ProductCase):
    """The metadata of real products, with images made beside a copy of it."""

    def beside_copy(self, relative, images):
        copy = self.folder / "copy"
        shutil.copytree(self.real(relative), copy)
        for name, bands, kind, width, height in images:
            (copy / name).parent.mkdir(exist_ok=True)
            gdal.GetDriverByName("GTiff").Create(
                str(copy / name), width, height, bands, kind, ["SPARSE_OK=TRUE", "TILED=YES"])
        return copy

    def test_rcm(self):
        copy = self.beside_copy(
            "rcm/16M5_20220605_HHHV_GRD/RCM2_OK2116806_PK2116811_1_16M5_20220605_070317_HH_HV_GRD",
            [(f"imagery/2116811_1_{p}.tif", 1, gdal.GDT_UInt16, 4845, 9193) for p in
             ("HH", "HV")])
        info = rfsar_json("info", copy)
        self.assertEqual(info["format"]["index"], 2)
        self.assertEqual([l["name"] for l in info["layers"]],
                         ["C_HH_MAGNITUDE_1", "C_HV_MAGNITUDE_2"])
        self.assertEqual(info["warnings"], [])

    def test_radarsat2_inside_its_zip(self):
        archive = next(self.real("radarsat2/F0W2_20170430_HH_SLC").glob("*.zip"))
        info = rfsar_json("info", archive)
        self.assertEqual((info["format"]["index"], info["complex"]), (3, True))
        self.assertEqual((info["layers"][0]["width"], info["layers"][0]["height"]), (18465, 30466))

    def test_capella(self):
        for folder, kind, shape, index in (
                ("C11_SM_SLC_VV_20251031", gdal.GDT_CInt16, (4347, 19626), 1),
                ("C14_SP_GEO_HH_20240709", gdal.GDT_UInt16, (24103, 24638), 0),
                ("ARL_SP_SLC_VV_20190927", gdal.GDT_CInt16, (12001, 33984), 1)):
            source = self.real(f"capella/{folder}")
            extended = next(source.glob("*_extended.json"))
            image = extended.name.replace("_extended.json", ".tif")
            copy = self.beside_copy(f"capella/{folder}", [(image, 1, kind, *shape)])
            info = rfsar_json("info", copy)
            self.assertEqual(info["format"]["index"], index)
            self.assertEqual((info["layers"][0]["width"], info["layers"][0]["height"]), shape)
            shutil.rmtree(copy)


if __name__ == "__main__":
    unittest.main()
