# SPDX-License-Identifier: MIT
"""What rfsar leaves when a disk is full, a folder closed, a file gone, a process killed."""

import os
import random
import signal
import subprocess
import time
import unittest

from osgeo import gdal

import sys
import pathlib

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from products import ProductCase, RFSAR, rfsar  # noqa: E402

gdal.UseExceptions()
NOBODY = 65534


def writing(product, folder):
    """Every verb that writes a file: {verb: command}."""
    layer = "C_HH_MAGNITUDE_1"
    return {
        "read": ["read", product, layer, "-o", folder / "out.raw"],
        "export": ["export", product, "-o", folder / "out.tif"],
        "export, compressed": ["export", product, "--compress", "zstd", "--overviews", "-o",
                               folder / "out.tif"],
        "geocode": ["geocode", product, "--crs", "EPSG:32632", "-o", folder / "out.tif"],
        "geocode, cloud-optimised": ["geocode", product, "--crs", "EPSG:32632", "--cog", "-o",
                                     folder / "out.tif"],
        "quicklook": ["quicklook", product, "--size", "500", "-o", folder / "out.png"],
        "stac": ["stac", product, "-o", folder / "out.json"],
    }


class Faults(ProductCase):
    def setUp(self):
        super().setUp()
        self.product = self.make("rcm", lines=500, samples=500, polarizations="HH")
        self.out = self.folder / "out"
        self.out.mkdir()

    def mount(self, options):
        """A small file system of its own."""
        done = subprocess.run(["mount", "-t", "tmpfs", "-o", options, "tmpfs", self.out],
                              capture_output=True, text=True, check=False)
        if done.returncode != 0:
            self.skipTest("file systems cannot be mounted here: " + done.stderr)
        self.addCleanup(subprocess.run, ["umount", self.out], check=True)

    def assertNothingWritten(self, done, what):
        with self.subTest(verb=what):
            self.assertFails(done, str(self.out))
            self.assertEqual([p.name for p in self.out.iterdir() if p.name != "filler"], [])

    def test_a_full_disk_leaves_nothing(self):
        self.mount("size=64k")
        filler = self.out / "filler"
        for what, command in writing(self.product.opened, self.out).items():
            # What a STAC item takes fits on a disk with room for a few pages.
            filler.write_bytes(bytes((64 << 10) if what == "stac" else (40 << 10)))
            self.assertNothingWritten(rfsar(*command), what)
            filler.unlink()

    def test_folders_that_are_read_only_are_told(self):
        self.mount("size=64k,ro")
        for what, command in writing(self.product.opened, self.out).items():
            self.assertNothingWritten(rfsar(*command), what)

    def test_folders_and_products_without_permission_are_told(self):
        if os.geteuid() != 0:
            self.skipTest("only root can become somebody without rights")
        self.folder.chmod(0o755)

        def as_nobody(*command):
            return subprocess.run([RFSAR, *map(str, command)], capture_output=True, text=True,
                                  timeout=60, check=False, user=NOBODY, group=NOBODY,
                                  extra_groups=[])
        if as_nobody("--version").returncode != 0:
            self.skipTest("nobody may not run rfsar here")
        for what, command in writing(self.product.opened, self.out).items():
            self.assertNothingWritten(as_nobody(*command), what)
        for hidden in ("imagery/2000001_1_HH.tif", "metadata/calibration", "metadata/product.xml"):
            path = self.product.folder / hidden
            kept = path.stat().st_mode
            path.chmod(0)
            verb = ("check",) if "calibration" in hidden else ("read",)
            layer = () if "calibration" in hidden else ("C_HH_MAGNITUDE_1", "-o", "-")
            done = as_nobody(verb[0], self.product.opened, *layer)
            path.chmod(kept)
            with self.subTest(hidden=hidden):
                self.assertEqual(done.returncode, 1)
                self.assertIn(path.name, done.stdout + done.stderr)

    def test_killed_work_never_shows_a_part_under_the_final_name(self):
        seed = random.randrange(1 << 30)
        chance = random.Random(seed)
        commands = writing(self.product.opened, self.out)
        for what in ("read", "export, compressed", "geocode",
                     "geocode, cloud-optimised"):
            command = [*commands[what], "--force"]
            out = command[command.index("-o") + 1]
            begun = time.monotonic()
            self.assertEqual(rfsar(*command).returncode, 0)
            lasts = time.monotonic() - begun
            whole = out.read_bytes()
            for number in [signal.SIGKILL] * 6 + [signal.SIGTERM] * 3:
                for file in self.out.iterdir():
                    if number == signal.SIGTERM or file == out:
                        file.unlink()
                process = subprocess.Popen([RFSAR, *map(str, command)],
                                           stderr=subprocess.DEVNULL)
                time.sleep(chance.random() * lasts)
                process.send_signal(number)
                process.wait()
                with self.subTest(verb=what, signal=number, seed=seed):
                    if out.exists():
                        self.assertEqual(out.read_bytes(), whole)
                    elif number == signal.SIGTERM:
                        self.assertEqual(list(self.out.iterdir()), [])
            self.assertEqual(rfsar(*command).returncode, 0)  # removes what killed ones have left
            self.assertEqual(list(self.out.iterdir()), [out])
            self.assertEqual(out.read_bytes(), whole)
            out.unlink()

    def test_outputs_that_must_not_be_are_refused(self):
        image = next(self.product.folder.rglob("*.tif"))
        table = next(self.product.folder.rglob("lutSigma*.xml"))
        link = self.out / "by another name.tif"
        link.symlink_to(image)
        before = {file: file.read_bytes() for file in (image, table, self.product.opened)}
        commands = writing(self.product.opened, self.out)
        for what in ("read", "export, compressed", "geocode"):
            for output in (*before, link):
                command = [*commands[what], "--force"]
                command[command.index("-o") + 1] = output
                with self.subTest(verb=what, output=output):
                    self.assertFails(rfsar(*command), str(output), "one of the product's own files")
        self.assertFails(rfsar("stac", self.product.opened, "-o", table, "--force"),
                         "one of the product's own files")
        self.assertFails(rfsar("quicklook", self.product.opened, "-o", link, "--force"),
                         "one of the product's own files")
        self.assertEqual({file: file.read_bytes() for file in before}, before)
        dangling = self.out / "dangling.json"
        dangling.symlink_to(self.out / "nothing")
        self.assertFails(rfsar("stac", self.product.opened, "-o", dangling), "--force")
        self.assertTrue(dangling.is_symlink())
        self.assertEqual(rfsar("stac", self.product.opened, "-o", dangling, "--force").returncode, 0)

    def test_names_as_long_as_a_folder_takes_them(self):
        commands = writing(self.product.opened, self.out)
        for what in ("read", "export, compressed", "geocode"):
            command = list(commands[what])
            name = "é" * 120 + pathlib.Path(command[command.index("-o") + 1]).suffix
            command[command.index("-o") + 1] = self.out / name
            with self.subTest(verb=what):
                done = rfsar(*command)
                self.assertEqual((done.returncode, done.stderr), (0, ""))
                self.assertEqual([f.name for f in self.out.iterdir()], [name])
                (self.out / name).unlink()

    def test_numbers_that_are_none_are_refused(self):
        for number in ("nan", "inf", "-1", "0", "1e999", "wide"):
            for command in (("geocode", "-o", self.out / "map.tif", "--crs", "EPSG:32632",
                             "--resolution", number),
                            ("quicklook", "-o", self.out / "q.png", "--graticule-step", number)):
                done = rfsar(command[0], self.product.opened, *command[1:])
                with self.subTest(command=command):
                    self.assertEqual((done.returncode, done.stdout), (2, ""), done.stderr)
        for number in ("nan", "inf"):
            done = rfsar("locate", self.product.opened, "--height", number, stdin="1 2\n")
            self.assertEqual((done.returncode, done.stdout), (2, ""), done.stderr)

    def test_images_cut_anywhere_are_errors(self):
        """At whatever byte a download ended, the samples are right or there are none."""
        image = next(self.product.folder.rglob("*.tif"))
        whole = image.read_bytes()
        window = ("--window", "0,250,500,1")
        read = ("read", self.product.opened, "C_HH_MAGNITUDE_1", *window, "-o", "-")
        samples = rfsar(*read, binary=True).stdout
        outcomes = set()
        for size in (0, 1, 7, 8, 100, 1000, len(whole) // 2, len(whole) - 100, len(whole) - 1):
            image.write_bytes(whole[:size])
            done = rfsar(*read, binary=True)
            outcomes.add(done.returncode)
            with self.subTest(size=size, whole=len(whole)):
                if done.returncode == 0:
                    self.assertEqual(done.stdout, samples)
                else:
                    self.assertIn(image.name, done.stderr.decode())
        self.assertIn(1, outcomes)


if __name__ == "__main__":
    unittest.main()
