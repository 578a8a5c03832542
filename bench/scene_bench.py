"""Whole programs, file to file: rfsar against GDAL's tools.

Exports and quicklooks of complex samples stand against a virtual file's pixel functions, maps
against gdalwarp on the same image's tie points (polynomials of order 3), to the same grid, bilinear,
without compression, on all cores: -multi, NUM_THREADS=ALL_CPUS and 128 MB for the warper, which is
what rfsar's default of 256 MB gives its own.

Prints ratios of medians; runs are interleaved. Needs the built rfsar and about 1 GB in --folder."""

import argparse
import json
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
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


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--side", type=int, default=10000, help="pixels (default 10000)")
    parser.add_argument("--folder", help="where to work (default: the temporary folder)")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(dir=options.folder) as name:
        compare(pathlib.Path(name), options)


def compare(folder, options):
    product = sarsim.make(sarsim.Recipe("capella-slc", lines=options.side, samples=options.side,
                                        tiled=True, block=512, target_grid=1), folder)
    image = next(pathlib.Path(product.folder).glob("*.tif"))
    for function in ("mod", "phase"):
        (folder / f"{function}.vrt").write_text(
            VRT.format(side=options.side, function=function, image=image), encoding="utf-8")
    rfsar = os.environ.get("RFSAR", str(ROOT / "build/bin/rfsar"))
    ours, theirs, picture = folder / "ours.tif", folder / "theirs.tif", folder / "picture.png"
    translate = ["gdal_translate", "-q"]
    tasks = {
        "export, magnitude": (
            [rfsar, "export", product.opened, "--layer", "X_VV_MAGNITUDE_1", "-o", ours], ours,
            [*translate, "-ot", "UInt16", "-co", "TILED=YES", folder / "mod.vrt", theirs], theirs),
        "export, phase": (
            [rfsar, "export", product.opened, "--layer", "X_VV_PHASE_2", "-o", ours], ours,
            [*translate, "-co", "TILED=YES", folder / "phase.vrt", theirs], theirs),
        "quicklook, magnitude": (
            [rfsar, "quicklook", product.opened, "--size", 1000, "-o", picture], picture,
            [*translate, "-r", "average", "-outsize", 1000, 1000, folder / "mod.vrt", theirs],
            theirs),
    }
    race(tasks, options.runs)
    race(geocoding(folder, options, rfsar, ours, theirs), options.runs)


def geocoding(folder, options, rfsar, ours, theirs):
    product = sarsim.make(sarsim.Recipe("rcm", lines=options.side, samples=options.side,
                                        polarizations="HH", tiled=True, block=512,
                                        target_grid=1), folder)
    image = next(pathlib.Path(product.folder).glob("imagery/*.tif"))
    draw = [rfsar, "geocode", product.opened, "--crs", "EPSG:32632", "-o", ours]
    seconds(draw, ours)
    about = json.loads(subprocess.run(["gdalinfo", "-json", str(ours)], check=True,
                                      capture_output=True, text=True).stdout)
    (width, height), (left, step, _, top, _, _) = about["size"], about["geoTransform"]
    extent = [left, top - height * step, left + width * step, top]
    warp = ["gdalwarp", "-q", "-t_srs", "EPSG:32632", "-te", *map(repr, extent), "-ts", width,
            height, "-r", "bilinear", "-order", 3, "-multi", "-wo", "NUM_THREADS=ALL_CPUS", "-wm",
            128, "-co", "TILED=YES", "-co", "BLOCKXSIZE=512", "-co", "BLOCKYSIZE=512", image,
            theirs]
    return {"geocode, bilinear": (draw, ours, warp, theirs)}


def race(tasks, runs):
    for task, (our_command, our_output, their_command, their_output) in tasks.items():
        pairs = [(seconds(our_command, our_output), seconds(their_command, their_output))
                 for _ in range(runs)]
        our_time, their_time = (statistics.median(times) for times in zip(*pairs))
        print(f"{task:22} {our_time:6.3f} s   {their_command[0]:14} {their_time:6.3f} s   "
              f"ratio {their_time / our_time:5.1f}", flush=True)


if __name__ == "__main__":
    main()
