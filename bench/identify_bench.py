# SPDX-License-Identifier: MIT
"""What identifying foreign files costs: a folder of 1000 XML and JSON files of other kinds, asked
of RF_SAR alone, of one of GDAL's own drivers for XML, of all of GDAL's own drivers, and of all with
RF_SAR; and a zip archive of 8000 folders, beside one reading of its directory.

    GDAL_DRIVER_PATH=build/lib /usr/bin/python3 bench/identify_bench.py
"""

import os
import pathlib
import statistics
import tempfile
import time
import zipfile

from osgeo import gdal

COUNT, ROUNDS, FOLDERS = 1000, 9, 8000
FOREIGN = {
    "note.xml": "<?xml version='1.0'?>\n<note><to>x</to></note>\n",
    "product-of-a-shop.xml": "<?xml version='1.0'?>\n<product id='7' xmlns='urn:shop'><n/></product>",
    "map.xml": "<?xml version='1.0'?>\n<MapDataset><a/></MapDataset>",
    "features.json": '{"type": "FeatureCollection", "features": []}',
    "item.json": '{"type": "Feature", "stac_version": "1.0.0", "properties": {"a": "%s"}}' % (
        "x" * 3000),
    "settings.json": '{"name": "settings", "values": [1, 2, 3]}',
}


def own_drivers():
    drivers = [gdal.GetDriver(i) for i in range(gdal.GetDriverCount())]
    return [d.ShortName for d in drivers
            if d.ShortName != "RF_SAR" and d.GetMetadataItem(gdal.DCAP_RASTER)]


def seconds(files, drivers):
    start = time.perf_counter()
    for file in files:
        gdal.IdentifyDriverEx(file, gdal.OF_RASTER, drivers)
    return time.perf_counter() - start


def reading(archive):
    start = time.perf_counter()
    zipfile.ZipFile(archive).close()
    return time.perf_counter() - start


def main():
    if gdal.GetDriverByName("RF_SAR") is None:
        raise SystemExit("RF_SAR is not there: set GDAL_DRIVER_PATH to the folder of gdal_RF_SAR.so")
    own = own_drivers()
    with tempfile.TemporaryDirectory() as folder:
        files = []
        for i in range(COUNT):
            name, text = list(FOREIGN.items())[i % len(FOREIGN)]
            files.append(os.path.join(folder, f"{i}-{name}"))
            pathlib.Path(files[-1]).write_text(text)
        kinds = {"RF_SAR alone": ["RF_SAR"], "RS2 alone": ["RS2"], "GDAL": own,
                 "all": own + ["RF_SAR"]}
        archive = os.path.join(folder, "folders.zip")
        with zipfile.ZipFile(archive, "w") as out:
            for i in range(FOLDERS):
                out.writestr(f"folder {i}/data.txt", "x")
        directory = min(reading(archive) for _ in range(ROUNDS))
        archives = {kind: min(seconds([archive], drivers) for _ in range(ROUNDS))
                    for kind, drivers in kinds.items()}
        times = {kind: [] for kind in kinds}
        for _ in range(ROUNDS):
            for kind, drivers in kinds.items():
                times[kind].append(seconds(files, drivers))
    median = {kind: statistics.median(values) for kind, values in times.items()}
    for kind, value in median.items():
        print(f"{kind:24} {value / COUNT * 1e6:8.1f} us a file")
    print(f"RF_SAR to RS2 alone      {median['RF_SAR alone'] / median['RS2 alone']:8.2f}")
    print(f"with RF_SAR to without   {median['all'] / median['GDAL']:8.2f}")
    print(f"archive of {FOLDERS} folders: GDAL {archives['GDAL'] * 1e3:.1f} ms, with RF_SAR "
          f"{archives['all'] * 1e3:.1f} ms; its directory by zipfile {directory * 1e3:.1f} ms")


if __name__ == "__main__":
    main()
