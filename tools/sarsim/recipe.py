# SPDX-License-Identifier: MIT
"""The recipe: everything that decides a simulated product, in one place.

A field left at None takes the family's default (`complete`). The command line offers each field
under the same name with dashes; `--recipe FILE.json` reads the fields from a JSON object.
"""
import dataclasses
import json
from dataclasses import dataclass, field
from typing import Optional

from . import instants

FAMILIES = ("capella-geo", "capella-slc", "capella-grd", "rcm", "radarsat2")
COMPLEX_TYPES = {"capella-slc": ("SLC",), "rcm": ("SLC", "GRC", "GCC"), "radarsat2": ("SLC",)}
SLANT_TYPES = ("SLC", "MLC")
MAP_TYPES = {"capella-geo": None, "rcm": ("GCC", "GCD"), "radarsat2": ("SSG", "SPG")}
PRODUCT_TYPES = {
    "rcm": ("GRD", "SLC", "MLC", "GRC", "GCC", "SCD", "GCD"),
    "radarsat2": ("SLC", "SGF", "SGX", "SGC", "SSG", "SPG"),
}
CROSS_PRODUCT = "XC"  # the complex image of MLC products, beside those of the powers
PIXEL_TYPES = ("uint8", "uint16", "int16", "uint32", "int32", "float32", "float64")


def numbers(text):
    """"0.1,0.9" -> [0.1, 0.9]."""
    return [float(part) for part in text.split(",")]


class RecipeError(ValueError):
    """A recipe that contradicts itself; the message names the field."""


def option(text, default=None, **extra):
    return field(default=default, metadata={"help": text, **extra})


@dataclass
class Recipe:
    family: str
    # What it is
    product_type: Optional[str] = option("product type, such as SLC, GRD, SGF, GCD")
    name: Optional[str] = option("base name of the product (any characters a file name may have)")
    satellite: Optional[str] = option("satellite name as the metadata states it")
    acquisition: Optional[str] = option(
        "beam mode (rcm), acquisition type (radarsat2) or mode (capella)",
        flags=("--acquisition-type", "--beam-mode"))
    polarizations: Optional[str] = option('polarizations in stated order, e.g. "HH HV"')
    image_order: Optional[str] = option("polarizations in the order of the image files")
    # The image
    lines: int = option("number of lines", 512)
    samples: int = option("number of samples per line", 512)
    pixel_type: Optional[str] = option("stored type (of each part, when complex)",
                                       choices=PIXEL_TYPES)
    bands: Optional[int] = option("complex samples as one complex band or two real bands",
                                  choices=(1, 2))
    tiled: bool = option("tiles instead of strips", False, flags=("--tiled",), off="--striped")
    block: Optional[int] = option("tile edge (default 256), or lines per strip (default 1)")
    compress: Optional[str] = option("TIFF compression, e.g. DEFLATE or LZW")
    images: bool = option("write the image files", True, flags=("--images",), off="--no-images")
    sparse: bool = option("image files without content, whatever their size", False,
                          flags=("--sparse",), off="--full")
    gcps: bool = option("tie points as GCPs in the image files", True,
                        flags=("--gcps",), off="--no-gcps")
    seed: int = option("seed of everything random", 1)
    # The geometry
    centre: str = option("scene centre LON,LAT in degrees", "11.5,48.1")
    height: Optional[float] = option(
        "constant terrain height above the ellipsoid, m (default 120; for capella 0, as its "
        "metadata state none)")
    incidence: Optional[float] = option("incidence angle at the centre, degrees")
    altitude: Optional[float] = option("orbit altitude above the equatorial radius, m")
    look: str = option("look side", "right", choices=("left", "right"))
    pass_direction: str = option("pass direction", "ascending",
                                 choices=("ascending", "descending"), flags=("--pass",))
    line_order: str = option("time along the file's lines", "increasing",
                             choices=("increasing", "decreasing"))
    pixel_order: str = option("range along the file's samples", "increasing",
                              choices=("increasing", "decreasing"))
    line_spacing: Optional[float] = option("line spacing on the ground, m")
    pixel_spacing: Optional[float] = option("sample spacing (slant, ground or map), m")
    start: str = option("time of the earlier of the first and last lines, UTC",
                        "2024-05-06T07:08:09.250000Z")
    # Orbit and Doppler
    state_vectors: Optional[int] = option("number of state vectors")
    vector_interval: Optional[float] = option("time between state vectors, s")
    vector_start: Optional[float] = option("first state vector, s after `start` (may be negative)")
    vector_jitter: float = option("uneven state-vector times: largest shift, s", 0.0)
    doppler_estimates: int = option("number of Doppler centroid estimates", 1)
    doppler_positions: Optional[list] = option(
        "their places as fractions of the image time (0 start, 1 end), e.g. -0.2,0.1,0.9",
        kind=numbers)
    # Targets and tie points
    targets: Optional[list] = option("point targets, [{lon, lat, height}, ...] (JSON only)",
                                     hidden=True)
    target_grid: int = option("without targets: a grid of so many by so many", 3)
    tie_points: int = option("tie points along each side of the image", 11)
    # Particular to one family
    beams: int = option("rcm SLC: ScanSAR beams, each cut into bursts (0: one whole image)", 0)
    bursts: int = option("rcm SLC: bursts of each beam", 3)
    shuffle: bool = option("rcm SLC: bursts out of order in the document", False,
                           flags=("--shuffle",), off="--in-order")
    wings: str = option('radarsat2: wings of the receiver gains: "Combined", "Fore Aft", ...',
                        "Combined")
    crlf: bool = option("XML documents with CR LF line ends", False, flags=("--crlf",), off="--lf")
    only: Optional[str] = option("capella: write only one of the two documents",
                                 choices=("item", "extended"))
    href_prefix: str = option("capella: text before the image's name in the item, e.g. a URL", "")
    image_geometry: Optional[str] = option("capella-slc: kind of image geometry stated",
                                           choices=("slant_plane", "pfa", "surface"))

    @property
    def platform(self):
        return self.family.split("-")[0]

    @property
    def product_is_complex(self):
        return self.product_type in COMPLEX_TYPES.get(self.family, ())

    @property
    def product_is_map(self):
        kinds = MAP_TYPES.get(self.family, ())
        return kinds is None or self.product_type in kinds

    @property
    def product_is_polar(self):
        return self.image_geometry == "pfa"

    @property
    def product_is_slant(self):
        return self.product_type in SLANT_TYPES

    def image_is_complex(self, pole):
        return self.product_is_complex or (self.product_type == "MLC" and pole == CROSS_PRODUCT)

    @property
    def poles(self):
        return self.polarizations.split()

    @property
    def image_poles(self):
        return self.image_order.split()

    @property
    def lon_lat(self):
        lon, lat = self.centre.split(",")
        return float(lon), float(lat)

    @property
    def start_ns(self):
        return instants.parse(self.start)


DEFAULTS = {
    "capella-geo": dict(product_type="GEO", acquisition="spotlight", polarizations="HH",
                        incidence=38.0, line_spacing=1.0, pixel_spacing=1.0),
    "capella-slc": dict(product_type="SLC", acquisition="stripmap", polarizations="VV",
                        incidence=34.0, line_spacing=1.1, pixel_spacing=0.6171875),
    "capella-grd": dict(product_type="GRD", acquisition="sliding_spotlight", polarizations="HH",
                        incidence=36.0, line_spacing=1.0, pixel_spacing=1.0),
    "rcm": dict(product_type="GRD", acquisition="Medium Resolution 16m", polarizations="HH HV",
                incidence=33.0, line_spacing=6.25, pixel_spacing=6.25),
    "radarsat2": dict(product_type="SLC", acquisition="Fine", polarizations="HH",
                      incidence=36.0, line_spacing=5.0, pixel_spacing=4.733),
}
PLATFORMS = {
    "capella": dict(satellite="capella-11", altitude=525e3, height=0.0),
    "rcm": dict(satellite="RCM-2", altitude=592e3, height=120.0),
    "radarsat2": dict(satellite="RADARSAT-2", altitude=798e3, height=120.0),
}
SPACINGS = {  # line and pixel spacing where they differ from the family's default
    ("rcm", "SLC"): (2.2, 2.6), ("rcm", "MLC"): (8.8, 7.8), ("rcm", "GRC"): (2.2, 3.0), ("rcm", "GCC"): (3.0, 3.0),
    ("radarsat2", "SGF"): (12.5, 12.5), ("radarsat2", "SGX"): (8.0, 8.0),
    ("radarsat2", "SGC"): (50.0, 50.0),
    ("radarsat2", "SSG"): (12.5, 12.5), ("radarsat2", "SPG"): (12.5, 12.5),
}


def complete(recipe):
    """A copy with every None that has a default filled in; raises RecipeError."""
    if recipe.family not in FAMILIES:
        raise RecipeError(f"family: {recipe.family!r} is none of {', '.join(FAMILIES)}")
    r = dataclasses.replace(recipe)
    if r.line_spacing is None and r.pixel_spacing is None:
        r.line_spacing, r.pixel_spacing = SPACINGS.get((r.family, r.product_type), (None, None))
    if r.product_type == "MLC":
        r.polarizations = r.polarizations or "CH CV"
        r.image_order = r.image_order or f"{r.polarizations} {CROSS_PRODUCT}"
        r.pixel_type = r.pixel_type or "float32"
        r.bands = r.bands or 2
    if r.beams and r.acquisition is None:
        r.acquisition = "Medium Resolution 50m"
    for key, value in {**DEFAULTS[r.family], **PLATFORMS[r.platform]}.items():
        if getattr(r, key) is None:
            setattr(r, key, value)
    if r.image_order is None:
        quad = r.family == "rcm" and r.poles == ["HH", "HV", "VH", "VV"]
        r.image_order = "HH VV HV VH" if quad else r.polarizations
    if r.pixel_type is None:
        r.pixel_type = "int16" if r.product_is_complex else "uint16"
    if r.bands is None:
        r.bands = 1 if r.platform == "capella" or not r.product_is_complex else 2
    if r.image_geometry is None:
        r.image_geometry = "slant_plane"
    check(r)
    return r


def check(r):
    def need(condition, text):
        if not condition:
            raise RecipeError(text)

    for f in dataclasses.fields(Recipe):
        value, choices = getattr(r, f.name), f.metadata.get("choices")
        need(choices is None or value is None or value in choices,
             f"{f.name}: {value!r} is none of {choices}")
    allowed = PRODUCT_TYPES.get(r.family, (r.product_type,))
    need(r.product_type in allowed, f"product_type: {r.product_type!r} is none of {allowed}")
    need(r.lines >= 2 and r.samples >= 1, "lines, samples: at least 2 lines of 1 sample")
    need(r.line_spacing > 0 and r.pixel_spacing > 0, "line_spacing, pixel_spacing: above 0")
    need(sorted(r.poles) == sorted(set(r.image_poles) - {CROSS_PRODUCT}),
         "image_order: other poles than polarizations")
    need(CROSS_PRODUCT not in r.image_poles or r.product_type == "MLC",
         f"image_order: {CROSS_PRODUCT} is an image of MLC products")
    need(len(set(r.poles)) == len(r.poles) > 0, "polarizations: one or more, each once")
    some_complex = any(map(r.image_is_complex, r.image_poles))
    need(not some_complex or r.pixel_type in ("int16", "int32", "float32", "float64"),
         f"pixel_type: {r.pixel_type} cannot hold complex parts")
    need(r.bands == 1 or some_complex, "bands: 2 is for complex products")
    need(r.block is None or r.block > 0, "block: above 0")
    need(not r.tiled or r.block is None or r.block % 16 == 0, "block: tiles need a multiple of 16")
    need(r.beams == 0 or (r.family == "rcm" and r.product_type == "SLC"),
         "beams: bursts are for rcm products of the type SLC")
    need(0 <= r.beams <= 26 and r.bursts >= 1, "beams, bursts: 0 to 26 beams of 1 burst or more")
    need(not r.beams or (r.lines >= 40 * r.bursts and r.samples >= 60 * r.beams),
         "beams, bursts: at least 40 lines a burst and 60 samples a beam")
    need(r.state_vectors is None or r.state_vectors >= 1, "state_vectors: at least 1")
    need(r.doppler_estimates >= 1, "doppler_estimates: at least 1")
    need(r.pixel_order == "increasing" or r.platform != "capella",
         "pixel_order: Capella products run from near to far range")
    need(r.image_geometry == "slant_plane" or r.family == "capella-slc",
         "image_geometry: other kinds are for capella-slc")
    need(r.line_order == "increasing" or not r.product_is_polar,
         "line_order: the lines of a polar-format image have no times")
    need(r.tie_points >= 2, "tie_points: at least 2")
    need(10 <= r.incidence <= 60, "incidence: 10 to 60 degrees")
    try:
        lon, lat = r.lon_lat
    except ValueError:
        raise RecipeError(f"centre: not LON,LAT: {r.centre!r}") from None
    need(-180 <= lon <= 180 and -90 <= lat <= 90, f"centre: no such place: {r.centre}")
    try:
        ns = r.start_ns
    except ValueError as error:
        raise RecipeError(f"start: {error}") from None
    need(r.platform == "capella" or ns % 1000 == 0, "start: whole microseconds")


def from_json(path, **overrides):
    """Recipe from a JSON object of fields; `overrides` win."""
    with open(path, encoding="utf-8") as stream:
        fields = json.load(stream)
    fields.update(overrides)
    unknown = set(fields) - {f.name for f in dataclasses.fields(Recipe)}
    if unknown:
        raise RecipeError(f"{path}: unknown field {', '.join(sorted(unknown))}")
    if "family" not in fields:
        raise RecipeError(f"{path}: no family")
    return Recipe(**fields)
