# SPDX-License-Identifier: MIT
"""A program may keep a dataset to its very end, as it may with GDAL's own drivers."""

import os
import subprocess
import sys
import unittest

from gdal_case import ProductCase, gdal, named

from products import rfsar_json

AT_EXIT = os.environ["RF_SAR_AT_EXIT"]
FAMILIES = ("rcm", "radarsat2", "capella-slc", "capella-geo", "capella-grd")
WAYS = ("file scope", "late singleton", "handler registered first", "handler registered last",
        "never closed")
SCRIPTS = {
    "module scope": "",
    "handler": "import atexit; atexit.register(dataset.__class__.FlushCache, dataset)",
    "band without its dataset kept in a cycle": "cycle = [dataset, band]; cycle.append(cycle)",
}


class Exits(ProductCase):
    def names(self):
        """Every family's product, a VRT over it, and an image by GDAL's own driver."""
        for family in FAMILIES:
            product = self.make(family, lines=32, samples=32, name=family)
            layer = rfsar_json("info", product.opened)["layers"][0]["name"]
            dataset = named(product.opened, layer)  # GDAL may have a driver of its own for the file
            yield family, dataset
            over = self.folder / f"{family}.vrt"
            gdal.Translate(str(over), dataset, format="VRT")
            yield family + " below a VRT", str(over)
        yield "GTiff", str(next(product.folder.rglob("*.tif")))

    def assertEndsWell(self, command):
        done = subprocess.run(command, capture_output=True, text=True, timeout=60, check=False)
        self.assertEqual((done.returncode, done.stdout), (0, ""), done.stderr)

    def test_programs_end_with_0_however_they_close(self):
        for what, file in self.names():
            for way in WAYS:
                with self.subTest(what, way=way):
                    self.assertEndsWell([AT_EXIT, way, file])
            for way, last in SCRIPTS.items():
                with self.subTest(what, python=way):
                    script = ("import sys; from osgeo import gdal; gdal.UseExceptions(); "
                              "dataset = gdal.Open(sys.argv[1]); band = dataset.GetRasterBand(1); "
                              "band.ReadRaster(); " + last)
                    self.assertEndsWell([sys.executable, "-c", script, file])


if __name__ == "__main__":
    unittest.main()
