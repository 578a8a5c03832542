#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What the fuzzers' inputs reach: builds them with clang's coverage, replays the seeds, the kept
corpus and tests/broken, and prints the lines reached of each part; --files: of each file too."""

import fnmatch
import json
import os
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
BUILD = ROOT / "build-fuzz-coverage"
FUZZERS = {"rs2": "product", "rcm": "product", "capella": "product", "verbs": "product",
           "driver": "product", "zip": "product"}
KINDS = ("text", "kmif", "transform", "trees", "rs2_binding", "rs2_lut", "archive", *FUZZERS)
PARTS = {
    "parsers": ("platform/kfio/*", "platform/jsonlib/*", "platform/lmx/*", "platform/kmif/*",
                "platform/ktxt/*", "platform/radartime/*", "rf_sar/*metadata*",
                "rf_sar/*readnodes*", "rf_sar/record_parts*", "rf_sar/rs2_product*",
                "hosts/product/families/*"),
    "tables": ("hosts/product/radiometry/*", "rf_sar/*calib*"),
    "image reading": ("platform/kimg/layer*", "platform/kimg/dataset_*", "platform/kimg/pixel_copy*",
                      "platform/kimg/packed_words*", "platform/kimg/image_extent*",
                      "platform/kimg/gdal_session*", "rf_sar/*layer*", "rf_sar/pixel_*",
                      "rf_sar/sample_*", "hosts/product/images/*"),
    "plug-in": ("rf_sar/*.cpp", "rf_sar/*.h"),
    "hosts: library, loader": ("hosts/product/*", "hosts/loader/*"),
    "hosts: driver": ("hosts/gdal/*",),
    "hosts: verbs of one product": ("hosts/rfsar/verbs/*", "hosts/rfsar/output/*",
                                    "hosts/rfsar/pictures/*", "hosts/rfsar/terrain/*"),
    "hosts: batches, catalogues": ("hosts/rfsar/batch/*",),
    "hosts": ("hosts/*",),
}


def run(*command, **extra):
    subprocess.run(command, check=True, cwd=ROOT, **extra)


def folders_of(kind):
    places = (BUILD / "tests/fuzz/corpus", ROOT / "tests/broken")
    return [str(place / kind) for place in places if (place / kind).is_dir()]


def replay(kind):
    environment = {**os.environ, "LLVM_PROFILE_FILE": str(BUILD / f"coverage/{kind}-%m.profraw")}
    run(BUILD / f"bin/fuzz_{FUZZERS.get(kind, kind)}", "-runs=0", "-rss_limit_mb=4096",
        *folders_of(kind), env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def summary():
    profile = BUILD / "coverage/all.profdata"
    run("llvm-profdata", "merge", "-sparse", "-o", profile,
        *(BUILD / "coverage").glob("*.profraw"))
    programs = sorted({BUILD / f"bin/fuzz_{FUZZERS.get(kind, kind)}" for kind in KINDS})
    objects = [*programs, BUILD / "lib/librf_platform.so", BUILD / "lib/rf_sar.so"]
    exported = subprocess.run(
        ["llvm-cov", "export", "-summary-only", f"-instr-profile={profile}", str(objects[0]),
         *(f"-object={each}" for each in objects[1:])], check=True, capture_output=True).stdout
    named = {os.path.relpath(file["filename"], ROOT): file["summary"]["lines"]
             for file in json.loads(exported)["data"][0]["files"]}
    return {name: lines for name, lines in named.items() if not name.startswith(("..", "build"))}


def main():
    run("cmake", "--preset", "fuzz-coverage", stdout=subprocess.DEVNULL)
    run("cmake", "--build", "--preset", "fuzz-coverage")
    (BUILD / "coverage").mkdir(exist_ok=True)
    for old in (BUILD / "coverage").glob("*.profraw"):
        old.unlink()
    for kind in KINDS:
        replay(kind)
    files = summary()
    print("| Part | Lines | Reached |\n|---|---|---|")
    for part, patterns in PARTS.items():
        lines = [counts for name, counts in files.items()
                 if any(fnmatch.fnmatch(name, pattern) for pattern in patterns)]
        count, covered = (sum(each[key] for each in lines) for key in ("count", "covered"))
        print(f"| {part} | {count} | {100 * covered / max(count, 1):.1f} % |")
    if "--files" in sys.argv:
        for name, counts in sorted(files.items()):
            print(f"{counts['percent']:6.1f} % of {counts['count']:5d} lines  {name}")


if __name__ == "__main__":
    main()
