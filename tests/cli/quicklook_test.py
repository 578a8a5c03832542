# SPDX-License-Identifier: MIT
"""Pictures, judged by what they show: places, brightness, marks, and files."""

import pathlib
import sys
import unittest

import numpy as np
from osgeo import gdal, osr

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from products import ProductCase, rfsar  # noqa: E402

gdal.UseExceptions()
LEFT, DOWN = {"look": "left"}, {"pass_direction": "descending"}
METRES = 111.2e3  # of a degree of latitude, about


def read(file):
    return gdal.Open(str(file)).ReadAsArray().astype(float)


def patch(grey, x, y, reach=1):
    """The brightest pixel around a place; 0 beyond the picture."""
    x, y = round(x), round(y)
    part = grey[max(y - reach, 0):max(y + reach + 1, 0), max(x - reach, 0):max(x + reach + 1, 0)]
    return part.max(initial=0)


def ground_targets(product):
    """Targets at the height of the scene: image position, longitude, latitude."""
    scene = product.truth["recipe"]["height"]
    return np.array([(t["sample"], t["line"], t["lon"], t["lat"])
                     for t in product.truth["targets"] if t["inside"] and t["height"] == scene])


class Quicklook(ProductCase):
    def draw(self, product, *options, name="q.png"):
        file = self.folder / name
        done = rfsar("quicklook", product.opened, "-o", file, "--force", *options)
        self.assertEqual((done.returncode, done.stdout), (0, ""), done.stderr)
        return file, done.stderr

    def located(self, product, points, *options):
        said = rfsar("locate", product.opened, *options,
                     stdin="".join(f"{float(x)!r} {float(y)!r}\n" for x, y in points)).stdout
        return np.array([list(map(float, line.split()[:2])) for line in said.splitlines()])

    def test_averages_power_and_keeps_the_stored_order_when_asked(self):
        product = self.make("rcm", lines=400, samples=300, target_grid=1)
        file, said = self.draw(product, "--size", "100", "--as-stored")
        grey = read(file)
        self.assertEqual((grey.shape, said), ((100, 75), ""))
        image = gdal.Open(str(product.folder / product.truth["images"][0]["file"])).ReadAsArray()
        power = (image.astype(float) ** 2).reshape(100, 4, 75, 4).mean(axis=(1, 3))
        # The stretch is monotone, so brightness ranks must agree but for ties of the 8 bits.
        rank = [np.argsort(np.argsort(a.ravel())) for a in (grey, power)]
        self.assertGreater(np.corrcoef(*rank)[0, 1], 0.99)
        self.assertFails(rfsar("quicklook", product.opened, "-o", file), "--force")

    def test_pictures_lie_as_the_place_with_square_pixels(self):
        turns = ("as stored", "180 degrees", "left to right", "top to bottom")
        cases = [("rcm", {**look, **down}) for look in ({}, LEFT) for down in ({}, DOWN)]
        cases += [("capella-slc", {"line_spacing": 0.4, "pixel_spacing": 3.0, **LEFT}),
                  ("radarsat2", {"centre": "70,84.5", **DOWN}), ("capella-geo", {}),
                  ("rcm", {"height": 3000})]
        for family, fields in cases:
            with self.subTest(family, **fields):
                product = self.make(family, lines=420, samples=300, target_grid=3,
                                    name=f"p {family} {sorted(fields.values(), key=str)}", **fields)
                file, said = self.draw(product)
                self.assertTrue(any(turn in said for turn in turns) and "north is up" in said, said)
                grey = read(file)
                height, width = grey.shape
                targets = ground_targets(product)
                across, down = (targets[:, 0] + 0.5) / 300, (targets[:, 1] + 0.5) / 420
                found = []
                for bits in range(8):
                    x, y = (down, across) if bits & 4 else (across, down)
                    x = (1 - x if bits & 1 else x) * width - 0.5
                    y = (1 - y if bits & 2 else y) * height - 0.5
                    lit = np.mean([patch(grey, *spot, 2) for spot in zip(x, y)])
                    found.append((lit, x, y))
                lit, x, y = max(found, key=lambda each: each[0])
                self.assertGreater(lit, 200)
                turn = np.radians(targets[0, 3])
                east = ((targets[:, 2] - targets[0, 2] + 180) % 360 - 180) * np.cos(turn) * METRES
                north = (targets[:, 3] - targets[0, 3]) * METRES
                fit, *_ = np.linalg.lstsq(np.stack([x, y, np.ones_like(x)], 1),
                                          np.stack([east, north], 1), rcond=None)
                right, lower = fit[0], fit[1]  # metres east and north to a pixel
                for along, way in ((right, (1, 0)), (lower, (0, -1))):
                    self.assertGreater(along @ way / np.hypot(*along), np.cos(np.radians(46)))
                self.assertAlmostEqual(np.hypot(*right) / np.hypot(*lower), 1, delta=0.03)

    def test_maps_have_north_up_and_targets_in_their_place(self):
        cases = (("rcm", {"height": 370}), ("capella-slc", {"height": 3000, **LEFT}),
                 ("radarsat2", {"centre": "70,85.5"}), ("rcm", {"centre": "179.999,-16.5"}),
                 ("capella-geo", {}), ("radarsat2", {"centre": "14.7,62"}))
        for family, fields in cases:
            with self.subTest(family, **fields):
                product = self.make(family, lines=300, samples=320, target_grid=3,
                                    name=f"m {family} {fields}", **fields)
                file, _ = self.draw(product, "--north-up", "--size", "700", name="m.tif")
                opened = gdal.Open(str(file))
                self.assertLessEqual(max(opened.RasterXSize, opened.RasterYSize), 701)
                grey, transform = opened.ReadAsArray(), opened.GetGeoTransform()
                self.assertEqual(transform[1], -transform[5])
                system, world = opened.GetSpatialRef(), osr.SpatialReference()
                world.ImportFromEPSG(4326)
                for each in (system, world):
                    each.SetAxisMappingStrategy(osr.OAMS_TRADITIONAL_GIS_ORDER)
                self.assertAlmostEqual(system.GetLinearUnits(), 1)
                to_map = osr.CoordinateTransformation(world, system)
                for _, _, lon, lat in ground_targets(product):
                    x, y, _ = to_map.TransformPoint(lon, lat)
                    column, line = ((x - transform[0]) / transform[1] - 0.5,
                                    (y - transform[3]) / transform[5] - 0.5)
                    self.assertGreater(patch(grey, column, line), 200)
                    above, top, _ = to_map.TransformPoint(lon, lat + 1e-4)
                    self.assertLess(abs(np.degrees(np.arctan2(above - x, top - y))), 1)
                self.assertIsNotNone(opened.GetMetadataItem("SATELLITE_IDENTIFIER"))
        done = rfsar("quicklook", product.opened, "--layer", "C_HH_PHASE_2", "--north-up", "-o",
                     self.folder / "phase.png")
        self.assertFails(done, "C_HH_PHASE_2")

    def test_marks_lie_where_locate_says(self):
        cases = (("capella-slc", {**LEFT, **DOWN}, 0.002),
                 ("rcm", {"centre": "180,-16.5"}, 0.01), ("radarsat2", {}, 0.01),
                 ("capella-geo", {}, 0.001))
        for family, fields, step in cases:
            with self.subTest(family):
                product = self.make(family, lines=400, samples=300, target_grid=1,
                                    name=f"g {family}", **fields)
                plain, lined, barred = (read(self.draw(product, "--size", "400", "--as-stored",
                                                       *options)[0])
                                        for options in ((), ("--graticule-step", step),
                                                        ("--scale-bar",)))
                height, width = plain.shape
                scale = np.array([width / 300, height / 400])
                ink = lined[0] - lined[2]  # yellow: red without blue
                ground = self.located(product, [(x, y) for x in (0, 299) for y in (0, 399)])
                west, south = np.round(ground.min(axis=0) / step - 2).astype(int)
                if fields.get("centre"):
                    west = round(179.9 / step)
                lines = [((west + i) * step, (south + j / 40) * step)
                         for i in range(30) for j in range(1200)]
                lines += [((west + i / 40) * step, (south + j) * step)
                          for i in range(1200) for j in range(30)]
                spots = self.located(product, [((x + 180) % 360 - 180, y) for x, y in lines],
                                     "--inverse")
                spots = np.round((spots[np.isfinite(spots).all(axis=1)] + 0.5) * scale - 0.5)
                spots = spots.astype(int)
                inside = (spots >= 0).all(axis=1) & (spots < (width, height)).all(axis=1)
                self.assertGreater(inside.sum(), 200)
                self.assertGreater(np.mean(ink[spots[inside, 1], spots[inside, 0]] > 60), 0.99)
                near = np.zeros((height + 2, width + 2), bool)  # within three pixels of a line
                for x in range(-3, 4):
                    for y in range(-3, 4):
                        near[np.clip(spots[:, 1] + y, -1, height),
                             np.clip(spots[:, 0] + x, -1, width)] = True
                self.assertLess(np.mean(ink[~near[:height, :width]] > 60), 0.06)  # labels
                bar = np.flatnonzero((barred[0] - barred[2])[height - 14] > 150)
                ends = self.located(product, [((x + 0.5) / scale[0] - 0.5, 200)
                                              for x in (bar[0] - 0.5, bar[-1] + 0.5)])
                east = (ends[1, 0] - ends[0, 0] + 180) % 360 - 180
                metres = METRES * np.hypot(east * np.cos(np.radians(ends[0, 1])),
                                           ends[1, 1] - ends[0, 1])
                digit = metres / 10 ** np.floor(np.log10(metres * 1.05))
                self.assertLess(min(abs(digit / d - 1) for d in (1, 2, 5)), 0.03, metres)
        for options in (("--graticule-step", "1e-6"), ("--graticule-step", "0")):
            self.assertNotEqual(rfsar("quicklook", product.opened, "-o", self.folder / "g.png",
                                      *options).returncode, 0)

    def test_decibels_colours_and_calibrated_layers(self):
        product = self.make("rcm", lines=200, samples=200, target_grid=1,
                            polarizations="HH HV VH VV", image_order="HH VV HV VH")
        linear, decibels = (read(self.draw(product, "--as-stored", "--layer", "SIGMA_NOUGHT_HH",
                                           *options)[0]) for options in ((), ("--db",)))
        level = decibels[0][:150]  # above the legend
        rank = [np.argsort(np.argsort(a.ravel())) for a in (linear[:150], level)]
        self.assertGreater(np.corrcoef(*rank)[0, 1], 0.99)
        colours = read(self.draw(product, "--as-stored", "--rgb")[0])
        # Red, green, blue are what the product states for its files, not what layers are called.
        for band, pole in zip(colours, ("HH", "HV", "VV")):
            entry = next(each for each in product.truth["images"] if each["pole"] == pole)
            power = gdal.Open(str(product.folder / entry["file"])).ReadAsArray().astype(float) ** 2
            rank = [np.argsort(np.argsort(a.ravel())) for a in (band, power)]
            self.assertGreater(np.corrcoef(*rank)[0, 1], 0.98, pole)
        dual = self.make("rcm", name="dual", lines=64, samples=64)
        self.assertEqual(read(self.draw(dual, "--rgb", "HV,HH,HV/HH")[0]).shape[0], 3)
        single = self.make("capella-slc", lines=64, samples=64)
        for made, options, text in ((single, ("--rgb",), "one polarization"),
                                    (dual, ("--rgb", "HH,HV"), "three colours"),
                                    (dual, ("--rgb", "HH,HV,VV"), '"VV"'),
                                    (dual, ("--layer", "NO_SUCH"), "NO_SUCH")):
            self.assertFails(rfsar("quicklook", made.opened, *options, "-o",
                                   self.folder / "n.png"), text)

    def test_files_are_what_their_names_say(self):
        product = self.make("rcm", lines=64, samples=64, target_grid=1)
        for name, driver in (("a é.png", "PNG"), ("a.JPG", "JPEG"), ("a.tif", "GTiff")):
            file, _ = self.draw(product, "--scale-bar", name=name)
            self.assertEqual(gdal.Open(str(file)).GetDriver().ShortName, driver)
        for name in ("a.gif", "png", "a.png.bak"):
            self.assertFails(rfsar("quicklook", product.opened, "-o", self.folder / name), name,
                             ".png, .jpg or .tif")

    def test_without_a_place_the_picture_is_as_stored(self):
        product = self.make("capella-slc", lines=64, samples=48, gcps=False,
                            image_geometry="surface")
        file, said = self.draw(product)
        self.assertEqual(read(file).shape, (64, 48))
        self.assertIn("as stored", said)
        self.assertFails(rfsar("quicklook", product.opened, "--north-up", "-o",
                               self.folder / "n.png"), "lies")


if __name__ == "__main__":
    unittest.main()
