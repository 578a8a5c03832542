#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes the C++ classes of a schema model. Equal models give equal bytes.

    lmxgen.py MODEL.yaml OUT        writes OUT/NAMESPACE*.h and .cpp
    lmxgen.py MODEL.yaml OUT --list prints what it would write
"""

import argparse
import pathlib
import sys

import jinja2

sys.dont_write_bytecode = True  # what is installed belongs to the package

from model_file import ModelError  # noqa: E402
from schema_model import Model  # noqa: E402

CLASSES_PER_FILE = 12  # a few sources of equal size build on all cores


def chunks(model):
    size = CLASSES_PER_FILE
    return [model.classes[at : at + size] for at in range(0, len(model.classes), size)]


def outputs(model):
    """File name, template and the classes it is about."""
    name = model.namespace
    yield f"{name}.h", "namespace.h.j2", model.classes
    yield f"{name}_types.h", "types.h.j2", []
    yield f"{name}_types.cpp", "types.cpp.j2", []
    for number, classes in enumerate(chunks(model), 1):
        yield f"{name}_{number}.cpp", "classes.cpp.j2", classes


def quoted(text):
    """A C++ string literal."""
    escaped = text.replace("\\", "\\\\").replace('"', '\\"')
    return '"' + "".join(c if c >= " " else f"\\{ord(c):03o}" for c in escaped) + '"'


def main():
    options = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    options.add_argument("model", type=pathlib.Path)
    options.add_argument("out", type=pathlib.Path)
    options.add_argument("--list", action="store_true", help="only print the file names")
    arguments = options.parse_args()

    try:
        model = Model(arguments.model)
        enumerators = model.enumerators()
    except ModelError as error:
        sys.exit(f"{arguments.model}:{error.line}: {error}")
    except OSError as error:
        sys.exit(f"{arguments.model}: {error.strerror}")
    templates = jinja2.Environment(
        loader=jinja2.FileSystemLoader(pathlib.Path(__file__).parent / "templates"),
        undefined=jinja2.StrictUndefined,
        trim_blocks=True,
        lstrip_blocks=True,
        keep_trailing_newline=True,
    )
    templates.filters["quoted"] = quoted
    for name, template, classes in outputs(model):
        path = arguments.out / name
        if arguments.list:
            print(path)
            continue
        text = templates.get_template(template).render(
            model=model, classes=classes, enumerators=enumerators, source=arguments.model.name
        )
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
