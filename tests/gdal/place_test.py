# SPDX-License-Identifier: MIT
"""One place for every host: the driver's tie points, functions and map, rfsar's export and locate."""

import re
import subprocess
import unittest

from gdal_case import ProductCase, gdal, np, open_product

from osgeo import osr  # noqa: E402
from products import rfsar, rfsar_json  # noqa: E402

SMALL = {"lines": 200, "samples": 160}
LEFT = {"look": "left", "pass_direction": "descending"}
WIDE = {"lines": 8600, "samples": 5000, "line_spacing": 100.0, "pixel_spacing": 100.0,
        "sparse": True, "centre": "20,82", "pass_direction": "ascending"}


def edit(pattern, replacement, files):
    def change(product):
        for file in product.folder.rglob(files):
            text, count = re.subn(pattern, replacement, file.read_text("utf-8"), flags=re.S)
            assert count > 0, pattern
            file.write_text(text, encoding="utf-8")
    return change


NO_ORBIT = edit("<stateVector>.*</stateVector>", "", "product.xml")
BLANK_ANGLES = edit(r"(<angles[^>]*>)[^<]*", r"\1 ", "incidenceAngles.xml")
NO_FUNCTIONS = edit("<rationalFunctions>.*</rationalFunctions>", "", "product.xml")


def both(*changes):
    def change(product):
        for each in changes:
            each(product)
    return change


# Family, recipe, what is changed, what tells the place.
SCENES = {
    "rcm": ("rcm", {**LEFT, "height": 370.0}, None, "model"),
    "rcm slant": ("rcm", {"product_type": "SLC", "height": 3000.0}, None, "model"),
    "radarsat2": ("radarsat2", {**LEFT, "line_order": "decreasing"}, None, "model"),
    "radarsat2 ground": ("radarsat2", {"product_type": "SGF", "centre": "-179.999,10"}, None,
                         "model"),
    "capella": ("capella-slc", LEFT, None, "model"),
    "polar format": ("capella-slc", {"image_geometry": "pfa", "height": 700.0}, None, "model"),
    "antimeridian": ("rcm", {"centre": "180,-16.5", "pixel_order": "decreasing"}, None, "model"),
    "south": ("radarsat2", {"centre": "-100,-88"}, None, "model"),
    "over the pole": ("rcm", {"centre": "60,89.995", "pass_direction": "ascending"}, None, "model"),
    "wide": ("rcm", WIDE, None, "model"),
    "no angles": ("rcm", {}, BLANK_ANGLES, "functions"),
    "no orbit": ("radarsat2", {"product_type": "SGF"}, NO_ORBIT, "functions"),
    "no orbit, no functions": ("rcm", {}, both(NO_ORBIT, NO_FUNCTIONS), "ties"),
    "surface": ("capella-slc", {"image_geometry": "surface"}, None, "ties"),
    "map": ("capella-geo", {}, None, "map"),
    "map without model": ("rcm", {"product_type": "GCD", "centre": "20,70"}, None, "map"),
}


def degrees_of(system):
    to = osr.SpatialReference()
    to.ImportFromEPSG(4326)
    for each in (system, to):
        each.SetAxisMappingStrategy(osr.OAMS_TRADITIONAL_GIS_ORDER)
    return osr.CoordinateTransformation(system, to)


def metres(a, b):
    """Between longitudes and latitudes, over poles and antimeridian."""
    def sphere(lonlat):
        lon, lat = np.radians(np.asarray(lonlat, float)[:, :2]).T
        return np.stack([np.cos(lat) * np.cos(lon), np.cos(lat) * np.sin(lon), np.sin(lat)])
    return 6378137 * np.linalg.norm(sphere(a) - sphere(b), axis=0)


class Place(ProductCase):
    def setUp(self):
        super().setUp()
        gdal.PushErrorHandler("CPLQuietErrorHandler")
        self.addCleanup(gdal.PopErrorHandler)

    def locate(self, product, points, *options):
        done = rfsar("locate", product.opened, *options, stdin="".join(
            " ".join(repr(float(v)) for v in row) + "\n" for row in points))
        self.assertEqual(done.returncode, 0, done.stderr)
        return np.array([[float(w) for w in line.split()] for line in done.stdout.splitlines()])

    def by_functions(self, file, ground):
        """Pixels through GDAL's own reading of the functions that a dataset carries."""
        text = "".join(f"{x!r} {y!r} {z!r}\n" for x, y, z in ground.tolist())
        found = subprocess.run(["gdaltransform", "-i", "-rpc", str(file)], input=text,
                               capture_output=True, text=True, check=True).stdout
        return np.array([[float(w) for w in line.split()[:2]]
                         for line in found.splitlines()]) - 0.5

    def check_ties(self, product, shown):
        gcps = shown.GetGCPs()
        self.assertGreaterEqual(len(gcps), 100)
        back = degrees_of(shown.GetGCPSpatialRef())
        ground = [back.TransformPoint(g.GCPX, g.GCPY)[:2] for g in gcps]
        found = self.locate(product, [(g.GCPPixel - 0.5, g.GCPLine - 0.5, g.GCPZ) for g in gcps])
        # Ties that tell the place themselves lie beside polynomials of theirs, and are given to
        # 1e-9 degrees.
        self.assertLess(metres(found, ground).max(), self.tolerance)
        x = np.array([[g.GCPX, g.GCPY] for g in gcps])
        self.assertLess(np.ptp(x, axis=0).max(), 2e6)  # no break in them

    def check_functions(self, product, file, functions):
        rng = np.random.default_rng(1)
        pixels = rng.uniform((0, 0), (self.size[0] - 1, self.size[1] - 1), (300, 2))
        height = product.truth["recipe"]["height"]
        heights = height + rng.uniform(-400, 400, 300)
        ground = self.locate(product, np.column_stack([pixels, heights]))
        off = self.by_functions(file, ground) - pixels
        self.assertLess(np.abs(off).max(), 0.1)
        if self.source == "model":
            spacing = np.array([np.linalg.norm(v) for v in (
                metres(*self.locate(product, [p, q])[:, None]) for p, q in (
                    ((80, 100), (81, 100)), ((80, 100), (80, 101))))])
            stated = [float(functions[key]) for key in ("ERR_BIAS", "ERR_RAND")]
            rms = np.sqrt((off * spacing).var(axis=0).mean())
            self.assertLess(stated[0], 3 * stated[1] + 1e-6)
            self.assertLess(rms, 2 * stated[1] + 1e-6)
            self.assertLess(stated[1], 4 * rms + 1e-6)  # its tests reach to the corners

    def check_map(self, product):
        """The picture on the map has each target where it stands."""
        drawn = open_product(product.opened, GEOREF="MAP")
        x0, step, _, y0, _, down = drawn.GetGeoTransform()
        back = degrees_of(drawn.GetSpatialRef()).GetInverse()
        pixels = np.abs(drawn.GetRasterBand(1).ReadAsArray())
        clutter = np.percentile(pixels[pixels > 0], 99)
        level = product.truth["recipe"]["height"]
        targets = [t for t in product.truth["targets"] if t["inside"] and t["height"] == level]
        self.assertGreaterEqual(len(targets), 5)
        for target in targets:
            x, y, _ = back.TransformPoint(target["lon"], target["lat"])
            column, row = int((x - x0) / step), int((y - y0) / down)
            self.assertGreater(pixels[row, column], 3 * clutter, target)

    def test_driver_export_and_locate_agree_on_every_scene(self):
        for name, (family, fields, change, source) in SCENES.items():
            with self.subTest(name):
                product = self.make(family, name=name, **{**SMALL, **fields})
                if change:
                    change(product)
                self.source, self.tolerance = source, 0.5 if source == "ties" else 1e-3
                shown = open_product(product.opened)
                self.size = shown.RasterXSize, shown.RasterYSize
                layer = rfsar_json("info", product.opened)["layers"][0]["name"]
                out = self.folder / "out.tif"
                done = rfsar("export", product.opened, "--layer", layer, "-o", out, "--force",
                             "--compress", "zstd")
                self.assertEqual(done.returncode, 0, done.stderr)
                file = gdal.Open(str(out))
                ties = [[(g.GCPPixel, g.GCPLine, g.GCPX, g.GCPY, g.GCPZ) for g in d.GetGCPs()]
                        for d in (shown, file)]
                np.testing.assert_allclose(*ties, rtol=1e-14)
                functions = [d.GetMetadata("RPC") or {} for d in (shown, file)]
                for key in functions[0]:
                    if not key.startswith(("MIN", "MAX")):
                        np.testing.assert_allclose(*([float(w) for w in f[key].split()]
                                                     for f in functions), rtol=1e-12)
                self.assertEqual(bool(functions[1]), bool(functions[0]))
                if source == "map":
                    self.assertEqual(functions[0], {})
                    self.assertEqual(shown.GetGeoTransform(), file.GetGeoTransform())
                    continue
                self.check_ties(product, shown)
                self.assertEqual(bool(functions[0]),
                                 source != "ties" and name not in ("over the pole", "wide"))
                if functions[0]:
                    self.check_functions(product, product.opened, functions[0])
                if not fields.get("sparse"):
                    self.check_map(product)

    def test_every_verb_tells_once_what_places_an_image_without_model(self):
        product = self.make("rcm", acquisition="Spotlight", **SMALL)
        BLANK_ANGLES(product)
        info = rfsar_json("info", product.opened)
        said = "placed by the product's own rational functions"
        self.assertEqual([said in w for w in info["warnings"]].count(True), 1)
        self.assertEqual(len(info["footprint"]["coordinates"][0][0]), 2)
        for command in (["locate", product.opened], ["stac", product.opened],
                        ["export", product.opened, "-o", self.folder / "e.tif"],
                        ["geocode", product.opened, "--crs", "EPSG:32632",
                         "-o", self.folder / "g.tif"]):
            done = rfsar(*command, stdin="10 20\n")
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertEqual(done.stderr.count(said), 1, done.stderr)
        target = product.truth["targets"][8]  # it stands 40 m above the others
        found = self.locate(product, [(target["lon"], target["lat"], target["height"])],
                            "--inverse")
        self.assertLess(np.abs(found[0] - (target["sample"], target["line"])).max(), 0.05)

    def test_functions_in_the_earlier_order_serve_and_wrong_ones_do_not(self):
        product = self.make("rcm", **SMALL)
        NO_ORBIT(product)
        text = product.opened.read_text("utf-8")
        target = product.truth["targets"][8]
        ground = [(target["lon"], target["lat"], target["height"])]
        order = [0, 1, 2, 3, 4, 5, 6, 10, 7, 8, 9, 11, 14, 17, 12, 15, 18, 13, 16, 19]

        def earlier(found):
            words = found[2].split()
            return found[1] + " ".join(words[i] for i in order)
        for change, whose in ((earlier, "rational functions"),
                              (lambda found: found[1] + found[2].replace("1", "2"), "tie points")):
            product.opened.write_text(re.sub(r"(<(?:line|pixel)\w+Coefficients>)([^<]*)", change, text), "utf-8")
            done = rfsar("locate", product.opened, "--inverse", stdin="{!r} {!r} {!r}\n".format(
                *ground[0]))
            self.assertIn(f"placed by the product's own {whose}", done.stderr)
            found = np.array([float(w) for w in done.stdout.split()])
            far = np.abs(found - (target["sample"], target["line"])).max()
            # The target stands 40 m high, which ties do not know.
            self.assertLess(far, 0.05 if whose != "tie points" else 20)


if __name__ == "__main__":
    unittest.main()
