# SPDX-License-Identifier: MIT
"""Where metadata and image disagree: rfsar check, info and the driver say so; no wrong numbers."""

import json
import os
import re
import unittest

from gdal_case import ProductCase, gdal, named, open_product, subdatasets

from products import rfsar

RCM, SLC = ("rcm", {}), ("rcm", {"product_type": "SLC"})
RS2, SGF = ("radarsat2", {}), ("radarsat2", {"product_type": "SGF"})
CAPELLA, GEO = ("capella-slc", {}), ("capella-geo", {})
QUAD = ("rcm", {"polarizations": "HH HV VH VV", "image_order": "HH VV HV VH"})


def image(width=48, height=64, bands=1, sample=gdal.GDT_UInt16):
    """Replaces the images of a product."""
    def change(product):
        for file in product.folder.rglob("*.tif"):
            kept = gdal.Open(str(file))
            new = gdal.GetDriverByName("GTiff").Create(f"{file}.new", width, height, bands, sample)
            for band in range(1, bands + 1):
                new.GetRasterBand(band).Fill(7 + band)
            if kept.GetGeoTransform(can_return_null=True):
                new.SetGeoTransform(kept.GetGeoTransform())
                new.SetProjection(kept.GetProjection())
            del new, kept
            os.replace(f"{file}.new", file)
    return change


def edit(pattern, replacement, files="product.xml"):
    def change(product):
        count = 0
        for file in product.folder.rglob(files):
            text, n = re.subn(pattern, replacement, file.read_text(encoding="utf-8"))
            file.write_text(text, encoding="utf-8")
            count += n
        assert count > 0, pattern
    return change


def shift_map(product):
    def moved(found):
        numbers = json.loads(found[2])
        numbers[0] += 5 * numbers[1]
        return found[1] + json.dumps(numbers)
    edit(r'("geotransform":\s*)(\[[^\]]*\])', moved, "*_extended.json")(product)


def swap_vectors(tag):
    def change(text):
        first, second = re.findall(tag + r"[^<,]*", text)[:2]
        return text.replace(first, "@").replace(second, first).replace("@", second)
    return change


def reorder(tag, files):
    def change(product):
        for file in product.folder.rglob(files):
            file.write_text(swap_vectors(tag)(file.read_text(encoding="utf-8")), encoding="utf-8")
    return change


SPOTLIGHT = ("capella-slc", {"image_geometry": "pfa"})
SMALL, SMALL_COMPLEX = image(40, 60), image(40, 60, 2, gdal.GDT_Int16)
EXTENDED = "*_extended.json"
FEWER_GAINS = edit(r"(<gains>)\S+ ", r"\1", "lutSigma*.xml")
LEVELS = r"<numberOfNoiseLevelValues>\d+<[^>]*>(\s*<noiseLevelValues[^>]*>)"
FEWER_LEVELS = edit(LEVELS + r"(?:\S+ ){20}", r"\1")

# product; what is wrong with it; the check that tells; what it says, info and driver too; and what
# must fail because of it, with the words of its error.
DISAGREEMENTS = [
    (RCM, SMALL, "sizes", "has 40 x 60 pixels, the product states 48 x 64",
     {"locate": "40 x 60 pixels, its sensor model is one of 48 x 64",
      "SIGMA_NOUGHT_HH": "lutSigma_HH.xml: is made for lines of 48 samples, but the image's have 40",
      "NESZ_HH": "noiseLevels_HH.xml: is made for lines of 48",
      "INCIDENCE_ANGLE": "incidenceAngles.xml: is made for lines of 48"}),
    (RS2, SMALL_COMPLEX, "sizes", "has 40 x 60 pixels, the product states 48 x 64",
     {"locate": "its sensor model is one of 48 x 64", "SIGMA_NOUGHT_HH": "lutSigma.xml: is made for"}),
    (CAPELLA, image(48, 60, 1, gdal.GDT_CInt16), "sizes", "has 48 x 60 pixels", {"locate": "48 x 60"}),
    (GEO, image(48, 60), "sizes", "has 48 x 60 pixels", {}),
    (RCM, image(sample=gdal.GDT_CInt16), "types", "holds complex samples of 16 bits",
     {"read": "_HH.tif: holds complex samples in one band, but the layer's samples are detected"}),
    (RCM, image(sample=gdal.GDT_Float32), "types", "of 32 bits, floating; the product states", {}),
    (RCM, image(bands=2, sample=gdal.GDT_Int16), "types", "holds complex samples",
     {"read": "_HH.tif: holds 2 real bands, but the layer's samples are detected"}),
    (SLC, image(bands=3), "layers", "_HH.tif: holds 3 real bands", {"read": "holds 3 real bands"}),
    (SGF, image(sample=gdal.GDT_Byte), "types", "real samples of 8 bits", {}),
    (SLC, image(), "types", "holds real samples", {"read": "holds 1 real bands, but"}),
    (RS2, image(), "types", "holds real samples", {"read": "imagery_HH.tif: holds 1 real bands"}),
    (RS2, image(bands=2, sample=gdal.GDT_Float32), "types", "of 32 bits, floating; the product", {}),
    (CAPELLA, image(), "types", "holds real samples", {"read": "holds 1 real bands, but"}),
    (CAPELLA, image(bands=2, sample=gdal.GDT_Float32), "types", "of 32 bits, floating",
     {"read": "holds 2 real bands, but the layer's samples are complex"}),
    (QUAD, lambda product: None, "poles", "shows polarization VV, although its name says HV", {}),
    (CAPELLA, edit(r'("transmit_polarization": )"V"', r'\1"H"', EXTENDED), "poles",
     "states polarization HV, which the item does not list", {}),
    (RCM, FEWER_GAINS, "calibration", "lutSigma_HH.xml: announces 48 gains but holds 47",
     {"SIGMA_NOUGHT_HH": "announces 48 gains but holds 47"}),
    (RS2, FEWER_GAINS, "calibration", "lutSigma.xml: its gains do not cover the 48 columns",
     {"SIGMA_NOUGHT_HH": "do not cover the 48 columns"}),
    (RS2, edit(r"(<gains>)(\S+ )", r"\1\2\2", "lutSigma.xml"), "calibration",
     "lutSigma.xml: has 49 gains for lines of 48 samples", {}),
    (RS2, FEWER_LEVELS, "calibration", "product.xml: its values do not cover the 48 columns",
     {"NESZ": "do not cover the 48 columns"}),
    (RCM, edit(r"<stepSize>[^<]*", "<stepSize>0", "incidenceAngles.xml"), "calibration",
     "incidenceAngles.xml: holds no values, or none a column",
     {"INCIDENCE_ANGLE": "holds no values"}),
    (RS2, edit(r"(<noiseLevelValues[^>]*>)\S+ ", r"\1"), "calibration",
     " noise levels but holds ", {"NESZ": " noise levels but holds "}),
    *((RCM, edit(pattern, replacement, file), "calibration", sentence, {layer: sentence})
      for layer, file, pattern, replacement, sentence in (
          ("SIGMA_NOUGHT_HH", "lutSigma_HH.xml", r"(<gains>)\S+", r"\1inf",
           "lutSigma_HH.xml: gains, value 1, is no finite number"),
          ("SIGMA_NOUGHT_HH", "lutSigma_HH.xml", r"(<gains>)\S+", r"\g<1>1e-310",
           "lutSigma_HH.xml: gains, value 1, is 1e-310, not between"),
          ("SIGMA_NOUGHT_HH", "lutSigma_HH.xml", r"(<gains>)", r"\1<gain>1</gain>",
           "lutSigma_HH.xml: gains holds a list or elements where text is due"),
          ("SIGMA_NOUGHT_HH", "lutSigma_HH.xml", r"<offset>[^<]*", "<offset>nan",
           "lutSigma_HH.xml: offset is no finite number"),
          ("INCIDENCE_ANGLE", "incidenceAngles.xml", r"(<angles[^>]*>)[^<]*", r"\g<1>500",
           "incidenceAngles.xml: incidenceAngles/angles, value 1, is 500 degrees, not between 0"),
          ("INCIDENCE_ANGLE", "incidenceAngles.xml", r"(<numberOfValues>)", r"\g<1>1",
           " angles but holds "),
          ("NESZ_HH", "noiseLevels_HH.xml", r"(<noiseLevelValues[^>]*>)\S+", r"\g<1>4000",
           "noiseLevels_HH.xml: noiseLevelValues, value 1, is 4000 dB, not between"))),
    (CAPELLA, edit(r'(?s)("nesz_polynomial".*?"coefficients": \[)([^\]]*)\]', r"\1[\2]]", EXTENDED),
     "calibration", "a list stands in collect/image/nesz_polynomial/coefficients where a number",
     {"NESZ_VV": "a list stands in"}),
    *((CAPELLA, edit(r'("scale_factor": )[^,]*', r"\g<1>" + scale, EXTENDED), "calibration",
       "collect/image/scale_factor is " + scale, {"BETA_NOUGHT_VV": "is " + scale})
      for scale in ("1e+200", "1e-30")),
    (RCM, edit("lineTimeOrdering>Increasing", "lineTimeOrdering>Decreasing"), "times",
     "line times are stated as Decreasing, but run from 2024-05-06T07:08:09", {}),
    (RS2, edit("(zeroDopplerTimeLastLine>)[^<]*", r"\g<1>2024-05-06T07:08:09.250000Z"), "times",
     "the first and the last line have one time", {}),
    (RS2, edit("(<timeStamp>)2024", r"\g<1>2023"), "times", "leave the time of its state vectors", {}),
    (RCM, reorder("<timeStamp>", "product.xml"), "times", "state vectors are out of order", {}),
    (CAPELLA, reorder('"time": ', EXTENDED), "times", "state vectors are out of order", {}),
    (CAPELLA, edit(r'("stop_timestamp": "2024-05-06T07:08:0)9', r"\g<1>8", EXTENDED), "times",
     "the collect stops at 2024-05-06T07:08:08", {}),
    (CAPELLA, edit(r'("first_line_time": "2024-05-06T07:08:)09', r"\g<1>11", EXTENDED), "times",
     "leave the collect", {}),
    (SPOTLIGHT, edit("col_sample_spacing", "spacing", EXTENDED), "grid",
     "col_sample_spacing is missing, so that its polar-format grid has no sensor model",
     {"INCIDENCE_ANGLE": "col_sample_spacing is missing"}),
]


class Truth(ProductCase):
    def setUp(self):
        super().setUp()
        gdal.PushErrorHandler("CPLQuietErrorHandler")  # subdatasets repeat the warnings
        self.addCleanup(gdal.PopErrorHandler)

    def findings(self, product):
        found = json.loads(rfsar("check", product.opened, "--json").stdout)["checks"]
        return [(c["check"], c["message"]) for c in found if c["status"] != "ok"]

    def driver_warnings(self, product):
        """Told once, when somebody asks for metadata or pixels, and not before."""
        told = []
        gdal.PushErrorHandler(lambda kind, number, text: told.append(text))
        try:
            dataset = open_product(product.opened)
            early = [text for text in told if "only the subdatasets" not in text]
            self.assertEqual(early, [])
            if dataset.RasterCount:
                dataset.GetRasterBand(1).ReadAsArray(0, 0, 1, 1)
            first = len(told)
            dataset.GetMetadata()
            self.assertTrue(dataset.RasterCount == 0 or len(told) == first, told)
        finally:
            gdal.PopErrorHandler()
        return dataset, told

    def assertTold(self, sentence, texts):
        self.assertTrue(any(sentence in text for text in texts), f"{sentence!r} in {texts}")

    def test_products_as_they_should_be_have_no_warnings(self):
        for family, options in (RCM, SLC, RS2, SGF, CAPELLA, GEO, SPOTLIGHT, ("capella-grd", {}),
                                ("rcm", {"pixel_type": "float32", "pixel_order": "decreasing"}),
                                ("rcm", {"product_type": "GCD"}),
                                ("radarsat2", {"product_type": "SSG", "pixel_type": "uint8"}),
                                ("radarsat2", {"line_order": "decreasing"}),
                                ("capella-slc", {"start": "2024-12-31T23:59:59.995Z"})):
            with self.subTest(family=family, options=options):
                product = self.make(family, lines=64, samples=48, **options)
                self.assertEqual({c for c, _ in self.findings(product)} - {"model"}, set())
                self.assertEqual(self.driver_warnings(product)[1], [])

    def test_disagreements_are_told_and_yield_no_wrong_numbers(self):
        for i, ((family, options), fault, check, sentence, failures) in enumerate(DISAGREEMENTS):
            with self.subTest(case=i, family=family, sentence=sentence):
                product = self.make(family, lines=64, samples=48, name=f"case {i}", **options)
                fault(product)
                self.assertTold(sentence, [text for c, text in self.findings(product) if c == check])
                info = json.loads(rfsar("info", product.opened, "--json").stdout)
                self.assertTold(sentence, info["warnings"])
                dataset, told = self.driver_warnings(product)
                self.assertTold(sentence, told)
                layer = info["layers"][0]["name"]
                for what, words in failures.items():
                    if what == "read":
                        self.assertFails(rfsar("read", product.opened, layer, "-o", "-"), words)
                    elif what == "locate":
                        self.assertFails(rfsar("locate", product.opened, stdin="1 2\n"), words)
                    else:
                        with self.assertRaisesRegex(RuntimeError, re.escape(words)):
                            gdal.Open(named(product.opened, what))
                        self.assertNotIn(what, info["exports"])
                        self.assertNotIn(what, subdatasets(dataset))

    def test_a_damaged_table_costs_only_its_own_images(self):
        quantities = {"Beta": "BETA_NOUGHT_HH", "Sigma": "SIGMA_NOUGHT_HH", "Gamma": "GAMMA_HH"}
        for family, options in (RCM, RS2, SGF):
            for damaged, lost in quantities.items():
                with self.subTest(family=family, options=options, damaged=damaged):
                    product = self.make(family, lines=64, samples=48, **options,
                                        name=f"{family} {options} {damaged}")
                    edit("<gains>[^<]*", "<gains>", f"lut{damaged}*.xml")(product)
                    exports = json.loads(rfsar("info", product.opened, "--json").stdout)["exports"]
                    offered = subdatasets(open_product(product.opened))
                    for layer in quantities.values():
                        self.assertEqual(layer in exports, layer != lost)
                        self.assertEqual(layer in offered, layer != lost)
                        if layer != lost:
                            power = gdal.Open(named(product.opened, layer)).ReadAsArray()
                            self.assertGreater(power.max(), 0)

    def test_a_map_image_is_compared_with_the_map_that_the_product_states(self):
        product = self.make("capella-geo", lines=64, samples=48)
        shift_map(product)
        self.assertTold("against the product's, 4 points: line rms 0.000 (max 0.000), sample rms "
                        "5.000", [text for c, text in self.findings(product) if c == "ground"])
        edit(r'("geotransform":\s*\[)[^,]*', r'\1"wide"', EXTENDED)(product)
        self.assertTold('_extended.json: "wide" is not a number',
                        [text for c, text in self.findings(product) if c == "ground"])


if __name__ == "__main__":
    unittest.main()
