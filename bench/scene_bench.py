# SPDX-License-Identifier: MIT
"""Whole programs, file to file: rfsar against GDAL's tools.

Exports and quicklooks of complex samples stand against a virtual file's pixel functions, maps
against gdalwarp on the same image's tie points (polynomials of order 3), to the same grid, bilinear,
without compression, on all cores: -multi, NUM_THREADS=ALL_CPUS and 128 MB for the warper, which is
what rfsar's default of 256 MB gives its own. Maps over terrain, an elevation model in UTM, are
measured in processor time: against the same map without terrain, and against gdalwarp through the
image's rational functions over the same model.

Medians of interleaved runs, for ratios.py."""

import json
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

import numpy as np
from osgeo import gdal, osr

gdal.UseExceptions()

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


def processor_seconds(command, output):
    """User and system time of a command and what it starts."""
    output.unlink(missing_ok=True)
    child = subprocess.Popen([str(word) for word in command])
    _, status, usage = os.wait4(child.pid, 0)
    assert status == 0, command
    return usage.ru_utime + usage.ru_stime


def measure(folder, runs, side=10000):
    """Yields rows: what, our median in s, the peer, its median in s, the goal of their ratio."""
    with tempfile.TemporaryDirectory(dir=folder) as name:
        yield from race(conversions(pathlib.Path(name), side), runs)
        yield from race(maps(pathlib.Path(name), side), runs)
        yield from race(terrain(pathlib.Path(name), side // 4), runs, processor_seconds)


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
    warp = warped_like(ours, ["-order", 3, image, theirs])
    return {"geocode, bilinear": (draw, ours, warp, theirs, 1)}


def warped_like(drawn, options):
    """gdalwarp to the same grid."""
    about = json.loads(subprocess.run(["gdalinfo", "-json", str(drawn)], check=True,
                                      capture_output=True, text=True).stdout)
    (width, height), (left, step, _, top, _, _) = about["size"], about["geoTransform"]
    extent = [left, top - height * step, left + width * step, top]
    return ["gdalwarp", "-q", "-t_srs", "EPSG:32632", "-te", *map(repr, extent), "-ts", width,
            height, "-r", "bilinear", "-multi", "-wo", "NUM_THREADS=ALL_CPUS", "-wm", 128,
            "-co", "TILED=YES", "-co", "BLOCKXSIZE=512", "-co", "BLOCKYSIZE=512", *options]


def terrain(folder, side):
    product = sarsim.make(sarsim.Recipe("rcm", name="terrain", lines=side, samples=side,
                                        polarizations="HH", tiled=True, block=512,
                                        target_grid=1), folder)
    model = elevation_model(folder / "elevations.tif")
    image, plain, ours, theirs = (folder / f"{name}.tif"
                                  for name in ("image", "plain", "ours", "theirs"))
    subprocess.run([RFSAR, "-q", "export", product.opened, "-o", image], check=True)
    flat = [RFSAR, "-q", "geocode", product.opened, "--crs", "EPSG:32632", "-o", plain]
    hilly = [*flat[:-1], ours, "--dem", model, "--dem-heights", "ellipsoid"]
    seconds(hilly, ours)
    warp = warped_like(ours, ["-rpc", "-to", f"RPC_DEM={model}", image, theirs])
    return {"geocode over terrain, against none": (hilly, ours, flat, plain, ("≤", 2.5)),
            "geocode over terrain": (hilly, ours, warp, theirs, ("≤", 0.15))}


def elevation_model(path, side=2000, step=30):
    """Hills around the simulator's usual place, in UTM."""
    system = osr.SpatialReference()
    system.ImportFromEPSG(32632)
    model = gdal.GetDriverByName("GTiff").Create(str(path), side, side, 1, gdal.GDT_Float32,
                                                 ["TILED=YES"])
    model.SetGeoTransform((686000 - side * step / 2, step, 0, 5330000 + side * step / 2, 0, -step))
    model.SetSpatialRef(system)
    down, across = np.mgrid[0:side, 0:side]
    model.WriteArray((500 + 300 * np.sin(across / 50) * np.cos(down / 70)).astype(np.float32))
    return path


def race(tasks, runs, clock=seconds):
    for task, (our_command, our_output, their_command, their_output, goal) in tasks.items():
        pairs = [(clock(our_command, our_output), clock(their_command, their_output))
                 for _ in range(runs)]
        our_time, their_time = (statistics.median(times) for times in zip(*pairs))
        yield task, our_time, pathlib.Path(their_command[0]).name, their_time, goal
