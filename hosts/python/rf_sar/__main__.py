# SPDX-License-Identifier: MIT
"""python3 -m rf_sar report FILE [-o report.html]"""

import argparse
import sys

from . import Error, report


def main():
    parser = argparse.ArgumentParser(prog="python3 -m rf_sar")
    verbs = parser.add_subparsers(required=True, metavar="VERB")
    page = verbs.add_parser("report", help="write a page about a product, HTML in one file",
                            description="Writes a page about a product, HTML in one file.")
    page.add_argument("FILE", help="product, as rfsar takes it")
    page.add_argument("-o", "--output", default="report.html", help="file to write")
    page.add_argument("--force", action="store_true", help="replace an existing file")
    options = parser.parse_args()
    try:
        report(options.FILE, options.output, options.force)
    except (Error, OSError) as error:
        sys.exit(f"rf_sar: {error}")


if __name__ == "__main__":
    main()
