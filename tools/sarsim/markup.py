# SPDX-License-Identifier: MIT
"""Small XML and number writer shared by the two XML families."""
from xml.sax.saxutils import escape, quoteattr


def number(value):
    return f"{float(value):.15e}"


def numbers(values):
    return " ".join(number(v) for v in values)


def element(name, *content, **attributes):
    """An element: `content` is one text or number, or child elements. None children are left out.

    Attribute names are written as given, with a trailing underscore removed.
    """
    return name, [c for c in content if c is not None], attributes


def measure(name, value, units, **attributes):
    return element(name, number(value), **attributes, units=units)


def _lines(node, depth):
    name, content, attributes = node
    opening = "\t" * depth + "<" + name + "".join(
        f" {key.rstrip('_')}={quoteattr(str(value))}" for key, value in attributes.items())
    if not content:
        return [opening + "/>"]
    if not isinstance(content[0], tuple):
        text = content[0]
        text = str(text).lower() if isinstance(text, bool) else escape(str(text))
        return [f"{opening}>{text}</{name}>"]
    lines = [opening + ">"]
    for child in content:
        lines += _lines(child, depth + 1)
    return lines + ["\t" * depth + f"</{name}>"]


def document(root, crlf=False, preamble=()):
    """UTF-8 bytes of a whole document."""
    lines = ['<?xml version="1.0" encoding="UTF-8" standalone="yes"?>', *preamble]
    return ("\r\n" if crlf else "\n").join(lines + _lines(root, 0) + [""]).encode()
