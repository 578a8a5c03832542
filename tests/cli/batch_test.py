# SPDX-License-Identifier: MIT
"""rfsar batch: many products, of which some are hostile; results and rows stay right whatever ends
the work."""

import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / "tests/support"), str(ROOT / "tools/archive_trial")]
from products import RFSAR, SANITIZERS, ProductCase, rfsar  # noqa: E402
from copies import Copies, results  # noqa: E402


def children(process):
    return [int(p) for p in
            pathlib.Path(f"/proc/{process}/task/{process}/children").read_text().split()]


class Batch(ProductCase):
    def setUp(self):
        super().setUp()
        self.archive = self.folder / "archive"
        self.copies = Copies(self.archive)
        self.into = self.folder / "résultats"

    def rows(self, into=None):
        lines = ((into or self.into) / "batch.jsonl").read_text("utf-8").splitlines()
        rows = {row["file"]: row for row in map(json.loads, lines)}
        self.assertEqual(len(rows), len(lines))
        return rows

    def batch(self, verb, *arguments, status=0, stdin=None):
        """Runs; returns how many rows have each status, as the last line tells."""
        done = rfsar("batch", verb, "--into", self.into, *arguments, stdin=stdin)
        self.assertEqual(done.returncode, status, done.stderr)
        return {what: int(count) for count, what in
                re.findall(r"(\d+) (done|kept|failed)", done.stderr.splitlines()[-1])}

    def counts(self, done=0, kept=0, failed=0):
        return {"done": done, "kept": kept, "failed": failed}

    def test_results_are_kept_until_something_that_they_depend_on_changes(self):
        files = [str(p) for p in self.copies.make_all(6)]
        self.assertEqual(self.batch("stac", self.archive), self.counts(done=6))
        made = results(self.into)
        self.assertEqual(sorted(made), ["CAPELLA_T000002.json", "CAPELLA_T000005.json",
                                        "P000000.json", "P000001.json", "P000003.json",
                                        "P000004.json"])
        for row in self.rows().values():  # the same as the verb makes alone
            alone = self.into / "alone.json"
            self.assertEqual(rfsar("stac", row["file"], "-o", alone).returncode, 0)
            self.assertEqual(alone.read_bytes(), made[row["output"]])
            alone.unlink()
        self.assertEqual(sorted(self.rows()), sorted(files))

        before = {p: p.stat().st_mtime_ns for p in self.into.glob("*.json")}
        self.assertEqual(self.batch("stac", self.archive), self.counts(kept=6))
        self.assertEqual({p: p.stat().st_mtime_ns for p in self.into.glob("*.json")}, before)

        os.utime(files[0])
        (self.into / "P000001.json").unlink()
        (self.into / "CAPELLA_T000002.json").write_text("cut")
        self.assertEqual(self.batch("stac", self.archive), self.counts(done=3, kept=3))
        reasons = [self.rows()[f]["reason"] for f in files]
        for reason, text in zip(reasons, ("newer", "gone", "changed")):
            self.assertIn(text, reason)
        self.assertEqual(reasons[3:], [None] * 3)
        self.assertEqual(results(self.into), made)
        self.assertEqual(self.batch("stac", "--force", self.archive), self.counts(done=6))
        refused = rfsar("batch", "check", "--into", self.into, self.archive)
        self.assertFails(refused, "holds results of batch stac")

    def test_other_options_make_results_anew_and_reach_the_verb(self):
        self.copies.make_all(2)
        narrow = ("--size", "20", self.archive)
        self.assertEqual(self.batch("quicklook", *narrow), self.counts(done=2))
        small = results(self.into)["P000000.png"]
        self.assertEqual(self.batch("quicklook", *narrow), self.counts(kept=2))
        self.assertEqual(self.batch("quicklook", "--size=40", self.archive), self.counts(done=2))
        self.assertIn("--size=20", next(iter(self.rows().values()))["reason"])
        self.assertNotEqual(results(self.into)["P000000.png"], small)
        self.assertEqual(rfsar("batch", "quicklook", "--into", self.into, "--size", "x",
                               self.archive).returncode, 2)

    def test_two_products_of_one_id_have_a_result_each(self):
        first = self.copies.make(0)
        shutil.copytree(first.parents[1], self.archive / "p000000 again")
        for number in (3, 4):
            self.copies.make(number)
        for options in ((), ("--force",), ("-j1", "--force")):
            self.batch("info", self.archive, *options)
            twins = [r for f, r in self.rows().items() if "p000000" in f]
            self.assertEqual({r["output"] for r in twins}, {"P000000.json", "P000000-2.json"})
            for row in twins:
                self.assertEqual(json.loads((self.into / row["output"]).read_text("utf-8"))["file"],
                                 row["file"])
                if row["output"] != "P000000.json":
                    self.assertIn("the id P000000", row["reason"])

    def test_what_lies_in_folders(self):
        """Archives and results of batches among products; what is no product is passed over."""
        plain = self.copies.make(0, "deep/er")
        zipped = self.copies.make(1)
        shutil.make_archive(str(self.archive / "as downloaded"), "zip", zipped.parent)
        shutil.rmtree(zipped.parent)
        self.copies.make(2)
        (self.archive / "notes.json").write_text('{"assets": {}, "stac_version": "1.0.0"}')
        (self.archive / "broken.zip").write_bytes(b"PK\3\4 cut")
        notes = self.archive / "notes"
        notes.mkdir()
        (notes / "a.txt").write_text("text")
        shutil.make_archive(str(self.archive / "texts"), "zip", notes)
        (self.archive / "loop").symlink_to(self.archive)
        self.into = self.archive / "made"
        self.assertEqual(self.batch("stac", self.archive, status=1), self.counts(done=3, failed=1))
        rows = self.rows()
        self.assertEqual(rows[str(plain)]["output"], "P000000.json")
        self.assertEqual(rows[str(self.archive / "as downloaded.zip")]["output"], "P000001.json")
        self.assertIn("broken.zip", rows[str(self.archive / "broken.zip")]["reason"])
        self.assertEqual(len(rows), 4)
        listed = rfsar("batch", "stac", "--into", self.into, "--dry-run", "--list", "-",
                       stdin=f"{self.archive}\n\n{self.folder / 'nothing'}\n")
        self.assertEqual(listed.stdout.splitlines(),
                         [str(self.archive / "broken.zip"), str(self.folder / "nothing")])

    def begin(self, *arguments):
        """Starts a batch; returns it and its first child, which works on a large product."""
        large = self.make("rcm", name="large", lines=30000, samples=30000, sparse=True)
        work = subprocess.Popen([RFSAR, "batch", "quicklook", "--into", self.into, "-j1",
                                 large.opened, *arguments], stderr=subprocess.PIPE)
        while not (found := children(work.pid)):
            time.sleep(0.005)
        return work, found[0], str(large.opened)

    @unittest.skipIf(SANITIZERS, "sanitizers take memory of their own")
    def test_hostile_products_cost_their_own_rows(self):
        good = self.copies.make_all(3)
        wide = self.make("rcm", name="wide", lines=6000, samples=6000, polarizations="HH",
                         compress="DEFLATE", block=6000).opened  # one strip of 72 MB
        cut = self.copies.make(7)
        cut.write_bytes(cut.read_bytes()[:3000])
        work, child, hanging = self.begin("--timeout", "8", "--memory", "60", wide, cut, *good)
        os.kill(child, signal.SIGSTOP)
        self.assertIn(b"3 done, 0 kept, 3 failed", work.communicate()[1])
        self.assertEqual(work.returncode, 1)
        reasons = {file: row["reason"] for file, row in self.rows().items()}
        self.assertIn("not done after 8 s", reasons[hanging])
        self.assertIn("more than 60 MiB", reasons[str(wide)])
        self.assertIn("product.xml", reasons[str(cut)])
        self.assertEqual(len(results(self.into)), 3)

    def test_a_crash_costs_its_own_row(self):
        good = [str(p) for p in self.copies.make_all(3)]
        work, child, crashing = self.begin(*good)
        # The address sanitizer handles the one signal itself.
        by = signal.SIGABRT if SANITIZERS else signal.SIGSEGV
        os.kill(child, by)
        told = work.communicate()[1].decode()
        self.assertEqual(work.returncode, 1, told)
        self.assertIn(signal.strsignal(by), self.rows()[crashing]["reason"])
        self.assertEqual({self.rows()[f]["status"] for f in good}, {"done"})
        self.assertEqual(len(results(self.into)), 3)

    def test_whatever_ends_the_work_one_repeat_completes_it(self):
        self.copies.make_all(16)
        command = [RFSAR, "batch", "export", "--into", self.into, str(self.archive)]
        subprocess.run(command, check=True, stderr=subprocess.DEVNULL)
        whole = results(self.into)
        for number in (signal.SIGTERM, signal.SIGKILL):
            shutil.rmtree(self.into)
            work = subprocess.Popen(command, stderr=subprocess.DEVNULL)
            while len(list(self.into.glob("*.tif"))) < 4:
                time.sleep(0.002)
            work.send_signal(number)
            self.assertEqual(work.wait(), -number)
            self.assertLess(len(list(self.into.glob("*.tif"))), 16)
            counts = self.batch("export", self.archive)
            self.assertEqual(counts["done"] + counts["kept"], 16)
            self.assertGreater(counts["kept"], 0)
            self.assertEqual(results(self.into), whole)

    def test_a_full_disk(self):
        self.copies.make_all(8)
        self.batch("export", self.archive)
        whole = results(self.into)
        shutil.rmtree(self.into)
        self.into.mkdir()
        size = sum(map(len, whole.values())) // 2 >> 10
        if subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={size}k", "tmpfs", self.into],
                          capture_output=True, check=False).returncode != 0:
            self.skipTest("file systems cannot be mounted here")
        self.addCleanup(subprocess.run, ["umount", self.into], check=True)
        done = rfsar("batch", "export", "--into", self.into, self.archive)
        self.assertEqual(done.returncode, 1)
        self.assertIn("No space left", done.stderr)
        subprocess.run(["mount", "-o", "remount,size=100M", self.into], check=True)
        self.batch("export", self.archive)
        self.assertEqual(results(self.into), whole)

    def test_check_counts_what_was_checked(self):
        files = self.copies.make_all(3)
        next(files[1].parent.glob("*.tif")).unlink()
        self.assertEqual(self.batch("check", self.archive), self.counts(done=3))
        verdicts = [self.rows()[str(f)]["verdict"] for f in files]
        self.assertEqual(verdicts, ["ok", "fail", "ok"])
        self.assertEqual({c["status"] for c in
                          json.loads((self.into / "P000001.json").read_text())["checks"]} & {"fail"},
                         {"fail"})

    def test_parts_of_a_list_and_their_join(self):
        files = self.copies.make_all(7)
        self.batch("stac", self.archive)
        whole, into = results(self.into), self.into
        self.into = self.folder / "parts"
        (self.folder / "list").write_text("".join(f"{f}\n" for f in files), "utf-8")
        listed = ("--list", self.folder / "list")
        for part in ("2/3", "1/3"):
            self.batch("stac", *listed, "--chunk", part)
        self.assertEqual(self.batch("stac", *listed, "--join", status=1),
                         self.counts(done=4, failed=3))
        self.assertIn("not reached", self.rows()[str(files[6])]["reason"])
        self.batch("stac", *listed, "--chunk", "3/3")
        self.assertEqual(self.batch("stac", *listed, "--join"), self.counts(done=3, kept=4))
        self.assertEqual(results(self.into), whole)
        self.assertEqual([r["output"] for r in self.rows().values()],
                         [r["output"] for r in self.rows(into).values()])
        self.assertEqual(rfsar("batch", "stac", "--into", into, *listed, "--chunk", "4/3").returncode,
                         2)


if __name__ == "__main__":
    unittest.main()
