# SPDX-License-Identifier: MIT
"""What is installed works where it was installed to, and tells what it is."""

import gzip
import json
import os
import pathlib
import re
import subprocess
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from products import ROOT, ProductCase, shown_in_documents  # noqa: E402

BUILD = pathlib.Path(os.environ.get("RF_SAR_BUILD", ROOT / "build"))
OUR_VARIABLES = ("RF_SAR_PLUGIN", "GDAL_DRIVER_PATH", "GDAL_SKIP", "LD_LIBRARY_PATH")


class Installed(ProductCase):
    def setUp(self):
        super().setUp()
        self.prefix = self.folder / "prefix"
        subprocess.run(["cmake", "--install", BUILD, "--prefix", self.prefix], check=True,
                       capture_output=True)
        self.libraries = next(self.prefix.glob("lib/*/rf_sar"))
        self.drivers = self.libraries.parent / "gdalplugins"

    def run_installed(self, *command, **variables):
        environment = {k: v for k, v in os.environ.items() if k not in OUR_VARIABLES}
        return subprocess.run(list(map(str, command)), env={**environment, **variables}, text=True,
                              capture_output=True, timeout=120, check=False)

    def doctor(self, **variables):
        return self.run_installed(self.prefix / "bin/rfsar", "doctor", "--json", **variables)

    def test_programs_and_gdal_open_products_with_what_was_installed(self):
        product = self.make("rcm", lines=40, samples=40)
        done = self.run_installed(self.prefix / "bin/rfsar", "info", product.opened)
        self.assertEqual(done.returncode, 0, done.stderr)
        done = self.run_installed("gdalinfo", product.opened, GDAL_DRIVER_PATH=str(self.drivers))
        self.assertIn("Driver: RF_SAR", done.stdout, done.stderr)

    def test_doctor_names_files_and_the_driver_that_wins(self):
        done = self.doctor(GDAL_DRIVER_PATH=str(self.drivers))
        self.assertEqual(done.returncode, 0, done.stderr)
        found = json.loads(done.stdout)
        self.assertEqual(found["plugin"], str(self.libraries / "rf_sar.so"))
        self.assertEqual(found["platform"], str((self.libraries / "librf_platform.so").resolve()))
        self.assertEqual(found["driver"], str(self.drivers / "gdal_RF_SAR.so"))
        rcm, rs2 = self.make("rcm", lines=40, samples=40), self.make("radarsat2", lines=40,
                                                                      samples=40)
        for family, product in (("RADARSAT Constellation", rcm), ("RADARSAT-2", rs2)):
            for skipped in ("", "RS2"):
                environment = {"GDAL_DRIVER_PATH": str(self.drivers), "GDAL_SKIP": skipped}
                said = json.loads(self.doctor(**environment).stdout)["productXml"][family]
                opened = self.run_installed("gdalinfo", "-json", product.opened, **environment)
                self.assertEqual(said[0], json.loads(opened.stdout)["driverShortName"])

    def test_doctor_fails_where_gdal_does_not_find_the_driver(self):
        done = self.doctor(GDAL_DRIVER_PATH=str(self.folder))
        self.assertEqual(done.returncode, 1)
        self.assertIsNone(json.loads(done.stdout)["driver"])
        self.assertIn("GDAL_DRIVER_PATH", done.stderr)
        said = self.run_installed(self.prefix / "bin/rfsar", "doctor",
                                  GDAL_DRIVER_PATH=str(self.folder)).stdout
        self.assertNotIn("GDAL_SKIP", said)  # there is nothing to choose from

    def offered(self, *words):
        """What the completion offers for the last word."""
        done = self.run_installed(
            "bash", "-c", '. "$0"; COMP_WORDS=("$@"); '
            'COMP_CWORD=$(($# - 1)); _rfsar; printf "%s\\n" "${COMPREPLY[@]}"',
            self.prefix / "share/bash-completion/completions/rfsar",
            self.prefix / "bin/rfsar", *words)
        self.assertEqual(done.stderr, "")
        return set(done.stdout.split())

    def test_completion_offers_values_and_the_layers_of_the_product(self):
        self.assertEqual(self.offered("export", "--compress", ""),
                         {"none", "deflate", "lzw", "zstd"})
        self.assertEqual(self.offered("geocode", "x", "--resampling", "b"), {"bilinear"})
        self.assertEqual(self.offered("export", "--output", ""), set())  # files, by default
        product = self.make("rcm", lines=20, samples=20).opened
        self.assertEqual(self.offered("export", product, "--layer", "SIGMA"),
                         {"SIGMA_NOUGHT_HH", "SIGMA_NOUGHT_HV", "SIGMA_NOUGHT_DB_HH",
                          "SIGMA_NOUGHT_DB_HV"})
        self.assertEqual(self.offered("geocode", "--dem", __file__, product, "--layer", "GAMMA_HV"),
                         {"GAMMA_HV"})
        self.assertEqual(self.offered("read", product, "C_HH"), {"C_HH_MAGNITUDE_1"})
        self.assertEqual(self.offered("export", "no such file", "--layer", ""), set())
        self.assertLessEqual({"export", "info"}, self.offered(""))

    def test_man_page_and_completion_know_every_verb_and_option(self):
        rfsar = self.prefix / "bin/rfsar"
        page = gzip.open(self.prefix / "share/man/man1/rfsar.1.gz", "rt", encoding="utf-8").read()
        page = page.replace("\\-", "-")
        verbs = re.findall(r"^  ([a-z]+)  ", self.run_installed(rfsar, "--help").stdout, re.M)
        self.assertGreater(len(verbs), 5)
        for verb in verbs:
            self.assertIn(f".SS {verb}\n", page)
            help_text = self.run_installed(rfsar, verb, "--help").stdout
            options = set(re.findall(r"^  (?:-\w,)?(--[a-z-]+)", help_text, re.M))
            self.assertEqual(self.offered(verb, "--"), options)
            for option in options - {"--help"}:
                self.assertIn(option, page)


class HostInC(ProductCase):
    """The example of docs/host-interface.md, a stranger to everything but the two C headers."""

    SOURCE = ROOT / "tests/host_example/host.c"

    def compiled(self):
        host = self.folder / "host"
        subprocess.run(["cc", "-std=c11", "-Wall", "-Wextra", "-Werror", f"-I{ROOT / 'rf_sar'}",
                        f"-I{ROOT / 'platform/chost'}", self.SOURCE, "-o", host, "-ldl"], check=True)
        return host

    def test_it_compiles_as_c_and_reads_a_product(self):
        host = self.compiled()
        product = self.make("rcm", lines=40, samples=30, name="sample")
        link = pathlib.Path("/proc/self/cwd") / "metadata/product.xml"  # its names are ASCII
        done = subprocess.run([host, BUILD / "lib/rf_sar.so", link, ":SAR_Metadata"],
                              cwd=product.folder, capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, 0, done.stderr)
        head, json_text = done.stdout.split("{", 1)
        self.assertEqual(json.loads("{" + json_text)["numberOfLines"], 40)
        self.assertIn("layer C_HH_MAGNITUDE_1\n", head)
        self.assertIn("size 30 x 40\n", head)
        width, height = map(int, re.search(r"block (\d+) x (\d+)", head).groups())
        from osgeo import gdal  # after the host: GDAL looks for drivers once
        gdal.UseExceptions()
        image = gdal.Open(str(product.folder / product.truth["images"][0]["file"]))
        block = image.ReadAsArray(0, 0, min(width, 30), min(height, 40))
        self.assertIn(f"sum {int(block.sum(dtype=float))}\n", head)

    def test_a_reason_reaches_it(self):
        host = self.compiled()
        product = self.make("capella-geo", name="sample")
        item = next(p for p in product.folder.glob("*.json") if "_extended" not in p.name)
        stated = json.loads(item.read_text("utf-8"))
        stated["properties"]["sar:polarizations"].insert(0, "VV")  # two layers, one image
        item.write_text(json.dumps(stated), "utf-8")
        link = pathlib.Path("/proc/self/cwd") / item.name
        for arguments, reason in (
                ([link, ":SAR_Metadata", "X_HH_MAGNITUDE_2"], "no image for layer X_HH_MAGNITUDE_2"),
                (["missing.json"], "Could not fine and open the file"),
                ([link, ":Unknown", "nonsense"], "no image for layer nonsense")):
            done = subprocess.run([host, BUILD / "lib/rf_sar.so", *arguments],
                                  cwd=product.folder, capture_output=True, text=True, check=False)
            self.assertEqual(done.returncode, 1, done.stderr)
            self.assertIn(reason, done.stderr)

    def test_the_document_shows_exactly_this_file(self):
        document = (ROOT / "docs/host-interface.md").read_text("utf-8")
        self.assertEqual(re.findall(r"```c\n(.*?)```", document, re.S), [shown_in_documents(self.SOURCE)])


if __name__ == "__main__":
    unittest.main()
