#!/usr/bin/env python3
"""A model with a mistake gives a message that names the entry.    bad_models_test.py LMXGEN"""

import pathlib
import subprocess
import sys
import tempfile
import unittest

HEAD = "namespace: n\nuri: u\nprefix: p\nroot: a\nwithout_namespace: false\n"
CASES = [  # the rest of the model, what the message must hold
    ("classes: {a: {x: nothing}}", "a: x: there is no type 'nothing'"),
    ("classes: {a: {x: {type: string, occurs: 2}}}", "a: x: '2' is no range"),
    ("classes: {a: {x: {type: string, ocurs: 0..1}}}", "a: x: unknown key 'ocurs'"),
    ("types: {t: {base: string, pattern: q}}\nclasses: {a: {x: t}}", "t: there is no pattern 'q'"),
    ("types: {t: {base: strin}}\nclasses: {a: {x: t}}", "t: there is no base 'strin'"),
    ("sets: {s: {v: 1, w: 1}}\nclasses: {a: {x: s}}", "code 1 stands for 'v' and 'w'"),
    ("sets: {s: {a b: 1, a-b: 2}}\nclasses: {a: {x: s}}", "too alike"),
    ("classes: {b: {x: string}}", "there is no class 'a'"),
    ("classes: {a: {c: {choice: {x: y}}}}", "a: c: there is no class 'y'"),
    ("classes: {a: {%s}}" % ", ".join(f"x{i}: string" for i in range(65)), "more than 64 members"),
    ("classes: [", "line"),
]


class BadModels(unittest.TestCase):
    def test_messages(self):
        with tempfile.TemporaryDirectory() as folder:
            for rest, message in CASES:
                model = pathlib.Path(folder) / "model.yaml"
                model.write_text(HEAD + rest)
                run = subprocess.run([sys.executable, LMXGEN, model, folder], text=True,
                                     stderr=subprocess.PIPE, check=False)
                with self.subTest(rest[:60]):
                    self.assertIn(message, run.stderr)
                    self.assertNotIn("Traceback", run.stderr)
                    self.assertEqual(run.returncode, 1)


if __name__ == "__main__":
    LMXGEN = sys.argv.pop()
    unittest.main()
