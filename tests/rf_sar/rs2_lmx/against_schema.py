#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Compares the binding's verdict with that of a schema validator (xmllint) on systematic mutations,
and takes a real product through reading and writing.

    against_schema.py LMXGEN MODEL TOOL PRODUCTS    exit 77: no schemas there, nothing compared

The schemas come with real products; the mutated documents are made here from the model.
"""

import copy
import glob
import os
import re
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ET
import zipfile

ALIENS = ["", " ", "x", "-1", "0", "1.5", "  7 ", "+3", "1e400", "NaN", "INF", "-INF", "inf", "0x10",
          "70000", "4294967296", "18446744073709551616", "10001", "-1000.5", "101", "61", "1,5",
          "true", "TRUE", "hh", "Upper_50short", "W2 W2", "toolongbeam", "A" * 257, "a/b:c", "ä"]
TIMES = ["2020-02-29T12:34:56", "2019-02-29T12:34:56Z", "2020-02-29T12:34:56.Z", "2020-13-01T00:00:00Z",
         "2020-02-29T24:00:00Z", "2020-02-29T24:00:01Z", "2020-02-29T23:59:60Z", "2020-02-29 12:34:56Z",
         "2020-02-29T12:34:56+00:00", "0000-01-01T00:00:00Z", "2020-2-29T12:34:56Z",
         " 2020-02-29T12:34:56Z ", "12020-02-29T12:34:56Z", "2020-02-29T12:60:00Z"]


BATCH = 500  # documents on disk at a time


def exemplars(root):
    """(parent, index) of the first element of every path."""
    seen, stack = set(), [(root, "")]
    while stack:
        parent, path = stack.pop()
        for index, child in enumerate(parent):
            here = f"{path}/{child.tag}"
            if here not in seen:
                seen.add(here)
                yield parent, index
                stack.append((child, here))


def local(element):
    return element.tag.rsplit("}")[-1]


def text_of(root):
    return ET.tostring(root, encoding="unicode")


def mutations(root):
    """(name, document) pairs; the name ends in the element and what was done to it."""
    for parent, index in exemplars(root):
        child, original = parent[index], list(parent)
        path = f"{local(parent)}/{local(child)}"

        def rebuilt(children, what, parent=parent, original=original, path=path):
            parent[:] = children
            yield f"{path}: {what}", text_of(root)
            parent[:] = original

        others = original[:index] + original[index + 1 :]
        yield from rebuilt(others, "dropped")
        yield from rebuilt([each for each in original if each.tag != child.tag], "all dropped")
        yield from rebuilt(original[: index + 1] + original[index:], "repeated")
        yield from rebuilt(original[:index] + [child] * 12 + others[index:], "twelve times")
        if index + 1 < len(original):
            swapped = others[: index + 1] + [child] + others[index + 1 :]
            yield from rebuilt(swapped, "swapped with the next")
        stranger = copy.deepcopy(child)
        stranger.tag += "X"
        yield from rebuilt(original[:index] + [stranger] + original[index:], "after a stranger")
        homeless = copy.deepcopy(child)
        homeless.tag = local(child)
        yield from rebuilt(original[:index] + [homeless] + original[index + 1 :], "without namespace")
        yield from of_element(root, child, path)


def of_element(root, element, path):
    kept = element.text
    texts = [] if len(element) else ALIENS + (TIMES if re.match(r"\d{4}-", kept) else [])
    if not len(element):
        texts = texts + [f"{kept} ", f" {kept}", f"{kept} {kept}", " ".join([kept] * 300)]
    else:
        texts = ["stray text"]
    for text in texts:
        element.text = text
        yield f"{path}: text {text[:24]!r}", text_of(root)
    element.text = kept
    for name in list(element.attrib):
        value = element.attrib[name]
        for wrong in ["", "x", "rad", "HH", value + " ", "W2 W3 W4", "toolongbeam"]:
            element.set(name, wrong)
            yield f"{path}: @{name} {wrong!r}", text_of(root)
        element.set(name, "doubled here")
        whole = text_of(root)
        once, twice = f'{name}="doubled here"', f'{name}="{value}" {name}="{value}"'
        yield f"{path}: @{name} doubled", whole.replace(once, twice)
        element.set(name, value)
        del element.attrib[name]
        yield f"{path}: @{name} dropped", text_of(root)
        element.set(name, value)
    for name in ["stranger", "{http://www.w3.org/2001/XMLSchema-instance}nil",
                 "{http://www.w3.org/2001/XMLSchema-instance}schemaLocation",
                 "{http://www.w3.org/XML/1998/namespace}space"]:
        element.set(name, "true false")
        yield f"{path}: @{local_name(name)} added", text_of(root)
        del element.attrib[name]


def local_name(name):
    return name.rsplit("}")[-1]


# Where the binding decides otherwise, on purpose: (what matches the mutation's name, who accepts).
DECIDED = [
    # One payload file is enough and there is no upper bound.
    (r"payloadCharacteristicsParameterFile: (dropped|repeated|twelve times)", "binding"),
    # The member has 8 bits, as has the zone itself.
    (r"/zone: text '(70000|10001|101|61)'", "schema"),
]
# Blanks around a number do not count and it may have a sign; the validator of older releases knows
# both for all integers but xsd:unsignedLong.
VALIDATOR = subprocess.run(["xmllint", "--version"], capture_output=True, text=True, check=True)
if int(re.search(r"version (\d+)", VALIDATOR.stderr + VALIDATOR.stdout)[1]) < 21500:
    DECIDED.append((r"/(numberOfInputDataGaps|gapSize|numberOfMissingLines|bitsPerSample|"
                    r"numberOfSamplesPerLine|numberOfLines|samplesPerEchoLine): "
                    r"text '(7 | 7|  7 |\+3)'", "binding"))


def schema_verdicts(schema, files):
    """xmllint's verdicts: True for valid."""
    found = subprocess.run(["xmllint", "--noout", "--nonet", "--schema", schema, *files],
                           stderr=subprocess.PIPE, text=True, check=False).stderr
    return [f"{each} validates\n" in found for each in files]


def binding_verdicts(tool, options, files):
    found = subprocess.run([tool, *options, *files], stdout=subprocess.PIPE, text=True, check=True)
    return [line.split(" ", 1) for line in found.stdout.splitlines()]


def batches(root, within):
    batch = [("as made", text_of(root))]
    for each in mutations(root):
        if within in each[0]:
            batch.append(each)
        if len(batch) == BATCH:
            yield batch
            batch = []
    yield batch


def compare(schema, tool, options, root, within, folder):
    """Prints every disagreement that is not decided. @return how many were compared, how many are
    wrong, and the rules that were met."""
    total, wrong, used = 0, 0, set()
    files = [os.path.join(folder, f"{number}.xml") for number in range(BATCH)]
    for batch in batches(root, within):
        part = files[: len(batch)]
        for file, (_, document) in zip(part, batch):
            with open(file, "w", encoding="utf-8") as out:
                out.write(document)
        verdicts = zip(schema_verdicts(schema, part), binding_verdicts(tool, options, part))
        for (name, _), (valid, (code, message)) in zip(batch, verdicts):
            total += 1
            if name == "as made" and not (valid and code == "0"):
                sys.exit(f"the unchanged document is refused: schema {valid}, binding {code} {message}")
            if valid == (code == "0"):
                continue
            rule = next((each for each in DECIDED if re.search(each[0], name)), None)
            if rule and (rule[1] == "schema") == valid:
                used.add(rule)
                continue
            wrong += 1
            print(f"{name}: schema {'accepts' if valid else 'refuses'}, binding {code} {message}")
    return total, wrong, used


def words(path):
    """All that a document says, in order: names, and values with numbers as numbers."""
    for element in ET.parse(path).iter():
        yield local(element)
        hints = "{http://www.w3.org/2001/XMLSchema-instance}"
        for name, value in sorted(element.items()):
            if not name.startswith(hints):
                yield name, value
        for word in (element.text or "").split():
            try:
                yield float(word)
            except ValueError:
                yield word


def round_trip(schema, tool, options, source, folder):
    """Reads and writes a real file twice. @return what is wrong, or nothing"""
    first, second = (os.path.join(folder, name) for name in ("first.xml", "second.xml"))
    code = binding_verdicts(tool, [*options, "--write"], [source, first])[0][0]
    if code not in ("0", "19"):
        return f"does not bind: {code}"
    if list(words(source)) != list(words(first)):
        return "what is written differs from what was read"
    if not schema_verdicts(schema, [first])[0]:
        return "the validator refuses what is written"
    binding_verdicts(tool, [*options, "--write"], [first, second])
    with open(first, "rb") as one, open(second, "rb") as other:
        return None if one.read() == other.read() else "written twice, it differs"


def main():
    lmxgen, models, tool, products = sys.argv[1:]
    archives = glob.glob(os.path.join(products, "radarsat2", "*", "*.zip"))
    if not archives:
        print(f"no RADARSAT-2 product under '{products}': nothing to compare with")
        return 77
    sys.path[:0] = [lmxgen, os.path.dirname(__file__)]
    from schema_model import Model
    from seed_document import seed

    total, wrong, used = 0, 0, set()
    with tempfile.TemporaryDirectory() as folder:
        with zipfile.ZipFile(archives[0]) as archive:
            for each in archive.namelist():
                if re.search(r"\.xsd$|/(product|lut\w+)\.xml$", each):
                    with open(os.path.join(folder, os.path.basename(each)), "wb") as out:
                        out.write(archive.read(each))
        for name, options in [("rs2prod", []), ("rs2prod_lut", ["--lut"])]:
            model = Model(os.path.join(models, f"{name}.yaml"))
            schema = os.path.join(folder, f"rs2prod_{model.root.name}.xsd")
            root = seed(model)
            ET.register_namespace("p", model.uri)
            for source in glob.glob(os.path.join(folder, f"{model.root.name}*.xml")):
                if trouble := round_trip(schema, tool, options, source, folder):
                    wrong += 1
                    print(f"{os.path.basename(source)} of the real product: {trouble}")
            documents = [(root, "")]
            if any(each.is_choice for each in model.all_classes()):
                documents.append(second_alternative(model, copy.deepcopy(root)))
            for document, within in documents:
                compared, differ, decided = compare(schema, tool, options, document, within, folder)
                total, wrong, used = total + compared, wrong + differ, used | decided
    for rule in DECIDED:
        if rule not in used:
            wrong += 1
            print("decided but never seen:", rule[0])
    print(f"{total} documents compared, {wrong} disagreements")
    return 1 if wrong else 0


def second_alternative(model, root):
    """The document with the other element of its choice, and that element's name."""
    from seed_document import add

    first, second = next(each for each in model.all_classes() if each.is_choice).members
    holder = root.find(f".//{{{model.uri}}}{first.name}/..")
    at = [local(each) for each in holder].index(first.name)
    add(model, holder, second)
    replacement = holder[-1]
    holder.remove(replacement)
    holder[at] = replacement
    return root, second.name


if __name__ == "__main__":
    sys.exit(main())
