# SPDX-License-Identifier: MIT
"""Batches on a real Slurm of one machine: array job, join, and what a cancel and a lost node leave."""

import json
import os
import pathlib
import signal
import subprocess
import sys
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / "tests/support"), str(ROOT / "tools/archive_trial")]
from products import RFSAR, ProductCase  # noqa: E402
from copies import Copies, results  # noqa: E402
import slurm_cluster  # noqa: E402

COUNT = 30


@unittest.skipIf(slurm_cluster.missing(), f"not installed: {slurm_cluster.missing()}")
class Slurm(ProductCase):
    @classmethod
    def setUpClass(cls):
        cls.cluster = slurm_cluster.SlurmCluster()
        cls.addClassCleanup(cls.cluster.stop)
        cls.cluster.start()

    def setUp(self):
        super().setUp()
        self.archive = self.folder / "archive"
        Copies(self.archive).make_all(COUNT)
        self.into = self.folder / "100 % made"
        expected = self.folder / "expected"
        subprocess.run([RFSAR, "batch", "export", "--into", expected, self.archive], check=True,
                       capture_output=True)
        self.whole = results(expected)

    def slurm(self, *options, status=0):
        done = subprocess.run([RFSAR, "batch", "export", "--into", self.into, self.archive,
                               "--slurm", *options], env=self.cluster.environment, text=True,
                              capture_output=True, timeout=500, check=False)
        self.assertEqual(done.returncode, status, done.stdout + done.stderr)
        return done

    def rows(self):
        return [json.loads(line) for line in (self.into / "batch.jsonl").read_text().splitlines()]

    def assertWhole(self):
        self.assertEqual(results(self.into), self.whole)
        self.assertEqual(len(self.rows()), COUNT)
        self.assertEqual({row["status"] for row in self.rows()} - {"done", "kept"}, set())

    def await_results(self, count):
        end = time.monotonic() + 200
        while len(list(self.into.glob("*.tif"))) < count:
            self.assertLess(time.monotonic(), end)
            time.sleep(0.01)

    def await_the_end(self):
        end = time.monotonic() + 300
        while self.cluster.jobs():
            self.assertLess(time.monotonic(), end)
            time.sleep(0.2)

    def cancel(self):
        self.cluster.cancel_all()
        self.await_the_end()

    def test_an_array_job_and_its_join(self):
        self.slurm("--wait", "--chunk-seconds", "0.3", "--sbatch=--comment=it's a trial")
        self.assertWhole()
        before = {p: p.stat().st_mtime_ns for p in self.into.glob("*.tif")}
        done = self.slurm("--wait")
        self.assertIn(f"0 done, {COUNT} kept", done.stderr)  # nothing is submitted
        self.assertEqual({p: p.stat().st_mtime_ns for p in self.into.glob("*.tif")}, before)

    def test_cancelled_work_sent_again(self):
        self.slurm("--chunk-seconds", "0.3")
        self.await_results(6)
        self.cancel()
        self.assertLess(len(list(self.into.glob("*.tif"))), COUNT)
        self.slurm("--wait", "--chunk-seconds", "2")
        self.assertWhole()

    def test_a_node_that_dies(self):
        self.slurm("--chunk-seconds", "2")
        self.await_results(6)
        tasks = self.cluster.steps()
        self.assertTrue(tasks)
        for task in tasks:
            os.kill(task, signal.SIGKILL)
        node = self.cluster.processes["slurmd"]
        node.kill()
        node.wait()
        self.cluster.start_node()
        self.cancel()
        self.slurm("--wait")
        self.assertWhole()

    def test_the_script_that_would_be_submitted(self):
        script = self.folder / "a script.sh"
        self.slurm("--slurm-script", script, "--time", "10", "--mem", "200M")
        self.assertEqual(self.cluster.jobs(), 0)
        text = script.read_text()
        for part in ("--array=1-1", "--time='10'", "--mem='200M'", "--dependency=afterany:"):
            self.assertIn(part, text)
        self.assertEqual(len(list(self.into.glob("*.tif"))), 3)  # those that it measured
        subprocess.run(["bash", script], env=self.cluster.environment, check=True,
                       capture_output=True)
        self.await_the_end()
        self.assertWhole()


if __name__ == "__main__":
    unittest.main()
