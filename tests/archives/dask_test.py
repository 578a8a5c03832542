# SPDX-License-Identifier: MIT
"""Images and batches on a real Dask scheduler with two worker processes."""

import os
import pathlib
import signal
import subprocess
import sys
import threading
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / "tests/support"), str(ROOT / "tools/archive_trial")]
from products import RFSAR, ProductCase  # noqa: E402
from copies import Copies, results  # noqa: E402

import distributed  # noqa: E402
import numpy  # noqa: E402
import xarray  # noqa: E402

import rf_sar  # noqa: E402

COUNT = 40


class Cluster(ProductCase):
    """Two worker processes of one thread."""

    def setUp(self):
        super().setUp()
        cluster = distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                                           dashboard_address=None,
                                           local_directory=str(self.folder / "workers"))
        self.addCleanup(cluster.close)
        self.client = distributed.Client(cluster)
        self.addCleanup(self.client.close)

    def kill_a_worker(self):
        os.kill(next(iter(self.client.run(os.getpid).values())), signal.SIGKILL)


class Images(Cluster):
    def test_a_worker_killed_in_the_midst(self):
        product = self.make("rcm", lines=900, samples=700, tiled=True)
        block = {"azimuth_time": 64, "ground_range": 64}
        image = xarray.open_dataset(str(product.opened), engine="rf_sar", group="HH", chunks=block)
        self.assertGreater(image["measurement"].data.npartitions, 100)

        def slowly(samples):
            time.sleep(0.02)
            return samples

        delayed = image["measurement"].data.map_blocks(slowly, dtype="uint16")
        future = self.client.compute(delayed)
        time.sleep(1)
        self.assertFalse(future.done())
        self.kill_a_worker()
        whole = xarray.open_dataset(str(product.opened), engine="rf_sar", group="HH")
        numpy.testing.assert_array_equal(future.result(timeout=120), whole["measurement"])


class Batches(Cluster):
    def setUp(self):
        super().setUp()
        os.environ["RFSAR"] = RFSAR
        self.archive = self.folder / "archive"
        Copies(self.archive).make_all(COUNT)
        self.into = self.folder / "made"
        expected = self.folder / "expected"
        subprocess.run([RFSAR, "batch", "stac", "--into", expected, self.archive], check=True,
                       capture_output=True)
        self.whole = results(expected)

    def run_batch(self, **options):
        rows = rf_sar.batch([self.archive], "stac", [], self.into, self.client, **options)
        self.assertEqual(len(rows), COUNT)
        return {row["status"] for row in rows}

    def test_the_same_results_as_without(self):
        self.assertEqual(self.run_batch(timeout=60), {"done"})
        self.assertEqual(results(self.into), self.whole)
        self.assertEqual(self.run_batch(), {"kept"})
        broken = next(self.archive.rglob("product.xml"))
        broken.write_text("<product")
        rows = rf_sar.batch([broken], "stac", [], self.into, self.client)
        self.assertEqual([row["status"] for row in rows], ["failed"])
        with self.assertRaisesRegex(rf_sar.Error, "holds results of batch stac"):
            rf_sar.batch(self.archive, "check", [], self.into)
        rows = rf_sar.batch([self.archive], "check", [], self.folder / "checked", jobs=2)
        self.assertEqual(sorted({row["status"] for row in rows}), ["done", "failed"])

    def test_a_worker_killed_in_the_midst(self):
        def kill_one():
            while len(list(self.into.glob("*.json"))) < COUNT // 4:
                time.sleep(0.005)
            self.kill_a_worker()
        killer = threading.Thread(target=kill_one)
        killer.start()
        self.assertLessEqual(self.run_batch(), {"done", "kept"})
        killer.join()
        self.assertEqual(results(self.into), self.whole)


if __name__ == "__main__":
    unittest.main()
