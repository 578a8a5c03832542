# SPDX-License-Identifier: MIT
"""A catalogue of many rows, from the shape of one that rfsar wrote."""

import random
import shutil
import sqlite3
import struct

# A box of 2 degrees and half a year, one of a degree and a month, and one across the antimeridian.
QUERIES = (("10,47,12,49", "2024-01-01/2024-06-30"), ("10,47,11,48", "2024-03/2024-03"),
           ("179.5,50,-179.5,51", "2020/2024"))


def geometry(west, south, east, north):
    """A GeoPackage multipolygon of one box, with its envelope."""
    ring = [(west, south), (east, south), (east, north), (west, north), (west, south)]
    header = b"GP\0\3" + struct.pack("<i4d", 4326, west, east, south, north)
    body = struct.pack("<BII", 1, 6, 1) + struct.pack("<BII", 1, 3, 1) + struct.pack("<I", 5)
    return header + body + b"".join(struct.pack("<2d", *point) for point in ring)


def write(pattern, path, count, seed=1):
    """Scenes of about 100 km all over the land's latitudes, 2015 to 2024."""
    shutil.copy(pattern, path)
    chance = random.Random(seed)
    with sqlite3.connect(path) as table:
        names = [row[1] for row in table.execute("PRAGMA table_info(products)")]
        blank = dict(zip(names, table.execute("SELECT * FROM products LIMIT 1").fetchone()))
        triggers = table.execute("SELECT name, sql FROM sqlite_master WHERE type = 'trigger' "
                                 "AND tbl_name = 'products'").fetchall()
        for name, _ in triggers:  # they would ask OGR's functions; the index is filled below
            table.execute(f'DROP TRIGGER "{name}"')
        table.execute("DELETE FROM products")
        index = next(row[0] for row in table.execute(
            "SELECT name FROM sqlite_master WHERE name LIKE 'rtree_products_%' AND sql LIKE "
            "'CREATE VIRTUAL%'"))
        column = index.removeprefix("rtree_products_")
        table.execute(f"DELETE FROM {index}")
        rows, boxes = [], []
        for number in range(1, count + 1):
            west, south = chance.uniform(-180, 178), chance.uniform(-60, 82)
            east, north = west + chance.uniform(0.5, 1.5), south + 1
            date = (f"{chance.randint(2015, 2024)}-{chance.randint(1, 12):02}-"
                    f"{chance.randint(1, 28):02}T{chance.randint(0, 23):02}:00:")
            rows.append(tuple({**blank, "fid": number, "file": f"/archive/{number}/product.xml",
                               "product_id": f"P{number}", "start": date + "00.000Z",
                               "stop": date + "09.000Z", "vanished": 0, "error": None,
                               column: geometry(west, south, east, north)}.values()))
            boxes.append((number, west, east, south, north))
        table.executemany(f"INSERT INTO products VALUES ({','.join('?' * len(names))})", rows)
        table.executemany(f"INSERT INTO {index} VALUES (?,?,?,?,?)", boxes)
        table.execute("UPDATE gpkg_ogr_contents SET feature_count = ?", (count,))
        table.execute("UPDATE gpkg_contents SET min_x = -180, max_x = 180, min_y = -60, max_y = 83")
        for _, sql in triggers:
            table.execute(sql)
