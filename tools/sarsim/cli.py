# SPDX-License-Identifier: MIT
"""The command line: one option per recipe field."""
import argparse
import dataclasses
import json
import sys
import typing

from . import recipe as recipes
from .product import make


def _parser():
    parser = argparse.ArgumentParser(
        prog="sarsim", description="Makes a whole simulated SAR product, and its truth beside it: "
        "OUTDIR/NAME/... and OUTDIR/NAME.truth.json. Prints the file to open.",
        epilog="What is not given takes the family's default; the truth file states the complete "
        "recipe.")
    parser.add_argument("family", nargs="?", choices=recipes.FAMILIES, metavar="FAMILY",
                        help="one of " + ", ".join(recipes.FAMILIES))
    parser.add_argument("outdir", metavar="OUTDIR", help="folder to write into (made if missing)")
    parser.add_argument("--recipe", metavar="FILE.json",
                        help="fields from a JSON object; options given here win over it")
    for f in dataclasses.fields(recipes.Recipe):
        if f.name == "family" or f.metadata.get("hidden"):
            continue
        _add(parser, f)
    return parser


def _add(parser, f):
    meta = f.metadata
    flags = meta.get("flags", ("--" + f.name.replace("_", "-"),))
    common = dict(dest=f.name, default=argparse.SUPPRESS)
    if "off" in meta:
        default = flags[0] if f.default else meta["off"]
        parser.add_argument(*flags, action="store_true", help=f"{meta['help']} (default {default})",
                            **common)
        parser.add_argument(meta["off"], action="store_false", help="the contrary", **common)
        return
    kind = meta.get("kind") or next(
        (t for t in (typing.get_args(f.type) or (f.type,)) if t in (int, float, str)), str)
    text = meta["help"] + (f" (default {f.default})" if f.default not in (None, "") else "")
    parser.add_argument(*flags, type=kind, choices=meta.get("choices"), help=text,
                        metavar=None if meta.get("choices") else f.name.upper(), **common)


def _protect_negative(arguments):
    """`--centre -71,42`: argparse takes a leading minus for an option, so join with `=`."""
    joined, pending = [], None
    for argument in arguments:
        if pending and argument[:1] == "-" and argument[1:2] in set("0123456789."):
            joined[-1] = pending + "=" + argument
            pending = None
            continue
        joined.append(argument)
        pending = argument if argument.startswith("--") and "=" not in argument else None
    return joined


def main(arguments=None):
    """0 done, 1 failed, 2 wrong usage."""
    parser = _parser()
    given = vars(parser.parse_args(_protect_negative(arguments or sys.argv[1:])))
    outdir, path = given.pop("outdir"), given.pop("recipe")
    if given["family"] is None:
        del given["family"]
    try:
        if path:
            recipe = recipes.from_json(path, **given)
        elif "family" in given:
            recipe = recipes.Recipe(**given)
        else:
            parser.error("give a FAMILY or --recipe")
        product = make(recipe, outdir)
    except recipes.RecipeError as error:
        print(f"sarsim: {error}", file=sys.stderr)
        return 2
    except (OSError, ValueError, RuntimeError, json.JSONDecodeError) as error:
        print(f"sarsim: {error}", file=sys.stderr)
        return 1
    print(product.opened)
    return 0
