# SPDX-License-Identifier: MIT
"""RCM products by RF_SAR and by GDAL's own driver, which GDAL has from 3.11 on: both read the same."""

import pathlib
import re
import shutil
import unittest

from gdal_case import ProductCase, gdal, named, np, open_product

PEER = gdal.GetDriverByName("RCM")

GRD = {"product_type": "GRD"}
SLC = {"product_type": "SLC"}
PRODUCTS = (GRD, SLC, {**GRD, "tiled": True, "block": 64}, {**SLC, "bands": 2},
            {**GRD, "pixel_order": "decreasing", "line_order": "decreasing"},
            {**SLC, "polarizations": "HH HV VH VV", "image_order": "HH VV HV VH"},
            {**GRD, "polarizations": "CH CV"}, {"product_type": "GCD"})
REAL = ("16M5_20220605_HHHV_GRD", "3MCP24_20200219_CHCV_GCD")
HEIGHT = 90  # of the part of each image that is read


def first_lines(dataset, number):
    band = dataset.GetRasterBand(number)
    return band.ReadAsArray(0, 0, band.XSize, min(HEIGHT, band.YSize))


@unittest.skipUnless(PEER, "this GDAL has no driver of its own for RCM")
class BesideGdalsOwnDriver(ProductCase):
    def compare(self, compared):
        """Calls compared(file, by RF_SAR, by GDAL's own driver) for every product."""
        for number, fields in enumerate(PRODUCTS):
            with self.subTest(**fields):
                product = self.make("rcm", name=f"p{number}", lines=HEIGHT, samples=131,
                                    incidence=25.0, **fields)
                self.open_and_compare(product.opened, compared)
        for name in REAL:
            with self.subTest(real=name):
                self.open_and_compare(self.with_images(self.real(f"rcm/{name}")), compared)

    @staticmethod
    def open_and_compare(file, compared):
        compared(file, open_product(file, GEOREF="PRODUCT"),
                 gdal.OpenEx(str(file), allowed_drivers=["RCM"]))

    def with_images(self, source):
        """A copy of real metadata, with images whose first lines hold noise."""
        copy = self.folder / "real" / source.name
        if not copy.exists():
            shutil.copytree(source, copy, copy_function=shutil.copyfile)
        file = next(copy.glob("*/metadata/product.xml"))
        text = file.read_text(encoding="utf-8")
        width, height = (int(re.search(f"<{tag}>([0-9]+)", text)[1])
                         for tag in ("samplesPerLine", "numLines"))
        for number, name in enumerate(re.findall(r"<ipdf[^>]*>([^<]+)", text)):
            path = pathlib.Path(file.parent, name).resolve()
            path.parent.mkdir(exist_ok=True)
            image = gdal.GetDriverByName("GTiff").Create(str(path), width, height, 1,
                                                         gdal.GDT_UInt16, ["SPARSE_OK=TRUE"])
            image.WriteArray(np.random.default_rng(number).integers(0, 65536, (HEIGHT, width)))
        return file

    def test_samples_and_polarizations(self):
        def compared(_, *both):
            by_pole = [{dataset.GetRasterBand(i).GetMetadataItem("POLARIMETRIC_INTERP"):
                        first_lines(dataset, i) for i in range(1, dataset.RasterCount + 1)}
                       for dataset in both]
            self.assertEqual(*map(set, by_pole))
            for pole, samples in by_pole[0].items():
                np.testing.assert_array_equal(samples, by_pole[1][pole], pole)
        self.compare(compared)

    def test_calibrated_values(self):
        def compared(file, ours, _):
            if np.iscomplexobj(first_lines(ours, 1)) or ours.GetGCPCount() == 0:
                return  # of complex images and maps its own driver makes something else
            for name, own_name in (("SIGMA0", "SIGMA_NOUGHT"), ("BETA0", "BETA_NOUGHT"),
                                   ("GAMMA", "GAMMA")):
                peer = gdal.Open(f"RCM_CALIB:{name}:{file}")
                for number in range(1, peer.RasterCount + 1):
                    pole = peer.GetRasterBand(number).GetMetadataItem("POLARIMETRIC_INTERP")
                    own = gdal.Open(named(file, f"{own_name}_{pole}"))
                    np.testing.assert_allclose(first_lines(peer, number), first_lines(own, 1),
                                               rtol=1e-5, err_msg=f"{own_name} {pole}")
        self.compare(compared)

    def test_metadata(self):
        def compared(_, ours, peer):
            own, its = ours.GetMetadata(), peer.GetMetadata()
            by_another_name = {"BETA_NOUGHT_LUT", "SIGMA_NOUGHT_LUT", "GAMMA_LUT"}
            not_stated = {"MATRIX_REPRESENTATION"}  # GDAL's driver takes it from the poles
            self.assertLessEqual(set(its) - by_another_name - not_stated, set(own))
            for key in set(own) & set(its):
                same = own[key] == its[key]
                try:
                    same = same or float(own[key]) == float(its[key])
                except ValueError:
                    pass
                self.assertTrue(same, f"{key}: {own[key]}, and {its[key]} of GDAL's own driver")
        self.compare(compared)

    def test_tie_points_stand_at_the_centres_of_their_pixels(self):
        def compared(_, ours, peer):
            self.assertEqual(ours.GetGCPCount(), peer.GetGCPCount())
            for own, its in zip(ours.GetGCPs(), peer.GetGCPs()):
                self.assertEqual((own.GCPX, own.GCPY, own.GCPZ), (its.GCPX, its.GCPY, its.GCPZ))
                self.assertEqual((own.GCPPixel, own.GCPLine), (its.GCPPixel + 0.5, its.GCPLine + 0.5))
        self.compare(compared)

    def test_rf_sar_is_asked_first_and_either_can_be_chosen(self):
        product = self.make("rcm", lines=20, samples=20)
        self.assertEqual(gdal.Open(str(product.opened)).GetDriver().ShortName, "RF_SAR")
        peer = gdal.OpenEx(str(product.opened), allowed_drivers=["RCM"])
        self.assertEqual(peer.GetDriver().ShortName, "RCM")
        skipping = gdal.GetDriverByName("RF_SAR")
        skipping.Deregister()
        self.addCleanup(skipping.Register)
        self.assertEqual(gdal.Open(str(product.opened)).GetDriver().ShortName, "RCM")


if __name__ == "__main__":
    unittest.main()
