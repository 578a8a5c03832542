# SPDX-License-Identifier: MIT
"""The SAR metadata record of whole products, against the simulator's truth and real metadata."""

import json
import pathlib
import subprocess
import sys
import unittest

TESTS = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(TESTS / "support"))
from products import REAL_PRODUCTS, ProductCase, rfsar, sarsim  # noqa: E402

AXES = [f"stateVector{axis}{kind}" for kind in ("Position", "Velocity") for axis in "XYZ"]
SMALL = {"lines": 40, "samples": 30, "sparse": True}
LEFT_DOWN = {"look": "left", "pass_direction": "descending", "line_order": "decreasing"}
SPOTLIGHT = {"product_type": "SLC", "acquisition": "Spotlight", "polarizations": "HH"}

# Story: (family, recipe, fields that the reader's own rules decide).
RECIPES = {
    "capella slc": ("capella-slc", {}, {"groundToSlantRangeCoefficients": [0.0] * 6}),
    "capella slc, left and down": ("capella-slc", LEFT_DOWN,
                                   {"groundToSlantRangeCoefficients": [0.0] * 6}),
    "capella grd": ("capella-grd", {"height": 0.0}, {"pixelTimeOrdering": 1}),
    "capella geo": ("capella-geo", {}, {
        "sampledPixelSpacing": 0.0, "slantRangeNearEdge": 0.0, "lineTimeOrdering": 1,
        "pixelTimeOrdering": 1, "groundToSlantRangeCoefficients": [0.0] * 6}),
    "capella extended alone": ("capella-slc", {"only": "extended"},
                               {"groundToSlantRangeCoefficients": [0.0] * 6}),
    "rcm grd": ("rcm", {"pixel_order": "decreasing", "state_vectors": 1}, {}),
    "rcm grd, left and down": ("rcm", {**LEFT_DOWN, "crlf": True}, {}),
    "rcm slc": ("rcm", {"product_type": "SLC"}, {"groundToSlantRangeCoefficients": [0.0] * 6}),
    "rcm grc": ("rcm", {"product_type": "GRC"}, {}),
    "rcm spotlight, two estimates inside": (
        "rcm", {**SPOTLIGHT, "doppler_estimates": 4, "doppler_positions": [-0.2, 0.1, 0.9, 1.3]},
        {"groundToSlantRangeCoefficients": [0.0] * 6}),
}


class RecordCase(ProductCase):
    def record(self, opened):
        done = rfsar("node", opened, ":SAR_Metadata")
        self.assertEqual(done.returncode, 0, done.stderr)
        return json.loads(done.stdout)

    def assertClose(self, found, expected, what, relative=1e-14):
        found, expected = (list(x) if hasattr(x, "__len__") else [x] for x in (found, expected))
        self.assertEqual(len(found), len(expected), what)
        for a, b in zip(found, expected):
            self.assertAlmostEqual(a, b, delta=relative * abs(b), msg=what)


class Records(RecordCase):
    def test_simulated_products_have_the_simulators_record(self):
        for story, (family, fields, ruled) in RECIPES.items():
            with self.subTest(story):
                product = self.make(family, name=story, **SMALL, **fields)
                truth = product.truth
                record = self.record(product.opened)
                for name, value in {**truth["record"], **ruled}.items():
                    self.assertClose(record[name], value, name)
                self.check_times(record, truth)
                self.check_vectors(record, truth)
                self.check_dates_and_window(record, truth)

    def check_times(self, record, truth):
        lines = [truth["timing"][name]["secondsOfDay"] for name in ("fileLine0", "fileLastLine")]
        if truth["family"] == "capella-geo":
            lines[1] = lines[0]  # map-projected: no line interval
        elif truth["family"].startswith("capella"):
            step = truth["timing"]["lineIntervalS"]
            lines[1] = lines[0] + truth["recipe"]["lines"] * (
                -step if truth["recipe"]["line_order"] == "decreasing" else step)
        self.assertClose([record["firstLineTime"], record["lastLineTime"]], sorted(lines), "lines")

    def check_vectors(self, record, truth):
        vectors = truth["stateVectors"]
        for i, name in enumerate(AXES):
            self.assertClose(record[name], [[*v["position"], *v["velocity"]][i] for v in vectors],
                             name)
        times = [v["secondsOfDay"] for v in vectors[:2]] + [0.0] * (2 - len(vectors[:2]))
        self.assertClose(record["stateVectorFirstTime"], times[0], "first vector")
        self.assertAlmostEqual(record["stateVectorInterval"], times[1] - times[0], delta=1e-10)

    def check_dates_and_window(self, record, truth):
        date = truth["timing"]["fileLine0"]["utc"]
        self.assertEqual([record[f"firstLine{n}"] for n in ("Year", "Month", "Day")],
                         [int(date[:4]), int(date[5:7]), int(date[8:10])])
        lines, samples = truth["recipe"]["lines"], truth["recipe"]["samples"]
        self.assertEqual([record[n] for n in (
            "imageWindowValid", "firstSample", "lastSample", "sampleStep", "sampleCount",
            "firstLine", "lastLine", "lineStep", "lineCount")],
            [1, 0, samples - 1, 1, samples, 0, lines - 1, 1, lines])

    def test_doppler_of_complex_products(self):
        product = self.make("rcm", name="spot", **SMALL, **SPOTLIGHT, doppler_estimates=4,
                            doppler_positions=[-0.2, 0.1, 0.9, 1.3])
        polynomials = self.record(product.opened)["dopplerCentroid"]
        estimates = product.truth["doppler"]["estimates"][1:3]
        for polynomial, estimate in zip(polynomials, estimates):
            count = polynomial["numberOfCoefficients"]
            self.assertClose(polynomial["coefficients"][:count], estimate["coefficients"], "Hz")
            self.assertClose(polynomial["azimuthTime"], estimate["secondsOfDay"], "azimuthTime")
            self.assertClose(polynomial["referenceTime"],
                             product.truth["doppler"]["referenceTimeS"], "referenceTime")

    def test_a_day_change_is_folded_and_the_model_survives(self):
        for family in ("rcm", "capella-slc"):
            product = self.make(family, name=family, **SMALL, start="2024-03-01T00:00:00.5Z")
            done = rfsar("node", product.opened, ":SAR_Metadata")
            vector = product.truth["stateVectors"][0]
            self.assertTrue(vector["utc"].startswith("2024-02-29"))
            self.assertClose(json.loads(done.stdout)["stateVectorFirstTime"],
                             86400.0 - vector["secondsOfDay"], family)
            self.assertEqual(done.stderr, "")  # a warning would say that there is no model

    def test_nodes_that_a_product_does_not_have(self):
        product = self.make("rcm", name="p", **SMALL)
        self.assertFails(rfsar("node", product.opened, ":Doppler"), "has no node \":Doppler\"",
                         product.opened.name + ": has no node \":Doppler\"\n")
        self.assertFails(rfsar("node", product.opened, ":Nothing"), "has no node \":Nothing\"")
        angles = product.folder / "metadata/calibration/incidenceAngles.xml"
        angles.unlink()
        self.assertFails(rfsar("node", product.opened, ":SAR_Metadata"),
                         "calibration/incidenceAngles.xml: cannot open file (does not exist)")

    def test_no_model_costs_a_warning_only(self):
        product = self.make("capella-slc", name="pfa", image_geometry="pfa", **SMALL)
        done = rfsar("node", product.opened, ":SAR_Metadata")
        self.assertEqual(done.returncode, 0)
        self.assertIn("pfa_extended.json: no SAR model: ", done.stderr)
        self.assertEqual(json.loads(done.stdout)["imageWindowValid"], 1)


class RealProducts(RecordCase):
    """Real metadata beside an empty image; values read again by Python's own parsers."""

    def oracle(self, document):
        script = TESTS / "platform/sarm/real_products.py"
        lines = subprocess.run([sys.executable, script, document], check=True, text=True,
                               capture_output=True).stdout.splitlines()
        values = [(line.split()[0], [float(v) for v in line.split()[1:]]) for line in lines]
        fields = {name: numbers for name, numbers in values
                  if name not in ("vector", "tie", "target", "offset", "habits",
                                  "lateLineTimes")}
        return fields, [numbers for name, numbers in values if name == "vector"]

    def check(self, opened, document):
        fields, vectors = self.oracle(document)
        record = self.record(opened)
        for name, numbers in fields.items():
            padding = [0.0] * (6 - len(numbers)) if name.startswith("groundToSlant") else []
            self.assertClose(record[name], numbers + padding, f"{document.name}: {name}", 1e-15)
        for i, name in enumerate(AXES):
            self.assertEqual(record[name], [vector[i] for vector in vectors], document.name)

    def test_capella(self):
        documents = sorted(REAL_PRODUCTS.glob("capella/*/*_extended.json"))
        if not documents:
            self.skipTest("the real Capella products are not here")
        for document in documents:
            with self.subTest(document.parent.name):
                copy = self.folder / document.name
                copy.write_bytes(document.read_bytes())
                copy.with_name(document.name.replace("_extended.json", ".tif")).touch()
                self.check(copy, document)

    def test_rcm(self):
        document = next(self.real("rcm/16M5_20220605_HHHV_GRD").glob("*/metadata/product.xml"))
        self.check(document, document)

    def test_rcm_without_incidence_angles_says_so(self):
        document = next(self.real("rcm/3MCP24_20200219_CHCV_GCD").glob("*/metadata/product.xml"))
        self.assertFails(rfsar("node", document, ":SAR_Metadata"),
                         "product type GCD has no SAR model; georeferencing is the image's own")


if __name__ == "__main__":
    unittest.main()
