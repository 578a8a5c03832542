# SPDX-License-Identifier: MIT
"""How often a product's files are opened, counted by the system calls: each is read once."""

import collections
import os
import pathlib
import re
import subprocess
import sys
import unittest
import zipfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests/support"))

from products import RFSAR, ProductCase  # noqa: E402

# The plug-in reads the document, and the host once more.
MOST_DOCUMENTS = 2


class Opens(ProductCase):
    def opened(self, product, *command):
        """{file: opens} of the product's metadata files."""
        trace = self.folder / "trace"
        done = subprocess.run(["strace", "-f", "-y", "-e", "trace=openat,open", "-o", trace,
                               *map(str, command)], input="10 10\n", capture_output=True, text=True,
                              env={**os.environ, "LD_PRELOAD": ""}, check=False)
        self.assertEqual(done.returncode, 0, done.stderr)
        own = {file.name for file in product.folder.rglob("*.xml")}
        names = re.findall(r"= \d+<[^>]*/([^>/]+)>", trace.read_text(encoding="utf-8"))
        return collections.Counter(name for name in names if name in own)

    def test_archives_of_very_many_folders_are_read_once(self):
        product = self.make("rcm", lines=16, samples=16)
        archive, foreign = self.folder / "many.zip", self.folder / "foreign.zip"
        for file in (archive, foreign):
            with zipfile.ZipFile(file, "w") as out:
                for i in range(16000):
                    out.writestr(f"folder é {i}/data.txt", "x")
                for part in sorted(product.folder.rglob("*")) if file == archive else ():
                    out.write(part, part.relative_to(product.folder.parent))
        before = os.times()
        found = subprocess.run([RFSAR, "info", foreign], capture_output=True, text=True, check=False)
        after = os.times()
        self.assertIn("holds no product.xml", found.stderr)
        # Names asked for one by one take several seconds.
        self.assertLess(after.children_user - before.children_user, 2)
        found = subprocess.run([RFSAR, "identify", archive], capture_output=True, text=True,
                               check=False)
        self.assertIn("many.zip: Radarsat Constellation", found.stdout)
        os.truncate(archive, archive.stat().st_size // 2)
        found = subprocess.run([RFSAR, "info", archive], capture_output=True, text=True, check=False)
        self.assertIn("many.zip: is no whole zip archive: the directory at its end cannot be read; "
                      "copy or download it again", found.stderr)

    def test_metadata_and_tables_are_opened_once(self):
        for family in ("radarsat2", "rcm"):
            product = self.make(family, lines=64, samples=48)
            for verb in (["info"], ["check"], ["export", "--force", "-o", self.folder / "o.tif"],
                         ["stac"], ["locate"]):
                with self.subTest(family=family, verb=verb[0]):
                    counts = self.opened(product, RFSAR, verb[0], product.opened, *verb[1:])
                    self.assertGreaterEqual(counts["product.xml"], 1)
                    self.assertLessEqual(counts.pop("product.xml"), MOST_DOCUMENTS)
                    if verb[0] in ("info", "check"):
                        self.assertGreaterEqual(len(counts), 3)  # the tables
                    for file, count in counts.items():
                        self.assertEqual(count, 1, file)

    def test_gdalinfo_opens_no_more(self):
        """GDAL itself opens the file once, before it asks any driver."""
        for family in ("radarsat2", "rcm"):
            with self.subTest(family=family):
                product = self.make(family, lines=64, samples=48)
                counts = self.opened(product, "gdalinfo", "-if", "RF_SAR", product.opened)
                self.assertLessEqual(counts.pop("product.xml"), 1 + MOST_DOCUMENTS)
                for file, count in counts.items():
                    self.assertEqual(count, 1, file)


if __name__ == "__main__":
    unittest.main()
