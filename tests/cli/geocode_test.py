# SPDX-License-Identifier: MIT
"""rfsar geocode: what stands where on the map, over flat ground and terrain, and how it fails."""

import pathlib
import re
import resource
import subprocess
import sys
import unittest

import numpy as np
from osgeo import gdal, osr

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from maps import system  # noqa: E402
from products import RFSAR, ProductCase, rfsar, rfsar_json  # noqa: E402

gdal.UseExceptions()


def to_ground(code):
    return osr.CoordinateTransformation(system(code), system("EPSG:4326"))


def to_map(code):
    return osr.CoordinateTransformation(system("EPSG:4326"), system(code))


def bilinear(image, sample, line):
    column, row = int(sample), int(line)
    u, v = sample - column, line - row
    part = image[row:row + 2, column:column + 2].astype(float)
    return (part[0, 0] * (1 - u) + part[0, 1] * u) * (1 - v) + (
        part[1, 0] * (1 - u) + part[1, 1] * u) * v


class GeocodeCase(ProductCase):
    def geocode(self, product, code, *options, name="map.tif"):
        out = self.folder / name
        done = rfsar("geocode", product.opened, "--crs", code, "-o", out, "--force", *options)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(list(self.folder.glob(f"{name}?*")), [])
        return gdal.Open(str(out))

    def samples(self, product, layer):
        about = {each["name"]: each for each in rfsar_json("info", product.opened)["layers"]}
        raw = rfsar("read", product.opened, layer, "-o", "-", binary=True).stdout
        return np.frombuffer(raw, "<u2").reshape(about[layer]["height"], about[layer]["width"])

    def peak(self, image, code, target, radius=4):
        """The centre of the bright spot around a target's true place, and that place, in pixels."""
        x0, step, _, y0, _, down = image.GetGeoTransform()
        x, y, _ = to_map(code).TransformPoint(target["lon"], target["lat"])
        if x < x0:
            x += 360
        place = np.array([(x - x0) / step, (y - y0) / down])
        left, top = int(place[0]) - radius, int(place[1]) - radius
        side = 2 * radius + 1
        spot = image.GetRasterBand(1).ReadAsArray(left, top, side, side).astype(float) ** 2
        spot = np.where(spot > 0.1 * spot.max(), spot, 0)
        rows, columns = np.mgrid[0:side, 0:side] + 0.5
        return np.array([left, top]) + np.array(
            [(spot * columns).sum(), (spot * rows).sum()]) / spot.sum(), place


class Places(GeocodeCase):
    def test_pixels_are_the_image_where_locate_finds_them(self):
        cases = (("rcm", {}, "EPSG:32632"), ("rcm", {"centre": "180,-16.5"}, "EPSG:4326"),
                 ("rcm", {"centre": "60,89.2"}, "EPSG:5041"),
                 ("radarsat2", {"look": "left", "pass_direction": "descending"}, "EPSG:3857"),
                 ("capella-slc", {"image_geometry": "pfa", "look": "left"}, "EPSG:32633"),
                 ("capella-geo", {}, "EPSG:4326"))
        for family, fields, code in cases:
            with self.subTest(family, **fields):
                product = self.make(family, lines=400, samples=300, name=f"{family} {code}",
                                    **fields)
                layer = rfsar_json("info", product.opened)["layers"][0]["name"]
                image = self.samples(product, layer)
                drawn = self.geocode(product, code, "--max-memory", "16")
                x0, step, _, y0, _, down = drawn.GetGeoTransform()
                pixels = drawn.ReadAsArray()
                # As large as the image, but for what it is turned on the map.
                self.assertLess(pixels.size, 3 * image.size)
                rng = np.random.default_rng(5)
                columns = rng.integers(0, pixels.shape[1], 400)
                rows = rng.integers(0, pixels.shape[0], 400)
                points = [to_ground(code).TransformPoint(x0 + (c + 0.5) * step,
                                                         y0 + (r + 0.5) * down)
                          for c, r in zip(columns, rows)]
                found = rfsar("locate", product.opened, "--inverse", stdin="".join(
                    f"{x!r} {y!r}\n" for x, y, _ in points)).stdout.splitlines()
                inside = 0
                for column, row, line in zip(columns, rows, found):
                    at = tuple(map(float, line.split()))
                    if 0 <= at[0] < 299 and 0 <= at[1] < 399:
                        inside += 1
                        near = image[int(at[1]):int(at[1]) + 2, int(at[0]):int(at[0]) + 2]
                        # Positions are interpolated to 0.01 pixel.
                        self.assertAlmostEqual(float(pixels[row, column]), bilinear(image, *at),
                                               delta=0.6 + 0.02 * np.ptp(near.astype(float)))
                    elif not (-1 < at[0] < 300 and -1 < at[1] < 400):
                        self.assertEqual(pixels[row, column], 0)
                self.assertGreater(inside, 100)

    def test_targets_stand_at_their_place(self):
        product = self.make("capella-slc", lines=700, samples=600)
        recipe = product.truth["recipe"]
        for options in ((), ("--cog", "--resampling", "cubic"), ("--layer", "BETA_NOUGHT_VV"),
                        ("--layer", "COMPLEX_VV")):
            image = self.geocode(product, "EPSG:32632", "--resolution", "0.4", *options)
            cog = image.GetMetadataItem("LAYOUT", "IMAGE_STRUCTURE")
            self.assertEqual(cog, "COG" if "--cog" in options else None)
            if "COMPLEX_VV" in options:
                self.assertEqual(image.GetRasterBand(1).DataType, gdal.GDT_CInt16)
                continue
            for target in product.truth["targets"]:
                if target["height"] == recipe["height"]:
                    found, place = self.peak(image, "EPSG:32632", target)
                    off = np.abs(found - place).max() * 0.4
                    self.assertLess(off, 0.1 * recipe["pixel_spacing"], options)

    def test_targets_on_a_hill_stand_at_their_place_over_its_elevation_model(self):
        for family in ("capella-slc", "rcm"):
            product = self.make(family, lines=700, samples=600)
            base = product.truth["recipe"]["height"]
            target = next(t for t in product.truth["targets"] if t["height"] != base)
            model = self.folder / f"{family}.tif"
            step = 2e-4
            hill = gdal.GetDriverByName("GTiff").Create(str(model), 1500, 1500, 1,
                                                        gdal.GDT_Float32)
            hill.SetGeoTransform((target["lon"] - 750 * step, step, 0,
                                  target["lat"] + 750 * step, 0, -step))
            hill.SetSpatialRef(system("EPSG:4326"))
            rows, columns = np.mgrid[0:1500, 0:1500] + 0.5 - 750
            top = np.hypot(rows, columns) < 40  # 40 pixels, 0.9 km; then down over 40 more
            slope = np.clip((80 - np.hypot(rows, columns)) / 40, 0, 1)
            hill.WriteArray((base + (target["height"] - base) * np.where(top, 1, slope))
                            .astype(np.float32))
            hill = None
            step = product.truth["recipe"]["pixel_spacing"] / 2
            off = {}
            for options in ((), ("--dem", model)):
                image = self.geocode(product, "EPSG:32632", "--resolution", str(step), *options)
                found, place = self.peak(image, "EPSG:32632", target, 4 if options else 60)
                off[options] = np.hypot(*(found - place)) / 2
            self.assertLess(off["--dem", model], 0.2, family)
            self.assertGreater(off[()], 2, family)  # as far as the hill's height moves it

    def test_coarse_maps_average(self):
        product = self.make("rcm", lines=900, samples=800, target_grid=1)
        fine = self.geocode(product, "EPSG:32632", "--layer", "SIGMA_NOUGHT_HH")
        step = 10 * fine.GetGeoTransform()[1]
        coarse = self.geocode(product, "EPSG:32632", "--layer", "SIGMA_NOUGHT_HH", "--resolution",
                              str(step), name="coarse.tif", )
        middle = [a[a.shape[0] // 3:2 * a.shape[0] // 3, a.shape[1] // 3:2 * a.shape[1] // 3]
                  for a in (fine.ReadAsArray(), coarse.ReadAsArray())]
        self.assertTrue(np.isnan(fine.ReadAsArray()[0, 0]))
        self.assertAlmostEqual(float(middle[1].mean() / middle[0].mean()), 1, delta=0.1)
        # A hundred speckled pixels make one: what varies less than a third of them is averaged.
        self.assertLess(middle[1].std() / middle[1].mean(),
                        middle[0].std() / middle[0].mean() / 2)

    def test_tie_points_alone_serve(self):
        product = self.make("rcm", lines=300, samples=300)
        text = product.opened.read_text("utf-8")
        product.opened.write_text(re.sub("<stateVector>.*</stateVector>", "", text, flags=re.S),
                                  "utf-8")
        text = product.opened.read_text("utf-8")
        product.opened.write_text(re.sub("<rationalFunctions>.*</rationalFunctions>", "", text,
                                         flags=re.S), "utf-8")
        done = rfsar("geocode", product.opened, "--crs", "EPSG:32632", "-o", self.folder / "m.tif",
                     "--dem", self.folder / "no.tif")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertIn("heights are ignored", done.stderr)
        image = gdal.Open(str(self.folder / "m.tif"))
        for target in product.truth["targets"]:
            if target["height"] == product.truth["recipe"]["height"]:
                found, place = self.peak(image, "EPSG:32632", target)
                self.assertLess(np.abs(found - place).max(), 0.3)


class Failures(GeocodeCase):
    def test_what_cannot_be_drawn_is_named(self):
        product = self.make("capella-slc", lines=64, samples=64)
        out = self.folder / "map.tif"
        utm = ("--crs", "EPSG:32632")
        phase = (product, "--layer", "X_VV_PHASE_2")
        for (made, *options), reason in (
                ((*phase, *utm, "--resampling", "cubic"), "nearest"),
                ((product, "--crs", "EPSG:99999999"), "EPSG:99999999"),
                ((product, "--crs", "+proj=gnom +lat_0=-90 +type=crs"), "does not show"),
                ((product, *utm, "--resolution", "1e-9"), "coarser resolution"),
                ((product, *utm, "--dem", self.folder / "no.tif"), "no.tif"),
                ((product, *utm, "--layer", "GAMMA_HH"), "GAMMA_HH"),
                ((*phase, *utm, "--db"), "phases, which have no decibels"),
                ((product, *utm, "--layer", "COMPLEX_VV", "--layer", "GAMMA_VV"), "size or type"),
                ((product, *utm, "-o", self.folder / "no/map.tif"), "no/map.tif")):
            with self.subTest(reason):
                where = () if "-o" in options else ("-o", out)
                self.assertFails(rfsar("geocode", made.opened, *options, *where), reason)
                self.assertFalse(out.exists())
        drawn = self.geocode(phase[0], "EPSG:32632", *phase[1:])
        self.assertEqual(drawn.GetRasterBand(1).GetNoDataValue(), -32768)

    def test_interruptions_and_full_disks_leave_nothing(self):
        product = self.make("capella-slc", lines=2500, samples=2500)
        out = self.folder / "out.tif"
        command = [RFSAR, "geocode", str(product.opened), "--crs", "EPSG:32632", "-o", str(out),
                   "--cog"]
        self.assertSignalsLeaveNothing(command)
        for size, options in ((3 << 20, command[:-1]), (16 << 20, command)):
            done = subprocess.run(options, capture_output=True, text=True, check=False,
                                  preexec_fn=lambda limit=size: resource.setrlimit(
                                      resource.RLIMIT_FSIZE, (limit, limit)))
            self.assertFails(done, str(out))
            self.assertEqual(list(self.folder.glob("out*")), [])


if __name__ == "__main__":
    unittest.main()
