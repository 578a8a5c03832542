#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Gives every hand-written source the line that names its licence; --check lists those without.

A new source gets it by running this once more: what has the line stays as it is.
"""

import argparse
import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
LINE = "SPDX-License-Identifier: MIT"
FOLDERS = ("bench", "hosts", "platform", "rf_sar", "tests", "tools")
COMMENTS = {".cpp": "// {}", ".h": "// {}", ".inc": "// {}", ".c": "// {}", ".py": "# {}",
            ".sh": "# {}", ".j2": "{{# {} #}}"}


def sources():
    files = [*ROOT.glob("*.sh"), *(file for folder in FOLDERS for file in (ROOT / folder).rglob("*"))]
    return sorted(file for file in files if file.suffix in COMMENTS and file.is_file()
                  and not file.name.startswith("golden_"))  # what the generator wrote


def with_line(text, comment):
    """The line stands first, or behind the line that names the interpreter."""
    lines = text.splitlines(keepends=True)
    lines.insert(1 if text.startswith("#!") else 0, comment + "\n")
    return "".join(lines)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--check", action="store_true", help="change nothing; 1 where one lacks it")
    check = parser.parse_args().check
    without = []
    for file in sources():
        text = file.read_text("utf-8")
        comment = COMMENTS[file.suffix].format(LINE)
        if comment not in text.splitlines()[:2]:
            without.append(str(file.relative_to(ROOT)))
            if not check:
                file.write_text(with_line(text, comment), "utf-8")
    if check and without:
        print("\n".join(without))
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
