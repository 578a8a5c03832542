# SPDX-License-Identifier: MIT
"""Every benchmark against its peer, in one run: prints the table of ratios, with machine and versions.

Medians of interleaved runs. A ratio is the peer's time over ours; where a goal is an upper limit it is
ours over the peer's. Needs the built benchmarks and rfsar, an otherwise idle machine, about 1 GB of
memory for files and a quarter of an hour."""

import argparse
import datetime
import json
import os
import pathlib
import platform
import subprocess
import tempfile

import driver_bench
import gdal_open_bench
import scene_bench

ROOT = pathlib.Path(__file__).resolve().parents[1]

AT_LEAST, AT_MOST = "≥", "≤"

# Executable, its filter, and rows: what, ours, the peer's name, the peer's benchmark, goal.
KERNELS = ("conversion_bench", "narrowing|rule|packed", [
    ("magnitude kernel, AVX-512", "magnitude/packed/AVX3", "copy", "narrowingCopy", 0.7),
    ("magnitude kernel, AVX2", "magnitude/packed/AVX2", "copy", "narrowingCopy", 0.4),
    ("phase kernel, AVX-512", "phase/packed/AVX3", "rule with libm", "phase/rule", 25),
    ("phase kernel, AVX2", "phase/packed/AVX2", "rule with libm", "phase/rule", 15),
    ("phase kernel, SSE4", "phase/packed/SSE4", "rule with libm", "phase/rule", 5)])
DETECTED = ("block_read_bench", "tiled.*threads:1$", [
    ("detected tiles", "tiledThroughPlugin/real_time/threads:1", "GDAL ReadBlock",
     "tiledGdalReadBlock/real_time/threads:1", 0.9)])
COMPLEX = ("complex_block_bench", "threads:1$|lines", [
    ("complex tiles, magnitude", "tilesThroughPlugin/magnitude/real_time/threads:1",
     "libtiff's decode alone", "tilesLibtiffDecode/real_time/threads:1", 0.9),
    ("complex tiles, phase", "tilesThroughPlugin/phase/real_time/threads:1",
     "libtiff's decode alone", "tilesLibtiffDecode/real_time/threads:1", 0.45),
    ("two bands in lines, magnitude", "linesThroughPlugin/magnitude", "straightforward path",
     "linesStraightforward<false>", 4),
    ("two bands in lines, phase", "linesThroughPlugin/phase", "straightforward path",
     "linesStraightforward<true>", 12)])
GEOLOCATION = ("sarm_bench", "gdal|model.*threads:1$", [
    ("ground to image", "modelGroundToImage/real_time/threads:1", "GDAL RPC",
     "gdalRpcGroundToImage", 0.2),
    ("image to ground", "modelImageToGround/real_time/threads:1", "GDAL RPC",
     "gdalRpcImageToGround", 0.3),
    ("ground to image", "modelGroundToImage/real_time/threads:1", "GDAL spline",
     "gdalSplineGroundToImage", 50),
    ("image to ground", "modelImageToGround/real_time/threads:1", "GDAL spline",
     "gdalSplineImageToGround", 20)])
OPENING = ("open_bench", ".", [
    ("open and record, RADARSAT-2", "openAndRecordRadarsat2", "GDAL's RS2 open",
     "gdalOpenRadarsat2", (AT_MOST, 1.2)),
    ("open and record, RCM", "openAndRecordRcm", "libxml2 DOM", "libxml2Dom", (AT_MOST, 2.5))])
BINDING = ("binding_bench", "bind$|dom", [
    ("bind a RADARSAT-2 product", "bind", "libxml2 DOM and XSD", "dom+xsd", (AT_MOST, 1.5))])


def costs(executable, pattern, options):
    """Median CPU time for each item (or iteration) by benchmark."""
    with tempfile.NamedTemporaryFile(suffix=".json") as report:
        subprocess.run(
            [ROOT / "build/bin" / executable, f"--benchmark_filter={pattern}",
             "--benchmark_enable_random_interleaving=true", "--benchmark_min_time=0.05",
             f"--benchmark_repetitions={options.runs}", "--benchmark_report_aggregates_only=true",
             f"--benchmark_out={report.name}", "--benchmark_out_format=json"],
            check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            env={**os.environ, "RF_SAR_PRODUCTS": str(options.products)})
        text = pathlib.Path(report.name).read_text(encoding="utf-8")
    found = {}
    for run in json.loads(text or '{"benchmarks": []}')["benchmarks"]:
        if run.get("aggregate_name") == "median":
            unit = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1}[run["time_unit"]]
            items = run.get("items_per_second", 1 / (run["real_time"] * unit))
            found[run["run_name"]] = run["cpu_time"] / (run["real_time"] * items)
    return found


def machine():
    def output(*command):
        return subprocess.run(command, capture_output=True, text=True, check=True).stdout.strip()

    def commit():
        try:
            return output("git", "-C", str(ROOT), "rev-parse", "--short", "HEAD")
        except (OSError, subprocess.CalledProcessError):  # a copy without its history
            return "not known"
    model = next((line.split(":")[1].strip() for line in
                  pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8").splitlines()
                  if line.startswith("model name")), platform.machine())
    cache = (ROOT / "build/CMakeCache.txt").read_text(encoding="utf-8")
    flags = next(line.split("=", 1)[1] for line in cache.splitlines()
                 if line.startswith("CMAKE_CXX_FLAGS:"))
    return (f"{datetime.date.today()}: {model}, {os.cpu_count()} cores, load "
            f"{os.getloadavg()[0]:.1f}; {platform.freedesktop_os_release()['PRETTY_NAME']}, "
            f"g++ {output('g++', '-dumpfullversion')} {flags}, {output('gdalinfo', '--version').split(',')[0]}; "
            f"commit {commit()}.")


def print_row(what, ours, peer, theirs, goal):
    sense, limit = goal if isinstance(goal, tuple) else (AT_LEAST, goal)
    ratio = theirs / ours if sense == AT_LEAST else ours / theirs
    met = ratio >= limit if sense == AT_LEAST else ratio <= limit
    verdict = "" if met else f"missed by {abs(ratio - limit) / limit:.0%}"
    print(f"| {what} | {readable(ours)} | {peer} | {readable(theirs)} | {ratio:.3g} | "
          f"{sense} {limit} | {verdict} |", flush=True)


def readable(seconds):
    for unit, size in (("s", 1), ("ms", 1e-3), ("µs", 1e-6)):
        if seconds >= size:
            return f"{seconds / size:.3g} {unit}"
    return f"{seconds / 1e-9:.3g} ns"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--runs", type=int, default=9, help="of each variant (default 9)")
    parser.add_argument("--folder", default="/dev/shm", help="for files (default /dev/shm)")
    parser.add_argument("--side", type=int, default=10000, help="of whole scenes, pixels")
    parser.add_argument("--scenes", action="store_true", help="only whole scenes, file to file")
    parser.add_argument("--products", default=os.environ.get("RF_SAR_PRODUCTS"),
                        help="metadata of real products; without it opening is left out")
    parser.add_argument("--drivers", action="store_true", help="only beside GDAL's own drivers")
    options = parser.parse_args()
    print(machine() + "\n", flush=True)
    print("| | ours | peer | | ratio | goal | |\n|---|---|---|---|---|---|---|", flush=True)
    groups = []
    if not options.scenes and not options.drivers:
        groups = [KERNELS, DETECTED, COMPLEX, GEOLOCATION]
    if groups and options.products:
        groups += [BINDING, OPENING]
    for executable, pattern, rows in groups:
        found = costs(executable, pattern, options)
        for what, ours, peer, theirs, goal in rows:
            if ours in found and theirs in found:
                print_row(what, found[ours], peer, found[theirs], goal)
            else:
                print(f"| {what} | not on this machine | | | | | |", flush=True)
    if options.products and not options.scenes:
        for row in gdal_open_bench.measure(options.products, options.folder, options.runs):
            print_row(*row)
    if not options.scenes:
        if driver_bench.there():
            for row in driver_bench.measure(options.folder, options.runs, options.side):
                print_row(*row)
        else:
            print("| GDAL's RCM driver | not on this machine | | | | | |", flush=True)
    if not options.drivers:
        for row in scene_bench.measure(options.folder, options.runs, options.side):
            print_row(*row)


if __name__ == "__main__":
    main()
