# SPDX-License-Identifier: MIT
"""What the documents' commands write lies in the right place, on scenes of 0, 370 and 3000 m height,
in slant and ground range, seen from the left and from the right."""

import os
import re
import subprocess
import sys
import unittest

from commands_test import BUILD, DOCUMENTS, RFSAR, ProductCase, commands_of
from maps import system

import numpy as np
from osgeo import gdal, osr

gdal.UseExceptions()

# A program that writes an image, and the image. Bursts have scenes of their own.
WRITES = re.compile(r"(?:gdal_translate|gdalwarp|rfsar (?:export|geocode|rtc|quicklook)) .*?"
                    r"(\w+\.tif)$|.* -o (\w+\.tif)\b")
SCENES = (("rcm", {"height": 0}), ("radarsat2", {"height": 370, "look": "left"}),
          ("rcm", {"height": 3000, "product_type": "SLC", "look": "left"}),
          ("radarsat2", {"height": 3000, "product_type": "SGF"}))


def writing_commands():
    for document in DOCUMENTS:
        if document.name != "bursts.md":
            for command in commands_of(document):
                if (found := WRITES.fullmatch(command)) and "FAMILY" not in command:
                    yield command, found[1] or found[2]


def spot(part):
    """The middle of the bright pixels that are connected with the brightest, by their power."""
    above = part - np.median(part)
    found, todo = set(), [np.unravel_index(part.argmax(), part.shape)]
    while todo:
        row, column = at = todo.pop()
        if at in found or not (0 <= row < part.shape[0] and 0 <= column < part.shape[1]) \
                or not above[at] >= 0.3 * above.max():
            continue
        found.add(at)
        todo += [(row + 1, column), (row - 1, column), (row, column + 1), (row, column - 1)]
    rows, columns = np.array(sorted(found)).T
    weights = above[rows, columns]
    return np.average(columns, weights=weights), np.average(rows, weights=weights)


class Places(ProductCase):
    def elevation(self, file, product, above):
        """Flat at the scene's height, counted from the ellipsoid or from EGM96."""
        lon, lat = map(float, product.truth["recipe"]["centre"].split(","))
        side, step = 81, 0.0025
        west, north = lon - side / 2 * step, lat + side / 2 * step
        heights = np.full((side, side), float(product.truth["recipe"]["height"]))
        if above == "egm96":
            to = osr.CoordinateTransformation(system("EPSG:4326+5773"), system("EPSG:4979"))
            heights -= [[to.TransformPoint(west + (i + 0.5) * step, north - (j + 0.5) * step, 0.0)[2]
                         for i in range(side)] for j in range(side)]
        dem = gdal.GetDriverByName("GTiff").Create(str(file), side, side, 1, gdal.GDT_Float32)
        dem.SetGeoTransform([west, step, 0, north, 0, -step])
        dem.SetSpatialRef(system("EPSG:4326"))
        dem.WriteArray(heights)

    def positions(self, image, targets, height):
        """Where the targets should be seen: by the map, or by the tie points and the RPC."""
        if image.GetGCPCount() == 0:
            to_map = osr.CoordinateTransformation(system("EPSG:4326"), image.GetSpatialRef())
            x0, dx, _, y0, _, dy = image.GetGeoTransform()
            points = [to_map.TransformPoint(lon, lat)[:2] for lon, lat in targets]
            yield "map", [((x - x0) / dx, (y - y0) / dy) for x, y in points]
            return
        for how in (["METHOD=GCP_POLYNOMIAL", "DST_SRS=EPSG:4326"],
                    ["METHOD=RPC", f"RPC_HEIGHT={height}"]):
            to = gdal.Transformer(image, None, [*how, "RPC_PIXEL_ERROR_THRESHOLD=0.001"])
            order = 1 if how[0] == "METHOD=RPC" else -1
            found = [to.TransformPoint(1, *(lonlat[::order] if order == 1 else lonlat))[1][:2]
                     for lonlat in targets]
            yield how[0], found

    def assertSeen(self, image, targets, height):
        """Within a pixel of the image; pictures, drawn larger and stretched, are bright there."""
        band = image.GetRasterBand(1)
        values = band.ReadAsArray().astype(float)
        if band.GetUnitType() == "dB" and band.DataType != gdal.GDT_Byte:
            values = 10 ** (values / 10)
        values = np.nan_to_num(values)
        reach = 4
        for how, places in self.positions(image, targets, height):
            for x, y in places:
                top, left = max(int(y) - reach, 0), max(int(x) - reach, 0)
                part = values[top:int(y) + reach + 1, left:int(x) + reach + 1]
                if band.DataType == gdal.GDT_Byte:
                    self.assertGreater(values[int(y) - 1:int(y) + 2, int(x) - 1:int(x) + 2].min(),
                                       200, (x, y))
                    continue
                column, row = spot(part)
                off = left + column + 0.5 - x, top + row + 0.5 - y
                self.assertLess(max(map(abs, off)), 1, (how, x, y))

    def test_targets_lie_within_a_pixel(self):
        commands = sorted(set(writing_commands()))
        self.assertGreater(len(commands), 8, commands)
        programs = self.folder / "programs"
        programs.mkdir()
        (programs / "rfsar").symlink_to(RFSAR)
        environment = {**os.environ, "PATH": f"{programs}:{os.environ['PATH']}",
                       "GDAL_DRIVER_PATH": str(BUILD / "lib")}
        for number, (family, fields) in enumerate(SCENES):
            product = self.make(family, lines=300, samples=320, target_grid=3, name=f"{number}",
                                **fields)
            work, height = product.opened.parent, fields["height"]
            targets = [(t["lon"], t["lat"]) for t in product.truth["targets"]
                       if t["inside"] and t["height"] == height]
            self.assertGreater(len(targets), 4)
            for command, name in commands:
                with self.subTest(family=family, **fields, command=command):
                    self.elevation(work / "dem.tif", product,
                                   "egm96" if "egm96" in command.lower() else "ellipsoid")
                    done = subprocess.run(
                        ["bash", "-ec", command.replace("FILE", "product.xml")], cwd=work,
                        env=environment, capture_output=True, text=True, check=False)
                    self.assertEqual(done.returncode, 0, done.stderr)
                    image = gdal.Open(str(work / name))
                    self.assertSeen(image, targets, height)
                    image = None
                    for file in (work / name, work / f"{name}.json"):
                        file.unlink(missing_ok=True)


if __name__ == "__main__":
    sys.exit(unittest.main())
