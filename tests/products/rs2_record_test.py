# SPDX-License-Identifier: MIT
"""RADARSAT-2 as a whole: record, Doppler rates and calibration against the simulator's truth and a
real product, and what rfsar says of damaged ones."""

import json
import pathlib
import re
import sys
import unittest
import xml.etree.ElementTree as ElementTree
import zipfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
import record_test  # noqa: E402
from record_test import LEFT_DOWN, SMALL, RecordCase  # noqa: E402

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from products import rfsar, rfsar_json  # noqa: E402

ALL_NODES = [":SAR_Metadata", ":Rs2_Calibration", ":Doppler"]
SLANT = {"groundToSlantRangeCoefficients": [0.0] * 6}
SPOTLIGHT = {"acquisition": "SpotlightA", "doppler_estimates": 4,
             "doppler_positions": [-0.2, 0.1, 0.9, 1.3]}

# Story: (recipe, fields that the reader's own rules decide).
RECIPES = {
    "slc": ({}, SLANT),
    "slc, left and down": (LEFT_DOWN | {"crlf": True}, SLANT),
    "slc, quad-pol": ({"polarizations": "HH VV HV VH", "acquisition": "Fine Quad Polarization",
                       "wings": "Fore Aft"}, SLANT),
    "slc, ultrafine": ({"acquisition": "Ultrafine"}, SLANT),
    "slc, spotlight with two estimates inside": (SPOTLIGHT, SLANT),
    "slc, a mode of the later edition": ({"acquisition": "Extra Fine"}, SLANT),
    "sgf, scansar": ({"product_type": "SGF", "acquisition": "ScanSAR Wide"}, {}),
    "sgf, rising over the full hour": ({"product_type": "SGF", "pixel_order": "decreasing",
                                        "start": "2024-05-06T06:59:59.999Z"}, {}),
    "sgx": ({"product_type": "SGX"}, {}),
    "sgc": ({"product_type": "SGC"}, {}),
}


def edit(product, pattern, replacement):
    """Changes product.xml; the pattern must be there."""
    text, count = re.subn(pattern, replacement, product.opened.read_text(encoding="utf-8"))
    assert count, pattern
    product.opened.write_text(text, encoding="utf-8")


class Rs2Case(RecordCase):
    check_vectors = record_test.Records.check_vectors
    check_dates_and_window = record_test.Records.check_dates_and_window

    def make_rs2(self, name, **fields):
        return self.make("radarsat2", name=name, **SMALL, **fields)

    def node(self, opened, name):
        done = rfsar("node", opened, name)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(done.stderr, "")
        return json.loads(done.stdout)


class Records(Rs2Case):
    def test_simulated_products_have_the_simulators_record(self):
        for story, (fields, ruled) in RECIPES.items():
            with self.subTest(story):
                product = self.make_rs2(story, **fields)
                truth = product.truth
                record = self.node(product.opened, ":SAR_Metadata")
                for name, value in {**truth["record"], **ruled}.items():
                    self.assertClose(record[name], value, name)
                lines = sorted(truth["timing"][name]["secondsOfDay"]
                               for name in ("fileLine0", "fileLastLine"))
                self.assertClose([record["firstLineTime"], record["lastLineTime"]], lines, "lines")
                self.check_vectors(record, truth)
                self.check_dates_and_window(record, truth)
                self.check_tables_and_rates(product)

    def check_tables_and_rates(self, product):
        tables = self.node(product.opened, ":rs2_calibration")
        for node_name, file in (("Beta", "lutBeta.xml"), ("Sigma", "lutSigma.xml"),
                                ("Gamma", "lutGamma.xml")):
            root = ElementTree.parse(product.folder / file).getroot()
            self.assertEqual(tables["lut" + node_name],
                             [float(v) for v in root.find("gains").text.split()])
            self.assertEqual(tables[f"lut{node_name}Offset"], float(root.find("offset").text))
        rates, doppler = self.node(product.opened, ":Doppler"), product.truth["doppler"]
        first = doppler["estimates"][0]
        for name, value in (("rateTimes", doppler["referenceTimeS"]),
                            ("rateCoefficients", doppler["rateCoefficients"]),
                            ("centroidTimes", first["secondsOfDay"]),
                            ("centroidReferenceTimes", doppler["referenceTimeS"]),
                            ("centroidCoefficients", first["coefficients"])):
            self.assertClose(rates[name], value, name)

    def test_doppler_of_spotlight(self):
        product = self.make_rs2("spot", **SPOTLIGHT)
        polynomials = self.node(product.opened, ":SAR_Metadata")["dopplerCentroid"]
        for polynomial, estimate in zip(polynomials, product.truth["doppler"]["estimates"][1:3]):
            count = polynomial["numberOfCoefficients"]
            self.assertClose(polynomial["coefficients"][:count], estimate["coefficients"], "Hz")
            self.assertClose(polynomial["azimuthTime"], estimate["secondsOfDay"], "azimuthTime")

        product = self.make_rs2("one", acquisition="SpotlightB", wings="Fore")
        record = self.node(product.opened, ":SAR_Metadata")
        estimate = product.truth["doppler"]["estimates"][0]
        speed = sum(sum(v**2 for v in vector["velocity"])**0.5
                    for vector in product.truth["stateVectors"]) / record["numberOfStateVectors"]
        middle = record["slantRangeNearEdge"] + SMALL["samples"] // 2 * record["sampledPixelSpacing"]
        slope = 2 * record["pulseRepetitionFrequency"] * speed / middle
        for polynomial, line in zip(record["dopplerCentroid"], ("firstLineTime", "lastLineTime")):
            self.assertEqual(polynomial["azimuthTime"], record[line])
            shift = (record[line] - estimate["secondsOfDay"]) * slope
            self.assertClose(polynomial["coefficients"][0], estimate["coefficients"][0] - shift,
                             line, 1e-9)

    def test_midnight_in_the_image_and_before_it(self):
        product = self.make_rs2("inside", start="2024-02-29T23:59:59.998Z")
        record = self.node(product.opened, ":SAR_Metadata")  # a silent stderr: there is a model
        self.assertAlmostEqual(record["imageDuration"], product.truth["timing"]["durationS"],
                               delta=1e-6)
        self.assertGreater(record["lastLineTime"] - record["firstLineTime"], 86000)
        product = self.make_rs2("before", start="2024-03-01T00:00:00.5Z", vector_start=-1.0)
        record = self.node(product.opened, ":SAR_Metadata")
        vector = product.truth["stateVectors"][0]
        self.assertTrue(vector["utc"].startswith("2024-02-29"))
        self.assertClose(record["stateVectorFirstTime"], 86400 - vector["secondsOfDay"], "vector")

    def test_types_of_the_later_edition_are_ground_range(self):
        product = self.make_rs2("sgf", product_type="SGF", acquisition="Ocean Surveillance")
        as_sgf = self.node(product.opened, ":SAR_Metadata")
        for product_type in ("SCF", "SCS", "SCX"):
            edit(product, "<productType>...<", f"<productType>{product_type}<")
            self.assertEqual(self.node(product.opened, ":SAR_Metadata"), as_sgf)
            self.assertEqual(rfsar_json("info", product.opened)["warnings"], [])

    def test_later_members_of_spotlight(self):
        product = self.make_rs2("later", **SPOTLIGHT)
        before = self.node(product.opened, ":SAR_Metadata")
        edit(product, "</radarParameters>",
             "<numPRIsPerPointingStep>12</numPRIsPerPointingStep>"
             "<totalNumberOfPointingSteps>34</totalNumberOfPointingSteps>"
             '<stepSizeInAntennaPointing units="deg">0.1</stepSizeInAntennaPointing>'
             "</radarParameters>")
        edit(product, "</satelliteHeight>",
             '</satelliteHeight><slantRangeCentre units="m">900000</slantRangeCentre>')
        self.assertEqual(self.node(product.opened, ":SAR_Metadata"), before)

    def test_map_products_list_three_nodes_and_serve_none(self):
        for product_type in ("SSG", "SPG"):
            product = self.make_rs2(product_type, product_type=product_type)
            self.assertEqual(rfsar_json("info", product.opened)["nodes"], ALL_NODES)
            for name in ALL_NODES:
                self.assertFails(rfsar("node", product.opened, name), f'has no node "{name}"')

    def test_the_zip_as_downloaded_serves_every_node(self):
        product = self.make_rs2("zipped")
        archive = self.folder / "zipped.zip"
        with zipfile.ZipFile(archive, "w") as packed:
            for file in product.folder.rglob("*"):
                packed.write(file, file.relative_to(self.folder))
        for name in ALL_NODES:
            self.assertEqual(self.node(archive, name), self.node(product.opened, name))


class DamagedProducts(Rs2Case):
    def test_a_product_that_does_not_match_the_schema(self):
        product = self.make_rs2("bad")
        edit(product, "<antennaPointing>Right", "<antennaPointing>Up")
        for name in ALL_NODES:
            self.assertFails(rfsar("node", product.opened, name),
                             "XML does not match RS2 schema: ", "product.xml:", "antennaPointing")

    def test_a_bad_table_leaves_the_tables_before_it(self):
        product = self.make_rs2("partial")
        (product.folder / "lutSigma.xml").write_text("<lut><offset>1</offset></lut>")
        done = rfsar("node", product.opened, ":Rs2_Calibration")
        self.assertEqual(done.returncode, 0)
        self.assertIn("Wrong lutSigma XML schema file detected: ", done.stderr)
        self.assertIn("lutSigma.xml:1: ", done.stderr)
        tables = json.loads(done.stdout)
        self.assertEqual([len(tables["lut" + n]) for n in ("Beta", "Sigma", "Gamma")],
                         [SMALL["samples"], 0, 0])
        (product.folder / "lutBeta.xml").unlink()
        self.assertFails(rfsar("node", product.opened, ":Rs2_Calibration"),
                         "Wrong lutBeta XML schema file detected", "lutBeta.xml")

    def test_no_model_costs_a_warning_only(self):
        product = self.make_rs2("near")
        edit(product, r"(<slantRangeNearEdge[^>]*>)[^<]*", r"\g<1>0")
        done = rfsar("node", product.opened, ":SAR_Metadata")
        self.assertEqual(done.returncode, 0)
        self.assertIn("The product states no slant range", done.stderr)
        self.assertEqual(json.loads(done.stdout)["imageWindowValid"], 0)

    def check_product(self, opened):
        """{check: [status, ...]} and the messages; the exit status must tell of failures."""
        done = rfsar("check", opened, "--json")
        found = json.loads(done.stdout)["checks"]
        statuses = {}
        for each in found:
            statuses.setdefault(each["check"], []).append(each["status"])
        self.assertEqual(done.returncode, int(any("fail" in s for s in statuses.values())))
        return statuses, "\n".join(each["message"] for each in found)

    def test_check_finds_what_is_wrong(self):
        for family in ("radarsat2", "rcm", "capella-slc"):
            product = self.make(family, name="whole " + family, **SMALL)
            statuses, messages = self.check_product(product.opened)
            self.assertEqual({s for each in statuses.values() for s in each}, {"ok"}, family)
            self.assertIn("sensor model against the tie points in", messages)
        product = self.make_rs2("damaged", polarizations="HH HV")
        (product.folder / "imagery_HV.tif").unlink()
        (product.folder / "lutSigma.xml").write_text("<lut><offset>0</offset><gains>1 2</gains></lut>")
        (product.folder / "lutGamma.xml").write_text("<lut><offset>0</offset></lut")
        edit(product, r"(<slantRangeNearEdge[^>]*>)[^<]*", r"\g<1>0")
        statuses, messages = self.check_product(product.opened)
        wrong = {name: found for name, found in statuses.items() if set(found) != {"ok"}}
        self.assertEqual(wrong, {"files": ["fail"], "layers": ["fail"] * 2,
                                 "model": ["warn"], "calibration": ["fail"] * 2})
        for text in ("imagery_HV.tif is missing", "C_HV_PHASE_4",
                     "lutSigma.xml: its gains do not cover the 30 columns",
                     "lutGamma.xml(1): "):
            self.assertIn(text, messages)
        done = rfsar("check", product.opened)
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stdout, r"(?m)^fail  files        .*imagery_HV.tif is missing$")

    def test_check_warns_of_tables_for_wider_images(self):
        product = self.make_rs2("wider")
        table = product.folder / "lutBeta.xml"
        table.write_text(table.read_text().replace("</gains>", " 1.5</gains>"))
        statuses, messages = self.check_product(product.opened)
        self.assertEqual(statuses["calibration"], ["ok", "warn"])
        self.assertIn("lutBeta.xml: has 31 gains for lines of 30 samples", messages)


class RealProduct(Rs2Case):
    """The real zip; values read again by Python's own parsers."""

    def setUp(self):
        super().setUp()
        folder = self.real("radarsat2/F0W2_20170430_HH_SLC")
        self.archive = next(folder.glob("*.zip"))

    def parse(self, name):
        with zipfile.ZipFile(self.archive) as packed:
            member = next(n for n in packed.namelist() if n.endswith("/" + name))
            return re.sub(r'\sxmlns="[^"]*"', "", packed.read(member).decode(), count=1)

    def test_record(self):
        fields, vectors = record_test.RealProducts.oracle(self, self.archive)
        record = self.node(self.archive, ":SAR_Metadata")
        for name, numbers in fields.items():
            padding = [0.0] * (6 - len(numbers)) if name.startswith("groundToSlant") else []
            self.assertClose(record[name], numbers + padding, name, 1e-15)
        for i, name in enumerate(record_test.AXES):
            self.assertEqual(record[name], [vector[i] for vector in vectors])

    def test_doppler_and_tables(self):
        product = ElementTree.fromstring(self.parse("product.xml"))
        rates = self.node(self.archive, ":Doppler")
        centroid = product.find(".//dopplerCentroid")
        for name, text in (
                ("rateTimes", product.find(".//dopplerRateReferenceTime").text),
                ("rateCoefficients", product.find(".//dopplerRateValuesCoefficients").text),
                ("centroidReferenceTimes", centroid.find("dopplerCentroidReferenceTime").text),
                ("centroidCoefficients", centroid.find("dopplerCentroidCoefficients").text)):
            self.assertEqual(rates[name], [float(v) for v in text.split()], name)
        tables = self.node(self.archive, ":Rs2_Calibration")
        for table, element in zip(("Beta", "Sigma", "Gamma"), product.iter("lookupTable")):
            gains = ElementTree.fromstring(self.parse(element.text)).find("gains").text.split()
            self.assertEqual(tables["lut" + table], [float(gain) for gain in gains])

    def test_check(self):
        self.assertEqual(rfsar("check", self.archive).returncode, 0)


if __name__ == "__main__":
    unittest.main()
