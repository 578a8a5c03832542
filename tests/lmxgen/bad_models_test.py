#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""A model with a mistake, or with a rule that the classes would not check, gives a message that names
file, line and entry.    bad_models_test.py LMXGEN"""

import pathlib
import subprocess
import sys
import tempfile
import unittest

HEAD = "namespace: n\nuri: u\nprefix: p\nroot: a\nwithout_namespace: false\n"
A = "\nclasses: {a: {x: t}}"


def typed(facets):
    return "types: {t: {" + facets + "}}" + A


CASES = [  # the rest of the model, what the message must hold
    ("classes: {a: {x: nothing}}", ":6: a: x: there is no type 'nothing'"),
    ("classes: {a: {x: {type: string, occurs: 2}}}", "a: x: occurs: '2' is no range"),
    ("classes:\n  a:\n    x: {type: string, occurs: 3..2}", ":8: a: x: occurs: 3 is more than 2"),
    ("classes: {a: {x: {type: string, occurs: 0..0}}}", "can never occur"),
    ("classes: {a: {x: {type: string, ocurs: 0..1}}}", "a: x: unknown key 'ocurs'"),
    ("extra: 1\nclasses: {a: {x: string}}", ":6: the model: unknown key 'extra'"),
    ("classes: {b: {x: string}}", ":4: root: there is no class 'a'"),
    ("classes: {a: {c: {choice: {x: y}}}}", "a: c: there is no class 'y'"),
    ("classes: {a: {%s}}" % ", ".join(f"x{i}: string" for i in range(65)), "more than 64 members"),
    ("classes: [", ":6: "),
    ("classes: [a]", "classes: names with values are wanted"),
    # facets
    ("types: {t: {base: strin}}" + A, "t: there is no base 'strin'"),
    (typed("base: string, pattern: q"), "t: there is no pattern 'q'"),
    ("patterns: {q: a}\n" + typed("base: double, pattern: q"), ":7: types: t: 'pattern' is not checked for"),
    (typed("base: string, range: 0..1"), "'range' is not checked for string"),
    (typed("base: integer, length: 1..2"), "'length' is not checked for integer"),
    ("sets: {s: {v: 1}}\n" + typed("base: double, set: s"), "'set' is not checked for double"),
    (typed("base: double, range: 0-1"), "'0-1' is no range"),
    (typed("base: integer, range: 0..1.5"), "no whole number"),
    (typed("base: integer, range: 0..9007199254740992"), "below 2^53"),
    (typed("base: uint8, range: 0..256"), "does not fit uint8"),
    (typed("base: double, range: 2..1"), "no number lies in this range"),
    (typed("base: double, above: 1, range: 1..1"), "no number lies in this range"),
    (typed("base: double, above: 1, range: 0..2"), "different limits"),
    (typed("list: double"), "t: 'items' is missing"),
    (typed("list: double, items: 1..2, range: 0..1"), "unknown key 'range'"),
    ("types: {u: {list: double, items: 1..2}, t: {list: u, items: 1..2}}" + A, "a list of lists"),
    (typed("list: t, items: 1..2"), "'t' is made of itself"),
    ("types: {u: {list: double, items: 1..2}}\nclasses: {a: {x: {type: u, occurs: 0..2}}}",
     "needs a class around it"),
    ("patterns: {q: '(?=a)'}" + A, ":6: patterns: q: groups that begin"),
    ("patterns: {q: '[a-z-[aeiou]]'}" + A, "cannot be subtracted"),
    ("patterns: {q: '\\w+'}" + A, "'\\w' is not the same for all"),
    ("patterns: {q: '^a'}" + A, "matches the whole text"),
    ("patterns: {q: '('}" + A, "no regular expression"),
    # names and values
    ("sets: {s: {v: 1, w: 1}}\nclasses: {a: {x: s}}", "code 1 stands for 'v' and 'w'"),
    ("sets: {s: {a b: 1, a-b: 2}}\nclasses: {a: {x: s}}", "too alike"),
    ("sets: {s: {no value: 1}}\nclasses: {a: {x: s}}", "too alike"),
    ("sets: {s: {7: 1}}\nclasses: {a: {x: s}}", ":6: '7' is no text here; write it in quotes"),
    ("sets: {s: {N: 1, no: 2}}\nclasses: {a: {x: s}}", "'no' is no text here"),
    ("sets: {s: {v: 0}}\nclasses: {a: {x: s}}", "codes are whole numbers from 1"),
    ("sets: {s: {}}\nclasses: {a: {x: s}}", "a set without values"),
    ("sets: {s: {seven: 1}}\n" + typed("base: integer, set: s"), "'seven' is no whole number"),
    ("classes: {a: {x: string, x: double}}", ":6: 'x' stands here twice"),
    ("classes: {a: {2nd: string}}", "'2nd' is no name of an element"),
    ("classes: {a: {'x y': string}}", "'x y' is no name of an element"),
    ("classes: {a: {x-y: string, x.y: string}}", "two members, elements or attributes, are named 'x_y'"),
    ("classes: {a: {x: string, '@x': string}}", "are named 'x'"),
    ("classes: {a: {x: {type: double, '@x': string}}}", "are named 'x'"),
    ("classes: {a: {a: {type: double, '@y': string}}}", "are named 'c_a'"),
    ("classes: {a: {}}", ":6: a: a class without members"),
    ("classes: {a: {x: string}, string: {x: double}}", "'string' is a class and a type"),
    ("classes: {a: {x: {type: b, '@y': string}}, b: {z: double}}", "its attributes stand there"),
    ("classes: {a: {x: {type: double, class: c}}}", "has no class of its own"),
    ("classes: {a: {'@x': b}, b: {z: double}}", "'b' is a class, a simple type is wanted"),
    ("classes: {a: {'@x': {type: string, occurs: 0..2}}}", "an attribute occurs once at most"),
    ("classes: {a: {'@x': {fixed: 1.0}}}", "fixed: 1.0 is no text; write it in quotes"),
    ("classes: {a: {'@x': {fixed: m, type: string}}}", "unknown key 'type'"),
    ("classes: {a: {x: b, c: {choice: {x: b}}}, b: {z: double}}", "two elements are named 'x'"),
    ("classes: {a: {c: {choice: {none: b}}}, b: {z: double}}", "nothing is chosen"),
]


class BadModels(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.model = pathlib.Path(folder.name) / "model.yaml"

    def test_messages(self):
        from schema_model import Model, ModelError
        for rest, message in CASES:
            self.model.write_text(HEAD + rest)
            with self.subTest(rest[:60]):
                with self.assertRaises(ModelError) as found:
                    Model(self.model).enumerators()
                self.assertIn(message, f":{found.exception.line}: {found.exception}")

    def test_the_message_begins_with_file_and_line(self):
        self.model.write_text(HEAD.replace("namespace: n", "namespace: class")
                              + "classes: {a: {x: string}}")
        run = subprocess.run([sys.executable, LMXGEN, self.model, self.model.parent], text=True,
                             capture_output=True, check=False)
        self.assertEqual(run.stderr, f"{self.model}:1: 'class' is no name for a C++ namespace\n")
        self.assertEqual(run.returncode, 1)


if __name__ == "__main__":
    LMXGEN = sys.argv.pop()
    sys.path.insert(0, str(pathlib.Path(LMXGEN).parent))
    unittest.main()
