# SPDX-License-Identifier: MIT
"""Simulated products: documents, pixels and truth must tell one story."""
import glob
import itertools
import json
import os
import subprocess
import sys
import tempfile
import unittest
import zipfile

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
TOOLS = os.path.join(os.path.dirname(os.path.dirname(HERE)), "tools")
sys.path[:0] = [HERE, TOOLS]

import documents  # noqa: E402
import sarsim  # noqa: E402
from sarsim import ellipsoid, orbit, zerodoppler  # noqa: E402

SMALL = dict(lines=260, samples=200)
ORDERS = ("increasing", "decreasing")
LEFT_DOWN = dict(look="left", pass_direction="descending", line_order="decreasing")
# Every range law, side, pass and ordering, and the awkward places and hours.
SENSOR_RECIPES = {
    "capella slc": dict(family="capella-slc", **LEFT_DOWN),
    "capella slc, uneven vectors": dict(family="capella-slc", vector_jitter=0.05),
    "capella pfa": dict(family="capella-slc", image_geometry="pfa", look="left", height=900.0),
    "capella grd": dict(family="capella-grd", look="left", height=700.0),
    "rcm grd": dict(family="rcm", pixel_order="decreasing", centre="-179.999,-16.5"),
    "rcm mlc": dict(family="rcm", product_type="MLC"),
    "rcm slc quad": dict(family="rcm", product_type="SLC", polarizations="HH HV VH VV",
                         **LEFT_DOWN),
    "radarsat2 slc, midnight": dict(family="radarsat2", start="2024-02-28T23:59:59.95Z",
                                    pixel_order="decreasing", **LEFT_DOWN),
    "radarsat2 slc at the date line": dict(family="radarsat2", centre="179.999,10"),
    "radarsat2 sgf near the pole": dict(family="radarsat2", product_type="SGF",
                                        centre="60,89.5", line_order="decreasing"),
    "radarsat2 four minutes": dict(family="radarsat2", product_type="SGC", line_spacing=6000.0,
                                   height=-30.0, images=False),
}
MAP_RECIPES = {
    "capella geo": dict(family="capella-geo", centre="-70.25,-33.4"),
    "rcm gcc, polar": dict(family="rcm", product_type="GCC", centre="-120,86.0"),
    "radarsat2 ssg": dict(family="radarsat2", product_type="SSG", look="left"),
}


class Products(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.made = {}
        for story, fields in {**SENSOR_RECIPES, **MAP_RECIPES}.items():
            recipe = sarsim.Recipe(**{**SMALL, "name": "simulé 产品 " + story, **fields})
            cls.made[story] = sarsim.make(recipe, cls.folder.name)

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def geometry(self, product):
        if product.opened.endswith(".xml"):
            return documents.read_xml(product.opened)
        return documents.read_capella(product.opened.replace(".json", "_extended.json"))

    def test_documents_alone_put_ties_and_targets_where_stated(self):
        for story in SENSOR_RECIPES:
            with self.subTest(story):
                product = self.made[story]
                # Five vectors over four minutes leave decimetres; else all agrees to rounding.
                bar = 0.02 if "four minutes" in story else 1e-6
                rows = [tuple(t[k] for k in ("line", "sample", "lon", "lat", "height"))
                        for t in product.truth["tiePoints"] + product.truth["targets"]]
                geometry = self.geometry(product)
                misfits = np.array([geometry.misfit(line, sample, ellipsoid.to_ecef(*ground))
                                    for line, sample, *ground in rows])
                self.assertLess(np.abs(misfits).max(), bar)

    def test_image_gcps_are_the_tie_points_half_a_pixel_on(self):
        for story in (s for s in SENSOR_RECIPES if "minutes" not in s):
            with self.subTest(story):
                product = self.made[story]
                path = os.path.join(product.folder, product.truth["images"][0]["file"])
                ties = [tuple(t.values()) for t in product.truth["tiePoints"]]
                np.testing.assert_allclose(documents.gcps(path), ties, rtol=0, atol=1e-9)

    def test_targets_shine_where_the_truth_says(self):
        for story in (s for s in self.made if "minutes" not in s):
            with self.subTest(story):
                product = self.made[story]
                self.assertGreaterEqual(sum(t["inside"] for t in product.truth["targets"]), 8)
                for image in product.truth["images"]:
                    pixels = documents.amplitude(os.path.join(product.folder, image["file"]))
                    self.assertEqual(pixels.shape, (SMALL["lines"], SMALL["samples"]))
                    for target in product.truth["targets"]:
                        if target["inside"]:
                            found = documents.peak(pixels, target["line"], target["sample"])
                            stated = (target["line"], target["sample"])
                            np.testing.assert_allclose(found, stated, rtol=0, atol=0.1)

    def test_orderings_and_sides_turn_the_image_as_physics_has_it(self):
        # Ascending, later lines lie further north and the right side is east; descending, neither.
        for look, flight, line_order, pixel_order in itertools.product(
                ("right", "left"), ("ascending", "descending"), ORDERS, ORDERS):
            with self.subTest(f"{look} {flight} {line_order} {pixel_order}"):
                ties = sarsim.make(sarsim.Recipe(
                    "radarsat2", look=look, pass_direction=flight, line_order=line_order,
                    pixel_order=pixel_order, images=False, target_grid=0, tie_points=2, name="t",
                    **SMALL), self.folder.name).truth["tiePoints"]
                first, right, below, _ = ties
                up = flight == "ascending"
                north = up == (line_order == "increasing")
                east = (up == (look == "right")) == (pixel_order == "increasing")
                self.assertEqual(below["lat"] > first["lat"], north)
                self.assertEqual(right["lon"] > first["lon"], east)

    def test_gdal_places_the_targets_through_the_rational_functions(self):
        for story in ("radarsat2 slc, midnight", "radarsat2 slc at the date line"):
            with self.subTest(story):
                product = self.made[story]
                image = documents.gdal.OpenEx(product.opened, allowed_drivers=["RS2"])
                for target in product.truth["targets"]:
                    transformer = documents.gdal.Transformer(image, None, [
                        "METHOD=RPC", f"RPC_HEIGHT={target['height']}",
                        "RPC_PIXEL_ERROR_THRESHOLD=1e-6"])
                    found = transformer.TransformPoint(1, target["lon"], target["lat"])[1]
                    # GDAL counts from the corner of the first pixel.
                    stated = (target["sample"] + 0.5, target["line"] + 0.5)
                    np.testing.assert_allclose(found[:2], stated, rtol=0, atol=1e-3)

    def test_map_products_are_georeferenced_by_their_image(self):
        for story in MAP_RECIPES:
            with self.subTest(story):
                product = self.made[story]
                path = os.path.join(product.folder, product.truth["images"][0]["file"])
                image = documents.gdal.Open(path)
                self.assertEqual(image.GetGeoTransform(),
                                 tuple(product.truth["geometry"]["geotransform"]))
                self.assertEqual(image.GetGCPCount(), 0)

    def test_quad_pol_files_come_in_the_order_of_real_products(self):
        root = documents.strip_namespaces(self.made["rcm slc quad"].opened)
        self.assertEqual(root.find(".//polarizations").text, "HH HV VH VV")
        self.assertEqual([e.get("pole") for e in root.iter("ipdf")], ["HH", "VV", "HV", "VH"])
        for e in root.iter("ipdf"):
            self.assertTrue(os.path.exists(
                os.path.join(self.made["rcm slc quad"].folder, "metadata", e.text)))


class Bursts(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def make(self, name, **fields):
        return sarsim.make(sarsim.Recipe("rcm", product_type="SLC", polarizations="HH", name=name,
                                         **{"lines": 300, "samples": 240, **fields}), self.folder)

    def test_bursts_show_their_targets_and_tile_the_grid(self):
        product = self.make("b", beams=2, bursts=3, shuffle=True, line_order="decreasing",
                            pixel_order="decreasing", target_grid=5)
        stated = documents.bursts(documents.strip_namespaces(product.opened))
        covered = np.zeros((300, 240), int)
        self.assertEqual(len(product.truth["bursts"]), 6)
        self.assertNotEqual(list(stated), sorted(stated))
        for burst in product.truth["bursts"]:
            top, left, lines, samples, files = stated[burst["beam"], burst["burst"]]
            self.assertEqual((top, left, lines, samples), tuple(
                burst[key] for key in ("lineOffset", "sampleOffset", "lines", "samples")))
            covered[top:top + lines, left:left + samples] += 1
            pixels = documents.amplitude(os.path.join(product.folder, "metadata", files["HH"]))
            self.assertEqual(pixels.shape, (lines, samples))
            geometry = documents.read_xml(product.opened, burst["beam"])
            for target in burst["targets"]:
                line, sample = target["line"], target["sample"]
                misfit = geometry.misfit(line + top, sample + left, ellipsoid.to_ecef(
                    target["lon"], target["lat"], target["height"]))
                self.assertLess(np.abs(misfit).max(), 1e-6)
                if min(line, sample, lines - line, samples - sample) > 5:
                    np.testing.assert_allclose(documents.peak(pixels, line, sample),
                                               (line, sample), rtol=0, atol=0.1)
        self.assertGreater(covered.min(), 0)
        self.assertEqual(covered.max(), 3)  # a beam, its neighbour, and the next burst of either

    def test_bursts_hold_the_pixels_of_the_whole_image(self):
        whole = documents.gdal.Open(os.path.join(
            self.make("w", target_grid=0).folder, "imagery/2000001_1_HH.tif")).ReadAsArray()
        product = self.make("c", beams=3, bursts=2, target_grid=0)
        for top, left, lines, samples, files in documents.bursts(
                documents.strip_namespaces(product.opened)).values():
            part = documents.gdal.Open(os.path.join(product.folder, "metadata", files["HH"]))
            np.testing.assert_array_equal(part.ReadAsArray(),
                                          whole[:, top:top + lines, left:left + samples])

    def test_multilook_complex_products_have_powers_and_a_cross_product(self):
        product = sarsim.make(sarsim.Recipe("rcm", product_type="MLC", name="m", **SMALL),
                              self.folder)
        bands = [documents.gdal.Open(os.path.join(product.folder, image["file"])).RasterCount
                 for image in product.truth["images"]]
        self.assertEqual([image["pole"] for image in product.truth["images"]], ["CH", "CV", "XC"])
        self.assertEqual(bands, [1, 1, 2])


class Geometry(unittest.TestCase):
    def test_orbit_keeps_its_energy_and_its_velocity_is_its_motion(self):
        position, velocity, _ = orbit.place(11, 48, 0, 798e3, 35, "right", True, 98.6)
        flight = orbit.Orbit(position, velocity, 0.0, -200.0, 200.0)
        t = np.linspace(-199, 199, 333)
        p, v = flight.state(t)
        moved = (flight.state(t + 1e-3)[0] - flight.state(t - 1e-3)[0]) / 2e-3
        np.testing.assert_allclose(v, moved, rtol=0, atol=1e-4)
        r = np.linalg.norm(p, axis=1)
        potential = -orbit.GM / r * (1 - orbit.J2 * (ellipsoid.SEMI_MAJOR_M / r) ** 2
                                     * (1.5 * (p[:, 2] / r) ** 2 - 0.5))
        inertial = v + np.cross(orbit.EARTH_RATE, p)
        energy = np.sum(inertial ** 2, axis=1) / 2 + potential
        self.assertLess(np.ptp(energy) / abs(energy[0]), 1e-11)

    def test_ground_and_image_are_each_others_inverse(self):
        for look, place in (("right", (0, 0)), ("left", (180, -72)), ("left", (30, 89.9))):
            position, velocity, distance = orbit.place(*place, 50, 592e3, 40, look, False, 97.7)
            flight = orbit.Orbit(position, velocity, 1.0, -10.0, 12.0)
            t = np.linspace(-5, 7, 7)
            ranges = distance + np.linspace(-2e4, 2e4, 7)
            points = zerodoppler.ground_points(flight, look, t, ranges, 50)
            s, v = flight.state(t)
            self.assertLess(np.abs(np.sum(v * (points - s), axis=1)).max(), 1e-2)  # m * m/s
            np.testing.assert_allclose(ellipsoid.to_geodetic(points)[2], 50, rtol=0, atol=1e-6)
            back = zerodoppler.time_and_range(flight, points)
            np.testing.assert_allclose(back[0], t, rtol=0, atol=1e-9)
            np.testing.assert_allclose(back[1], ranges, rtol=0, atol=1e-6)


class Files(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def run_cli(self, *arguments):
        return subprocess.run(["/usr/bin/python3", os.path.join(TOOLS, "sarsim"), *arguments],
                              capture_output=True, text=True)

    def test_pixels_depend_on_the_seed_and_not_on_the_layout(self):
        def pixels(name, **fields):
            product = sarsim.make(sarsim.Recipe("capella-grd", name=name, lines=300, samples=70,
                                                **fields), self.folder)
            return documents.amplitude(os.path.join(product.folder, name + ".tif"))

        plain = pixels("CAPELLA_a_GRD")
        tiled = pixels("CAPELLA_b_GRD", tiled=True, block=128, compress="DEFLATE")
        np.testing.assert_array_equal(plain, tiled)
        self.assertTrue(np.any(plain != pixels("CAPELLA_c_GRD", seed=2)))

    def test_complex_samples_are_equal_in_one_band_and_in_two(self):
        stored = {}
        for bands in (1, 2):
            product = sarsim.make(sarsim.Recipe("radarsat2", name=f"b{bands}", bands=bands,
                                                pixel_type="float32", **SMALL), self.folder)
            image = documents.gdal.Open(os.path.join(product.folder, "imagery_HH.tif"))
            data = image.ReadAsArray()
            stored[bands] = data if bands == 1 else data[0] + 1j * data[1]
            self.assertEqual(image.RasterCount, bands)
        np.testing.assert_array_equal(stored[1], stored[2])

    def test_command_line_writes_what_is_asked_and_explains_what_is_wrong(self):
        done = self.run_cli("capella-slc", self.folder, "--only", "extended", "--no-images",
                            "--centre", "-179.9,-10", "--name", "CAPELLA x SLC")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(os.listdir(os.path.join(self.folder, "CAPELLA x SLC")),
                         ["CAPELLA x SLC_extended.json"])
        self.assertEqual(done.stdout.strip(), os.path.join(
            self.folder, "CAPELLA x SLC", "CAPELLA x SLC_extended.json"))
        for wrong, word in ((("rcm", "--product-type", "SGF"), "product_type"),
                            (("radarsat2", "--start", "2023-02-29T00:00:00Z"), "start"),
                            (("rcm", "--polarizations", "HH HH"), "polarizations"),
                            (("capella-grd", "--bands", "2"), "bands"),
                            (("capella-grd", "--image-geometry", "pfa"), "image_geometry")):
            refused = self.run_cli(wrong[0], self.folder, *wrong[1:])
            self.assertEqual(refused.returncode, 2)
            self.assertIn(word, refused.stderr)

    def test_recipe_file_and_options_together_make_the_recipe(self):
        path = os.path.join(self.folder, "recipe.json")
        with open(path, "w", encoding="utf-8") as stream:
            json.dump({"family": "rcm", "name": "r", "product_type": "SLC", "images": False,
                       "lines": 20, "targets": [{"lon": 11.5, "lat": 48.1, "height": 300}]}, stream)
        done = self.run_cli("--recipe", path, "--lines", "101", "--start", "2023-12-31T23:59:59.5Z",
                            "--vector-start", "-2", "--doppler-positions", "-0.5,0,1", self.folder)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        with open(os.path.join(self.folder, "r.truth.json"), encoding="utf-8") as stream:
            truth = json.load(stream)
        self.assertEqual(truth["record"]["numberOfLines"], 101)
        self.assertEqual(truth["stateVectors"][0]["utc"], "2023-12-31T23:59:57.500000Z")
        self.assertEqual(truth["stateVectors"][3]["utc"], "2024-01-01T00:00:00.500000Z")
        times = [truth["timing"][edge]["utc"] for edge in ("fileLine0", "fileLastLine")]
        estimates = [e["utc"] for e in truth["doppler"]["estimates"]]
        self.assertEqual(estimates[1:], times)
        self.assertLess(estimates[0], times[0])
        # A mast on the scene's centre: broadside at mid-image, and nearer than the ground there.
        target, = truth["targets"]
        self.assertAlmostEqual(target["line"], 50, delta=0.5)
        self.assertLess(target["sample"], 255 - 30)

    def test_radarsat2_documents_are_valid_under_the_published_schema(self):
        products = os.environ.get("RF_SAR_PRODUCTS", os.path.join(TOOLS, "..", "..", "shared",
                                                                  "products"))
        archives = glob.glob(os.path.join(products, "radarsat2", "*", "*.zip"))
        if not archives:
            self.skipTest("no published schema: set RF_SAR_PRODUCTS to a folder of real products")
        with zipfile.ZipFile(archives[0]) as archive:
            archive.extractall(self.folder, [n for n in archive.namelist() if n.endswith(".xsd")])
        schema, = glob.glob(os.path.join(self.folder, "*", "schemas", "rs2prod_product.xsd"))
        recipes = [dict(product_type=t) for t in ("SLC", "SGF", "SGX", "SGC", "SSG", "SPG")] + [
            dict(acquisition="SpotlightA", doppler_estimates=4, wings="Fore Aft"),
            dict(acquisition="Ultrafine", wings="Combined Fore"), dict(crlf=True),
            dict(product_type="SSG", centre="0,-88"),
            dict(acquisition="ScanSAR Wide", product_type="SGF"),
            dict(acquisition="Fine Quad Polarization", polarizations="HH VV HV VH")]
        for number, fields in enumerate(recipes):
            with self.subTest(fields):
                product = sarsim.make(sarsim.Recipe("radarsat2", name=f"r{number}", images=False,
                                                    **SMALL, **fields), self.folder)
                checked = subprocess.run(["xmllint", "--nonet", "--noout", "--schema", schema,
                                          product.opened], capture_output=True, text=True)
                self.assertEqual(checked.returncode, 0, checked.stderr)


if __name__ == "__main__":
    unittest.main()
