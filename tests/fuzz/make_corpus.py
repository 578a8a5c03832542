# SPDX-License-Identifier: MIT
"""Writes the seed corpus of the fuzzers and their dictionaries: make_corpus.py OUT.

OUT/<corpus>/ holds a file a seed, OUT/<corpus>.dict the words of those documents.
"""

import pathlib
import re
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools"))
import sarsim  # noqa: E402

SMALL = {"lines": 8, "samples": 8, "tie_points": 2, "state_vectors": 5}
PRODUCTS = {
    "rs2": [("radarsat2", kind, poles) for kind, poles in
            (("SLC", "HH"), ("SGF", "HH HV"), ("SSG", "VV"))],
    "rcm": [("rcm", kind, poles) for kind, poles in
            (("SLC", "HH"), ("GRD", "HV VV"), ("GCD", "RH"), ("GRC", "CH"))],
    "capella": [(family, None, "HH") for family in ("capella-geo", "capella-slc", "capella-grd")],
}
TEXTS = [b"", b"2024-05-06T07:08:09.123456Z", b"-1.25e-3", b"123456789012345678901", b"true",
         b"../a/./b//c.tif", b"https://host/a/b.tif?x=1", b"/vsizip//a.zip/b", b"~/a",
         "Grüße, 世界 🛰".encode(), "Grüße 🛰".encode("utf-16-le"), b"\xff\xfe\x00\xd8", b"%s of %d%%"]
TREES = [b"<a b='c>'><!-- > --><d/><![CDATA[<x>]]></a>", b"<!DOCTYPE a [<!ENTITY b 'c'>]><a>&b;</a>",
         b'{"a": [1, {"b": "}\\""}, null]}', b"\xef\xbb\xbf<a/>", b"<?xml version='1.0'?><a>&#233;</a>"]
WORDS = ["<![CDATA[", "]]>", "<!--", "-->", "<!DOCTYPE", "<!ENTITY", "<?xml", "?>", "&#x", "&amp;",
         "encoding=", "xmlns=", "\n=== ", "NaN", "INF", "-INF", "1e308", "-1", "4294967296"]


def files_of(folder):
    return sorted(path for path in folder.rglob("*") if path.is_file())


def bundled(folder):
    """A product's files in one, the metadata first."""
    paths = sorted(files_of(folder), key=lambda path: (path.suffix == ".tif", path))
    return b"\n".join(b"=== " + path.relative_to(folder).as_posix().encode() + b"\n" +
                      path.read_bytes() for path in paths)


def make(recipe, folder):
    family, kind, poles = recipe
    extra = {"product_type": kind} if kind else {}
    product = sarsim.make(sarsim.Recipe(family, polarizations=poles, **SMALL, **extra), folder)
    return pathlib.Path(product.folder)


def write(folder, seeds):
    folder.mkdir(parents=True, exist_ok=True)
    for number, seed in enumerate(seeds):
        (folder / f"seed{number}").write_bytes(seed)


def write_dictionary(file, seeds):
    found = {word.decode() for seed in seeds
             for word in re.findall(rb'(?<=[<"])[A-Za-z_:]{3,40}(?=[ >":])', seed)}
    lines = (re.sub(r'["\\\n]', lambda m: f"\\x{ord(m[0]):02x}", word)
             for word in WORDS + sorted(found))
    file.write_text("".join(f'"{line}"\n' for line in lines))


def main(out):
    corpora = {"text": TEXTS, "trees": list(TREES), "rs2_binding": [], "rs2_lut": []}
    for name, recipes in PRODUCTS.items():
        corpora[name] = []
        for recipe in recipes:
            with tempfile.TemporaryDirectory() as temporary:
                folder = make(recipe, temporary)
                corpora[name].append(bundled(folder))
                documents = [path for path in files_of(folder) if path.suffix in (".xml", ".json")]
                corpora["trees"] += [path.read_bytes() for path in documents[:2]]
                if name == "rs2":
                    corpora["rs2_binding"].append((folder / "product.xml").read_bytes())
                    corpora["rs2_lut"] += [path.read_bytes() for path in documents
                                           if path.name.startswith("lut")]
    for name, seeds in corpora.items():
        write(out / name, seeds)
    for name in ("rs2_binding", "rs2_lut", "trees", *PRODUCTS):
        write_dictionary(out / f"{name}.dict", corpora[name])


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]))
