# SPDX-License-Identifier: MIT
"""sarsim: simulated SAR products (RADARSAT-2, RCM, Capella) with known geometry and targets.

    import sarsim
    product = sarsim.make(sarsim.Recipe("rcm", lines=300), "/tmp/out")
    product.opened, product.truth["targets"]
"""
from .product import Product, make
from .recipe import Recipe, RecipeError

__all__ = ["Product", "Recipe", "RecipeError", "make"]
