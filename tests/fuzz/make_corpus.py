# SPDX-License-Identifier: MIT
"""Writes the seed corpus of the fuzzers and their dictionaries: make_corpus.py OUT.

OUT/<corpus>/ holds a file a seed, OUT/<corpus>.dict the words of those documents.
"""

import io
import pathlib
import re
import sys
import tempfile
import zipfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools"))
import sarsim  # noqa: E402

SMALL = {"lines": 8, "samples": 8, "tie_points": 2, "state_vectors": 5}
SCENE = {"lines": 512, "samples": 512, "tie_points": 25, "sparse": True}  # documents as real ones
PRODUCTS = {
    "rs2": [{"family": "radarsat2", "product_type": kind, "polarizations": poles, **extra}
            for kind, poles, extra in
            (("SLC", "HH", {}), ("SGF", "HH HV", {}), ("SSG", "VV", {}), ("SLC", "HH", SCENE))],
    "rcm": [{"family": "rcm", "product_type": kind, "polarizations": poles, **extra}
            for kind, poles, extra in
            (("SLC", "HH", {}), ("GRD", "HV VV", {"lines": 16, "samples": 16}), ("GCD", "RH", {}), ("GRC", "CH", {}),
             ("SLC", "HH", {"beams": 2, "bursts": 1, "lines": 80, "samples": 120, "sparse": True}),
             ("GRD", "HH", SCENE))],
    "capella": [{"family": family, "polarizations": "HH", **extra} for family, extra in
                (("capella-geo", {}), ("capella-slc", {}), ("capella-grd", {}),
                 ("capella-slc", {"image_geometry": "pfa"}))],
}
# Which of them are sent every way: one that is complex, one detected, one on a map, one of bursts.
WAYS = {"verbs": ("run_verb.cpp", "rfsar"), "driver": ("open_driver.cpp", "gdal")}
SENT = (("rs2", 0), ("capella", 1), ("capella", 2), ("rcm", 4), ("rcm", 2), ("rs2", 1), ("rcm", 1))
TEXTS = [b"", b"2024-05-06T07:08:09.123456Z", b"-1.25e-3", b"123456789012345678901", b"true",
         b"../a/./b//c.tif", b"https://host/a/b.tif?x=1", b"/vsizip//a.zip/b", b"~/a",
         "Grüße, 世界 🛰".encode(), "Grüße 🛰".encode("utf-16-le"), b"\xff\xfe\x00\xd8", b"%s of %d%%"]
TREES = [b"<a b='c>'><!-- > --><d/><![CDATA[<x>]]></a>", b"<!DOCTYPE a [<!ENTITY b 'c'>]><a>&b;</a>",
         b'{"a": [1, {"b": "}\\""}, null]}', b"\xef\xbb\xbf<a/>", b"<?xml version='1.0'?><a>&#233;</a>",
         b'/* a */ {"b": [true, -1.5e3, "\\u00e9\\ud83d\\ude00", {}, 9007199254740993]} // c\n', b"[1.25, 0.5E-7, [[]]]",
         *(f"<?xml version='1.0' encoding='{name}'?><a b='{text}'>{text}</a>".encode(name)
           for name, text in (("ISO-8859-1", "Grüße"), ("UTF-16", "Grüße 🛰"), ("Shift_JIS", "世界"),
                              ("EUC-JP", "世界"), ("GB18030", "世界é"), ("KOI8-R", "мир")))]
CATALOGUE = (b"=== find\n--bbox\n170,-20,-170,20\n--time\n2024-05/..\n--satellite\nRCM1,it's\n--json\n=== table\n"
             b'{"file": "/a/b", "satellite": "RCM1", "start": "2024-05-06T07:08:09.5Z", "stop": "2024-05-06T07:08:19Z",'
             b' "polarizations": "HH HV", "incidence_near": 20.5, "bytes": 12, "modified_ns": 5, "vanished": 1,'
             b' "checked": "ok", "outline": [[175, 1, -175, 1, -175, 9, 175, 1], [1e9, 1, 2]]}\n'
             b'{"satellite": "it\'s", "error": "cannot be read"}\n{"file": "/a/c", "start": "x", "incidence_far": 1e300}')
ROWS = (b'=== rows\n{"file": "/a/b", "status": "done", "output": "b.json", "reason": "b/..", "seconds": 1.5,'
        b' "peakMemoryMiB": 50, "verdict": "warn", "warnings": ["c"], "recipe": {"verb": "check", "options": "--read",'
        b' "version": "1", "productBytes": 12, "productTimeNs": -1, "outputBytes": 3}}\n{"file": "/a/c", "output": "c-2.json",'
        b' "reason": "c"}\n{"file"\n=== report\n{"output": "b.json"}\n{"verdict": "ok"}\n{"remark": "d"}'
        b"\n=== told\nrfsar: warning: e\nf\nrfsar: g")
ARCHIVES = [CATALOGUE, ROWS, CATALOGUE.replace(b"--json", b"--list\n--all"), CATALOGUE.replace(b"--json", b"--pass\nleft")]
WORDS = ["<![CDATA[", "]]>", "<!--", "-->", "<!DOCTYPE", "<!ENTITY", "<?xml", "?>", "&#x", "&amp;",
         "encoding=", "xmlns=", "\n=== ", "NaN", "INF", "-INF", "1e308", "-1", "4294967296"]


def files_of(folder):
    return sorted(path for path in folder.rglob("*") if path.is_file())


def bundled(folder):
    """A product's files in one, the metadata first."""
    paths = sorted(files_of(folder), key=lambda path: (path.suffix == ".tif", path))
    return b"\n".join(b"=== " + path.relative_to(folder).as_posix().encode() + b"\n" +
                      path.read_bytes() for path in paths)


def zipped(folder, method):
    archive = io.BytesIO()
    with zipfile.ZipFile(archive, "w", method) as out:
        for path in files_of(folder):
            out.writestr(zipfile.ZipInfo(path.relative_to(folder).as_posix()), path.read_bytes(),
                         method)
    return archive.getvalue()


def lines_of(source):
    """The command lines or options that a way into the hosts knows."""
    text = pathlib.Path(__file__).with_name(source).read_text()
    listed = re.search(r" lines = \{(.*?)\};", text, re.S)[1]
    return re.findall(r'"(.*?)"', listed)


def make(recipe, folder):
    product = sarsim.make(sarsim.Recipe(**{**SMALL, **recipe}), folder)
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


def without_beta(product):
    """RADARSAT-2 without its gains of beta nought, which is then made of sigma nought."""
    return re.sub(rb".*<lookupTable[^>]*Beta Nought.*\n", b"", product)


def add_ways(corpora):
    """Each line with one of the products in turn; the first, which asks for nothing, with all."""
    products = [corpora[family][number] for family, number in SENT]
    for kind, (source, mark) in WAYS.items():
        lines = lines_of(source)
        sent = [(line, products[number % len(products)]) for number, line in enumerate(lines)]
        sent += [(lines[0], product) for product in products[1:]]
        sent += [(line, product) for line in lines if line.startswith("rtc ")
                 for product in (corpora["rcm"][1], without_beta(corpora["rs2"][0]))]
        corpora[kind] = [f"{mark} {line}\n".encode() + product for line, product in sent]


def main(out):
    corpora = {"text": TEXTS, "trees": list(TREES), "archive": ARCHIVES, "rs2_binding": [], "rs2_lut": [], "zip": []}
    for name, recipes in PRODUCTS.items():
        corpora[name] = []
        for recipe in recipes:
            with tempfile.TemporaryDirectory() as temporary:
                folder = make(recipe, temporary)
                corpora[name].append(bundled(folder))
                if "sparse" not in recipe:
                    corpora["zip"].append(zipped(folder, zipfile.ZIP_DEFLATED))
                documents = [path for path in files_of(folder) if path.suffix in (".xml", ".json")]
                corpora["trees"] += [path.read_bytes() for path in documents[:2]]
                if name == "rs2":
                    corpora["rs2_binding"].append((folder / "product.xml").read_bytes())
                    corpora["rs2_lut"] += [path.read_bytes() for path in documents
                                           if path.name.startswith("lut")]
                    corpora["zip"].append(b"rfsar check --read\n" +
                                          zipped(folder, zipfile.ZIP_STORED))
    add_ways(corpora)
    for name, seeds in corpora.items():
        write(out / name, seeds)
    for name in ("rs2_binding", "rs2_lut", "trees", "archive", *PRODUCTS, *WAYS):
        write_dictionary(out / f"{name}.dict", corpora[name])


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]))
