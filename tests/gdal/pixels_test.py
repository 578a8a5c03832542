# SPDX-License-Identifier: MIT
"""The pixels that GDAL gets: layers, complex samples, calibrated images, noise, angles."""

import concurrent.futures
import json
import re
import unittest

from gdal_case import (ProductCase, by_column, complex_samples, gdal, named, np, on_the_map,
                       open_product, pixel_rule, subdatasets, table)

TYPES = {"UInt16": gdal.GDT_UInt16, "Int16": gdal.GDT_Int16, "CInt16": gdal.GDT_CInt16,
         "CFloat32": gdal.GDT_CFloat32, "Float32": gdal.GDT_Float32}
KINDS = (("SIGMA_NOUGHT", "Sigma"), ("BETA_NOUGHT", "Beta"), ("GAMMA", "Gamma"))


class Layers(ProductCase):
    def test_every_family_opens_as_a_whole_and_layer_by_layer(self):
        recipes = [(family, {}) for family in ("capella-geo", "capella-slc", "capella-grd", "rcm",
                                               "radarsat2")]
        recipes += [("radarsat2", {"product_type": "SGF", "polarizations": "HH HV"}),
                    ("radarsat2", {"polarizations": "HH HV VH VV", "bands": 1}),
                    ("rcm", {"product_type": "SLC", "pixel_type": "float32"}),
                    ("rcm", {"product_type": "GRC"})]
        for number, (family, fields) in enumerate(recipes):
            for tiled in (False, True):
                with self.subTest(family=family, tiled=tiled, **fields):
                    product = self.make(family, lines=70, samples=131, target_grid=1,
                                        name=f"CAPELLA {number} {tiled}", tiled=tiled,
                                        block=64 if tiled else None, **fields)
                    self.check_whole(product)
                    self.check_subdatasets(product)

    def check_whole(self, product):
        dataset = open_product(product.opened)
        images = product.truth["images"][:1 if "capella" in product.truth["family"] else None]
        self.assertEqual(dataset.RasterCount, len(images))
        for i, image in enumerate(images):
            band = dataset.GetRasterBand(i + 1)
            np.testing.assert_array_equal(band.ReadAsArray(),
                                          complex_samples(product.folder / image["file"]))
            self.assertEqual(band.GetMetadataItem("POLARIMETRIC_INTERP"), image["pole"])

    def check_subdatasets(self, product):
        for layer, (name, description) in subdatasets(open_product(product.opened)).items():
            if on_the_map(layer):  # power_test.py
                continue
            dataset = gdal.Open(name)
            self.assertEqual((dataset.RasterCount, dataset.RasterXSize, dataset.RasterYSize),
                             (1, 131, 70), name)
            self.assertTrue(description.startswith(f"{layer} - "), description)
            band = dataset.GetRasterBand(1)
            self.assertEqual(band.DataType, TYPES[description.rsplit(", ", 1)[1]], description)
            pole = band.GetMetadataItem("POLARIMETRIC_INTERP")
            kind = re.search("MAGNITUDE|PHASE|COMPLEX", layer)
            grc = product.truth["recipe"]["product_type"] == "GRC"
            hidden = grc and layer.startswith("C_")
            self.assertEqual("the image is complex" in description, hidden)
            if kind and not hidden:
                image = next(i["file"] for i in product.truth["images"] if i["pole"] == pole)
                samples = complex_samples(product.folder / image)
                if grc and kind[0] != "COMPLEX":  # what the layers' names cannot show
                    expected = np.abs(samples) if kind[0] == "MAGNITUDE" else np.angle(samples)
                    np.testing.assert_allclose(band.ReadAsArray(), expected, rtol=1e-6, atol=1e-6)
                    continue
                expected = (samples if kind[0] == "COMPLEX" or not product.truth["complex"]
                            else pixel_rule(samples, kind[0]))
                np.testing.assert_array_equal(band.ReadAsArray(), expected)

    def test_quad_polarization_bands_state_what_their_images_hold(self):
        product = self.make("rcm", lines=64, samples=64, polarizations="HH HV VH VV")
        dataset = open_product(product.opened)
        bands = [dataset.GetRasterBand(i) for i in range(1, 5)]
        self.assertEqual([b.GetDescription().split("_")[1] for b in bands],
                         ["HH", "HV", "VH", "VV"])
        self.assertEqual([b.GetMetadataItem("POLARIMETRIC_INTERP") for b in bands],
                         ["HH", "VV", "HV", "VH"])
        found = subdatasets(dataset)
        self.assertEqual(found["C_HV_MAGNITUDE_2"][1],
                         "C_HV_MAGNITUDE_2 - VV magnitude, UInt16")
        calibrated = gdal.Open(named(product.opened, "SIGMA_NOUGHT_VV")).ReadAsArray()
        _, gains, _ = table(product.folder / "metadata/calibration/lutSigma_VV.xml",
                            "pixelFirstLutValue")
        np.testing.assert_allclose(calibrated, bands[1].ReadAsArray() ** 2.0 / gains, rtol=2e-7)

    def test_handles_on_many_threads_read_the_same(self):
        product = self.make("radarsat2", lines=200, samples=300, polarizations="HH HV",
                            tiled=True, block=64)
        names = [name for name, _ in subdatasets(open_product(product.opened)).values()]
        expected = {name: gdal.Open(name).ReadAsArray() for name in names}

        def read(name):
            return name, gdal.Open(name).ReadAsArray()

        with concurrent.futures.ThreadPoolExecutor(8) as threads:
            for name, pixels in threads.map(read, names * 8):
                np.testing.assert_array_equal(pixels, expected[name])


class Calibration(ProductCase):
    def check(self, product, complex_product, file_of, rtol=2e-7):
        for key, stem in KINDS:
            dataset = open_product(product.opened, CALIBRATION=key)
            self.assertEqual(dataset.RasterCount, len(product.truth["images"]))
            for i, image in enumerate(product.truth["images"]):
                samples = complex_samples(product.folder / image["file"])
                columns, gains, offset = table(file_of(stem, image["pole"]), "pixelFirstLutValue")
                gains = by_column(columns, gains, samples.shape[1])
                power = np.abs(samples.astype(np.complex128)) ** 2
                expected = power / gains ** 2 if complex_product else (power + offset) / gains
                band = dataset.GetRasterBand(i + 1)
                np.testing.assert_allclose(band.ReadAsArray(), expected, rtol=rtol)
                self.assertEqual(band.GetDescription(), f"{key}_{image['pole']}")

    def test_tables_of_rcm_serve_their_column_and_polarization(self):
        for fields in ({"pixel_order": "decreasing", "tiled": True, "block": 64},
                       {"product_type": "SLC"}, {"product_type": "SLC", "pixel_type": "float32"}):
            with self.subTest(**fields):
                product = self.make("rcm", lines=70, samples=131, polarizations="HH HV",
                                    name=f"rcm{len(fields)}", incidence=25.0, **fields)
                folder = product.folder / "metadata/calibration"
                self.check(product, "product_type" in fields,
                           lambda stem, pole: folder / f"lut{stem}_{pole}.xml")

    def test_tables_of_rcm_may_be_sparse_and_have_an_offset_but_must_cover_the_image(self):
        product = self.make("rcm", lines=20, samples=101, polarizations="HH HV")
        folder = product.folder / "metadata/calibration"
        lut = folder / "lutSigma_HV.xml"
        whole = lut.read_text()
        gains = re.search(r"<gains>(.*)</gains>", whole)[1].split()
        sparse = re.sub(r"<gains>.*</gains>", f"<gains>{' '.join(gains[::20])}</gains>", whole)
        for old, new in (("<stepSize>1<", "<stepSize>20<"), ("<offset>0<", "<offset>-12.5<"),
                         ("<numberOfValues>101<", "<numberOfValues>6<")):
            self.assertIn(old, sparse)
            sparse = sparse.replace(old, new)
        lut.write_text(sparse)
        self.check(product, False, lambda stem, pole: folder / f"lut{stem}_{pole}.xml")
        for old, new, reason in (("<stepSize>20<", "<stepSize>19<", "do not cover the 101 columns"),
                                 ("<numberOfValues>6<", "<numberOfValues>7<", "announces 7 gains"),
                                 ("<gains>", "<gains>x ", '"x" is not a number'),
                                 ("<gains>", "<gains>-", "not above 0")):
            lut.write_text(sparse.replace(old, new))
            with self.assertRaisesRegex(RuntimeError, f"lutSigma_HV.xml: .*{reason}"):
                gdal.Open(named(product.opened, "SIGMA_NOUGHT_HV"))
        lut.unlink()
        with self.assertRaisesRegex(RuntimeError, "lutSigma_HV.xml"):
            gdal.Open(named(product.opened, "SIGMA_NOUGHT_HV"))
        self.assertEqual(open_product(product.opened).RasterCount, 2)  # the samples still serve

    def test_radarsat2_agrees_with_the_tables_and_with_gdals_own_driver(self):
        for fields in ({"polarizations": "HH VV"}, {"product_type": "SGF"},
                       {"product_type": "SGF", "pixel_order": "decreasing"},
                       {"product_type": "SGF", "tiled": True, "block": 64}):
            with self.subTest(**fields):
                product = self.make("radarsat2", lines=70, samples=131, incidence=25.0,
                                    name=f"rs2{len(fields)}", **fields)
                self.check(product, "product_type" not in fields,
                           lambda stem, _: product.folder / f"lut{stem}.xml")
                other = gdal.OpenEx(str(product.opened), allowed_drivers=["RS2"])
                np.testing.assert_array_equal(open_product(product.opened).ReadAsArray(),
                                              other.ReadAsArray())
                if "tiled" in fields:  # GDAL's own driver fails here (docs/gdal-driver.md)
                    continue
                other = gdal.Open(f"RADARSAT_2_CALIB:SIGMA0:{product.opened}").ReadAsArray()
                power = np.abs(other) ** 2 if np.iscomplexobj(other) else other
                ours = open_product(product.opened, CALIBRATION="SIGMA_NOUGHT").ReadAsArray()
                np.testing.assert_allclose(ours, power, rtol=1e-6)

    def test_tables_of_radarsat2_are_what_the_product_calls_them(self):
        product = self.make("radarsat2", lines=20, samples=64)
        text = product.opened.read_text()
        tables = re.findall(r"\s*<lookupTable .*?</lookupTable>", text, re.S)
        self.assertEqual(len(tables), 3)
        product.opened.write_text(text.replace("".join(tables), "".join(reversed(tables))))
        self.check(product, True, lambda stem, _: product.folder / f"lut{stem}.xml")
        (product.folder / "lutSigma.xml").write_text("<lut><gains>1 2</gains></lut>")
        with self.assertRaisesRegex(RuntimeError, "lutSigma.xml"):
            gdal.Open(named(product.opened, "SIGMA_NOUGHT_HH"))

    def test_capella_scales_its_samples_to_what_it_states(self):
        for family in ("capella-slc", "capella-geo"):
            product = self.make(family, lines=64, samples=64)
            image = product.truth["images"][-1]
            scale = json.loads(next(product.folder.glob("*_extended.json")).read_text())
            scale = scale["collect"]["image"]["scale_factor"]
            samples = complex_samples(product.folder / image["file"])
            band = gdal.Open(named(product.opened, f"BETA_NOUGHT_{image['pole']}"))
            np.testing.assert_allclose(band.ReadAsArray(), np.abs(samples) ** 2.0 * scale ** 2,
                                       rtol=1e-6)
            if family == "capella-geo":
                with self.assertRaisesRegex(RuntimeError, "no tables for GAMMA"):
                    open_product(product.opened, CALIBRATION="GAMMA")

    def test_noise_and_incidence_angles(self):
        product = self.make("rcm", lines=64, samples=131, pixel_order="decreasing")
        folder = product.folder / "metadata/calibration"
        angles, values, _ = table(folder / "incidenceAngles.xml", "pixelFirstAnglesValue",
                                  "angles")
        expected = by_column(angles, values, 131)
        dataset = gdal.Open(named(product.opened, "INCIDENCE_ANGLE"))
        np.testing.assert_allclose(dataset.ReadAsArray(), np.tile(expected, (64, 1)), rtol=1e-6)
        self.assertGreater(expected[0], expected[-1])
        dataset = gdal.Open(named(product.opened, "NESZ_HV"))
        self.assertEqual(dataset.GetRasterBand(1).GetUnitType(), "dB")
        levels = dataset.ReadAsArray()
        # The simulator's levels are a half sine of 2 dB below -27 dB for sigma nought.
        self.assertTrue((levels == levels[0]).all())
        self.assertAlmostEqual(float(levels[0].max()), -27.0, places=5)
        self.assertAlmostEqual(float(levels[0].min()), -29.0, places=2)
        rs2 = self.make("radarsat2", lines=64, samples=131)
        self.assertLess(float(gdal.Open(named(rs2.opened, "NESZ")).ReadAsArray().max()), -20)

    def test_capella_states_its_noise_over_slant_range(self):
        product = self.make("capella-slc", lines=8, samples=1001)
        image = json.loads(next(product.folder.glob("*_extended.json")).read_text())
        image = image["collect"]["image"]
        ranges = (image["image_geometry"]["range_to_first_sample"] + np.arange(1001)
                  * image["image_geometry"]["delta_range_sample"])
        expected = np.polyval(image["nesz_polynomial"]["coefficients"][::-1], ranges)
        self.assertGreater(np.ptp(expected), 0.05)
        levels = gdal.Open(named(product.opened, "NESZ_VV")).ReadAsArray()
        np.testing.assert_allclose(levels, np.tile(expected, (8, 1)), atol=1e-4)
        for family in ("capella-geo", "capella-grd"):
            self.assertNotIn("NESZ_HH", subdatasets(open_product(
                self.make(family, lines=8, samples=8).opened)))

    def test_incidence_angles_without_a_table_come_from_the_sensor_model(self):
        for family, fields in (("radarsat2", {}), ("radarsat2", {"product_type": "SGF",
                                                                 "pixel_order": "decreasing"}),
                               ("capella-slc", {}), ("capella-slc", {"image_geometry": "pfa"}),
                               ("capella-grd", {"height": 0.0})):
            with self.subTest(family=family, **fields):
                product = self.make(family, lines=65, samples=2001, name=f"{family}{len(fields)}",
                                    **fields)
                geometry = product.truth["geometry"]
                ends = [geometry["incidenceNearDeg"], geometry["incidenceFarDeg"]]
                if "pixel_order" in fields:
                    ends.reverse()
                angles = gdal.Open(named(product.opened, "INCIDENCE_ANGLE")).ReadAsArray()
                np.testing.assert_allclose(angles[32, [0, -1]], ends, atol=1e-4)
                # Between columns that are computed, and along the image, it bends smoothly.
                self.assertLess(np.abs(np.diff(angles, 2, axis=1)).max(), 1e-5)
                self.assertLess(np.ptp(angles, axis=0).max(), 0.01)
        for family, fields in (("capella-geo", {}), ("radarsat2", {"product_type": "SSG"}),
                               ("capella-slc", {"image_geometry": "surface"})):
            product = self.make(family, lines=8, samples=8, name=f"none {family}", **fields)
            self.assertNotIn("INCIDENCE_ANGLE", subdatasets(open_product(product.opened)))


class Overviews(ProductCase):
    def test_magnitudes_are_averaged_by_power_in_a_file_of_their_own(self):
        product = self.make("radarsat2", lines=64, samples=64)
        name = named(product.opened, "C_HH_MAGNITUDE_1")
        before = gdal.Open(name).ReadAsArray().astype(float)
        gdal.Open(name).BuildOverviews("AVERAGE", [4])
        again = gdal.Open(name)
        overview = again.GetRasterBand(1).GetOverview(0)
        power = (before ** 2).reshape(16, 4, 16, 4).mean(axis=(1, 3))
        np.testing.assert_allclose(overview.ReadAsArray(), np.sqrt(power), atol=0.51)
        whole = open_product(product.opened)
        self.assertEqual(whole.GetRasterBand(1).GetOverviewCount(), 0)
        with self.assertRaisesRegex(RuntimeError, "phases cannot be averaged"):
            gdal.Open(named(product.opened, "C_HH_PHASE_2")).BuildOverviews("AVERAGE", [4])
        made = [p.name for p in product.folder.iterdir() if p.suffix == ".ovr"]
        self.assertEqual(made, ["product.xml.C_HH_MAGNITUDE_1.ovr"])
        self.assertIn(str(product.folder / made[0]), again.GetFileList())


if __name__ == "__main__":
    unittest.main()
