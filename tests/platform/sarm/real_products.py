# SPDX-License-Identifier: MIT
"""Reads the model's record fields and the tie points of one real product, with Python's own parsers.

Output, one entry a line, for the gtest that called: `field value`, `vector x y z vx vy vz`,
`tie line sample latitude longitude height` (a centre pixel given as earth-fixed position: `target
line sample x y z`), `habits n` (SarmHabit), `offset s` (first state vector minus the earlier line time).
The rules are those of the readers: seconds of day, first and last line swapped into order.
"""

import json
import sys
import xml.etree.ElementTree as ElementTree
import zipfile
from pathlib import Path

DAY = 86400.0


def time_of(text):
    """(day of year, s of day, whole days since the year 1) of an ISO time."""
    import datetime
    date, clock = text.rstrip("Z").split("T")
    hours, minutes, seconds = clock.split(":")
    day = datetime.date.fromisoformat(date)
    seconds_of_day = (int(hours) * 60 + int(minutes)) * 60 + float(seconds)
    return day.timetuple().tm_yday, seconds_of_day, day.toordinal()


def put(name, *values):
    print(name, *(repr(float(v)) for v in values))


def put_times(first_line, last_line, vector_times):
    """First line's date decides the fold of the first vector, as in the readers."""
    first_s, last_s = first_line[1], last_line[1]
    put("firstLineTime", min(first_s, last_s))
    put("lastLineTime", max(first_s, last_s))
    day, seconds, ordinal = vector_times[0]
    fold = DAY - seconds if day < first_line[0] else seconds + DAY * (day > first_line[0])
    put("stateVectorFirstTime", fold)
    put("stateVectorInterval", vector_times[1][1] - seconds)
    start = min(line[1] + (line[2] - ordinal) * DAY for line in (first_line, last_line))
    put("offset", seconds - start)


def strip_namespaces(root):
    for element in root.iter():
        element.tag = element.tag.split("}")[-1]
    return root


def radarsat(root):
    """RADARSAT-2 and RCM: one reader, the paths differ a little."""
    def number(name):
        return float(root.find(f".//{name}").text)

    def text(name):
        return root.find(f".//{name}").text.strip()

    slant = text("productType") == "SLC"
    rcm = root.find(".//sceneAttributes") is not None
    put("numberOfLines", number("numLines" if rcm else "numberOfLines"))
    put("numberOfSamplesPerLine", number("samplesPerLine" if rcm else "numberOfSamplesPerLine"))
    put("semiMajorAxis", number("semiMajorAxis"))
    put("semiMinorAxis", number("semiMinorAxis"))
    put("geodeticTerrainHeight", number("geodeticTerrainHeight"))
    put("lookDirection", 90 if text("antennaPointing").lower() == "right" else -90)
    put("sampledPixelSpacing", number("sampledPixelSpacing"))
    put("sampledLineSpacing", number("sampledLineSpacing"))
    put("slantRangeNearEdge", number("slantRangeNearEdge"))
    put("rangeGeometry", 2 if slant else 1)
    put("pixelTimeOrdering", text("pixelTimeOrdering") == "Decreasing")
    put("lineTimeOrdering", text("lineTimeOrdering") == "Decreasing")
    if rcm:
        put("pulseRepetitionFrequency", number("pulseRepetitionFrequency"))
        put("lateLineTimes", text("beamMode") != "Spotlight")
    else:
        put("habits", 4)
        put("incidenceAngleCentre",
            (number("incidenceAngleNearRange") + number("incidenceAngleFarRange")) / 2)
    if not slant:
        put("groundToSlantRangeCoefficients",
            *(float(c) for c in text("groundToSlantRangeCoefficients").split()[:6]))
    vectors = root.findall(".//stateVector")
    put_times(time_of(text("zeroDopplerTimeFirstLine")), time_of(text("zeroDopplerTimeLastLine")),
              [time_of(v.find("timeStamp").text) for v in vectors])
    for vector in vectors:
        put("vector", *(float(vector.find(axis + kind).text)
                        for kind in ("Position", "Velocity") for axis in "xyz"))
    for tie in root.iter("imageTiePoint"):
        put("tie", *(float(tie.find(f".//{name}").text)
                     for name in ("line", "pixel", "latitude", "longitude", "height")))


def capella(item, slant):
    collect = item["collect"]
    image, radar, state = collect["image"], collect["radar"], collect["state"]
    geometry = image["image_geometry"]
    delta = geometry.get("delta_line_time", 0.0)
    first = time_of(geometry.get("first_line_time", collect["start_timestamp"]))
    put("numberOfLines", image["rows"])
    put("numberOfSamplesPerLine", image["columns"])
    put("lookDirection", 90 if radar["pointing"].lower() == "right" else -90)
    put("habits", 1 + 2)
    put("sampledPixelSpacing", geometry.get("delta_range_sample", 0.0))
    put("sampledLineSpacing", image["pixel_spacing_row"])
    put("slantRangeNearEdge", geometry.get("range_to_first_sample", 0.0))
    put("rangeGeometry", 2 if slant else 1)
    put("incidenceAngleCentre", image["center_pixel"]["incidence_angle"])
    put("pixelTimeOrdering", geometry.get("delta_range_sample", 0.0) <= 0)
    put("lineTimeOrdering", delta <= 0)
    last = (first[0], first[1] + image["rows"] * delta, first[2])
    vectors = state["state_vectors"]
    put_times(first, last, [time_of(v["time"]) for v in vectors])
    for vector in vectors:
        put("vector", *vector["position"], *vector["velocity"])
    put("target", image["rows"] // 2, image["columns"] // 2,
        *image["center_pixel"]["target_position"])


def main(path):
    if path.suffix == ".json":
        capella(json.loads(path.read_text()), slant="_SLC_" in path.name)
    elif path.suffix == ".zip":
        with zipfile.ZipFile(path) as archive:
            name = next(n for n in archive.namelist() if n.endswith("/product.xml"))
            radarsat(strip_namespaces(ElementTree.fromstring(archive.read(name))))
    else:
        radarsat(strip_namespaces(ElementTree.parse(path).getroot()))


if __name__ == "__main__":
    main(Path(sys.argv[1]))
