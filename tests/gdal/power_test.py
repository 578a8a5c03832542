# SPDX-License-Identifier: MIT
"""Power that GDAL gets: decibels, noise subtracted, kinds computed by the angle, units."""

import json
import unittest
import xml.etree.ElementTree as ElementTree

from gdal_case import (ProductCase, by_column, complex_samples, gdal, named, np, open_product,
                       subdatasets, table)

KINDS = {"SIGMA_NOUGHT": ("Sigma", "Sigma Nought"), "BETA_NOUGHT": ("Beta", "Beta Nought"),
         "GAMMA": ("Gamma", "Gamma")}


def decibels(power):
    with np.errstate(divide="ignore", invalid="ignore"):
        return np.where(power > 0, 10 * np.log10(power), np.nan)


def noise(document, kind, width):
    """The stated level of a kind in linear power: between the table's columns linear in dB."""
    for level in ElementTree.parse(document).getroot().iter():
        if level.tag.split("}")[-1] != "referenceNoiseLevel":
            continue
        texts = {each.tag.split("}")[-1]: each.text for each in level}
        if kind in (level.get("incidenceAngleCorrection"), texts.get("sarCalibrationType")):
            values = np.array(texts["noiseLevelValues"].split(), float)
            columns = (int(texts["pixelFirstNoiseValue"])
                       + int(texts["stepSize"]) * np.arange(len(values)))
            return 10 ** (by_column(columns, values, width) / 10)
    raise AssertionError(f"{document} has no level for {kind}")


class Power(ProductCase):
    def by_hand(self, product, key, image):
        """Linear power from the stored samples and the product's tables, and its noise level."""
        stem, kind = KINDS[key]
        samples = complex_samples(product.folder / image["file"]).astype(np.complex128)
        rcm = product.truth["family"] == "rcm"
        lut = (f"metadata/calibration/lut{stem}_{image['pole']}.xml" if rcm
               else f"lut{stem}.xml")
        columns, gains, offset = table(product.folder / lut, "pixelFirstLutValue")
        gains = by_column(columns, gains, samples.shape[1])
        square = np.abs(samples) ** 2
        power = square / gains ** 2 if product.truth["complex"] else (square + offset) / gains
        stated = (product.folder / f"metadata/calibration/noiseLevels_{image['pole']}.xml"
                  if rcm else product.opened)
        return power, noise(stated, kind, samples.shape[1])

    def test_decibels_and_noise_agree_with_the_tables_for_each_kind(self):
        for family, fields in (("rcm", {"pixel_order": "decreasing", "tiled": True, "block": 64}),
                               ("rcm", {"product_type": "SLC"}), ("radarsat2", {}),
                               ("radarsat2", {"product_type": "SGF"})):
            product = self.make(family, lines=70, samples=131, incidence=25.0, target_grid=1,
                                name=f"{family}{len(fields)}", **fields)
            image = product.truth["images"][-1]
            for key in KINDS:
                with self.subTest(family=family, key=key, **fields):
                    power, level = self.by_hand(product, key, image)
                    pole = image["pole"]
                    for name, options, expected in (
                            (f"{key}_{pole}", {}, power), (f"{key}_DB_{pole}", {}, decibels(power)),
                            (f"{key}_{pole}", {"DENOISE": "YES"}, power - level),
                            (f"{key}_DB_{pole}", {"DENOISE": "YES"}, decibels(power - level))):
                        dataset = open_product(named(product.opened, name.lower()), **options)
                        band = dataset.GetRasterBand(1)
                        scale = 1e-5 if "_DB_" in name else 2e-7 * power.max()
                        # Where the noise is all but the power, nothing is left to compare in dB.
                        close = np.abs(power - level) > (1e-3 if options else -1) * level
                        np.testing.assert_allclose(band.ReadAsArray()[close], expected[close],
                                                   rtol=1e-5, atol=scale)
                        self.assertEqual(band.GetUnitType(), "dB" if "_DB_" in name else "1")
                        self.assertEqual(dataset.GetMetadataItem("NOISE_REMOVED"),
                                         "YES" if options else None)
                    self.assertTrue((power < level).any())  # below 0, and kept so

    def test_a_kind_without_its_polarization_is_that_of_all(self):
        product = self.make("rcm", lines=40, samples=40, polarizations="HH HV VH VV")
        whole = gdal.Open(named(product.opened, "SIGMA_NOUGHT_DB"))
        same = open_product(product.opened, CALIBRATION="SIGMA_NOUGHT_DB")
        poles = [image["pole"] for image in product.truth["images"]]
        for dataset in (whole, same):
            self.assertEqual([dataset.GetRasterBand(i + 1).GetDescription() for i in range(4)],
                             [f"SIGMA_NOUGHT_DB_{pole}" for pole in poles])
        for i, pole in enumerate(poles):
            np.testing.assert_array_equal(
                whole.GetRasterBand(i + 1).ReadAsArray(),
                gdal.Open(named(product.opened, f"SIGMA_NOUGHT_DB_{pole}")).ReadAsArray())

    def test_beta_nought_alone_gives_the_other_kinds_by_the_angle(self):
        for family, fields in (("capella-slc", {}), ("capella-slc", {"image_geometry": "pfa"}),
                               ("capella-grd", {"height": 0.0})):
            with self.subTest(family=family, **fields):
                product = self.make(family, lines=65, samples=1001, target_grid=1,
                                    name=f"{family}{len(fields)}", **fields)
                image = product.truth["images"][-1]
                document = json.loads(next(product.folder.glob("*_extended.json")).read_text())
                stated = document["collect"]["image"]
                self.assertEqual(stated["radiometry"], "beta_nought")
                samples = complex_samples(product.folder / image["file"])
                beta = np.abs(samples[32].astype(np.complex128)) ** 2 * stated["scale_factor"] ** 2
                truth = product.truth["geometry"]
                ends = np.radians([truth["incidenceNearDeg"], truth["incidenceFarDeg"]])
                for name, factor in (("SIGMA_NOUGHT", np.sin), ("GAMMA", np.tan)):
                    dataset = gdal.Open(named(product.opened, f"{name}_{image['pole']}"))
                    ratio = dataset.ReadAsArray()[32] / np.where(beta > 0, beta, np.nan)
                    for end, angle in ((slice(0, 9), ends[0]), (slice(-9, None), ends[1])):
                        # The simulator's angle at the edge, beside it changed by 2e-5 at most.
                        np.testing.assert_allclose(np.nanmedian(ratio[end]), factor(angle),
                                                   rtol=5e-5)
                    known = np.flatnonzero(np.isfinite(ratio))
                    slope = np.interp(known, [0, 1000], factor(ends))  # the angle hardly bends
                    np.testing.assert_allclose(ratio[known], slope, rtol=2e-4)
                if family == "capella-slc" and not fields:
                    polynomial = stated["nesz_polynomial"]["coefficients"][::-1]
                    geometry = stated["image_geometry"]
                    ranges = (geometry["range_to_first_sample"]
                              + np.arange(1001) * geometry["delta_range_sample"])
                    level = 10 ** (np.polyval(polynomial, ranges) / 10)
                    angle = np.interp(np.arange(1001), [0, 1000], ends)
                    for name, factor in (("SIGMA_NOUGHT", 1), ("BETA_NOUGHT", 1 / np.sin(angle)),
                                         ("GAMMA", 1 / np.cos(angle))):
                        name = named(product.opened, f"{name}_{image['pole']}")
                        plain, clean = (open_product(name, DENOISE=word).ReadAsArray()[32]
                                        for word in ("NO", "YES"))
                        np.testing.assert_allclose(plain - clean, level * factor, rtol=1e-3,
                                                   atol=1e-6 * plain.max())
                else:
                    with self.assertRaisesRegex(RuntimeError, "states no noise level"):
                        open_product(named(product.opened, f"BETA_NOUGHT_{image['pole']}"),
                                     DENOISE="YES")
        product = self.make("capella-geo", lines=16, samples=16)  # a map has no angles
        self.assertEqual([name for name in subdatasets(open_product(product.opened))
                          if name.startswith(("SIGMA", "GAMMA"))], [])

    def test_every_band_has_a_unit_and_only_power_can_be_treated(self):
        product = self.make("radarsat2", lines=20, samples=20)
        units = {"NESZ": "dB", "INCIDENCE_ANGLE": "degree"}
        for layer, (name, _) in subdatasets(open_product(product.opened)).items():
            expected = units.get(layer.removeprefix("MAP_"),
                                 "dB" if "_DB" in layer or layer == "MAP" else "1")
            dataset = gdal.Open(name)
            self.assertEqual(dataset.GetRasterBand(1).GetUnitType(), expected, layer)
        for layer in ("COMPLEX_HH", "C_HH_MAGNITUDE_1", "C_HH_PHASE_2", "INCIDENCE_ANGLE"):
            with self.assertRaisesRegex(RuntimeError, f"{layer}: noise is subtracted from calib"):
                open_product(named(product.opened, layer), DENOISE="YES")

    def test_statistics_leave_the_brightest_targets_out_and_write_nothing(self):
        for family in ("radarsat2", "rcm"):
            product = self.make(family, lines=700, samples=600)
            before = {path: path.stat().st_mtime_ns for path in product.folder.rglob("*")}
            pole = product.truth["images"][0]["pole"]
            for layer in (f"C_{pole}_MAGNITUDE_1", f"SIGMA_NOUGHT_{pole}",
                          f"SIGMA_NOUGHT_DB_{pole}"):
                dataset = gdal.Open(named(product.opened, layer))
                band = dataset.GetRasterBand(1)
                pixels = band.ReadAsArray().astype(float)
                low, high = np.nanpercentile(pixels, [5, 95])
                found = band.GetStatistics(True, True)
                np.testing.assert_allclose(found[:2], [low, high], rtol=0.05)
                middle = pixels[(pixels >= low) & (pixels <= high)]
                np.testing.assert_allclose(found[2:], [middle.mean(), middle.std()], rtol=0.05)
                drawn = gdal.Open(named(product.opened, f"MAP_{layer}"))
                self.assertEqual(drawn.GetRasterBand(1).GetStatistics(True, True), found)
            self.assertEqual({path: path.stat().st_mtime_ns
                              for path in product.folder.rglob("*")}, before)
            # Who asks for exact ones gets exact ones, and nobody a guess.
            self.assertIsNone(band.GetMaximum())
            exact = band.GetStatistics(False, True)
            np.testing.assert_allclose(exact[:2], [np.nanmin(pixels), np.nanmax(pixels)])


class Maps(ProductCase):
    def test_names_that_begin_with_map_are_the_open_option(self):
        product = self.make("rcm", lines=60, samples=80)
        listed = subdatasets(open_product(product.opened))
        for layer, (name, description) in listed.items():
            if not layer.startswith("MAP"):
                continue
            drawn = gdal.Open(name)
            self.assertIn(" - on the map: ", description)
            self.assertTrue(drawn.GetSpatialRef().IsGeographic())
            own = layer.removeprefix("MAP_") if layer != "MAP" else "SIGMA_NOUGHT_DB"
            same = open_product(named(product.opened, own), GEOREF="MAP")
            self.assertEqual(drawn.GetGeoTransform(), same.GetGeoTransform())
            self.assertEqual(drawn.RasterCount, 2 if layer == "MAP" else 1)
            np.testing.assert_array_equal(drawn.ReadAsArray(), same.ReadAsArray())
        self.assertIn("MAP_C_HH_MAGNITUDE_1", listed)
        nowhere = self.make("capella-slc", lines=20, samples=20, gcps=False,
                            image_geometry="surface")
        self.assertFalse([name for name in subdatasets(open_product(nowhere.opened))
                          if name.startswith("MAP")])


if __name__ == "__main__":
    unittest.main()
