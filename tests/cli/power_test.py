# SPDX-License-Identifier: MIT
"""--db and --denoise of every verb: one answer, the one of numpy and the layers themselves."""

import pathlib
import re
import sys
import unittest

import numpy as np
from osgeo import gdal

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from products import ProductCase, rfsar  # noqa: E402

gdal.UseExceptions()


def decibels(power):
    with np.errstate(divide="ignore", invalid="ignore"):
        return np.where(power > 0, 10 * np.log10(power), np.nan)


class PowerCase(ProductCase):
    def make_image(self, verb, product, *options):
        out = self.folder / "out.tif"
        done = rfsar(verb, product.opened, "-o", out, "--force", *options)
        self.assertEqual(done.returncode, 0, done.stderr)
        return gdal.Open(str(out))

    def layer(self, product, name):
        return self.make_image("export", product, "--layer", name).ReadAsArray().astype(float)


class Treatment(PowerCase):
    def test_export_and_read_take_decibels_and_noise_alike(self):
        for family, pole, magnitude in (("rcm", "HV", "C_HV_MAGNITUDE_2"),
                                        ("radarsat2", "HH", "C_HH_MAGNITUDE_1"),
                                        ("capella-slc", "VV", "X_VV_MAGNITUDE_1")):
            product = self.make(family, lines=90, samples=131)
            sigma = self.layer(product, f"SIGMA_NOUGHT_{pole}")
            noise = 10 ** (self.layer(product, "NESZ" if family == "radarsat2" else f"NESZ_{pole}")
                           / 10)
            cases = [((f"SIGMA_NOUGHT_{pole}", "--db"), decibels(sigma)),
                     ((f"sigma_nought_db_{pole}",), decibels(sigma)),
                     ((f"SIGMA_NOUGHT_{pole}", "--denoise"), sigma - noise),
                     ((f"SIGMA_NOUGHT_DB_{pole}", "--denoise"), decibels(sigma - noise)),
                     ((magnitude, "--db"), decibels(self.layer(product, magnitude) ** 2))]
            if family != "rcm":
                samples = self.layer_of_samples(product, f"COMPLEX_{pole}")
                cases.append(((f"COMPLEX_{pole}", "--db"), decibels(np.abs(samples) ** 2)))
            for (layer, *options), expected in cases:
                with self.subTest(family=family, layer=layer, options=options):
                    image = self.make_image("export", product, "--layer", layer, *options)
                    found = image.ReadAsArray()
                    clear = np.abs(sigma - noise) > 1e-3 * noise
                    np.testing.assert_allclose(found[clear], expected[clear], rtol=1e-5, atol=2e-5)
                    in_db = "--db" in options or "db" in layer.lower()
                    self.assertEqual(image.GetRasterBand(1).GetUnitType(), "dB" if in_db else "1")
                    self.assertEqual(image.GetMetadataItem("NOISE_REMOVED"),
                                     "YES" if "--denoise" in options else None)
                    raw = rfsar("read", product.opened, layer, *options, "--window", "7,33,101,40",
                                "-o", "-", binary=True).stdout
                    np.testing.assert_array_equal(np.frombuffer(raw, "<f4").reshape(40, 101),
                                                  found[33:73, 7:108])

    def layer_of_samples(self, product, name):
        image = self.make_image("export", product, "--layer", name).ReadAsArray()
        raw = rfsar("read", product.opened, name, "-o", "-", binary=True).stdout
        pairs = np.frombuffer(raw, "<i2").reshape(*image.shape, 2)
        np.testing.assert_array_equal(pairs[..., 0] + 1j * pairs[..., 1], image)
        return image

    def test_a_name_without_its_polarization_is_all_of_them(self):
        product = self.make("rcm", lines=40, samples=50, polarizations="HH HV VH VV")
        poles = ["HH", "VV", "HV", "VH"]  # as the images come
        single = [self.layer(product, f"SIGMA_NOUGHT_DB_{pole}") for pole in poles]
        image = self.make_image("export", product, "--layer", "SIGMA_NOUGHT", "--db")
        np.testing.assert_array_equal(image.ReadAsArray(), single)
        self.assertEqual([image.GetRasterBand(i + 1).GetDescription() for i in range(4)],
                         [f"SIGMA_NOUGHT_DB_{pole}" for pole in poles])
        raw = rfsar("read", product.opened, "SIGMA_NOUGHT_DB", "-o", "-", binary=True).stdout
        np.testing.assert_array_equal(np.frombuffer(raw, "<f4").reshape(4, 40, 50), single)
        drawn = self.make_image("geocode", product, "--crs", "EPSG:32632", "--layer", "GAMMA",
                                "--layer", "INCIDENCE_ANGLE")
        self.assertEqual(drawn.RasterCount, 5)
        for band, name in enumerate((*(f"GAMMA_{pole}" for pole in poles), "INCIDENCE_ANGLE")):
            alone = self.make_image("geocode", product, "--crs", "EPSG:32632", "--layer", name)
            np.testing.assert_array_equal(drawn.GetRasterBand(band + 1).ReadAsArray(),
                                          alone.ReadAsArray())

    def test_maps_and_overviews_are_averaged_in_power(self):
        product = self.make("rcm", lines=1200, samples=1100, target_grid=1)
        for options in (("--layer", "SIGMA_NOUGHT_HH"), ("--layer", "SIGMA_NOUGHT_HH", "--denoise")):
            where = ("--crs", "EPSG:32632", "--resolution", "200", *options)
            linear = self.make_image("geocode", product, *where).ReadAsArray().astype(float)
            drawn = self.make_image("geocode", product, *where, "--db")
            np.testing.assert_allclose(drawn.ReadAsArray(), decibels(linear), atol=2e-5)
            self.assertEqual(drawn.GetMetadataItem("NOISE_REMOVED"),
                             "YES" if "--denoise" in options else None)
        self.assertTrue((linear < 0).any())
        image = self.make_image("export", product, "--layer", "SIGMA_NOUGHT_HH", "--db",
                                "--overviews")
        band = image.GetRasterBand(1)
        half = band.GetOverview(0).ReadAsArray()
        power = 10 ** (band.ReadAsArray().astype(float) / 10)
        mean = np.nanmean(power.reshape(600, 2, 550, 2), (1, 3))  # of what has power
        np.testing.assert_allclose(half, decibels(mean), atol=1e-4)
        cog = self.make_image("geocode", product, "--crs", "EPSG:32632", "--layer",
                              "SIGMA_NOUGHT_DB_HH", "--cog")
        self.assertEqual(cog.GetMetadataItem("LAYOUT", "IMAGE_STRUCTURE"), "COG")
        band = cog.GetRasterBand(1)
        whole, half = (10 ** (each.ReadAsArray().astype(float) / 10)
                       for each in (band, band.GetOverview(0)))
        self.assertAlmostEqual(np.nanmean(half) / np.nanmean(whole), 1, delta=0.02)

    def test_pictures_take_the_noise_away(self):
        product = self.make("rcm", lines=200, samples=200, polarizations="HH HV")
        clean = self.make_image("quicklook", product, "--layer", "SIGMA_NOUGHT_HV", "--denoise",
                                "--db", "--as-stored")
        self.assertEqual(clean.GetMetadataItem("NOISE_REMOVED"), "YES")
        pixels = clean.ReadAsArray()[0][:150]  # above the legend
        below = self.layer(product, "SIGMA_NOUGHT_HV") < 10 ** (self.layer(product, "NESZ_HV") / 10)
        self.assertLess(pixels[below[:150]].max(), pixels[~below[:150]].min())  # black, or not
        by_name, by_option = (
            self.make_image("quicklook", product, "--as-stored", *words).ReadAsArray()
            for words in (("--layer", "SIGMA_NOUGHT_DB_HV"),
                          ("--layer", "SIGMA_NOUGHT_HV", "--db")))
        np.testing.assert_array_equal(by_name, by_option)
        self.assertEqual(self.make_image("quicklook", product, "--rgb", "--denoise").RasterCount, 3)

    def test_what_has_no_decibels_or_no_noise_level_is_refused(self):
        slc = self.make("capella-slc", lines=32, samples=32)
        grd = self.make("capella-grd", lines=32, samples=32)
        for verb, options in (("export", ()), ("geocode", ("--crs", "EPSG:32632")),
                              ("quicklook", ()), ("read", ())):
            for product, layer, option, reason in (
                    (slc, "X_VV_PHASE_2", "--db", "phases, which have no decibels"),
                    (slc, "INCIDENCE_ANGLE", "--db", "angles, which have no decibels"),
                    (slc, "X_VV_MAGNITUDE_1", "--denoise", "from calibrated power alone"),
                    (grd, "BETA_NOUGHT_HH", "--denoise", "states no noise level for HH")):
                with self.subTest(verb=verb, reason=reason):
                    out = self.folder / "none.tif"
                    named = (layer,) if verb == "read" else ("--layer", layer)
                    self.assertFails(rfsar(verb, product.opened, *named, option, *options, "-o",
                                           out), reason)
                    self.assertFalse(out.exists())

    def test_bursts_lose_the_noise_of_their_beam(self):
        product = self.make("rcm", product_type="SLC", lines=300, samples=400, beams=2)
        mosaic = {option: self.make_image("export", product, "--layer", "MOSAIC_SIGMA_NOUGHT_HH",
                                          *option).ReadAsArray() for option in ((), ("--denoise",))}
        names = re.findall(r"SIGMA_NOUGHT_HH@\S+/\d+",
                           rfsar("info", product.opened).stdout.replace(",", " "))
        self.assertGreater(len(names), 3)
        taken = (mosaic[()] - mosaic["--denoise",])[mosaic[()] != 0]
        levels = []
        for name in names:
            plain, clean = (self.make_image("export", product, "--layer", name, *option)
                            .ReadAsArray().astype(float) for option in ((), ("--denoise",)))
            level = 10 ** (self.layer(product, name.replace("SIGMA_NOUGHT", "NESZ")) / 10)
            np.testing.assert_allclose(plain - clean, level, rtol=1e-3, atol=1e-6 * plain.max())
            levels.append((level.min(), level.max()))
        self.assertLess(taken.max(), 1.01 * max(high for _, high in levels))
        self.assertGreater(np.median(taken), 0.99 * min(low for low, _ in levels))


if __name__ == "__main__":
    unittest.main()
