# SPDX-License-Identifier: MIT
"""What a product of unknown origin can make its reader open: nothing but its own files."""

import json
import os
import re
import shutil
import unittest

from gdal_case import ProductCase, gdal, open_product, subdatasets

from products import rfsar

FAMILIES = ("rcm", "radarsat2", "capella-slc")
SECRET = "secret 4711"


class Confinement(ProductCase):
    def setUp(self):
        super().setUp()
        gdal.PushErrorHandler("CPLQuietErrorHandler")
        self.addCleanup(gdal.PopErrorHandler)
        self.outside = self.folder / "outside"
        self.outside.mkdir()
        self.image = self.outside / "image.tif"
        secret = gdal.GetDriverByName("GTiff").Create(str(self.image), 24, 32, 1, gdal.GDT_UInt16)
        secret.GetRasterBand(1).Fill(4711)
        secret.SetDescription(SECRET)
        del secret
        self.text = self.outside / "text"
        self.text.write_text(SECRET)
        (self.folder / "inbox").mkdir()

    def product(self, family, **options):
        made = self.make(family, lines=64, samples=48, **options)
        moved = self.folder / "inbox" / made.folder.name  # the folder above is the product's too
        shutil.rmtree(moved, ignore_errors=True)
        shutil.move(made.folder, moved)
        return made._replace(folder=moved, opened=moved / made.opened.relative_to(made.folder))

    def vrt(self, file):
        file.unlink(missing_ok=True)
        gdal.Translate(str(file), str(self.image), format="VRT")
        return file

    def everything_told(self, product):
        """All that tools tell of a product, whatever they think of it."""
        told = ""
        for verb in (["info"], ["check"], ["read", "C_HH_MAGNITUDE_1", "-o", "-"],
                     ["node", ":SAR_Metadata"], ["locate"]):
            done = rfsar(verb[0], product.opened, *verb[1:], stdin=b"1 1\n", binary=True)
            told += done.stdout.decode("latin-1") + done.stderr.decode("utf-8", "replace")
        return told

    def assertRefused(self, product, *reasons):
        for verb in ("info", "identify"):
            done = rfsar(verb, product.opened)
            self.assertNotEqual(done.returncode, 0)
        self.assertRegex(rfsar("info", product.opened).stderr, "|".join(map(re.escape, reasons)))
        with self.assertRaises(RuntimeError):
            open_product(product.opened)

    def test_names_that_lead_elsewhere_are_refused(self):
        names = [str(self.image), "../../outside/image.tif", "/vsicurl/http://127.0.0.1:9/x.tif",
                 "http://127.0.0.1:9/x.tif", "..\\..\\outside\\image.tif", "C:\\image.tif",
                 "/vsizip/../../outside/image.tif", "/dev/stdin"]
        for family, tag in (("rcm", "ipdf"), ("radarsat2", "fullResolutionImageData")):
            for name in names:
                with self.subTest(family=family, name=name):
                    product = self.product(family)
                    written = "../" + name if family == "rcm" and name.startswith("../") else name
                    text = re.sub(rf"(<{tag}[^>]*>)[^<]*", lambda m: m[1] + written,
                                  product.opened.read_text(encoding="utf-8"))
                    product.opened.write_text(text, encoding="utf-8")
                    self.assertRefused(product, "is refused")

    def test_names_that_drivers_would_understand_are_names_of_files(self):
        names = ["NITF_IM:0:" + str(self.image), "GTIFF_DIR:1:" + str(self.image),
                 f'HDF5:"{self.image}"://x', f"DERIVED_SUBDATASET:LOGAMPLITUDE:{self.image}",
                 f"&lt;VRTDataset&gt;{self.image}&lt;/VRTDataset&gt;", "a\nb.tif", "CON", "a\0b.tif"]
        for name in names:
            with self.subTest(name=name):
                product = self.product("radarsat2")
                text = re.sub("(<fullResolutionImageData[^>]*>)[^<]*", lambda m: m[1] + name,
                              product.opened.read_text(encoding="utf-8"))
                product.opened.write_text(text, encoding="utf-8")
                home = os.getcwd()
                os.chdir(product.folder)  # a name without a folder before it
                self.addCleanup(os.chdir, home)
                done = rfsar("read", "product.xml", "C_HH_MAGNITUDE_1", "-o", "-")
                os.chdir(home)
                self.assertEqual((done.returncode, done.stdout), (1, ""))
                self.assertRegex(done.stderr, "No such file|is refused|null|not a file|exist|"
                                              "unexpected|invalid|expected")

    def test_what_stands_in_an_images_place_is_an_image_or_an_error(self):
        def replace(file, what):
            file.unlink()
            what(file)
        stand_ins = {
            "a VRT": lambda file: self.vrt(file),
            "a text": lambda file: file.write_text(SECRET),
            "a fifo": os.mkfifo,
            "a folder": lambda file: file.mkdir(),
            "a socket or device": lambda file: file.symlink_to("/dev/zero"),
            "a link to an image": lambda file: file.symlink_to(self.image),
            "a link to a text": lambda file: file.symlink_to(self.text),
        }
        for family in ("rcm", "capella-slc"):
            for what, put in stand_ins.items():
                with self.subTest(family=family, what=what):
                    product = self.product(family)
                    for file in product.folder.rglob("*.tif"):
                        replace(file, put)
                    done = rfsar("info", product.opened, "--json")
                    layers = json.loads(done.stdout)["layers"] if done.returncode == 0 else []
                    self.assertEqual([l["width"] for l in layers if l["width"] is not None], [])
                    self.assertNotIn(SECRET, self.everything_told(product))
                    if "link" in what:
                        self.assertRefused(product, "leaves the product's folder")

    def test_links_among_the_metadata_are_refused_and_links_inside_followed(self):
        cases = (("rcm", "metadata/calibration/incidenceAngles.xml", "node", ":SAR_Metadata"),
                 ("radarsat2", "lutBeta.xml", "node", ":Rs2_Calibration"),
                 ("capella-slc", "*_extended.json", "node", ":SAR_Metadata"))
        for family, pattern, *verb in cases:
            for target in (self.outside, None):
                product = self.product(family)
                file = next(product.folder.glob(pattern))
                kept = (target or product.folder) / "kept"
                shutil.move(file, kept)
                file.symlink_to(kept)
                with self.subTest(family=family, target=target):
                    done = rfsar(verb[0], product.opened, *verb[1:])
                    told = rfsar("check", product.opened).stdout
                    if target:
                        self.assertIn("leaves the product's folder", done.stderr + told)
                    else:
                        self.assertEqual(done.returncode, 0, done.stderr)
                        self.assertNotIn("leaves", told)

    def test_tables_are_not_read_from_elsewhere(self):
        for tag in ("lookupTableFileName", "noiseLevelFileName", "incidenceAngleFileName"):
            product = self.product("rcm")
            text = re.sub(rf"(<{tag}[^>]*>)[^<]*", rf"\1../../../../outside/text",
                          product.opened.read_text(encoding="utf-8"))
            product.opened.write_text(text, encoding="utf-8")
            with self.subTest(tag=tag):
                self.assertNotIn(SECRET, self.everything_told(product))
                self.assertIn("refused", rfsar("check", product.opened).stdout)
                listed = open_product(product.opened).GetFileList()
                self.assertEqual([file for file in listed if "outside" in file], [])

    def test_entities_are_not_expanded(self):
        for family in ("rcm", "radarsat2"):
            product = self.product(family)
            text = product.opened.read_text(encoding="utf-8")
            entity = f'<!DOCTYPE product [<!ENTITY e SYSTEM "file://{self.text}">]>\n<product '
            text = re.sub("<product ", lambda _: entity, text, count=1)
            product.opened.write_text(re.sub("(<processingFacility>)[^<]*", r"\1&e;", text),
                                      encoding="utf-8")
            self.assertNotIn(SECRET, self.everything_told(product))

    def test_files_beside_images_and_product_lead_nowhere(self):
        """Overviews, masks, metadata and world files that come with a product."""
        aux = (f"<PAMDataset><SRS>EPSG:32633</SRS><GeoTransform>1,2,3,4,5,6</GeoTransform>"
               f'<Metadata domain="OVERVIEWS"><MDI key="OVERVIEW_FILE">{self.image}</MDI></Metadata>'
               f"<Metadata><MDI key='NOTE'>{SECRET}</MDI></Metadata></PAMDataset>")
        for family in FAMILIES:
            product = self.product(family)
            before = open_product(product.opened)
            expected = before.ReadAsArray().tobytes(), before.GetGCPCount()
            entries = {name: full for name, (full, _) in subdatasets(before).items()}
            stems = [product.opened, *product.folder.rglob("*.tif")]
            stems += [f"{product.opened}.{name}" for name in entries]
            del before
            for stem in stems:
                self.vrt(self.folder / "leads.vrt").replace(f"{stem}.ovr")
                self.vrt(self.folder / "leads.vrt").replace(f"{stem}.msk")
                with open(f"{stem}.aux.xml", "w", encoding="utf-8") as file:
                    file.write(aux)
                if str(stem).endswith(".tif"):
                    stem.with_suffix(".tfw").write_text("1\n0\n0\n1\n5\n5\n")
            with self.subTest(family=family):
                for name in [str(product.opened), *entries.values()]:
                    dataset = gdal.Open(name)
                    band = dataset.GetRasterBand(1)
                    self.assertEqual(band.GetOverviewCount(), 0, name)
                    self.assertEqual(band.GetMaskFlags() & gdal.GMF_PER_DATASET, 0, name)
                again = open_product(product.opened)
                self.assertEqual((again.ReadAsArray().tobytes(), again.GetGCPCount()), expected)
                self.assertNotIn(str(self.image), again.GetFileList())


if __name__ == "__main__":
    unittest.main()
