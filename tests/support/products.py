# SPDX-License-Identifier: MIT
"""What Python tests share: where things are, simulated products, and rfsar as a user runs it."""

import json
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import time
import typing
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
RFSAR = os.environ.get("RFSAR", str(ROOT / "build/bin/rfsar"))
REAL_PRODUCTS = pathlib.Path(os.environ.get("RF_SAR_PRODUCTS", ROOT / "../shared/products"))

SANITIZERS = os.environ.get("RF_SAR_PRELOAD", "")  # their libraries, in builds that have them

sys.path.insert(0, str(ROOT / "tools"))
import sarsim  # noqa: E402


def shown_in_documents(source):
    """A source file's text, without the line that names its licence."""
    text = source.read_text("utf-8")
    return text.split("\n", 1)[1] if text.startswith("// SPDX") else text


# What the C++ library says of a mistake in the program; no user is to read it.
DEFECT = re.compile(r"\b_M_\w+|\bstd::|\bbasic_string|bad_optional|bad_variant|\bmap::at")


def for_others(**variables):
    """The environment of a program that is not ours and loads what is."""
    # The thread sanitizer complains of GDAL's own locks.
    return {**os.environ, "LD_PRELOAD": SANITIZERS, "TSAN_OPTIONS": "detect_deadlocks=0",
            "ASAN_OPTIONS": "detect_leaks=0", **variables}


def rfsar(*arguments, stdin=None, binary=False):
    """Runs rfsar; returns the finished process with its texts."""
    done = subprocess.run([RFSAR, *map(str, arguments)], input=stdin, capture_output=True,
                          errors=None if binary else "surrogateescape", timeout=120, check=False)
    if not binary and (defect := DEFECT.search(done.stdout + done.stderr)):
        raise AssertionError(f"{defect[0]}: {done.stdout}{done.stderr}")
    return done


def rfsar_json(*arguments):
    done = rfsar(*arguments, "--json")
    assert done.returncode == 0, done.stderr
    return json.loads(done.stdout)


class Product(typing.NamedTuple):
    folder: pathlib.Path
    opened: pathlib.Path  # the file that a host opens
    truth: dict


class ProductCase(unittest.TestCase):
    """A test case with a folder of its own, whose name is not a simple one."""

    def setUp(self):
        temporary = tempfile.TemporaryDirectory(prefix="rf sar é产 ")
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(temporary.name)

    def make(self, family, **fields):
        made = sarsim.make(sarsim.Recipe(family, **fields), self.folder)
        return Product(pathlib.Path(made.folder), pathlib.Path(made.opened), made.truth)

    def real(self, relative):
        path = REAL_PRODUCTS / relative
        if not path.exists():
            self.skipTest(f"the real product {relative} is not here")
        return path

    def assertFails(self, done, *texts, status=1):
        """Exit status and a single sentence on stderr that holds the texts; nothing on stdout."""
        self.assertEqual(done.returncode, status, done.stderr)
        self.assertEqual(done.stdout, "")
        self.assertEqual(done.stderr.count("\n"), 1, done.stderr)
        for text in texts:
            self.assertIn(text, done.stderr)

    def assertSignalsLeaveNothing(self, command):
        """The process ends as by the signal, says nothing, and leaves nothing called out*."""
        for number in (signal.SIGTERM, signal.SIGINT):
            process = subprocess.Popen(command, stderr=subprocess.PIPE)
            while not list(self.folder.glob("out*")):
                self.assertIsNone(process.poll())
                time.sleep(0.001)
            process.send_signal(number)
            said = process.communicate()[1]
            self.assertEqual((process.returncode, said), (-number, b""))
            self.assertEqual(list(self.folder.glob("out*")), [])
