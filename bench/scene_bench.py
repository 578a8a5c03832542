"""Whole programs, file to file: rfsar against GDAL's tools.

Exports and quicklooks of complex samples stand against a virtual file's pixel functions, maps
against gdalwarp on the same image's tie points (polynomials of order 3), to the same grid, bilinear,
without compression, on all cores: -multi, NUM_THREADS=ALL_CPUS and 128 MB for the warper, which is
what rfsar's default of 256 MB gives its own.

Medians of interleaved runs, for ratios.py."""

import json
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
RFSAR = ROOT / "build/bin/rfsar"
sys.path.insert(0, str(ROOT / "tools"))
import sarsim  # noqa: E402

VRT = """<VRTDataset rasterXSize="{side}" rasterYSize="{side}">
  <VRTRasterBand dataType="Float32" band="1" subClass="VRTDerivedRasterBand">
    <PixelFunctionType>{function}</PixelFunctionType>
    <SourceTransferType>CInt16</SourceTransferType>
    <SimpleSource><SourceFilename>{image}</SourceFilename><SourceBand>1</SourceBand></SimpleSource>
  </VRTRasterBand>
</VRTDataset>"""


def seconds(command, output):
    output.unlink(missing_ok=True)  # replacing a file waits for the disk on some file systems
    start = time.perf_counter()
    subprocess.run([str(word) for word in command], check=True)
    return time.perf_counter() - start


def measure(folder, runs, side=10000):
    """Yields rows: what, our median in s, the peer, its median in s, the least ratio that is wanted."""
    with tempfile.TemporaryDirectory(dir=folder) as name:
        yield from race(conversions(pathlib.Path(name), side), runs)
        yield from race(maps(pathlib.Path(name), side), runs)


def conversions(folder, side):
    product = sarsim.make(sarsim.Recipe("capella-slc", lines=side, samples=side,
                                        tiled=True, block=512, target_grid=1), folder)
    image = next(pathlib.Path(product.folder).glob("*.tif"))
    for function in ("mod", "phase"):
        (folder / f"{function}.vrt").write_text(
            VRT.format(side=side, function=function, image=image), encoding="utf-8")
    ours, theirs, picture = folder / "ours.tif", folder / "theirs.tif", folder / "picture.png"
    translate = ["gdal_translate", "-q"]
    return {
        "export, magnitude": (
            [RFSAR, "export", product.opened, "--layer", "X_VV_MAGNITUDE_1", "-o", ours], ours,
            [*translate, "-ot", "UInt16", "-co", "TILED=YES", folder / "mod.vrt", theirs], theirs,
            8),
        "export, phase": (
            [RFSAR, "export", product.opened, "--layer", "X_VV_PHASE_2", "-o", ours], ours,
            [*translate, "-co", "TILED=YES", folder / "phase.vrt", theirs], theirs, 20),
        "quicklook, magnitude": (
            [RFSAR, "quicklook", product.opened, "--size", 1000, "-o", picture], picture,
            [*translate, "-r", "average", "-outsize", 1000, 1000, folder / "mod.vrt", theirs],
            theirs, 5),
    }


def maps(folder, side):
    product = sarsim.make(sarsim.Recipe("rcm", lines=side, samples=side,
                                        polarizations="HH", tiled=True, block=512,
                                        target_grid=1), folder)
    image = next(pathlib.Path(product.folder).glob("imagery/*.tif"))
    ours, theirs = folder / "ours.tif", folder / "theirs.tif"
    draw = [RFSAR, "geocode", product.opened, "--crs", "EPSG:32632", "-o", ours]
    seconds(draw, ours)
    about = json.loads(subprocess.run(["gdalinfo", "-json", str(ours)], check=True,
                                      capture_output=True, text=True).stdout)
    (width, height), (left, step, _, top, _, _) = about["size"], about["geoTransform"]
    extent = [left, top - height * step, left + width * step, top]
    warp = ["gdalwarp", "-q", "-t_srs", "EPSG:32632", "-te", *map(repr, extent), "-ts", width,
            height, "-r", "bilinear", "-order", 3, "-multi", "-wo", "NUM_THREADS=ALL_CPUS", "-wm",
            128, "-co", "TILED=YES", "-co", "BLOCKXSIZE=512", "-co", "BLOCKYSIZE=512", image,
            theirs]
    return {"geocode, bilinear": (draw, ours, warp, theirs, 1)}


def race(tasks, runs):
    for task, (our_command, our_output, their_command, their_output, goal) in tasks.items():
        pairs = [(seconds(our_command, our_output), seconds(their_command, their_output))
                 for _ in range(runs)]
        our_time, their_time = (statistics.median(times) for times in zip(*pairs))
        yield task, our_time, their_command[0], their_time, goal
