# SPDX-License-Identifier: MIT
"""gdal.Open of RADARSAT-2 and RCM products in processor time, in one run: beside GDAL's own drivers
(that for RCM where GDAL has it) and libxml2's DOM of the RCM product file. Images are sparse where the
products lack them."""

import ctypes
import ctypes.util
import os
import pathlib
import re
import shutil
import statistics
import tempfile
import time
import zipfile

ROOT = pathlib.Path(__file__).resolve().parents[1]
ROUNDS = 20  # of each measurement, which alternate
QUIET = 32 | 64  # libxml2: no errors, no warnings


def seconds(work):
    start = time.process_time()
    for _ in range(ROUNDS):
        work()
    return (time.process_time() - start) / ROUNDS


def add_images(gdal, product):
    """Sparse images of the size that an RCM product states."""
    text = product.read_text(encoding="utf-8")
    width, height = (int(re.search(f"<{tag}>([0-9]+)", text)[1])
                     for tag in ("samplesPerLine", "numLines"))
    for name in re.findall(r"<ipdf[^>]*>([^<]+)", text):
        file = product.parent / name
        file.parent.mkdir(exist_ok=True)
        gdal.GetDriverByName("GTiff").Create(str(file), width, height, 1, gdal.GDT_UInt16,
                                             ["SPARSE_OK=TRUE", "TILED=YES"])


def measure(products, folder, runs):
    """Rows: what, ours, the peer's name, its time, goal."""
    os.environ["GDAL_DRIVER_PATH"] = str(ROOT / "build/lib")
    from osgeo import gdal
    gdal.UseExceptions()
    libxml2 = ctypes.CDLL(ctypes.util.find_library("xml2"))
    libxml2.xmlReadFile.restype = ctypes.c_void_p
    libxml2.xmlFreeDoc.argtypes = [ctypes.c_void_p]

    def opened(file, driver):
        return lambda: gdal.OpenEx(str(file), allowed_drivers=[driver])

    def dom(file):
        return lambda: libxml2.xmlFreeDoc(libxml2.xmlReadFile(str(file).encode(), None, QUIET))

    with tempfile.TemporaryDirectory(dir=folder) as room:
        room = pathlib.Path(room)
        archive = next(pathlib.Path(products).glob("radarsat2/*/*.zip"))
        with zipfile.ZipFile(archive) as packed:
            packed.extractall(room)
        radarsat2 = next(room.glob("*/product.xml"))
        source = next(pathlib.Path(products).glob("rcm/*GRD/*/metadata")).parent
        shutil.copytree(source, room / "rcm", copy_function=shutil.copyfile)
        for path in (room / "rcm", *(room / "rcm").rglob("*")):
            path.chmod(0o755)
        rcm = room / "rcm/metadata/product.xml"
        add_images(gdal, rcm)
        tasks = [("gdal.Open, RADARSAT-2", radarsat2, "GDAL's RS2 driver",
                  opened(radarsat2, "RS2"), 1.5),
                 ("gdal.Open, RCM", rcm, "libxml2 DOM", dom(rcm), 3)]
        if gdal.GetDriverByName("RCM"):
            tasks.append(("gdal.Open, RCM", rcm, "GDAL's RCM driver", opened(rcm, "RCM"), 1.5))
        for what, file, peer, other, most in tasks:
            pairs = [(seconds(opened(file, "RF_SAR")), seconds(other)) for _ in range(runs)]
            ours, theirs = map(statistics.median, zip(*pairs))
            yield what, ours, peer, theirs, ("≤", most)


if __name__ == "__main__":
    for row in measure(os.environ["RF_SAR_PRODUCTS"], "/dev/shm", 5):
        print(*row)
