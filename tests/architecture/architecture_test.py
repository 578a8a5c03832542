# SPDX-License-Identifier: MIT
"""Holds the house rules that a compiler does not: who may include what, and what is exported."""

import os
import pathlib
import re
import subprocess
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
LIBRARY = pathlib.Path(os.environ.get("RF_SAR_PLUGIN", ROOT / "build/lib/rf_sar.so"))

# What includes which of our folders: arrows point down.
MAY_INCLUDE = {
    "rf_sar/records": set(),
    "platform": {"records", "platform"},
    "rf_sar": {"records", "platform", "rf_sar.h"},
    "hosts/loader": {"records", "platform", "hosts/loader", "rf_sar.h"},
    "hosts": {"records", "platform", "hosts", "hosts/loader"},
}
PLATFORM_FOLDERS = {p.name for p in (ROOT / "platform").iterdir() if p.is_dir()}
PLATFORM_HEADERS = {p.name for p in (ROOT / "platform").glob("*.h")}

# One door per foreign library: the folders that may include its headers.
DOORS = {
    r"(gdal|ogr|cpl)[a-z_]*\.h": ("platform/kimg", "platform/kfio", "hosts/gdal"),
    r"tiff[a-z]*\.h": ("platform/kimg",),
    r"proj(_[a-z]+)?\.h": ("platform/kprj",),
    r"expat\.h": ("platform/lmx", "platform/kfio"),
    r"libxml/.*|re2/.*|boost/multiprecision/.*": ("platform/lmx",),
    r"json/.*\.h|jsoncpp/.*": ("platform/jsonlib",),
    r"dlfcn\.h": ("hosts/loader",),
    r"nlohmann/.*": ("hosts",),
    r"CLI/.*": ("hosts/rfsar",),
    r"Eigen/.*": ("platform/sarm", "platform/kxfr"),
    r"hwy/.*": ("rf_sar/pixel_kernels",),
}


# Where the hosts name families to users: help texts, and the look for GDAL's own driver.
TEXTS_FOR_USERS = {"hosts/rfsar/verbs/application.cpp", "hosts/rfsar/verbs/doctor.cpp",
                   "hosts/gdal/driver.cpp"}
FAMILY = re.compile(r"^FAMILY\((\w+)\)", re.M)


def sources(*folders):
    for folder in folders:
        for path in sorted((ROOT / folder).rglob("*")):
            if path.suffix in (".h", ".cpp", ".inc"):
                yield path.relative_to(ROOT).as_posix(), path.read_text(encoding="utf-8")


def includes(text):
    return re.findall(r'^\s*#\s*include\s+([<"])([^>"]+)', text, re.M)


def home_of(header):
    """The folder of ours that a quoted header comes from, or None."""
    first = header.split("/")[0]
    if header == "rf_sar.h":
        return "rf_sar.h"
    if first == "records":
        return "records"
    if first in PLATFORM_FOLDERS or header in PLATFORM_HEADERS:
        return "platform"
    if (ROOT / "hosts" / header).exists():
        return "hosts/loader" if first == "loader" else "hosts"
    return None


def exports(library):
    printed = subprocess.run(["nm", "-D", "--defined-only", "-C", str(library)], check=True,
                             capture_output=True, text=True).stdout
    return sorted({line.split(" ", 2)[2] for line in printed.splitlines()})


def project_version():
    return re.search(r"project\(rf_sar VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text())[1]


class Architecture(unittest.TestCase):
    def test_arrows_point_down(self):
        for name, text in sources("platform", "rf_sar", "hosts"):
            layer = max((k for k in MAY_INCLUDE if name.startswith(k + "/")), key=len)
            for quote, header in includes(text):
                home = home_of(header)
                if quote == '"' and home:
                    self.assertIn(home, MAY_INCLUDE[layer], f"{name} includes {header}")

    def test_platform_modules_use_only_those_before_them(self):
        table = (ROOT / "platform/README.md").read_text(encoding="utf-8")
        order = re.findall(r"^\| `(\w+)` \|", table, re.M)
        self.assertEqual(sorted(order), sorted(PLATFORM_FOLDERS), "the table lists every module once")
        for name, text in sources("platform"):
            module = name.split("/")[1]
            for _, header in includes(text):
                used = header.split("/")[0]
                if module in order and used in order:
                    self.assertLessEqual(order.index(used), order.index(module),
                                         f"{name} includes {header}")

    def test_one_door_per_library(self):
        for name, text in sources("platform", "rf_sar", "hosts"):
            for _, header in includes(text):
                for pattern, doors in DOORS.items():
                    if re.fullmatch(pattern, header):
                        self.assertTrue(name.startswith(doors), f"{name} includes {header}")
        # and no foreign type in a header that others include
        for name, text in sources("platform/kimg", "platform/kfio", "platform/lmx",
                                  "platform/jsonlib"):
            if name.endswith(".h") and not re.search(r"_session|dataset_pool|/layer\.h", name):
                self.assertNotRegex(text, r"GDAL[A-Z]\w*H\b|xmlNode|Json::", name)

    def test_families_are_known_in_their_folders_alone(self):
        """Outside hosts/product/families nothing names a family, or a path of its documents."""
        folder = "hosts/product/families/"
        families = [name for name in FAMILY.findall((ROOT / folder / "registered.inc").read_text())
                    if (ROOT / folder / name).is_dir()]
        self.assertGreaterEqual(len(families), 3)
        named = re.compile("|".join([*families, r"radarsat", r"\brs2\b"]), re.I)
        paths = set()  # what the families' files quote and other words do not look like
        for name, text in sources(folder.rstrip("/")):
            paths |= {quoted for quoted in re.findall(r'"([^"\\\n ]+)"', text)
                      if re.fullmatch(r"(<xmlattr>)?[a-z][\w:]*(/\w[\w:<>]*)+/?|"
                                      r"[a-z]+[A-Z]\w{8,}|[a-z]+_[a-z_]{6,}|_extended", quoted)
                      and not quoted.endswith(".h")}
        self.assertIn("imageAttributes", paths)
        self.assertIn("collect/start_timestamp", paths)
        for name, text in sources("hosts"):
            if name.startswith(folder):
                continue
            if name not in TEXTS_FOR_USERS:
                self.assertIsNone(named.search(text), f"{name} names a family")
            for path in paths:
                self.assertNotIn(f'"{path}"', text, f"{name} knows a family's document")

    def test_exports_are_those_reviewed(self):
        listed = (ROOT / "tests/exported_symbols.txt").read_text().splitlines()
        self.assertEqual(exports(LIBRARY), listed,
                         "update tests/exported_symbols.txt and have it reviewed")
        self.assertEqual(exports(LIBRARY.with_name("gdal_RF_SAR.so")),
                         ["GDALRegisterMe", "GDALRegister_RF_SAR"])

    def test_what_a_release_exported_stays(self):
        """Entry points of C for ever, C++ within a minor version, whose soname promises it."""
        version = project_version()
        now = {*exports(LIBRARY), *exports(LIBRARY.with_name("librf_platform.so"))}
        releases = sorted((ROOT / "tests/released_symbols").glob("*.txt"))
        self.assertTrue(releases)
        for release in releases:
            promised = release.read_text().splitlines()
            if release.stem.split(".")[:2] != version.split(".")[:2]:
                promised = [name for name in promised if name.startswith("rf_")]
            self.assertEqual(sorted(set(promised) - now), [], f"{release.stem} exported these")

    def test_the_debian_package_is_built_with_the_one_list_of_packages(self):
        listed = subprocess.run([ROOT / "tools/install_packages.sh", "--list", "build"], check=True,
                                capture_output=True, text=True).stdout.split()
        control = (ROOT / "debian/control").read_text()
        needed = re.search(r"^Build-Depends:\n((?: .*\n)+)", control, re.M)[1]
        taken_for_granted = {"build-essential", "ccache"}  # by Debian; by who builds often
        for_python = {"pybind11-dev", "python3-dev"}  # of the group python
        self.assertEqual(set(re.findall(r"^ ([a-z0-9-]+),", needed, re.M))
                         - {"debhelper-compat", "dh-python"},
                         set(listed) - taken_for_granted | for_python)
        self.assertTrue((ROOT / "debian/changelog").read_text().startswith(
            f"rf-sar ({project_version()}) "))


if __name__ == "__main__":
    unittest.main()
