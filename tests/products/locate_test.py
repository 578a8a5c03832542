# SPDX-License-Identifier: MIT
"""From pixels to the ground and back through whole simulated products, as a user runs rfsar."""

import json
import math
import pathlib
import subprocess
import sys
import unittest

import numpy as np
from osgeo import gdal, ogr, osr

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from products import Product, ProductCase, rfsar, rfsar_json  # noqa: E402
from sarsim import ellipsoid  # noqa: E402

gdal.UseExceptions()
ogr.UseExceptions()

SMALL = {"lines": 260, "samples": 200}
LEFT_DOWN = {"look": "left", "pass_direction": "descending", "line_order": "decreasing"}
# Every family, range law, side, pass and ordering, and the awkward places and hours.
SENSOR = {
    "capella slc": ("capella-slc", {}),
    "capella slc left": ("capella-slc", LEFT_DOWN),
    "capella pfa": ("capella-slc", {"image_geometry": "pfa", "height": 700.0}),
    "capella pfa left": ("capella-slc", {"image_geometry": "pfa", "look": "left",
                                         "pass_direction": "descending"}),
    "capella pfa at the antimeridian": ("capella-slc", {"image_geometry": "pfa",
                                                        "centre": "180,-72"}),
    "capella grd": ("capella-grd", {"look": "left", "height": 700.0}),
    "rcm grd at the antimeridian": ("rcm", {"pixel_order": "decreasing", "centre": "180,-16.5"}),
    "rcm grd near the pole": ("rcm", {"centre": "60,89.5", "pass_direction": "ascending"}),
    "rcm slc": ("rcm", {"product_type": "SLC", **LEFT_DOWN}),
    "rcm midnight": ("rcm", {"start": "2024-02-28T23:59:59.95Z"}),
    "radarsat2 slc": ("radarsat2", {"pixel_order": "decreasing", **LEFT_DOWN}),
    "radarsat2 sgf at the antimeridian": ("radarsat2", {"product_type": "SGF", "centre": "180,10"}),
    "radarsat2 slc at the pole": ("radarsat2", {"centre": "60,89.9"}),
}
OWN = {
    "capella geo": ("capella-geo", {}),
    "capella geo at the antimeridian": ("capella-geo", {"centre": "180,10"}),
    "rcm gcd": ("rcm", {"product_type": "GCD", "centre": "20,70"}),
    "radarsat2 ssg": ("radarsat2", {"product_type": "SSG", "centre": "11,-48"}),
}
NO_MODEL = {"capella surface": ("capella-slc", {"image_geometry": "surface"})}


def table(text):
    return np.array([[float(word) for word in line.split()] for line in text.splitlines()])


def locate(product, points, *options):
    """Rows of numbers through rfsar locate; also what it said."""
    lines = "".join(" ".join(repr(float(v)) for v in row) + "\n" for row in points)
    done = rfsar("locate", product.opened, *options, stdin=lines)
    assert done.returncode == 0, done.stderr
    return table(done.stdout), done.stderr


def metres(lon, lat, lon2, lat2):
    east = (np.asarray(lon) - lon2 + 180) % 360 - 180
    return 111e3 * np.hypot(np.cos(np.radians(lat)) * east, np.asarray(lat) - lat2)


def peak(image, sample, line):
    """The centre of brightness of the spot at a place, to a few hundredths of a pixel."""
    x, y = round(sample), round(line)
    spot = image[y - 3:y + 4, x - 3:x + 4].astype(float)
    power = np.clip(spot - np.median(spot), 0, None) ** 2
    rows, columns = np.mgrid[y - 3:y + 4, x - 3:x + 4]
    return (power * columns).sum() / power.sum(), (power * rows).sum() / power.sum()


class Truth(ProductCase):
    """Targets and tie points lie where the simulator, whose geometry is its own, put them."""

    def check_places(self, product, points, tolerance, *options):
        ground = [(p["lon"], p["lat"], p["height"]) for p in points]
        image = np.array([(p["sample"], p["line"]) for p in points])
        found, said = locate(product, ground, "--inverse", *options)
        self.assertLess(np.abs(found - image).max(), tolerance)
        lifted = np.column_stack([image, [p["height"] for p in points]])
        there, _ = locate(product, lifted, *options)
        far = metres(there[:, 0], there[:, 1], *np.array(ground).T[:2])
        self.assertLess(far.max(), 20 * tolerance)  # no pixel here is longer than 20 m
        return said

    def check_pixels(self, product):
        """Each target is bright in the picture where its ground position is found."""
        info = rfsar_json("info", product.opened)
        layer = info["layers"][0]
        raw = rfsar("read", product.opened, layer["name"], "-o", "-", binary=True).stdout
        image = np.frombuffer(raw, "<u2").reshape(layer["height"], layer["width"])
        targets = [t for t in product.truth["targets"]
                   if 5 < t["sample"] < layer["width"] - 6 and 5 < t["line"] < layer["height"] - 6
                   and (t["height"] == product.truth["recipe"]["height"]
                        or not product.truth["mapProjected"])]
        self.assertGreaterEqual(len(targets), 5)
        found, _ = locate(product, [(t["lon"], t["lat"], t["height"]) for t in targets],
                          "--inverse")
        for sample, line in found:
            x, y = peak(image, sample, line)
            self.assertLess(abs(x - sample), 0.1)
            self.assertLess(abs(y - line), 0.1)

    def test_sensor_models_put_every_point_where_it_is(self):
        for name, (family, fields) in SENSOR.items():
            with self.subTest(name):
                product = self.make(family, name=name, **SMALL, **fields)
                points = product.truth["targets"] + product.truth["tiePoints"]
                self.assertEqual(self.check_places(product, points, 1e-3), "")
                self.check_pixels(product)

    def test_without_sensor_model_the_image_s_own_georeferencing_answers(self):
        for name, (family, fields) in (OWN | NO_MODEL).items():
            with self.subTest(name):
                product = self.make(family, name=name, **SMALL, **fields)
                level = product.truth["recipe"]["height"]
                points = [p for p in product.truth["targets"] + product.truth.get("tiePoints", [])
                          if p["height"] == level]
                said = self.check_places(product, points, 0.05)
                self.assertIn("heights are ignored", said)
                if family == "capella-slc":
                    self.assertIn("no sensor model", said)
                else:
                    self.check_pixels(product)

    def test_map_projected_pixels_lie_where_gdaltransform_puts_them(self):
        product = self.make("rcm", product_type="GCD", centre="20,70", **SMALL)
        image = next(product.folder.rglob("*.tif"))
        pixels = np.array([(0, 0), (199, 259), (-0.5, 31.25), (1e4, 1e4)])
        text = "".join(f"{x + 0.5} {y + 0.5}\n" for x, y in pixels)
        oracle = table(subprocess.run(
            ["gdaltransform", "-t_srs", "EPSG:4326", "-output_xy", str(image)], input=text,
            capture_output=True, text=True, check=True).stdout)
        found, _ = locate(product, pixels)
        self.assertLess(np.abs(found[:, :2] - oracle).max(), 1e-11)
        back, _ = locate(product, found[:, :2], "--inverse")
        self.assertLess(np.abs(back - pixels).max(), 1e-6)


def replaced(path, value):
    """Sets what stands at a path of names in the geometry of an extended document."""
    def edit(geometry):
        *parents, last = path.split("/")
        for name in parents:
            geometry = geometry[name]
        geometry[last] = value(geometry[last])
    return edit


class RealPolarFormat(ProductCase):
    """Metadata of a real spotlight image beside an empty picture."""

    def test_the_middle_pixel_shows_what_the_product_says(self):
        source = self.real("capella/C13_SP_SLC_HH_20241126")
        extended = next(source.glob("*_extended.json"))
        opened = self.folder / extended.name
        opened.write_bytes(extended.read_bytes())
        image = json.loads(extended.read_text())["collect"]["image"]
        gdal.GetDriverByName("GTiff").Create(
            str(opened).replace("_extended.json", ".tif"), image["columns"], image["rows"], 1,
            gdal.GDT_CInt16, ["SPARSE_OK=TRUE", "TILED=YES", "BIGTIFF=YES"])
        real = Product(self.folder, opened, {})
        target = ellipsoid.to_geodetic(image["center_pixel"]["target_position"])
        found, said = locate(real, [target], "--inverse")
        self.assertEqual(said, "")
        middle = image["columns"] // 2, image["rows"] // 2
        self.assertLess(np.abs(found[0] - middle).max(), 1e-5)
        width, height = image["columns"] - 1, image["rows"] - 1
        ends = ellipsoid.to_ecef(*locate(real, [
            (0, height / 2), (width, height / 2), (width / 2, 0), (width / 2, height)])[0].T)
        for ground, stated in ((ends[1] - ends[0], image["width"]),
                               (ends[3] - ends[2], image["length"])):
            self.assertAlmostEqual(np.linalg.norm(ground) / stated, 1, delta=1e-4)
        angles = self.folder / "angles.tif"
        done = rfsar("export", opened, "--layer", "INCIDENCE_ANGLE", "--window",
                     f"{middle[0]},{middle[1]},1,1", "-o", angles)
        self.assertEqual(done.returncode, 0, done.stderr)
        angle = gdal.Open(str(angles)).ReadAsArray()[0, 0]
        self.assertAlmostEqual(angle, image["center_pixel"]["incidence_angle"], delta=1e-4)


class DamagedPolarFormat(ProductCase):
    """A grid that cannot be trusted is named, and the tie points answer instead."""

    FAULTS = (
        ("polar_angle_polynomial", lambda _: {"type": "standard"},
         "polar_angle_polynomial/coefficients is missing"),
        ("spatial_frequency_scale_factor_polynomial/type", lambda _: "chebyshev",
         "is of the unknown type chebyshev"),
        ("polar_angle_polynomial/coefficients", lambda c: c[:1], "polar angle does not change"),
        ("center_of_aperture/antenna_reference_point", lambda _: [0.0, 0.0, 0.0],
         "not those of a satellite"),
        ("center_of_aperture/velocity_antenna_reference_point", lambda v: v[:2],
         "has not three parts"),
        ("center_of_aperture/time", lambda _: "NaN", "center_of_aperture/time is no number"),
        ("scene_reference_point_ecef", lambda p: [-x for x in p], "does not see the scene"),
        ("row_sample_spacing", lambda _: -0.5, "spacings are not positive"),
        ("col_sample_spacing", lambda _: 1e5, "corner of the image does not meet the ground"),
        # Numbers that are possible, but not this image's: its middle tells.
        ("scene_reference_point_row_col", lambda p: p[::-1], "lies at sample"),
        ("spatial_frequency_scale_factor_polynomial/coefficients", lambda c: [15.1] + c[1:],
         "lies at sample"),
    )

    def test_each_damage_is_named(self):
        product = self.make("capella-slc", image_geometry="pfa", name="p", **SMALL)
        extended = next(product.folder.glob("*_extended.json"))
        whole = json.loads(extended.read_text())
        ties = product.truth["tiePoints"]
        ground = [(t["lon"], t["lat"]) for t in ties]
        image = np.array([(t["sample"], t["line"]) for t in ties])
        for path, value, said in self.FAULTS:
            with self.subTest(path):
                document = json.loads(json.dumps(whole))
                replaced(path, value)(document["collect"]["image"]["image_geometry"])
                extended.write_text(json.dumps(document))
                found, remark = locate(product, ground, "--inverse")
                self.assertIn("p_extended.json: ", remark)
                self.assertIn(said, remark)
                self.assertLess(np.abs(found - image).max(), 0.05)
        self.assertIn(said, rfsar("check", product.opened).stdout)

    def test_a_grid_of_another_image_is_refused(self):
        product = self.make("capella-slc", image_geometry="pfa", name="p", **SMALL)
        other = self.make("capella-slc", image_geometry="pfa", name="q", lines=258, samples=200)
        next(other.folder.glob("*.tif")).replace(next(product.folder.glob("*.tif")))
        _, remark = locate(product, [(11.5, 48.1)], "--inverse")
        self.assertIn("200 x 258 pixels, its sensor model is one of 200 x 260", remark)


class Terrain(ProductCase):
    """Points on an elevation model satisfy both the model and the picture."""

    def elevation(self, heights, corner, step, epsg, nodata=-32768.0):
        path = str(self.folder / "dem.tif")
        rows, columns = heights.shape
        dem = gdal.GetDriverByName("GTiff").Create(path, columns, rows, 1, gdal.GDT_Float64)
        dem.SetGeoTransform((corner[0], step, 0, corner[1], 0, -step))
        system = osr.SpatialReference()
        system.ImportFromEPSG(epsg)
        dem.SetProjection(system.ExportToWkt())
        dem.GetRasterBand(1).SetNoDataValue(nodata)
        dem.GetRasterBand(1).WriteArray(heights)
        return path

    def setUp(self):
        super().setUp()
        self.product = self.make("rcm", centre="11,48", **SMALL)
        lines, samples = np.mgrid[20:240:9, 15:185:8]
        self.pixels = np.column_stack([samples.ravel(), lines.ravel()])

    def check(self, dem, least=1.0):
        ground, _ = locate(self.product, self.pixels, "--dem", dem)
        good = ~np.isnan(ground[:, 0])
        self.assertGreaterEqual(good.mean(), least)
        # the picture: at that height the place shows in that pixel
        back, _ = locate(self.product, ground[good], "--inverse")
        self.assertLess(np.abs(back - self.pixels[good]).max(), 1e-5)
        # the model: rfsar and gdaltransform's own reader agree on the height there
        again, _ = locate(self.product, ground[good][:, :2], "--inverse", "--dem", dem)
        self.assertLess(np.abs(again - self.pixels[good]).max(), 1e-4)
        return ground, good

    def test_a_plane_in_degrees_and_hills_steeper_than_the_line_of_sight(self):
        lat, lon = np.mgrid[0:400, 0:400]
        plane = 300 + 2 * lon - 1.5 * lat
        ground, good = self.check(self.elevation(plane, (10.9, 48.1), 5e-4, 4326))
        centre = ((ground[:, 0] - 10.9) / 5e-4 - 0.5, (48.1 - ground[:, 1]) / 5e-4 - 0.5)
        self.assertLess(np.abs(ground[:, 2] - (300 + 2 * centre[0] - 1.5 * centre[1])).max(), 1e-3)
        # 60 degrees of slope fold over in the picture; UTM, 30 m
        x, y = np.mgrid[0:700, 0:700]
        hills = 800 + 400 * np.sin(x / 8.0) * np.cos(y / 8.0)
        self.check(self.elevation(hills, (639000, 5328000), 30, 32632))

    def test_places_without_height_have_no_answer_and_a_line_s_own_height_wins(self):
        heights = np.full((400, 400), 500.0)
        heights[:, :200] = -32768
        dem = self.elevation(heights, (10.9, 48.1), 5e-4, 4326)
        ground, good = self.check(dem, least=0.2)
        self.assertLess(good.mean(), 0.8)
        self.assertTrue(np.isnan(ground[~good]).all())
        own, _ = locate(self.product, [(100, 100, 40.0)], "--dem", dem)
        plain, _ = locate(self.product, [(100, 100)], "--height", "40")
        self.assertEqual(own.tolist(), plain.tolist())
        failed = rfsar("locate", self.product.opened, "--dem", self.product.opened, stdin="1 1\n")
        self.assertFails(failed, str(self.product.opened))


class Lines(ProductCase):
    """What comes in and goes out, line by line."""

    def test_places_in_polar_format_come_back_whatever_their_height(self):
        for look in ("right", "left"):
            product = self.make("capella-slc", name=look, image_geometry="pfa", look=look, **SMALL)
            rng = np.random.default_rng(6)
            pixels = rng.uniform((-20, -26), (220, 286), (5000, 2))
            heights = rng.uniform(-500, 9000, 5000)
            ground, _ = locate(product, np.column_stack([pixels, heights]))
            self.assertLess(np.abs(ground[:, 2] - heights).max(), 1e-6)
            back, _ = locate(product, ground, "--inverse")
            self.assertLess(np.abs(back - pixels).max(), 1e-6)

    def test_answers_stream_and_come_back_unchanged(self):
        product = self.make("capella-slc", **SMALL)
        rng = np.random.default_rng(5)
        pixels = rng.uniform((-20, -20), (220, 280), (60000, 2))
        ground, _ = locate(product, pixels)
        back, _ = locate(product, ground, "--inverse")
        self.assertLess(np.abs(back - pixels).max(), 1e-6)
        some, _ = locate(product, pixels[::997])
        self.assertEqual(some.tolist(), ground[::997].tolist())  # whatever the batch
        process = subprocess.Popen([self.rfsar_path(), "locate", str(product.opened)],
                                   stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        for x, y in pixels[:3]:  # a partner on a pipe gets each answer at once
            process.stdin.write(f"{x} {y}\n")
            process.stdin.flush()
            self.assertEqual(len(process.stdout.readline().split()), 3)
        process.stdin.close()
        self.assertEqual(process.wait(), 0)
        process.stdout.close()

    @staticmethod
    def rfsar_path():
        from products import RFSAR
        return RFSAR

    def test_bad_lines_and_places_without_answer(self):
        product = self.make("capella-slc", **SMALL)
        for line in ("1", "1 2 3 4", "1 x", "1,2", "1 2e", "0x1 2"):
            with self.subTest(line):
                done = rfsar("locate", product.opened, stdin=f"10 10\n\n{line}\n20 20\n")
                self.assertEqual(done.returncode, 1)
                self.assertIn("line 3", done.stderr)
                self.assertEqual(len(done.stdout.splitlines()), 1)
        done = rfsar("locate", product.opened, stdin="nan 1\n1e9 1\n  1\t+2.5e0\r\n7 7")
        lines = done.stdout.splitlines()
        self.assertEqual(lines[:2], ["nan nan nan", "nan nan nan"])
        self.assertEqual(len(lines), 4)
        self.assertNotIn("nan", lines[2] + lines[3])
        far = rfsar("locate", product.opened, "--inverse", stdin="-170 -48\n")
        self.assertEqual(far.stdout, "nan nan\n")
        bare = self.make("capella-slc", name="bare", image_geometry="surface", gcps=False, **SMALL)
        self.assertFails(rfsar("locate", bare.opened, stdin="1 1\n"), "nothing says where it lies")


class Footprint(ProductCase):
    """GeoJSON that other software can draw, wherever the scene lies."""

    def footprint(self, family, **fields):
        product = self.make(family, **(SMALL | fields))
        shape = rfsar_json("info", product.opened)["footprint"]
        geometry = ogr.CreateGeometryFromJson(json.dumps(shape))
        self.assertTrue(geometry.IsValid())
        west, east, south, north = geometry.GetEnvelope()
        self.assertTrue(-180 <= west <= east <= 180 and -90 <= south <= north <= 90)
        for ring in self.rings(shape):
            self.assertEqual(ring[0], ring[-1])
            x, y = np.array(ring).T
            self.assertGreater((x[:-1] * y[1:] - x[1:] * y[:-1]).sum(), 0)  # counterclockwise
        self.check_inside(product, geometry)
        return shape, geometry

    @staticmethod
    def rings(shape):
        polygons = shape["coordinates"] if shape["type"] == "MultiPolygon" else [
            shape["coordinates"]]
        return [ring for polygon in polygons for ring in polygon]

    def check_inside(self, product, geometry):
        """Pixels inside and outside the picture lie inside and outside the shape."""
        rng = np.random.default_rng(9)
        pixels = rng.uniform((-100, -130), (300, 390), (400, 2))
        inside = ((pixels > -0.5) & (pixels < (199.5, 259.5))).all(axis=1)
        edge = np.minimum(np.abs(pixels + 0.5), np.abs(pixels - (199.5, 259.5))).min(axis=1)
        ground, _ = locate(product, pixels)
        for (lon, lat, _), within, distance in zip(ground, inside, edge):
            point = ogr.Geometry(ogr.wkbPoint)
            point.AddPoint_2D(lon, lat)
            if distance > 0.2 and not math.isnan(lon):
                self.assertEqual(geometry.Contains(point), bool(within), (lon, lat))

    def test_plain_antimeridian_and_polar_scenes(self):
        shape, _ = self.footprint("rcm")
        self.assertEqual(shape["type"], "Polygon")
        self.footprint("capella-slc", name="polar format", image_geometry="pfa")
        shape, _ = self.footprint("rcm", name="date line", centre="180,-16.5")
        self.assertEqual(shape["type"], "MultiPolygon")
        self.assertEqual(len(shape["coordinates"]), 2)
        self.footprint("capella-geo", name="geo date line", centre="-180,60")
        wide = {"line_spacing": 500.0, "pixel_spacing": 500.0, "images": True}
        for sign in (1, -1):
            shape, geometry = self.footprint("rcm", name=f"pole {sign}", product_type="GCD",
                                             centre=f"30,{sign * 89.9}", **wide)
            self.assertEqual(shape["type"], "Polygon")
            self.assertEqual(geometry.GetEnvelope()[0:2], (-180, 180))
            self.assertIn(90 * sign, [point[1] for point in self.rings(shape)[0]])
            # a cap of 130 by 100 km about the pole, on the sphere
            self.assertAlmostEqual(self.area(self.rings(shape)[0]), 130 * 100, delta=400)

    @staticmethod
    def area(ring):
        """km2 on a sphere by the trapezoids of equal-area coordinates."""
        x, y = np.array(ring).T
        x, y = np.radians(x), np.sin(np.radians(y))
        return 6371.0 ** 2 * np.sum((x[1:] - x[:-1]) * -(y[1:] + y[:-1]) / 2)


if __name__ == "__main__":
    unittest.main()
