"""How a process ends that leaves datasets open: as quietly as with GDAL's own drivers."""

import os
import subprocess
import sys
import unittest

from gdal_case import GdalCase

PROGRAM = os.environ["PROCESS_END"]
HOWS = ("file-scope", "before", "after", "atexit-before", "atexit-after", "leaked")
IN_PYTHON = ("import sys; from osgeo import gdal; gdal.UseExceptions(); "
             "kept = gdal.Open(sys.argv[1]); kept.ReadAsArray(0, 0, 4, 4); "
             "band = kept.GetRasterBand(1)")


class ProcessEnd(GdalCase):
    def test_open_datasets_end_quietly(self):
        for family in ("rcm", "radarsat2", "capella-slc", "capella-grd"):
            product = self.make(family, lines=40, samples=40, name=family)
            over = self.folder / f"{family}.vrt"
            subprocess.run([sys.executable, "-c", "import sys; from osgeo import gdal; "
                            "gdal.Translate(sys.argv[2], sys.argv[1], format='VRT')",
                            product.opened, over], check=True)
            for dataset in (product.opened, over):
                commands = [[PROGRAM, how, dataset] for how in HOWS]
                commands.append([sys.executable, "-c", IN_PYTHON, dataset])
                for command in commands:
                    done = subprocess.run(command, capture_output=True, text=True, check=False)
                    self.assertEqual((done.returncode, done.stderr), (0, ""), command)


if __name__ == "__main__":
    unittest.main()
