# SPDX-License-Identifier: MIT
"""Runs a verb of rfsar on many products, on the workers of a Dask client."""

import json
import logging
import os
import pathlib
import subprocess

from ._core import Error

_log = logging.getLogger("rf_sar")

WAVES = 16  # groups that each worker's threads get one after another, so that none waits at the end
LARGEST_GROUP = 25


def batch(products, verb, options=(), into=".", client=None, *, jobs=None, timeout=None,
          memory=None, force=False, rfsar=None):
    """Makes `into/<product id>.<extension>` for every product; keeps results that are up to date.

    products: paths of products and of folders that hold products, at any depth.
    verb, options: as on the command line, such as "quicklook", ["--size", "500"].
    into: folder of results; with a client, one that all workers see under the same name.
    client: a distributed.Client; without one, the work is done here, `jobs` products at once.
    timeout, memory: limits for one product, in seconds and MiB.
    rfsar: the program; else the environment variable RFSAR, else the one on the PATH. All workers
        need it.

    Returns the rows of batch.jsonl for these products, as dictionaries: file, status ("done",
    "kept" or "failed"), output, reason, seconds, peakMemoryMiB. A product that fails affects only
    its own row; if a worker dies, its products are done again.
    Raises Error when the work cannot be done at all, as into a folder that is in use.
    """
    if isinstance(products, (str, os.PathLike)):
        products = [products]
    into = os.path.abspath(into)
    command = [rfsar or os.environ.get("RFSAR", "rfsar"), "batch", verb, *map(str, options),
               "--into", into, "--list", "-"]
    for option, value in (("--timeout", timeout), ("--memory", memory)):
        if value is not None:
            command += [option, str(value)]
    entries = [os.path.abspath(p) for p in products]
    again = ["--force"] if force else []
    if client is None:
        _run([*command, *again, *(["-j", str(jobs)] if jobs else [])], entries, fine=(0, 1))
    else:
        missing = _run([*command, *again, "--dry-run"], entries).splitlines()
        lost = _map(client, [*command, *again, "-j1", "--chunk", "1/1"], missing)
        _run([*command, "--join"], entries, fine=(0, 1))
        if lost:
            _log.warning("%d tasks were lost with their workers: %s", len(lost), lost[0])
    return _rows(into, entries)


def _map(client, command, files):
    """Returns the errors of tasks that Dask gave up."""
    from distributed import as_completed
    threads = sum(client.nthreads().values()) or 1
    size = max(1, min(LARGEST_GROUP, len(files) // (threads * WAVES)))
    groups = [files[at:at + size] for at in range(0, len(files), size)]
    futures = client.map(_do_group, [command] * len(groups), groups, pure=False)
    return [error for error in (future.exception() for future in as_completed(futures)) if error]


def _do_group(command, files):
    """On a worker: results and rows go to the folder; a later join collects the rows."""
    _run(command, files, fine=(0, 1))


def _run(command, entries, fine=(0,)):
    done = subprocess.run(command, input="".join(f"{e}\n" for e in entries), capture_output=True,
                          encoding="utf-8", errors="surrogateescape", check=False)
    if done.returncode not in fine:
        raise Error(done.stderr.strip() or f"{command[0]} ended with {done.returncode}")
    # A product that failed ends with 1 too, but leaves its row.
    if done.returncode == 1 and "batch.jsonl" not in done.stderr:
        raise Error(done.stderr.strip())
    return done.stdout


def _rows(into, entries):
    files, folders = set(entries), tuple(e.rstrip("/") + "/" for e in entries)
    lines = (pathlib.Path(into) / "batch.jsonl").read_text("utf-8").splitlines()
    return [row for row in map(json.loads, lines)
            if row["file"] in files or row["file"].startswith(folders)]
