# SPDX-License-Identifier: MIT
"""The C++ code of docs/binding.md and docs/generator.md is built and run as it stands there."""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests/support"))
from products import for_others  # noqa: E402

PLUGIN = pathlib.Path(os.environ["RF_SAR_PLUGIN"])
SEED = os.environ["RS2_SEED_DOCUMENT"]
BINDING = os.environ["RS2_BINDING"]
MAIN = "\nint main(int, char** arguments) {\n    const char* path = arguments[1];\n"
# What the document declares to show it and does not use again.
UNUSED = ["-Wno-unused-variable", "-Wno-unused-but-set-variable"]


def blocks(document, language):
    text = (ROOT / "docs" / document).read_text("utf-8")
    return re.findall(rf"^```{language}\n(.*?)^```", text, re.S | re.M)


class Code(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def build_and_run(self, sources, includes, *arguments):
        program = self.folder / "program"
        build = subprocess.run(
            ["c++", "-std=c++20", "-Wall", "-Wextra", "-Werror", *UNUSED, "-O0", "-o", program,
             *sources, *(f"-I{each}" for each in includes), PLUGIN,
             PLUGIN.with_name("librf_platform.so"), f"-Wl,-rpath,{PLUGIN.parent}"],
            text=True, capture_output=True, check=False)
        self.assertEqual(build.returncode, 0, build.stderr)
        run = subprocess.run([program, *arguments], text=True, capture_output=True, check=False,
                             env=for_others())
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        return run.stdout

    def test_binding(self):
        includes, *parts = blocks("binding.md", "cpp")
        source = self.folder / "program.cpp"
        source.write_text(includes + MAIN + "\n".join(parts) + "\n}\n")
        (self.folder / "rf_sar").symlink_to(BINDING)  # as installed
        printed = self.build_and_run([source], [self.folder, ROOT / "platform"], SEED)
        self.assertEqual(printed, "7 lines, pixels of 0.5 m\n2 tie points\n")

    def test_generator(self):
        (model,), (source,) = blocks("generator.md", "yaml"), blocks("generator.md", "cpp")
        (self.folder / "model.yaml").write_text(model)
        (self.folder / "main.cpp").write_text(source)
        subprocess.run([sys.executable, ROOT / "tools/lmxgen/lmxgen.py", self.folder / "model.yaml",
                        self.folder], check=True)
        self.build_and_run(list(self.folder.glob("*.cpp")), [self.folder, ROOT / "platform"])

    def test_the_cmake_code_is_what_the_package_is_tested_with(self):
        (code,) = blocks("generator.md", "cmake")
        used = (ROOT / "tests/installed/CMakeLists.txt").read_text()
        for line in code.splitlines():
            self.assertIn(line, used)


if __name__ == "__main__":
    unittest.main()
