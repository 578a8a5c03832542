#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks one construct: what its documents bind to, and, where a golden file is, the generated code.

    run_case.py DUMP GENERATED CASE [--accept]    --accept makes what is found the expectation
"""

import pathlib
import subprocess
import sys


def main():
    dump, generated, case = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
    documents = sorted(case.glob("*.xml"))
    found = {"expected.txt": subprocess.run([dump, *documents], stdout=subprocess.PIPE, text=True,
                                            check=True).stdout}
    for golden in case.glob("golden_*"):
        found[golden.name] = (generated / golden.name.removeprefix("golden_")).read_text()
    failed = False
    for name, text in found.items():
        if "--accept" in sys.argv:
            (case / name).write_text(text)
        elif text != (case / name).read_text():
            failed = True
            print(f"{case.name}/{name} expects something else than this:\n{text}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
