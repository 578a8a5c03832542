# SPDX-License-Identifier: MIT
"""Programs of others build on what is installed, and what they write other readers open."""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from products import ROOT, ProductCase, rfsar_json  # noqa: E402

BUILD = pathlib.Path(os.environ.get("RF_SAR_BUILD", ROOT / "build"))


class Development(ProductCase):
    def run_well(self, *command, **options):
        done = subprocess.run(list(map(str, command)), text=True, capture_output=True, check=False,
                              **options)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        return done.stdout

    def setUp(self):
        super().setUp()
        self.prefix = self.folder / "prefix é"
        self.run_well("cmake", "--install", BUILD, "--prefix", self.prefix)
        self.sources = self.folder / "foreign"
        shutil.copytree(ROOT / "tests/installed", self.sources)
        shutil.copy(ROOT / "tests/lmxgen/tide/model.yaml", self.sources / "station.yaml")

    def build_with_cmake(self):
        built = self.folder / "built"
        self.run_well("cmake", "-S", self.sources, "-B", built, f"-DCMAKE_PREFIX_PATH={self.prefix}",
                      f"-DPython3_EXECUTABLE={sys.executable}")
        self.run_well("cmake", "--build", built)
        return built

    def build_with_pkg_config(self):
        program = self.folder / "by_pkg_config"
        found = next(self.prefix.glob("lib/*/pkgconfig"))
        # The folder's blanks and letters come escaped for a shell to read again.
        self.run_well("sh", "-c", 'eval "c++ -std=c++20 edit_product.cpp -o \'$0\' '
                      '$(pkg-config --cflags --libs rf_sar-rs2)"', program, cwd=self.sources,
                      env={**os.environ, "PKG_CONFIG_PATH": str(found)})
        return program

    def test_a_product_edited_by_a_foreign_program_opens_everywhere(self):
        product = self.make("radarsat2", lines=40, samples=30)
        edited = self.folder / "edited"
        shutil.copytree(product.folder, edited)
        built = self.build_with_cmake()
        for program in (built / "edit_product", self.build_with_pkg_config()):
            self.run_well(program, product.opened, edited / "product.xml")
            text = (edited / "product.xml").read_text()
            self.assertIn("<processingFacility>another house</processingFacility>", text)
            was, now = (rfsar_json("info", each) for each in (product.opened, edited / "product.xml"))
            for each in (was, now):
                each.pop("file")
            self.assertEqual(was, now)
            theirs = [json.loads(self.run_well("gdalinfo", "-json", "-if", "RS2", each / "product.xml"))
                      for each in (product.folder, edited)]
            self.assertEqual(theirs[1]["driverShortName"], "RS2")
            self.assertEqual(theirs[0]["gcps"], theirs[1]["gcps"])
            self.assertEqual(theirs[1]["metadata"][""]["PROCESSING_FACILITY"], "another house")
        refused = subprocess.run([program, edited / "none.xml", edited / "out.xml"], text=True,
                                 capture_output=True, check=False)
        self.assertEqual(refused.returncode, 1)
        self.assertIn("none.xml", refused.stderr)

        document = self.folder / "station.xml"
        document.write_text('<station xmlns="urn:example:tide-gauges"/>')
        read = subprocess.run([built / "read_station", document], text=True, capture_output=True,
                              check=False)
        self.assertEqual(read.returncode, 1)
        self.assertIn("station.xml:1: tg:station: a mandatory attribute is missing (version)",
                      read.stderr)


if __name__ == "__main__":
    unittest.main()
