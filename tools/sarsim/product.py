# SPDX-License-Identifier: MIT
"""Makes a product from a recipe: documents, images and the truth beside them."""
import dataclasses
import os

from . import capella, pixels, radarsat2, rcm, tiff, truth
from . import recipe as recipes
from .scene import Scene

_WRITERS = {"capella-geo": capella, "capella-slc": capella, "capella-grd": capella, "rcm": rcm,
            "radarsat2": radarsat2}


@dataclasses.dataclass
class Product:
    folder: str        # the product's folder
    opened: str        # the file a reader opens
    truth_path: str    # OUTDIR/NAME.truth.json
    truth: dict        # its content
    scene: Scene


def make(recipe, outdir):
    """Writes OUTDIR/NAME/... and OUTDIR/NAME.truth.json; existing files are replaced.

    Raises RecipeError for a recipe that contradicts itself, ValueError for a geometry that does
    not exist (a range that misses the ground), OSError and GDAL's RuntimeError for files.
    """
    recipe = recipes.complete(recipe)
    writer = _WRITERS[recipe.family]
    recipe.name = recipe.name or writer.default_name(recipe)
    scene = Scene(recipe, writer.radar(recipe))
    folder = os.path.join(os.fspath(outdir), recipe.name)
    os.makedirs(folder, exist_ok=True)
    images = [pixels.Picture(path, pole, index, scene, burst)
              for burst in scene.bursts or [None]
              for index, (pole, path) in enumerate(zip(
                  recipe.image_poles, writer.image_paths(recipe, burst)))]
    if recipe.images:
        content = pixels.Content(scene)
        for picture in images:
            path = os.path.join(folder, picture.path)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            tiff.write(path, scene, content, picture)
    documents = writer.write(scene, folder, images)
    opened = os.path.join(folder, writer.opened(recipe))
    truth_path = folder + ".truth.json"
    facts = truth.write(truth_path, scene, writer, opened, images, documents)
    return Product(folder, opened, truth_path, facts, scene)
