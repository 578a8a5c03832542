# SPDX-License-Identifier: MIT
"""Folders of many small products, cheaply: copies that differ in their ids and file times."""

import pathlib
import re
import shutil
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
import sarsim  # noqa: E402


class Copies:
    """Makes products in a folder; the simulator runs once a family."""

    def __init__(self, folder, families=("rcm", "radarsat2", "capella-grd"), **fields):
        self.folder = pathlib.Path(folder)
        templates = self.folder.parent / (self.folder.name + " templates")
        fields = {"lines": 40, "samples": 40, **fields}
        self.templates = [pathlib.Path(sarsim.make(
            sarsim.Recipe(family, name="CAPELLA_T" if "capella" in family else None, **fields),
            templates).folder) for family in families]

    def make(self, number, subfolder=""):
        """The number-th product, whose id is its own; returns the product file."""
        template = self.templates[number % len(self.templates)]
        folder = self.folder / subfolder / f"p{number:06}"
        name = template.name
        if not name.startswith("CAPELLA"):
            shutil.copytree(template, folder)
            product = next(folder.rglob("product.xml"))
            text = product.read_text("utf-8")
            text = re.sub(r"(<productId>)[^<]*", rf"\g<1>P{number:06}", text, count=1)
            product.write_text(text, "utf-8")
            return product
        folder.mkdir(parents=True)
        for file in template.iterdir():
            new = folder / file.name.replace("CAPELLA_T", f"CAPELLA_T{number:06}")
            if file.suffix == ".json":
                new.write_text(file.read_text("utf-8").replace("CAPELLA_T", f"CAPELLA_T{number:06}"),
                               "utf-8")
            else:
                shutil.copy(file, new)
        return folder / f"CAPELLA_T{number:06}.json"

    def make_all(self, count):
        return [self.make(number, f"{number // 1000}") for number in range(count)]


def results(folder):
    """What a batch has made: {name: bytes}; fails on files that are only parts."""
    files = {p.name: p.read_bytes() for p in pathlib.Path(folder).iterdir()
             if p.name not in ("batch.jsonl", ".batch.lock")}
    parts = [name for name in files if ".part-" in name or name.startswith(".")]
    assert not parts, parts
    return files
