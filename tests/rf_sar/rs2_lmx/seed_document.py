#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""A small document of a schema model: every member occurs, each with a plain value of its type.

    seed_document.py LMXGEN MODEL OUT
"""

import sys
import xml.etree.ElementTree as ET

SAMPLES = {
    "string": "some text",
    "token": "some text",
    "anyURI": "folder/file.xml",
    "boolean": "true",
    "double": "0.5",
    "time": "2020-02-29T12:34:56.123456789Z",
    "integer": "7",
    "uint8": "7",
    "uint16": "7",
    "uint32": "7",
    "uint64": "7",
}
PATTERN_SAMPLES = {"identifier": "A_1.b-2", "nameWithBlanks": "A_1 b", "path": "/A:1/b", "code": "W2"}
# The format asks for five of them, the model for one.
COUNTS = {"payloadCharacteristicsParameterFile": 5}


def value(model, simple, times=None):
    """times: how many items of a list."""
    if simple.items is not None:
        low, high = simple.items
        count = times or min(max(low, 2), high or 2)
        item = type(simple)(**{**vars(simple), "items": None})
        return " ".join([value(model, item)] * count)
    if simple.values:
        return next(iter(model.sets[simple.values]))
    return PATTERN_SAMPLES.get(simple.pattern, SAMPLES[simple.base])


def count(member):
    low, high = member.occurs
    return COUNTS.get(member.name) or max(low, 1 if high == 1 else 2)


def fill(model, element, cls):
    for member in cls.members:
        if member.kind == "attribute":
            element.set(member.name, member.fixed or value(model, member.simple))
        elif member.kind == "text":
            element.text = value(model, member.simple)
        elif member.kind == "choice":
            add(model, element, member.child.members[0])
        else:
            for _ in range(count(member)):
                add(model, element, member)


def add(model, parent, member):
    element = ET.SubElement(parent, f"{{{model.uri}}}{member.name}")
    if member.child:
        fill(model, element, member.child)
    else:
        element.text = value(model, member.simple)


def seed(model):
    root = ET.Element(f"{{{model.uri}}}{model.root.name}")
    fill(model, root, model.root)
    return root


if __name__ == "__main__":
    sys.path.insert(0, sys.argv[1])
    from schema_model import Model

    described = Model(sys.argv[2])
    ET.register_namespace("", described.uri)
    ET.ElementTree(seed(described)).write(sys.argv[3], encoding="utf-8", xml_declaration=True)
