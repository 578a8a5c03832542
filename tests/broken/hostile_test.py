# SPDX-License-Identifier: MIT
"""Hostile products through the command line: each ends soon, in little memory, and with an exit
status of 0 or 1 and, at 1, a message that names the file; never by a signal."""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from products import RFSAR, ProductCase  # noqa: E402

VERBS = (("info",), ("node", ":SAR_Metadata"), ("check",), ("locate",))
SECONDS = 20  # many times what the slowest takes on a busy machine, with sanitizers
MEGABYTES = 1000
# What the address sanitizer keeps of memory that was given back is not the verb's.
ENVIRONMENT = {**os.environ, "ASAN_OPTIONS": "quarantine_size_mb=16"}
# What a library says when nobody catches what it throws, and numbers that were never computed.
FOREIGN = re.compile(r"std::|basic_string|vector::|bad_alloc|terminate|\s(nan|inf)\b")
MANY = 1_000_000
LEVELS = 400_000  # more than a stack holds, less than the guard of numbers refuses
ODD = ("-1", "0", "2147483648", "1e300", "NaN", "", "x")
HEAD = b"<product><sourceAttributes><satellite>RADARSAT-2</satellite>"

XML = {
    "deep": b"<product>" + b"<a>" * MANY + b"</a>" * MANY + b"</product>",
    "deep behind a quote": b"<product><a'>" + b"<a>" * LEVELS + b"</a>" * LEVELS +
                           b"</a></product>",
    "deep behind a declaration": b"<product><!a '>" + b"<a>" * LEVELS,
    "deep beside comments": b"<product>" + b"<a><!--></a>-->" * LEVELS,
    "many elements": b"<product>" + b"<a/>" * 4 * MANY + b"</product>",
    "giant attribute": b'<product a="' + b"x" * 50 * MANY + b'"/>',
    "giant text": HEAD + b"9" * 50 * MANY + b"</sourceAttributes></product>",
    "entity bomb": b'<!DOCTYPE a [<!ENTITY b "bbbbbbbbbb">' + b"".join(
        b'<!ENTITY %c "%s">' % (99 + i, b"&%c;" % (98 + i) * 10) for i in range(20)) +
        b"]><product>&u;</product>",
    "external entity": b'<!DOCTYPE a [<!ENTITY b SYSTEM "/etc/hostname">]>' + HEAD + b"&b;",
    "UTF-16": '<?xml version="1.0" encoding="UTF-16"?><product/>'.encode("utf-16"),
    "Latin-1": '<?xml version="1.0" encoding="ISO-8859-1"?><product>é</product>'.encode("latin-1"),
    "byte order mark": b"\xef\xbb\xbf" + HEAD + b"</sourceAttributes></product>",
    "no UTF-8": HEAD + b"\xc3\x28\xff\xed\xa0\x80</sourceAttributes></product>",
    "NUL": HEAD + b"\0</sourceAttributes></product>",
    "cut off": HEAD,
    "empty": b"",
}
JSON = {
    "deep": b'{"properties":' + b"[" * LEVELS + b"]" * LEVELS + b"}",
    "deep objects": b'{"properties":' + b'{"a":' * LEVELS + b"0" + b"}" * (LEVELS + 1),
    "many values": b'{"properties":[' + b"0," * 4 * MANY + b"0]}",
    "giant text": b'{"properties":{"sar:product_type":"' + b"x" * 50 * MANY + b'"}}',
    "UTF-16": '{"properties":{}}'.encode("utf-16"),
    "no UTF-8": b'{"properties":{"sar:product_type":"\xff"}}',
    "half a character": b'{"properties":{"sar:product_type":"\\ud800"}}',
    "not an object": b"[1]",
    "others in place": b'{"properties":[],"assets":"","collect":7}',
    "null": b'{"properties":{"sar:product_type":null,"sar:polarizations":null},"assets":null}',
    "numbers beyond": b'{"properties":{"sar:product_type":"SLC","sar:polarizations":[1e999]}}',
}
# Elements and members that decide sizes, times and geometry.
FIELDS = {
    "radarsat2": ("numberOfLines", "numberOfSamplesPerLine", "slantRangeNearEdge", "timeStamp",
                  "zeroDopplerTimeFirstLine", "xPosition", "sampledPixelSpacing", "semiMajorAxis",
                  "groundToSlantRangeCoefficients", "pulseRepetitionFrequency"),
    "rcm": ("numLines", "samplesPerLine", "slantRangeNearEdge", "timeStamp", "stepSize",
            "zeroDopplerTimeLastLine", "zVelocity", "pixelFirstLutValue", "pixelFirstNoiseValue",
            "geodeticTerrainHeight"),
    "capella-slc": ("rows", "columns", "delta_line_time", "range_to_first_sample", "first_line_time",
                    "scale_factor", "time", "delta_range_sample", "rank"),
}


def replaced(text, field, value):
    text = re.sub(rf"(<{field}(?: [^>]*)?>)[^<]*(?=</)", lambda m: m[1] + value, text)
    return re.sub(rf'("{field}": )[^\n,]*', lambda m: m[1] + (value or '""'), text)


class Hostile(ProductCase):
    def run_verb(self, verb, product):
        """Runs rfsar with a point to locate; @return status and all that it said."""
        with tempfile.TemporaryFile("w+b") as said, subprocess.Popen(
                [RFSAR, verb[0], product, *verb[1:]], stdin=subprocess.PIPE, stdout=said,
                stderr=subprocess.STDOUT, env=ENVIRONMENT) as process:
            try:
                process.stdin.write(b"1 2\n")
                process.stdin.close()
            except BrokenPipeError:
                pass
            started = time.monotonic()
            while (ended := os.wait4(process.pid, os.WNOHANG))[0] == 0:
                if time.monotonic() - started > SECONDS:
                    process.kill()
                time.sleep(0.002)
            process.returncode = os.waitstatus_to_exitcode(ended[1])
            said.seek(0)
            return process.returncode, said.read().decode("utf-8", "replace"), ended[2].ru_maxrss

    def check(self, product, verbs=VERBS):
        for verb in verbs:
            status, said, kilobytes = self.run_verb(verb, product)
            with self.subTest(verb=verb[0], said=said[:500]):
                self.assertIn(status, (0, 1))
                self.assertIsNone(FOREIGN.search(said))
                self.assertTrue(status == 0 or self.folder.name in said)
                self.assertLess(kilobytes, MEGABYTES * 1024)

    def test_documents(self):
        for name, documents in (("product.xml", XML), ("item.json", JSON)):
            for story, content in documents.items():
                with self.subTest(document=story):
                    file = self.folder / name
                    file.write_bytes(content)
                    self.check(file)

    def test_numbers(self):
        for family, fields in FIELDS.items():
            product = self.make(family, lines=16, samples=16, tie_points=2)
            originals = {path: path.read_text() for path in product.folder.rglob("*")
                         if path.suffix in (".xml", ".json")}
            for number, field in enumerate(fields):
                self.assertTrue(any(field in text for text in originals.values()), field)
                for value in (ODD[number % len(ODD)], ODD[(number + 3) % len(ODD)]):
                    for path, text in originals.items():
                        path.write_text(replaced(text, field, value))
                    with self.subTest(family=family, field=field, value=value):
                        self.check(product.opened, VERBS[2:])

    def test_ten_thousand_tables(self):
        product = self.make("radarsat2", lines=16, samples=16, tie_points=2)
        text = product.opened.read_text()
        table = re.search(r"[ \t]*<lookupTable .*?</lookupTable>\n", text, re.S)
        product.opened.write_text(text[:table.end()] + table[0] * 10000 + text[table.end():])
        self.check(product.opened, VERBS[2:])

    def test_images(self):
        product = self.make("rcm", lines=16, samples=16, polarizations="HH")
        image = next(product.folder.rglob("*.tif"))
        whole = image.read_bytes()
        for size in (0, 8, 100, len(whole) // 2):
            image.write_bytes(whole[:size])
            with self.subTest(bytes=size):
                self.check(product.opened)

    def test_names(self):
        (self.folder / "产品").write_bytes(b"")
        (self.folder / os.fsdecode(b"\xff\xfe")).write_bytes(b"")
        self.check(self.folder)


if __name__ == "__main__":
    unittest.main()
