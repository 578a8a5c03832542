# SPDX-License-Identifier: MIT
"""Every command that a document shows is run, or listed here with the reason why not."""

import os
import pathlib
import re
import subprocess
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from products import (REAL_PRODUCTS, RFSAR, ROOT, ProductCase, rfsar_json,  # noqa: E402
                      shown_in_documents)

BUILD = pathlib.Path(os.environ.get("RF_SAR_BUILD", ROOT / "build"))
DOCUMENTS = sorted([ROOT / "README.md", *(ROOT / "docs").rglob("*.md"),
                    ROOT / "CONTRIBUTING.md", ROOT / "SECURITY.md",
                    *(ROOT / folder / "README.md" for folder in
                      ("tools/sarsim", "bench", "platform", "packaging"))])

PACKAGE = "tools/test_package.sh"
TRIAL = "debian/tests/opens-products"
ON_DEBIAN = "tools/test_on_debian.sh"
INSTALL = "tests/cli/install_test.py"
NOT_RUN = {  # how a command begins: (why it is not run here, a file that holds what is run instead)
    "./demo.sh": ("installs packages and builds; what it shows are commands of the README", None),
    "./test.sh": ("runs this test", None),
    "cmake --workflow": ("runs this test", None),
    "cmake --preset install": ("a build of its own", ON_DEBIAN),
    "cmake --install": ("installs the build that is tested", INSTALL),
    "ctest --preset": ("runs this test, or others", None),
    "tools/install_packages.sh": ("installs packages", ON_DEBIAN),
    "dpkg-buildpackage": ("a build of its own", PACKAGE),
    "sudo apt install": ("installs on this machine", PACKAGE),
    "rfsar doctor": ("is for what has been installed", TRIAL),
    "sudo tools/test_package.sh": ("needs root, a mirror of Debian and minutes", None),
    "sudo tools/test_on_debian.sh": ("needs root, a mirror of Debian and minutes", None),
    "sudo tools/compare_gdalinfo.sh": ("needs root, a mirror of Debian and minutes", None),
    "tools/lint.sh": ("takes minutes", None),
    "tools/fuzz.sh": ("runs for hours", None),
    "rfsar batch stac FOLDER --into items --slurm": ("needs a cluster",
                                                     "tests/archives/slurm_test.py"),
    "tools/archive_trial.sh": ("takes many minutes", None),
    "./host": ("the document shows its source; needs the installed plug-in", INSTALL),
    "build/bin/pixel_kernel_check": ("every pair of 16-bit parts takes ten minutes", None),
}
INSTEAD = {"cmake --preset install": "cmake --build --preset install",
           "cmake --install": '"--install"', "tools/install_packages.sh": "tools/install_packages.sh",
           "dpkg-buildpackage": "dpkg-buildpackage -us -uc", "sudo apt install": "apt-get install",
           "rfsar doctor": "rfsar doctor", "./host": "host.c",
           "rfsar batch stac FOLDER --into items --slurm": '"--slurm"'}
KEPT = ("catalogue.gpkg", "points.txt")  # what later commands read
SHORTER = {"_bench": "--benchmark_list_tests=true", "ratios.py": "--scenes --side 400 --runs 1"}

PROGRAM = re.compile(r"(\(cd |export |echo |sudo |cmake |ctest |dpkg-\w+ |python3 |rfsar |gdal\w+ |"
                     r"(\./|build/bin/|/usr/bin/)\S|(tools|bench)/\S+\.sh)")
ASSIGNMENT = re.compile(r"(\w+=\S* )*")


def is_command(text):
    return bool(PROGRAM.match(ASSIGNMENT.sub("", text, count=1)))


def commands_of(document):
    """Lines of fenced and indented blocks, and code between lines, that begin with a program."""
    text = document.read_text("utf-8")
    found = []
    for language, block in re.findall(r"^```(\w*)\n(.*?)^```", text, re.S | re.M):
        if language in ("", "sh"):
            found += block.splitlines()
    text = re.sub(r"^```.*?^```\n", "", text, flags=re.S | re.M)
    found += re.findall(r"^    (\S.*)$", text, re.M)
    text = re.sub(r"^    \S.*$", "", text, flags=re.M)
    found += [re.sub(r"\s+", " ", span) for span in re.findall(r"`([^`]+)`", text)
              if not re.fullmatch(r"rfsar \w+", span)]  # the name of a verb
    commands = [re.sub(r"\s+# .*", "", line).strip() for line in found]
    return [command for command in commands if is_command(command)]


class Commands(ProductCase):
    def setUp(self):
        super().setUp()
        self.product = self.make("rcm", lines=120, samples=120, name="sample")
        self.work = self.product.opened.parent  # where product.xml is, as a reader would stand
        for name, target in (("build", BUILD), ("tools", ROOT / "tools"),
                             ("bench", ROOT / "bench"), ("tests", ROOT / "tests")):
            (self.work / name).symlink_to(target)
        (self.work / "recipe.json").write_text('{"family": "rcm", "lines": 40, "samples": 40}')
        programs = self.folder / "programs"
        programs.mkdir()
        (programs / "rfsar").symlink_to(RFSAR)
        (programs / "python3").symlink_to(sys.executable)
        bursts = self.make("rcm", product_type="SLC", lines=300, samples=400, beams=2,
                           name="bursts").opened
        (self.work / "points.txt").write_text("11.5 48.1\n")
        self.path = f"{programs}:{os.environ['PATH']}"
        self.opened = {"bursts.md": str(bursts)}  # what FILE is, where product.xml does not serve
        self.make_elevations()

    def make_elevations(self):
        from osgeo import gdal
        gdal.UseExceptions()
        lon, lat = map(float, self.product.truth["recipe"]["centre"].split(","))
        dem = gdal.GetDriverByName("GTiff").Create(str(self.work / "dem.tif"), 20, 20, 1,
                                                   gdal.GDT_Float32)
        dem.SetGeoTransform([lon - 0.1, 0.01, 0, lat + 0.1, 0, -0.01])
        dem.SetProjection('GEOGCS["WGS 84",DATUM["WGS_1984",SPHEROID["WGS 84",6378137,'
                          '298.257223563]],PRIMEM["Greenwich",0],UNIT["degree",0.0174532925199]]')
        dem.GetRasterBand(1).Fill(120)

    def filled_in(self, command, file="product.xml"):
        for old, new in (("--recipe FILE.json", "--recipe recipe.json"), ("FILE...", "FILE"),
                         ("FILE", f"'{file}'"), ("FOLDER", "."), ("OUTDIR", "made"), ("FAMILY", "rcm"),
                         ("[options]", ""), ("VERB", "info"), ("/dev/shm", "."),
                         ("RF_SAR_PRODUCTS=...", f"RF_SAR_PRODUCTS={REAL_PRODUCTS}")):
            command = command.replace(old, new)
        for name, option in SHORTER.items():
            if re.search(rf"{name}( |$)", command):
                command += " " + option
        return command

    def run_here(self, exported, command, file="product.xml"):
        files = {p: p.stat().st_mtime_ns for p in self.work.iterdir()}
        environment = {k: v for k, v in os.environ.items() if k != "GDAL_DRIVER_PATH"}
        done = subprocess.run(["bash", "-ec", "\n".join([*exported, self.filled_in(command, file)])],
                              cwd=self.work, env={**environment, "PATH": self.path}, text=True,
                              capture_output=True, timeout=300, check=False)
        self.assertEqual(done.returncode, 0, done.stderr)
        written = [p for p in self.work.iterdir() if files.get(p) != p.stat().st_mtime_ns]
        self.assertTrue(done.stdout.strip() or any(p.stat().st_size for p in written),
                        "prints and writes nothing")
        for name in re.findall(r" -o (\S+)", command):
            self.assertIn(self.work / name, written)
        for file in written:  # what was made does not stand in the way of the next command
            if file.is_file() and file.name not in KEPT:
                file.unlink()

    def test_each_is_run_or_has_a_reason(self):
        seen, listed = set(), set()
        for document in DOCUMENTS:
            exported = []
            for command in commands_of(document):
                reason = next((each for each in NOT_RUN if command.startswith(each)), None)
                listed.add(reason)
                if "RF_SAR_PRODUCTS=..." in command and not REAL_PRODUCTS.exists():
                    continue  # times real products, which are not here
                if command.startswith("export "):
                    exported.append(command)
                elif not reason and (command, tuple(exported)) not in seen:
                    seen.add((command, tuple(exported)))
                    with self.subTest(document=document.name, command=command):
                        self.run_here(exported, command,
                                      self.opened.get(document.name, "product.xml"))
        self.assertGreater(len(seen), 25)  # the documents have been understood
        self.assertEqual(listed - {None}, set(NOT_RUN), "listed, but no document shows it")

    def test_what_is_not_run_here_is_run_where_the_list_says(self):
        for begin, (_, file) in NOT_RUN.items():
            if file:
                self.assertIn(INSTEAD[begin], (ROOT / file).read_text("utf-8"), begin)

    def test_the_examples_of_a_new_product_are_those_that_are_tested(self):
        document = (ROOT / "docs/adding-a-product.md").read_text("utf-8")
        self.assertEqual(re.findall(r"```cpp\n(.*?)```", document, re.S),
                         [shown_in_documents(ROOT / "tests" / file)
                          for file in ("rf_sar/example_reader.h", "hosts/example_family.h")])

    def test_the_example_of_the_simulator_in_python(self):
        text = (ROOT / "tools/sarsim/README.md").read_text("utf-8")
        example = re.search(r"^    import sarsim\n(?:    .*\n)+", text, re.M)[0]
        example = re.sub("^    ", "", example, flags=re.M).replace("/tmp/out", "made")
        done = subprocess.run([sys.executable, "-c", example + "print(product.opened)"],
                              cwd=self.work, env={**os.environ, "PYTHONPATH": "tools"}, text=True,
                              capture_output=True, check=False)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertTrue((self.work / done.stdout.strip()).is_file())


class Table(ProductCase):
    def test_each_type_of_the_readme_opens_with_the_layers_it_promises(self):
        text = (ROOT / "README.md").read_text("utf-8").split("## What opens")[1]
        rows = re.findall(r"^\| (.*?) ?\|.*?\| ([A-Z, ]+) \| (.*?) \|$", text, re.M)
        families = {"RADARSAT-2": "radarsat2", "RADARSAT Constellation": "rcm",
                    "Capella": "capella-{}"}
        count, family = 0, None
        for name, types, promised in rows:
            family = families.get(name, family)
            for product_type in types.split(", "):
                with self.subTest(family=family, product_type=product_type):
                    made_as = {"GEC": "GEO"}.get(product_type, product_type).lower()
                    product = self.make(family.format(made_as), lines=16, samples=16,
                                        product_type=product_type, name=f"{family} {product_type}")
                    layers = [layer["name"].split("_")[2].lower()
                              for layer in rfsar_json("info", product.opened)["layers"]]
                    kinds = re.sub(r" by name.*", "", promised).split(", ")
                    poles = len(layers) // len(kinds)
                    self.assertEqual(layers, kinds * poles)
                    count += 1
        self.assertGreater(count, 15)


class Links(unittest.TestCase):
    def test_each_leads_to_a_file(self):
        for document in DOCUMENTS:
            text = re.sub(r"^```.*?^```", "", document.read_text("utf-8"), flags=re.S | re.M)
            for link in re.findall(r"\]\(([^)#]+)", text):
                with self.subTest(document=document.name, link=link):
                    self.assertTrue((document.parent / link).exists())


if __name__ == "__main__":
    unittest.main()
