# SPDX-License-Identifier: MIT
"""Exports one large scene and tells what it takes: seconds, and the memory at its highest.

    tests/load/large_scene.py [--side 30000] [--max-memory 512] [--limit MiB] [rfsar export options]

The image is of real size on disk (2 bytes a sample), the folder is removed afterwards. --limit caps
the address space, so that more is an error and not a figure.
"""

import argparse
import os
import pathlib
import re
import resource
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests/support"))
from products import RFSAR, sarsim  # noqa: E402

import numpy as np  # noqa: E402
from osgeo import gdal  # noqa: E402

gdal.UseExceptions()
LINES = 500  # written at once


def fill(file, samples, lines):
    """Speckle of a fixed seed, so that nothing compresses away."""
    noise = np.random.default_rng(7).rayleigh(300, (LINES, samples)).astype(np.uint16)
    image = gdal.Open(str(file), gdal.GA_Update)
    for line in range(0, lines, LINES):
        count = min(LINES, lines - line)
        image.WriteArray(np.roll(noise, line, axis=1)[:count], 0, line)


def watch(process):
    """KiB resident at the highest, as the kernel keeps it; usage of children would count this
    script's own size."""
    highest = 0
    while process.poll() is None:
        status = pathlib.Path(f"/proc/{process.pid}/status").read_text(encoding="utf-8")
        highest = max([highest, *map(int, re.findall(r"VmHWM:\s+(\d+)", status))])
        time.sleep(0.05)
    return highest


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--side", type=int, default=30000)
    parser.add_argument("--max-memory", type=int, default=512)
    parser.add_argument("--limit", type=int, default=0)
    options, more = parser.parse_known_args()
    with tempfile.TemporaryDirectory(prefix="large scene ") as folder:
        made = sarsim.make(sarsim.Recipe("rcm", lines=options.side, samples=options.side,
                                         polarizations="HH", sparse=True, target_grid=0,
                                         line_spacing=5.0, pixel_spacing=5.0), folder)
        fill(next(pathlib.Path(made.folder).rglob("*.tif")), options.side, options.side)
        out = pathlib.Path(folder) / "out.tif"
        limit = options.limit << 20
        begun = time.monotonic()
        process = subprocess.Popen(
            [RFSAR, "export", str(made.opened), "-o", str(out), "--max-memory",
             str(options.max_memory), *more],
            preexec_fn=limit and (lambda: resource.setrlimit(resource.RLIMIT_AS, (limit, limit)))
            or None)
        highest = watch(process)
        seconds = time.monotonic() - begun
        if process.returncode != 0:
            return process.returncode
        exported, image = gdal.Open(str(out)), gdal.Open(str(next(
            pathlib.Path(made.folder).rglob("*.tif"))))
        for at in (0, options.side // 2, options.side - 64):
            window = (at, at, 64, 64)
            if not np.array_equal(exported.ReadAsArray(*window), image.ReadAsArray(*window)):
                print("samples differ at", at, file=sys.stderr)
                return 1
        print(f"{options.side} x {options.side} samples: {seconds:.1f} s, "
              f"at most {highest / 1024:.0f} MiB resident, {os.path.getsize(out) / 1e6:.0f} MB written")
    return 0


if __name__ == "__main__":
    sys.exit(main())
