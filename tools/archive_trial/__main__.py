# SPDX-License-Identifier: MIT
"""Measures batches and catalogues at full size; see tools/archive_trial.sh."""

import json
import os
import pathlib
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[1]
sys.path[:0] = [str(HERE), str(ROOT / "build/python")]
os.environ["PYTHONPATH"] = sys.path[1]  # for workers
RFSAR = os.environ.setdefault("RFSAR", str(ROOT / "build/bin/rfsar"))

from rf_sar import batch  # noqa: E402
from copies import Copies, results  # noqa: E402
import generated_catalogue  # noqa: E402
import slurm_cluster  # noqa: E402


def say(what, value=""):
    print(f"{what:66}{value}", flush=True)


def run(*command, **options):
    return subprocess.run([str(c) for c in command], capture_output=True, text=True, check=False,
                          **options)


class Timed:
    """with Timed() as t: ...; t.wall and t.processor of what was run here, in s."""

    def __enter__(self):
        self.begun, self.used = time.monotonic(), self.children()
        return self

    def __exit__(self, *_):
        self.wall = time.monotonic() - self.begun
        self.processor = self.children() - self.used

    @staticmethod
    def children():
        usage = resource.getrusage(resource.RUSAGE_CHILDREN)
        return usage.ru_utime + usage.ru_stime


class Trial:
    def __init__(self, count, folder):
        self.count, self.folder = count, folder
        self.archive = folder / "archive"
        with Timed() as made:
            self.files = Copies(self.archive).make_all(count)
        say(f"{count} products made", f"{made.wall:.0f} s")
        self.list = folder / "list"
        self.list.write_text("".join(f"{f}\n" for f in self.files), "utf-8")
        self.whole = None
        self.number = 0

    def fresh(self):
        self.number += 1
        return self.folder / f"made {self.number}"

    def command(self, into, *options):
        return [RFSAR, "batch", "stac", "--into", into, "--list", self.list, *options]

    def assert_whole(self, into, what):
        made = results(into)
        rows = [json.loads(line) for line in (into / "batch.jsonl").read_text("utf-8").splitlines()]
        states = {state: sum(r["status"] == state for r in rows) for state in ("done", "kept", "failed")}
        if self.whole is None:
            self.whole = made
        same = made == self.whole and len(made) == self.count == len(rows) and not states["failed"]
        say(f"  {what}: {len(made)} results", "byte-equal" if same else f"DIFFERENT {states}")
        shutil.rmtree(into)

    def xargs(self):
        into = self.fresh()
        into.mkdir()
        script = 'p=${1%/metadata*}; p=${p%/product.xml}; "$0" stac "$1" -o "$2/${p##*/}.json"'
        with Timed() as timed:
            subprocess.run(["xargs", "-P2", "-d", "\n", "-I{}", "sh", "-c", script, RFSAR, "{}",
                            str(into)], input=self.list.read_bytes(), check=True)
        say("xargs -P2, one process each", f"{timed.wall:.1f} s")
        shutil.rmtree(into)
        return timed.wall

    def local(self):
        into = self.fresh()
        with Timed() as timed:
            run(*self.command(into))
        say("rfsar batch", f"{timed.wall:.1f} s, {timed.processor / self.count * 1e3:.1f} ms "
            "of processor a product")
        with Timed() as again:
            done = run(*self.command(into))
        with Timed() as start:
            for _ in range(10):
                run(RFSAR, "--version")
        each = (again.processor - start.processor / 10) / self.count
        say("the same again: " + done.stderr.strip().split(";")[0].removeprefix("rfsar: "),
            f"{again.wall:.2f} s, {each * 1e3:.3f} ms of processor a product beyond the start")
        self.assert_whole(into, "rfsar batch")
        return timed.wall

    def slurm(self, cluster):
        into = self.fresh()
        with Timed() as timed:
            run(*self.command(into, "--slurm", "--wait"), env=cluster.environment)
        say("Slurm, chunks of 90 s", f"{timed.wall:.1f} s")
        self.assert_whole(into, "Slurm")
        return timed.wall

    def await_results(self, into, count):
        while sum(1 for _ in into.glob("*.json")) < count:
            time.sleep(0.05)

    def slurm_ended(self, cluster):
        for what in ("cancelled", "tasks killed"):
            into = self.fresh()
            run(*self.command(into, "--slurm", "--chunk-seconds", "20"), env=cluster.environment)
            self.await_results(into, self.count // 4)
            if what == "cancelled":
                cluster.cancel_all()
            else:
                for task in cluster.steps():
                    os.kill(task, signal.SIGKILL)
            while cluster.jobs():
                time.sleep(0.2)
            made = sum(1 for _ in into.glob("*.json"))
            run(*self.command(into, "--slurm", "--wait"), env=cluster.environment)
            self.assert_whole(into, f"Slurm, {what} at {made}, sent again")

    def dask(self):
        import distributed
        def cluster():
            return distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                                            dashboard_address=None,
                                            local_directory=str(self.folder / "workers"))
        with cluster() as workers, distributed.Client(workers) as client:
            into = self.fresh()
            with Timed() as timed:
                batch(self.files, "stac", [], into, client)
            say("Dask, two workers", f"{timed.wall:.1f} s")
            self.assert_whole(into, "Dask")
            into = self.fresh()
            import threading
            def kill_one():
                self.await_results(into, self.count // 4)
                os.kill(next(iter(client.run(os.getpid).values())), signal.SIGKILL)
            killer = threading.Thread(target=kill_one)
            killer.start()
            batch(self.files, "stac", [], into, client)
            killer.join()
            self.assert_whole(into, "Dask, a worker killed in the midst")
        return timed.wall

    def full_disk(self):
        into = self.fresh()
        into.mkdir()
        size = sum(map(len, self.whole.values())) // 2 >> 10
        if run("mount", "-t", "tmpfs", "-o", f"size={size}k", "tmpfs", into).returncode != 0:
            say("  a full disk: file systems cannot be mounted here")
            return
        try:
            run(*self.command(into))
            made = sum(1 for _ in into.glob("*.json"))
            run("mount", "-o", "remount,size=1G", into)
            run(*self.command(into))
            copy = self.fresh()
            shutil.copytree(into, copy)
            self.assert_whole(copy, f"a disk full at {made}, run again")
        finally:
            run("umount", into)

    def catalogue(self):
        table = self.folder / "catalogue.gpkg"
        for what in ("catalogue", "the same again"):
            with Timed() as timed:
                done = run(RFSAR, "catalogue", self.archive, "-o", table)
            say(f"{what}: {done.stderr.strip().split(': ')[-1]}",
                f"{timed.wall:.1f} s, {timed.processor / self.count * 1e3:.2f} ms of processor "
                "a product")
        million = self.folder / "million.gpkg"
        with Timed() as timed:
            generated_catalogue.write(table, million, 10**6)
        say("10^6 generated rows", f"{timed.wall:.0f} s, {million.stat().st_size >> 20} MiB")
        for box, period in generated_catalogue.QUERIES:
            query = ["--bbox", box, "--time", period, "--list"]
            times = {table: [], million: []}  # what starting and opening take, either has
            for _ in range(15):
                for asked, taken in times.items():
                    with Timed() as timed:
                        found = run(RFSAR, "find", asked, *query)
                    taken.append(timed.wall)
            say(f"  find {box} {period}: {len(found.stdout.splitlines())} products",
                f"{sorted(times[million])[7] * 1e3:.0f} ms, among {self.count} rows "
                f"{sorted(times[table])[7] * 1e3:.0f} ms")


def main():
    count = int(sys.argv[1]) if len(sys.argv) > 1 else 2000
    folder = pathlib.Path(tempfile.mkdtemp(prefix="archive-trial-",
                                           dir=sys.argv[2] if len(sys.argv) > 2 else None))
    try:
        trial = Trial(count, folder)
        by_hand = trial.xargs()
        trial.local()
        with slurm_cluster.SlurmCluster() as cluster:
            slurm = trial.slurm(cluster)
            trial.slurm_ended(cluster)
        dask = trial.dask()
        by_hand = (by_hand + trial.xargs()) / 2  # before and after, as machines change their pace
        say("Slurm / xargs, Dask / xargs", f"{slurm / by_hand:.2f}, {dask / by_hand:.2f}")
        trial.full_disk()
        trial.catalogue()
    finally:
        shutil.rmtree(folder)


if __name__ == "__main__":
    main()
