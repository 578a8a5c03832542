# SPDX-License-Identifier: MIT
"""rfsar check: what the product says in two places must agree, and the user learns where not."""

import json
import os
import pathlib
import re
import sys
import unittest
import unittest.mock
import zipfile

import numpy
from osgeo import gdal

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from products import ProductCase, rfsar, rfsar_json  # noqa: E402

# The places of RPC00B's terms in RPC00A, the order in which some early products list them.
EARLIER = (0, 1, 2, 3, 4, 5, 6, 8, 9, 10, 7, 11, 14, 17, 12, 15, 18, 13, 16, 19)


gdal.UseExceptions()


class Checks(ProductCase):
    def check(self, product, *options):
        done = rfsar("check", product.opened, "--json", *options)
        found = json.loads(done.stdout)["checks"]
        self.assertEqual(done.returncode, int(any(c["status"] == "fail" for c in found)))
        return {c["status"] + " " + c["check"]: c["message"] for c in found if c["status"] != "ok"}

    def edit(self, product, pattern, replacement):
        text = product.opened.read_text(encoding="utf-8")
        changed, count = re.subn(pattern, replacement, text)
        self.assertGreater(count, 0)
        product.opened.write_text(changed, encoding="utf-8")

    def shift_tie_points(self, product, lines):
        self.edit(product, r"<line>([^<]*)</line>",
                  lambda m: f"<line>{float(m[1]) + lines}</line>")

    def test_tie_points_that_disagree_with_the_model_are_told_by_how_much(self):
        product = self.make("rcm", lines=100, samples=90)
        self.assertEqual(self.check(product), {})
        self.shift_tie_points(product, 3)
        found = self.check(product)
        self.assertIn("line rms 3.000 (max 3.000), sample rms 0.000", found["warn ground"])
        self.shift_tie_points(product, 30)
        self.assertIn("line rms 33.000", self.check(product)["fail ground"])

    def test_a_tie_point_far_beyond_the_image_is_told_in_numbers(self):
        product = self.make("rcm", lines=32, samples=32)
        image = next(product.folder.rglob("*.tif"))
        dataset = gdal.Open(str(image), gdal.GA_Update)
        ties = dataset.GetGCPs()
        ties[0].GCPLine = 4e200
        dataset.SetGCPs(ties, dataset.GetGCPSpatialRef())
        dataset = None
        told = rfsar("check", product.opened).stdout
        self.assertRegex(told, r"fail  ground .* in " + image.name +
                         r".* line rms 3.636e\+199 \(max 4.000e\+200\)")  # a root of 121 points

    def test_sound_maps_are_not_warned_of(self):
        """Map products have no SAR model, and need none."""
        for family, kind in (("rcm", "GCD"), ("radarsat2", "SSG"), ("radarsat2", "SPG"),
                             ("capella-geo", "GEO")):
            with self.subTest(family=family, kind=kind):
                product = self.make(family, product_type=kind, lines=40, samples=30, name=kind)
                self.assertEqual(self.check(product), {})
                for verb in (["info"], ["stac"], ["quicklook", "-o", self.folder / f"{kind}.png"]):
                    self.assertNotIn("warning", rfsar(verb[0], product.opened, *verb[1:]).stderr)

    def test_line_times_are_judged_both_ways(self):
        number = r"line rms ([0-9.]+)( \(in use\))? as stated, ([0-9.]+)( \(in use\))? a quarter"
        for order in ("increasing", "decreasing"):
            product = self.make("rcm", lines=100, samples=90, line_order=order)
            for choice in ("corrected", "stated"):
                with unittest.mock.patch.dict(os.environ, RF_SAR_RCM_LINE_TIMES=choice):
                    done = rfsar("check", product.opened)
                stated, first, corrected, second = re.search(number, done.stdout).groups()
                self.assertEqual((bool(first), bool(second)),
                                 (choice == "stated", choice == "corrected"))
                lines = product.truth["timing"]["statedLateS"] / (
                    product.truth["timing"]["lineIntervalS"])
                self.assertAlmostEqual(float(stated), lines, delta=1e-3)
                self.assertLess(float(corrected), 1e-3)
                self.assertEqual("warn  linetimes" in done.stdout,
                                 choice == "stated")
        spotlight = self.make("rcm", lines=100, samples=90, acquisition="Spotlight")
        self.assertNotIn("as stated", rfsar("check", spotlight.opened).stdout)

    def test_rational_functions_in_the_earlier_order_are_recognised(self):
        # Only a scene whose third-order terms matter tells the orders apart.
        product = self.make("radarsat2", lines=400, samples=400, line_spacing=250.0,
                            pixel_spacing=250.0)
        self.assertEqual({k for k in self.check(product) if "rpc" in k}, set())

        def reorder(match):
            terms = match[2].split()
            earlier = [""] * 20
            for place, term in zip(EARLIER, terms):
                earlier[place] = term
            return match[1] + " ".join(earlier) + match[3]

        self.edit(product, r"(<(?:line|pixel)(?:Numerator|Denominator)Coefficients>)([^<]*)(<)",
                  reorder)
        done = rfsar("check", product.opened)
        self.assertIn("coefficients stand in the earlier order (RPC00A)", done.stdout)

    def test_sizes_and_poles(self):
        product = self.make("rcm", lines=64, samples=64, polarizations="HH HV VH VV")
        self.assertIn("shows polarization", self.check(product)["warn poles"])
        self.edit(product, r"<samplesPerLine>64<", "<samplesPerLine>65<")
        self.assertIn("has 64 x 64 pixels, the product states 65 x 64",
                      self.check(product)["fail sizes"])

    def edit_json(self, product, change):
        document = next(product.folder.glob("*_extended.json"))
        content = json.loads(document.read_text("utf-8"))
        change(content["collect"])
        document.write_text(json.dumps(content), "utf-8")

    def test_a_geometry_that_contradicts_itself_is_told(self):
        def set_in(path, change):
            def edit(collect):
                *parents, last = path
                for name in parents:
                    collect = collect[name]
                collect[last] = change(collect[last])
            return edit

        def vectors(member, factor, offset):
            def edit(collect):
                all_ = collect["state"]["state_vectors"]
                for vector in all_ if member == "velocity" else all_[-1:]:
                    vector[member] = [factor * x + offset for x in vector[member]]
            return edit

        geometry = ("image", "image_geometry")
        cases = [("left for right", set_in(("radar", "pointing"), lambda was: "left"), "fail middle",
                  "m from where the product states it"),
                 ("the range", set_in((*geometry, "range_to_first_sample"), lambda m: m + 1000),
                  "fail middle", "samples)"),
                 ("the spacing", set_in((*geometry, "delta_range_sample"), lambda m: 2 * m),
                  "fail middle", "samples)"),
                 ("backwards", vectors("velocity", -1, 0), "warn orbit", "miss each other by"),
                 ("one vector", vectors("position", 1, 600), "warn orbit", "state vectors disagree"),
                 ("a frame", set_in(("state", "coordinate_system", "type"), lambda was: "eci"),
                  "warn words", '"eci", which is unknown; known is "ecef"'),
                 ("a side", set_in(("radar", "pointing"), lambda was: "starboard"), "warn words",
                  'collect/radar/pointing says "starboard"')]
        for what, change, finding, sentence in cases:
            with self.subTest(what):
                product = self.make("capella-slc", lines=100, samples=90, name=what.replace(" ", "_"))
                self.assertEqual(self.check(product), {})
                self.edit_json(product, change)
                self.assertIn(sentence, self.check(product).get(finding, ""))
                # whoever describes the product learns it too
                self.assertIn(sentence, "\n".join(rfsar_json("info", product.opened)["warnings"]))
        for family, image in (("capella-geo", {}), ("capella-grd", {}),
                              ("capella-slc", {"image_geometry": "pfa"})):
            with self.subTest(family=family, **image):  # nothing healthy is warned of
                product = self.make(family, lines=101, samples=90, name=family + " well", **image)
                self.assertEqual(self.check(product), {})

    def test_words_that_no_reader_knows_are_told(self):
        product = self.make("rcm", lines=100, samples=90)
        self.edit(product, r"<antennaPointing>Right", "<antennaPointing>right-side")
        self.edit(product, r"<lineTimeOrdering>(\w+)<", r"<lineTimeOrdering> \1 <")
        found = rfsar("check", product.opened).stdout
        for sentence in (str(product.opened) + ": sourceAttributes/radarParameters/antennaPointing "
                         'says "right-side", which is unknown; known is "Left", "Right"',
                         'lineTimeOrdering says " '):
            self.assertIn(sentence, found)

    def test_rational_functions_stand_in_for_missing_tie_points(self):
        product = self.make("rcm", lines=100, samples=90)
        self.edit(product, r"(?s)<geolocationGrid>.*</geolocationGrid>", "")
        found = rfsar("check", product.opened).stdout
        self.assertIn("ok    ground       sensor model against the product's rational functions",
                      found)
        self.edit(product, r"<lineOffset[^>]*>([^<]*)<",
                  lambda m: m[0].replace(m[1], str(float(m[1]) + 30)))
        self.assertIn("line rms 30.", self.check(product)["fail ground"])

    def rewrite(self, product, bands, pixel_type, values=None):
        """Puts other images in the place of the product's, as large as these."""
        for file in product.folder.rglob("*.tif"):
            old = gdal.Open(str(file))
            size, ties = (old.RasterXSize, old.RasterYSize), (old.GetGCPs(), old.GetGCPProjection())
            old = None
            new = gdal.GetDriverByName("GTiff").Create(str(file), *size, bands, pixel_type)
            if ties[0]:
                new.SetGCPs(*ties)
            if values is not None:
                new.GetRasterBand(1).WriteArray(values)
            new = None

    def block_offset(self, image, column, row):
        dataset = gdal.Open(str(image))
        name = f"BLOCK_OFFSET_{column}_{row}"
        return int(dataset.GetRasterBand(1).GetMetadataItem(name, "TIFF"))

    def test_images_of_another_form_than_the_products_are_told_by_check_and_info(self):
        cases = [("rcm", 3, gdal.GDT_UInt16, "fail types", "holds 3 real bands instead of one"),
                 ("rcm", 65535, gdal.GDT_Byte, "fail types", "holds 65535 real bands"),
                 ("rcm", 2, gdal.GDT_UInt16, "fail types", "cannot be the parts of complex"),
                 ("radarsat2", 5, gdal.GDT_Int16, "fail layers", "holds 5 real bands, but"),
                 ("rcm", 1, gdal.GDT_Int16, "warn types", "integers with a sign")]
        for number, (family, bands, pixel_type, finding, sentence) in enumerate(cases):
            with self.subTest(family=family, bands=bands, type=pixel_type):
                product = self.make(family, lines=16, samples=16, name=f"form {number}",
                                    polarizations="HH")
                self.rewrite(product, bands, pixel_type)
                self.assertIn(sentence, self.check(product).get(finding, ""))
                self.assertIn(sentence, "\n".join(rfsar_json("info", product.opened)["warnings"]))
        product = self.make("capella-geo", lines=16, samples=16, only="item")
        item = json.loads(product.opened.read_text("utf-8"))
        item["properties"]["sar:polarizations"] = []
        product.opened.write_text(json.dumps(item), "utf-8")
        self.assertIn("lists no polarizations", self.check(product)["fail layers"])

    def test_cut_images_are_told_without_reading_them(self):
        for layout in ({"tiled": True, "block": 16}, {"compress": "DEFLATE"}, {}):
            with self.subTest(**layout):
                product = self.make("rcm", lines=64, samples=64, polarizations="HH",
                                    name="cut " + " ".join(layout), **layout)
                self.assertEqual(self.check(product), {})
                image = next(product.folder.rglob("*.tif"))
                last = (3, 3) if "tiled" in layout else (0, 63)
                os.truncate(image, self.block_offset(image, *last) + 1)
                self.assertIn("was cut: its image reaches ", self.check(product)["fail extent"])

    def test_reading_every_sample_finds_what_headers_do_not_tell(self):
        values = numpy.ones((64, 64))
        values[5, 7] = -3
        negative = self.make("rcm", lines=64, samples=64, polarizations="HH", name="negative")
        self.rewrite(negative, 1, gdal.GDT_Int16, values)
        values[5, 7] = numpy.nan
        nan = self.make("rcm", lines=64, samples=64, polarizations="HH", name="not a number",
                        pixel_type="float32")
        self.rewrite(nan, 1, gdal.GDT_Float32, values)
        damaged = self.make("rcm", lines=64, samples=64, polarizations="HH", name="damaged",
                            tiled=True, block=16, compress="DEFLATE")
        image = next(damaged.folder.rglob("*.tif"))
        at = self.block_offset(image, 1, 1)
        content = bytearray(image.read_bytes())
        content[at:at + 8] = bytes(8)
        image.write_bytes(content)
        for product, sentence in ((negative, "holds 1 negative samples"),
                                  (nan, "holds 1 samples that are no numbers"),
                                  (damaged, "lines are in parts that cannot be read")):
            self.assertFalse([k for k in self.check(product) if k.startswith("fail")])
            self.assertIn(sentence, self.check(product, "--read")["fail read"])
        self.assertIn("the first at sample 7, line 5", self.check(negative, "--read")["fail read"])
        for family in ("rcm", "radarsat2", "capella-slc", "capella-geo"):
            healthy = self.make(family, lines=32, samples=32, name="healthy " + family)
            self.assertEqual(self.check(healthy, "--read"), {})

    def test_damaged_members_of_archives(self):
        product = self.make("rcm", lines=64, samples=64, polarizations="HH")
        for name, option in (("lutSigma_HH.xml", ()), (".tif", ("--read",))):
            archive = self.folder / "as sent.zip"
            with zipfile.ZipFile(archive, "w") as out:
                for file in sorted(product.folder.rglob("*")):
                    out.write(file, file.relative_to(product.folder.parent))
            content = bytearray(archive.read_bytes())
            with zipfile.ZipFile(archive) as whole:
                member = next(m for m in whole.infolist() if m.filename.endswith(name))
            at = member.header_offset + 30 + len(member.filename.encode()) + member.file_size - 20
            content[at] ^= 1
            archive.write_bytes(content)
            found = rfsar("check", archive, *option)
            self.assertEqual(found.returncode, 1)
            self.assertIn("its bytes are not those that were put into the archive", found.stdout)
            if option:
                self.assertNotIn("fail", rfsar("check", archive).stdout)


if __name__ == "__main__":
    unittest.main()
