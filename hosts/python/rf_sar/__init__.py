# SPDX-License-Identifier: MIT
"""SAR satellite products (RADARSAT-2, RADARSAT Constellation, Capella): places, records, tables.

    product = rf_sar.open("product.xml")
    lon, lat, height = product.model.image_to_ground(sample, line, 0.0)
    data = xarray.open_dataset("product.xml", engine="rf_sar", group="HH")

Errors are rf_sar.Error, with the file and the reason. Nothing is printed: warnings about a product
are logged to logging.getLogger("rf_sar") and are in Product.warnings.
"""

from ._core import Error
from ._product import Model, Product, open  # noqa: A004
from ._verbs import geocode, rtc
from ._batch import batch

__all__ = ["Error", "Model", "Product", "batch", "geocode", "open", "report", "rtc"]


def report(path, output, force=False):
    """Writes a report about a product as one HTML file: picture, place, tables, orbit, findings.

    :param path: the product, as open() takes it.
    :param output: the HTML file to write.
    :param force: replace an existing file.
    Needs matplotlib and jinja2.
    """
    from ._report import write  # matplotlib takes its time

    write(path, output, force)
