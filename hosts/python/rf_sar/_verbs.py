# SPDX-License-Identifier: MIT
"""The verbs of the command line, as functions: the same code, in this process."""

import json
import logging
import os
import threading

from . import _core

_log = logging.getLogger("rf_sar")
_one_at_a_time = threading.Lock()


def run(verb, *arguments, progress=None, quiet=False):
    """Runs a verb and returns what it prints.

    :param progress: called with the done part, 0.0 to 1.0; an exception of it ends the work.
    """
    warning = None if quiet else _log.warning
    with _one_at_a_time:
        return _core.run([verb, *map(str, arguments)], warning, progress)


def run_json(verb, *arguments):
    return json.loads(run(verb, *arguments, "--json", quiet=True))


def _options(options):
    """{"max_memory": 64, "cog": True} as "--max-memory 64 --cog"."""
    words = []
    for name, value in options.items():
        word = "--" + name.replace("_", "-")
        for each in value if isinstance(value, (list, tuple)) else [value]:
            if each is True:
                words.append(word)
            elif each is not False and each is not None:
                words += [word, os.fspath(each) if isinstance(each, os.PathLike) else str(each)]
    return words


def geocode(path, output, crs, *, progress=None, **options):
    """Writes layers of a product as a map, as `rfsar geocode` does.

    :param crs: coordinate system of the map, such as "EPSG:32633".
    :param options: those of the command line: layer="SIGMA_NOUGHT_HH", resolution=10.0 (units of
        the system), dem="dem.tif", cog=True, force=True, max_memory=256 (MiB), ...
    :param progress: called with the done part, 0.0 to 1.0; an exception of it ends the work.
    """
    run("geocode", path, "-o", output, "--crs", crs, *_options(options), progress=progress)


def rtc(path, output, dem, crs=None, *, progress=None, **options):
    """Writes terrain-flattened gamma nought, as `rfsar rtc` does.

    :param dem: elevation model, one file or several.
    :param crs: coordinate system of the map; None with radar_geometry=True.
    :param options: those of the command line: resolution=30.0, dem_heights="egm2008", ...
    :param progress: as geocode().
    """
    run("rtc", path, "-o", output, *_options({"dem": dem, "crs": crs, **options}),
        progress=progress)
