"""RCM products by RF_SAR and by GDAL's own driver, which GDAL has from 3.11 on: both read the same."""

import unittest

from gdal_case import ProductCase, gdal, named, np, open_product

PEER = gdal.GetDriverByName("RCM")

GRD = {"product_type": "GRD"}
SLC = {"product_type": "SLC"}
PRODUCTS = (GRD, SLC, {**GRD, "tiled": True, "block": 64}, {**SLC, "bands": 2},
            {**GRD, "pixel_order": "decreasing", "line_order": "decreasing"},
            {**SLC, "polarizations": "HH HV VH VV", "image_order": "HH VV HV VH"},
            {**GRD, "polarizations": "CH CV"}, {"product_type": "GCD"})


@unittest.skipUnless(PEER, "this GDAL has no driver of its own for RCM")
class BesideGdalsOwnDriver(ProductCase):
    def products(self):
        for number, fields in enumerate(PRODUCTS):
            with self.subTest(**fields):
                product = self.make("rcm", name=f"p{number}", lines=90, samples=131,
                                    incidence=25.0, **fields)
                peer = gdal.OpenEx(str(product.opened), allowed_drivers=["RCM"])
                ours = open_product(product.opened, GEOREF="PRODUCT")
                yield product, ours, peer

    def test_samples_and_polarizations(self):
        for _, ours, peer in self.products():
            by_pole = [{band.GetMetadataItem("POLARIMETRIC_INTERP"): band.ReadAsArray()
                        for band in map(dataset.GetRasterBand, range(1, dataset.RasterCount + 1))}
                       for dataset in (ours, peer)]
            self.assertEqual(*map(set, by_pole))
            for pole, samples in by_pole[0].items():
                np.testing.assert_array_equal(samples, by_pole[1][pole], pole)

    def test_calibrated_values(self):
        for product, ours, _ in self.products():
            if np.iscomplexobj(ours.ReadAsArray()) or ours.GetGCPCount() == 0:
                continue  # of complex images and maps its own driver makes something else
            for name, own_name in (("SIGMA0", "SIGMA_NOUGHT"), ("BETA0", "BETA_NOUGHT"),
                                   ("GAMMA", "GAMMA")):
                peer = gdal.Open(f"RCM_CALIB:{name}:{product.opened}")
                for number in range(1, peer.RasterCount + 1):
                    band = peer.GetRasterBand(number)
                    pole = band.GetMetadataItem("POLARIMETRIC_INTERP")
                    power = gdal.Open(named(product.opened, f"{own_name}_{pole}")).ReadAsArray()
                    np.testing.assert_allclose(band.ReadAsArray(), power, rtol=1e-5)

    def test_metadata(self):
        for _, ours, peer in self.products():
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

    def test_tie_points_stand_at_the_centres_of_their_pixels(self):
        for _, ours, peer in self.products():
            self.assertEqual(ours.GetGCPCount(), peer.GetGCPCount())
            for own, its in zip(ours.GetGCPs(), peer.GetGCPs()):
                self.assertEqual((own.GCPX, own.GCPY, own.GCPZ), (its.GCPX, its.GCPY, its.GCPZ))
                self.assertEqual((own.GCPPixel, own.GCPLine), (its.GCPPixel + 0.5, its.GCPLine + 0.5))

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
