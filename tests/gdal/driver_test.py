# SPDX-License-Identifier: MIT
"""How GDAL's tools meet a product: names, georeferencing, metadata, files, bad input."""

import json
import os
import re
import shutil
import subprocess
import unittest
import zipfile

from gdal_case import ProductCase, gdal, named, np, open_product, subdatasets, table

from osgeo import osr  # noqa: E402


def tool(*arguments, stdin=None, user=None):
    return subprocess.run([str(a) for a in arguments], input=stdin, capture_output=True, text=True,
                          timeout=120, check=False, user=user)


class Names(ProductCase):
    def test_folders_archives_and_odd_names_lead_to_the_product(self):
        rcm = self.make("rcm", lines=64, samples=64)
        pixels = open_product(rcm.opened).ReadAsArray()
        archive = self.folder / "as downloaded.zip"
        with zipfile.ZipFile(archive, "w") as packed:
            for file in rcm.folder.rglob("*"):
                packed.write(file, file.relative_to(self.folder))
        odd = self.folder / 'odd "quoted": \\ name.d'
        shutil.copytree(rcm.folder, odd)
        inside = f"/vsizip/{archive}/{rcm.folder.name}/metadata/product.xml"
        for name in (rcm.folder, inside, f"/vsizip/{archive}", f"RF_SAR:{archive}", f'RF_SAR:"{rcm.folder}"',
                     rcm.folder / "manifest.safe", archive, odd / "metadata/product.xml",
                     f"RF_SAR:{odd}/metadata/product.xml"):
            with self.subTest(name=name):
                dataset = gdal.Open(str(name))
                self.assertEqual(dataset.GetDriver().ShortName, "RF_SAR")
                np.testing.assert_array_equal(dataset.ReadAsArray(), pixels)
                for layer, (full, _) in subdatasets(dataset).items():
                    self.assertEqual(gdal.Open(full).RasterCount, 2 if layer == "MAP" else 1)
        bare = gdal.Open(f"RF_SAR:{rcm.opened}:c_hv_magnitude_2")
        np.testing.assert_array_equal(bare.ReadAsArray(), pixels[1])
        chosen = open_product(rcm.opened, LAYER="C_HV_MAGNITUDE_2")
        np.testing.assert_array_equal(chosen.ReadAsArray(), pixels[1])

    def test_only_products_are_claimed(self):
        rcm = self.make("rcm", lines=64, samples=64)
        capella = self.make("capella-geo", lines=64, samples=64, name="plain")
        extended = capella.folder / "plain_extended.json"
        product = rcm.opened.read_text(encoding="utf-8")
        item = capella.opened.read_text()
        late = "<!-- " + "x" * 900 + " -->"
        cases = [
            ("yes.xml", product, True), ("yes.json", item, True),
            ("yes2.json", extended.read_text(), True), ("marked.xml", "\ufeff" + product, True),
            ("late.xml", re.sub("(?=<product )", late, product, count=1), True),
            ("other-namespace.xml", product.replace("rcmGsProductSchema", "rcmGsProduct"), False),
            ("longer-namespace.xml", product.replace("rcmGsProductSchema", "rcmGsProductSchemas"),
             False),
            ("deep.xml", product.replace("<product ", "<a><product ", 1), False),
            ("prefix.xml", product.replace("<product ", "<products ", 1), False),
            ("product.txt", product, False), ("empty.xml", "", False), ("short.xml", "<", False),
            ("other.json", item.lower().replace("capella", "another"), False),
            ("list.json", f"[{item}]", False), ("text.json", '"sar:product_type" capella', False),
        ]
        for name, text, expected in cases:
            with self.subTest(name=name):
                file = self.folder / name
                file.write_text(text, encoding="utf-8")
                found = gdal.IdentifyDriverEx(str(file), allowed_drivers=["RF_SAR"])
                self.assertEqual(found is not None, expected)
        other = self.folder / "other"
        other.mkdir()
        (other / "manifest.safe").write_text("<a/>")
        (other / "product.xml").write_text("<product/>")
        (other / "no archive.zip").write_text("PK\3\4")
        archives = {"other.zip": [rcm.folder / "manifest.safe"],
                    "several.zip": [capella.opened, self.folder / "yes.json"]}
        for name, files in archives.items():
            with zipfile.ZipFile(other / name, "w") as packed:
                for file in files:
                    packed.write(file, file.name)
        for folder in (self.folder, *other.iterdir()):
            self.assertIsNone(gdal.IdentifyDriverEx(str(folder), allowed_drivers=["RF_SAR"]))


class Georeferencing(ProductCase):
    def ties(self, product, **options):
        dataset = open_product(product.opened, **options)
        ties = dataset.GetGCPs()
        system = dataset.GetGCPSpatialRef()
        if not ties:
            return [], None
        system.SetAxisMappingStrategy(osr.OAMS_TRADITIONAL_GIS_ORDER)
        return ties, system

    def test_tie_points_stand_half_a_pixel_on_and_never_break(self):
        places = {"11.5,48.1": "WGS 84", "179.999,10": "UTM zone", "-179.999,-10": "UTM zone",
                  "30,87.5": "UPS North", "-100,-88": "UPS South"}
        for family in ("rcm", "radarsat2"):
            for place, name in places.items():
                with self.subTest(family=family, place=place):
                    product = self.make(family, lines=200, samples=200, centre=place,
                                        name=f"{family} {place}")
                    gcps, system = self.ties(product, GEOREF="PRODUCT")
                    self.assertIn(name, system.GetName())
                    self.check_ties(product, gcps, system)

    def check_ties(self, product, gcps, system):
        truth = product.truth["tiePoints"]
        self.assertEqual(len(gcps), len(truth))
        degrees = osr.SpatialReference()
        degrees.ImportFromEPSG(4326)
        degrees.SetAxisMappingStrategy(osr.OAMS_TRADITIONAL_GIS_ORDER)
        back = osr.CoordinateTransformation(system, degrees)
        for gcp, tie in zip(gcps, truth):
            self.assertAlmostEqual(gcp.GCPPixel, tie["sample"] + 0.5, places=6)
            self.assertAlmostEqual(gcp.GCPLine, tie["line"] + 0.5, places=6)
            self.assertAlmostEqual(gcp.GCPZ, tie["height"], places=3)
            lon, lat, _ = back.TransformPoint(gcp.GCPX, gcp.GCPY)
            east = (lon - tie["lon"] + 180) % 360 - 180
            self.assertLess(np.hypot(east * np.cos(np.radians(lat)), lat - tie["lat"]), 1e-8)
        # No break: neighbours along a line lie as far apart as pixels of that spacing do.
        side = int(len(gcps) ** 0.5)
        x = np.array([[g.GCPX, g.GCPY] for g in gcps]).reshape(side, side, 2)
        steps = np.hypot(*np.diff(x, axis=1).reshape(-1, 2).T)
        self.assertLess(steps.max(), 1.2 * steps.min())

    def test_map_projected_images_keep_their_geotransform(self):
        for family, fields in (("capella-geo", {}), ("rcm", {"product_type": "GCD"}),
                               ("radarsat2", {"product_type": "SSG"})):
            product = self.make(family, lines=64, samples=64, **fields)
            dataset = open_product(product.opened)
            geometry = product.truth["geometry"]
            np.testing.assert_allclose(dataset.GetGeoTransform(), geometry["geotransform"])
            self.assertEqual(dataset.GetSpatialRef().GetAuthorityCode(None),
                             str(geometry["epsg"]))
            self.assertEqual(dataset.GetGCPCount(), 0)

    def test_targets_are_found_through_gdals_tools(self):
        product = self.make("rcm", lines=300, samples=300, pixel_order="decreasing")
        target = product.truth["targets"][4]
        warped = self.folder / "warped.tif"
        done = tool("gdalwarp", "-q", "-rpc", "-to", f"RPC_HEIGHT={target['height']}",
                    "-tr", 2e-5, 2e-5, "-r", "cubic", product.opened, warped)
        self.assertEqual(done.returncode, 0, done.stderr)
        dataset = gdal.Open(str(warped))
        x0, dx, _, y0, _, dy = dataset.GetGeoTransform()
        column, line = int((target["lon"] - x0) / dx), int((target["lat"] - y0) / dy)
        near = dataset.GetRasterBand(1).ReadAsArray(column - 12, line - 12, 25, 25)
        peak = np.unravel_index(near.argmax(), near.shape)
        # 2e-5 degrees are 2 m and a pixel is 6.25 m: well within half of one.
        self.assertLessEqual(max(abs(peak[0] - 12), abs(peak[1] - 12)), 1)

        self.check_targets(product)

    def test_a_hill_is_drawn_where_it_stands(self):
        lon, lat, hill = 11.5, 48.1, 300.0
        product = self.make("rcm", lines=300, samples=300, targets=[
            {"lon": lon, "lat": lat, "height": hill}])
        columns = self.folder / "elevations.tif"
        dem = gdal.GetDriverByName("GTiff").Create(str(columns), 100, 100, 1, gdal.GDT_Float32)
        dem.SetGeoTransform([lon - 0.1, 2e-3, 0, lat + 0.1, 0, -2e-3])
        dem.SetProjection(osr.GetUserInputAsWKT("EPSG:4326"))
        heights = np.full((100, 100), 120.0)
        heights[45:55, 45:55] = hill  # a mesa, 1 km to each side
        dem.WriteArray(heights)
        dem = None
        by_tool = self.folder / "by tool.tif"
        done = tool("gdalwarp", "-q", "-rpc", "-to", f"RPC_DEM={columns}", "-et", 0,
                    product.opened, by_tool)
        self.assertEqual(done.returncode, 0, done.stderr)
        incidence = product.truth["geometry"]["incidenceCentreDeg"]
        away = (hill - 120.0) / np.tan(np.radians(incidence))  # towards the antenna
        for dataset, expected in ((gdal.Open(str(by_tool)), 0.0),
                                  (open_product(product.opened, GEOREF="MAP", DEM=columns), 0.0),
                                  (open_product(product.opened, GEOREF="MAP"), away)):
            pixels = dataset.GetRasterBand(1).ReadAsArray().astype(float)
            row, column = np.unravel_index(pixels.argmax(), pixels.shape)
            x0, dx, _, y0, _, dy = dataset.GetGeoTransform()
            east = (x0 + (column + 0.5) * dx - lon) * 111320 * np.cos(np.radians(lat))
            north = (y0 + (row + 0.5) * dy - lat) * 111200
            # A pixel is 6.25 m; the product and what is drawn each take the nearest.
            self.assertAlmostEqual(np.hypot(east, north), expected, delta=10)

    def test_a_place_of_an_image_that_is_no_map_is_looked_up_too(self):
        product = self.make("radarsat2", lines=200, samples=200)
        name = named(product.opened, "C_HH_MAGNITUDE_1")
        clutter = np.percentile(gdal.Open(name).ReadAsArray(), 99)
        for target in product.truth["targets"][:4]:
            found = tool("gdallocationinfo", "-valonly", "-wgs84", "-oo", "GEOREF=MAP", name,
                         target["lon"], target["lat"])
            self.assertGreater(int(found.stdout), 5 * clutter)

    def test_a_drawing_on_the_map_is_a_dataset_of_its_own(self):
        product = self.make("rcm", lines=64, samples=64)
        before = product.opened.read_bytes()
        drawn = open_product(product.opened, GEOREF="MAP")
        own = open_product(product.opened)
        self.assertEqual((drawn.GetGCPCount(), drawn.GetMetadata("RPC")), (0, {}))
        self.assertEqual(drawn.GetMetadata(), own.GetMetadata())
        self.assertEqual(drawn.GetFileList(), own.GetFileList())
        for i in (1, 2):
            band, its = drawn.GetRasterBand(i), own.GetRasterBand(i)
            self.assertEqual(band.GetDescription(), its.GetDescription())
            self.assertEqual(band.GetMetadata(), its.GetMetadata())
            self.assertEqual(band.GetNoDataValue(), 0)
        self.assertEqual(drawn.ReadAsArray()[0, 0, 0], 0)  # beside the image
        sigma = open_product(named(product.opened, "SIGMA_NOUGHT_HH"), GEOREF="MAP")
        self.assertEqual(sigma.GetRasterBand(1).DataType, gdal.GDT_Float32)
        self.assertTrue(np.isnan(sigma.GetRasterBand(1).GetNoDataValue()))
        self.assertTrue(np.isnan(sigma.ReadAsArray()[0, 0]))
        self.assertFalse(np.isnan(sigma.ReadAsArray()[20:40, 30:60]).any())
        drawn = own = sigma = None
        self.assertEqual(product.opened.read_bytes(), before)
        far = self.make("radarsat2", lines=64, samples=64, centre="179.9999,10")
        drawn = open_product(far.opened, GEOREF="MAP")
        self.assertIn("UTM zone", drawn.GetSpatialRef().GetName())
        self.assertLess(drawn.RasterXSize, 200)
        by_ties = self.make("capella-slc", lines=64, samples=64, image_geometry="surface")
        self.assertEqual(open_product(by_ties.opened, GEOREF="MAP").GetGCPCount(), 0)
        damaged = self.make("capella-slc", lines=64, samples=64, image_geometry="pfa", name="bad")
        extended = next(damaged.folder.glob("*_extended.json"))
        extended.write_text(extended.read_text().replace("col_sample_spacing", "spacing"))
        self.assertEqual(open_product(damaged.opened).GetGCPCount(), 121)
        with self.assertRaisesRegex(RuntimeError, "no sensor model .*col_sample_spacing is missing"):
            open_product(damaged.opened, GEOREF="MODEL")
        nowhere = self.make("capella-slc", lines=64, samples=64, image_geometry="surface", gcps=False,
                            name="nowhere")
        with self.assertRaisesRegex(RuntimeError, "nowhere.json: its place .* is not known"):
            open_product(nowhere.opened, GEOREF="MAP")
        with self.assertRaisesRegex(RuntimeError, "product.xml: .*none.tif"):
            open_product(product.opened, GEOREF="MAP", DEM="none.tif")
        with self.assertRaisesRegex(RuntimeError, "DEM is for GEOREF=MAP"):
            open_product(product.opened, DEM="none.tif")
        projected = self.make("capella-geo", lines=64, samples=64)
        self.assertEqual(open_product(projected.opened, GEOREF="MAP").RasterXSize, 64)

    def test_rational_functions_hold_in_odd_places(self):
        for family in ("rcm", "radarsat2", "capella-slc"):
            for place in ("179.999,10", "-180,-10", "30,80", "11,48"):
                with self.subTest(family=family, place=place):
                    self.check_targets(self.make(
                        family, lines=300, samples=300, centre=place, name=f"{family} {place}",
                        look="left", line_order="decreasing"))
        for look in ("right", "left"):
            self.check_targets(self.make("capella-slc", lines=2000, samples=1500, look=look,
                                         image_geometry="pfa", sparse=True, name=f"pfa {look}"))

    def check_targets(self, product):
        targets = product.truth["targets"]
        points = "".join(f"{t['lon']} {t['lat']} {t['height']}\n" for t in targets)
        found = tool("gdaltransform", "-i", "-rpc", product.opened, stdin=points).stdout
        self.assertEqual(len(found.splitlines()), len(targets))
        for line, target in zip(found.splitlines(), targets):
            pixel, row, _ = map(float, line.split())
            self.assertLess(abs(pixel - 0.5 - target["sample"]), 0.01)
            self.assertLess(abs(row - 0.5 - target["line"]), 0.01)

    def test_a_place_of_a_map_is_looked_up(self):
        product = self.make("capella-geo", lines=64, samples=64)
        x0, dx, _, y0, _, dy = product.truth["geometry"]["geotransform"]
        found = tool("gdallocationinfo", "-valonly", "-geoloc", product.opened, x0 + 20.5 * dx,
                     y0 + 30.5 * dy)
        image = gdal.Open(str(product.folder / product.truth["images"][0]["file"]))
        self.assertEqual(int(found.stdout), image.ReadAsArray()[30, 20])

    def test_the_georeferencing_can_be_chosen(self):
        product = self.make("rcm", lines=64, samples=64)
        shown = {}
        for choice in ("AUTO", "PRODUCT", "MODEL", "GCP", "RPC"):
            dataset = open_product(product.opened, GEOREF=choice)
            functions = dataset.GetMetadata("RPC")
            shown[choice] = (dataset.GetGCPCount(), "ERR_BIAS" in functions if functions else None)
        self.assertEqual(shown, {"AUTO": (121, True), "PRODUCT": (121, True), "MODEL": (121, True),
                                 "GCP": (121, None), "RPC": (0, True)})
        own, model = (open_product(product.opened, GEOREF=c).GetGCPs()
                      for c in ("PRODUCT", "MODEL"))
        for i in (0, -1):  # both grids begin and end in the image's corners
            np.testing.assert_allclose(
                *([g[i].GCPPixel, g[i].GCPLine, g[i].GCPX, g[i].GCPY] for g in (own, model)),
                rtol=0, atol=1e-8)
        bare = self.make("capella-slc", lines=64, samples=64, gcps=False)
        self.assertEqual(open_product(bare.opened).GetGCPCount(), 121)
        self.assertEqual(open_product(bare.opened, GEOREF="PRODUCT").GetGCPCount(), 0)
        projected = self.make("capella-geo", lines=64, samples=64)
        for choice, reason in (("MODEL", "no sensor model"), ("GCP", "no tie point"),
                               ("RPC", "no rational function")):
            with self.assertRaisesRegex(RuntimeError, reason):
                open_product(projected.opened, GEOREF=choice)
        with self.assertRaisesRegex(RuntimeError, "GEOREF=TPS"):
            open_product(product.opened, GEOREF="TPS")


class Facts(ProductCase):
    def test_metadata_has_the_keys_that_users_know(self):
        for family in ("capella-slc", "rcm", "radarsat2"):
            product = self.make(family, lines=64, samples=64, pass_direction="descending")
            items = open_product(product.opened).GetMetadata()
            truth, recipe = product.truth, product.truth["recipe"]
            self.assertEqual(items["PRODUCT_TYPE"], recipe["product_type"])
            self.assertEqual(items["SATELLITE_IDENTIFIER"], recipe["satellite"])
            self.assertEqual(items["ORBIT_DIRECTION"].lower(), "descending")
            self.assertEqual(items["SENSOR_IDENTIFIER"], "SAR")
            self.assertEqual(float(items["PIXEL_SPACING"]), recipe["pixel_spacing"])
            self.assertEqual(float(items["LINE_SPACING"]), recipe["line_spacing"])
            self.assertEqual(items["ACQUISITION_START_TIME"][:10], truth["timing"]["startDate"])
            self.assertAlmostEqual(float(items["SLANT_RANGE_NEAR_EDGE"]),
                                   truth["record"]["slantRangeNearEdge"], places=3)
            if family != "capella-slc":
                self.assertAlmostEqual(float(items["NEAR_RANGE_INCIDENCE_ANGLE"]),
                                       truth["geometry"]["incidenceNearDeg"], places=6)
                self.assertGreater(float(items["FAR_RANGE_INCIDENCE_ANGLE"]),
                                   float(items["NEAR_RANGE_INCIDENCE_ANGLE"]))
        other = gdal.OpenEx(str(product.opened), allowed_drivers=["RS2"])
        for own, its in zip(open_product(product.opened, GEOREF="PRODUCT").GetGCPs(), other.GetGCPs()):
            self.assertEqual((own.GCPPixel, own.GCPLine, own.GCPX, own.GCPY, own.GCPZ),
                             (its.GCPPixel, its.GCPLine, its.GCPX, its.GCPY, its.GCPZ))
        other = other.GetMetadata()
        for key in set(other) & set(items):
            same = (float(items[key]) == float(other[key]) if "SPACING" in key
                    else items[key] == other[key])
            self.assertTrue(same, f"{key}: {items[key]}, and {other[key]} of GDAL's own driver")
        self.assertLessEqual(set(other), set(items))


    def test_nodes_are_json_domains(self):
        product = self.make("rcm", lines=64, samples=64)
        dataset = open_product(product.opened)
        self.assertIn("json:SAR_Metadata", dataset.GetMetadataDomainList())
        node = json.loads(dataset.GetMetadata_List("json:SAR_Metadata")[0])
        for name, value in product.truth["record"].items():
            if not isinstance(value, list):
                self.assertAlmostEqual(node[name], value, delta=1e-9 * abs(value), msg=name)
        self.assertIsNone(dataset.GetMetadata_List("json:Another"))


class Files(ProductCase):
    def test_the_file_list_is_the_product(self):
        for family in ("capella-slc", "rcm", "radarsat2"):
            product = self.make(family, lines=64, samples=64)
            everything = {str(p) for p in product.folder.rglob("*") if p.is_file()}
            for name in (product.opened, list(subdatasets(open_product(product.opened)).values())
                         [0][0]):
                listed = gdal.Open(str(name)).GetFileList()
                self.assertEqual(len(listed), len(set(listed)))
                self.assertEqual(set(listed), {f for f in everything if "manifest" not in f})

    def test_nothing_is_written_unasked_and_never_into_a_read_only_folder(self):
        product = self.make("radarsat2", lines=64, samples=64)
        before = sorted(product.folder.iterdir())
        for name in (product.opened, named(product.opened, "C_HH_MAGNITUDE_1")):
            done = tool("gdalinfo", "-checksum", "-mm", name)
            self.assertEqual((done.returncode, done.stderr), (0, ""))
            copied = tool("gdal_translate", "-q", "-co", "TILED=YES", name, self.folder / "c.tif")
            self.assertEqual((copied.returncode, copied.stderr), (0, ""))
        self.assertEqual(sorted(product.folder.iterdir()), before)
        for path in (self.folder, *self.folder.rglob("*")):
            path.chmod(0o755 if path.is_dir() else 0o644)
        for path in (*product.folder.iterdir(), product.folder):
            path.chmod(path.stat().st_mode & ~0o222)
        # The superuser may write anywhere: the tools run as nobody then.
        nobody = 65534 if os.getuid() == 0 else None
        name = named(product.opened, "C_HH_MAGNITUDE_1")
        self.assertEqual(tool("gdalinfo", "-stats", name, user=nobody).returncode, 0)
        refused = tool("gdaladdo", "-r", "average", name, 2, user=nobody)
        self.assertNotEqual(refused.returncode, 0)
        self.assertEqual(sorted(product.folder.iterdir()), before)
        product.folder.chmod(0o755)

    def test_statistics_are_kept_for_each_layer_when_asked_for(self):
        product = self.make("radarsat2", lines=64, samples=64)
        for layer in ("C_HH_MAGNITUDE_1", "SIGMA_NOUGHT_HH"):
            dataset = gdal.Open(named(product.opened, layer))
            dataset.GetRasterBand(1).ComputeStatistics(False)
        dataset = None
        kept = {}
        for layer in ("C_HH_MAGNITUDE_1", "SIGMA_NOUGHT_HH", "BETA_NOUGHT_HH"):
            dataset = gdal.Open(named(product.opened, layer))
            band = dataset.GetRasterBand(1)
            if not band.GetMetadataItem("STATISTICS_APPROXIMATE"):  # else what the driver offers
                kept[layer] = band.GetMetadataItem("STATISTICS_MEAN")
        self.assertEqual(list(kept), ["C_HH_MAGNITUDE_1", "SIGMA_NOUGHT_HH"])
        self.assertNotEqual(kept["C_HH_MAGNITUDE_1"], kept["SIGMA_NOUGHT_HH"])


class BadInput(ProductCase):
    def fails(self, name, *texts, **options):
        with self.assertRaises(RuntimeError) as caught:
            open_product(name, **options)
        for text in texts:
            self.assertIn(text, str(caught.exception))

    def test_each_fault_names_the_file_and_the_reason(self):
        product = self.make("rcm", lines=64, samples=64)
        file = str(product.opened)
        self.fails(named(file, "C_HH_MAGNITUDE_9"), file, 'no layer "C_HH_MAGNITUDE_9"')
        self.fails(file, "exclude each other", LAYER="C_HH_MAGNITUDE_1", CALIBRATION="GAMMA")
        self.fails("RF_SAR:/no/such/folder", "/no/such/folder", "no such file")
        self.fails(f'RF_SAR:"{file}', "is not of the form")
        self.fails(f'RF_SAR:"{file}"X', "is not of the form")
        self.fails("RF_SAR:", "is not of the form")
        with self.assertRaisesRegex(RuntimeError, "reading only"):
            gdal.OpenEx(file, gdal.OF_RASTER | gdal.OF_UPDATE, allowed_drivers=["RF_SAR"])
        copy = product.opened.with_name("copy.xml")
        text = product.opened.read_text(encoding="utf-8")
        for old, new, reason in (("RCM-2", "RCM-9", '"RCM-9" is not supported'),
                                 (">HH HV<", ">HH<", "2 image files but 1 polarizations"),
                                 ("</product>", "", "copy.xml")):
            copy.write_text(text.replace(old, new), encoding="utf-8")
            self.fails(copy, str(copy), reason)
        copy.write_text(text.replace('<latitude units="deg">', "<latitude>x"), encoding="utf-8")
        self.fails(copy, str(copy), "is not a number", GEOREF="PRODUCT")
        done = tool("gdalinfo", "-if", "RF_SAR", copy)
        self.assertEqual(done.returncode, 0)

    def test_missing_and_damaged_images(self):
        product = self.make("radarsat2", lines=200, samples=200, polarizations="HH HV")
        image = product.folder / "imagery_HV.tif"
        os.truncate(image, image.stat().st_size // 2)
        names = {layer: name for layer, (name, _) in
                 subdatasets(open_product(product.opened)).items()}
        for layer in ("C_HV_MAGNITUDE_3", "COMPLEX_HV", "SIGMA_NOUGHT_HV"):
            with self.assertRaisesRegex(RuntimeError, "imagery_HV.tif"):
                gdal.Open(names[layer]).ReadAsArray()
        self.assertEqual(gdal.Open(names["COMPLEX_HH"]).ReadAsArray().shape, (200, 200))
        image.unlink()
        for name in ("C_HV_MAGNITUDE_3", "COMPLEX_HV"):
            self.fails(names[name], "imagery_HV.tif")
        done = tool("gdalinfo", product.opened)
        self.assertEqual(done.returncode, 0)
        self.assertRegex(done.stderr, "(?s)Warning.*imagery_HV.tif.*only the subdatasets")
        self.assertIn("SUBDATASET_1_NAME", done.stdout)
        self.assertEqual(gdal.Open(names["COMPLEX_HH"]).RasterCount, 1)

    def test_damaged_extended_documents_are_told_of(self):
        product = self.make("capella-slc", lines=64, samples=64)
        next(product.folder.glob("*_extended.json")).write_text("{")
        done = tool("gdalinfo", "-checksum", product.opened)
        self.assertEqual(done.returncode, 0)
        self.assertIn("_extended.json", done.stderr)


class RealProducts(ProductCase):
    def test_radarsat2_inside_its_zip_agrees_with_its_tie_points(self):
        archive = next(self.real("radarsat2/F0W2_20170430_HH_SLC").glob("*.zip"))
        dataset = gdal.Open(f"RF_SAR:{archive}")
        product = subdatasets(dataset)["COMPLEX_HH"][0].split('"')[1]
        other = gdal.OpenEx(product, allowed_drivers=["RS2"]).GetGCPs()
        transformer = gdal.Transformer(dataset, None, ["METHOD=RPC"])
        stated = gdal.OpenEx(f"RF_SAR:{archive}", open_options=["GEOREF=PRODUCT"])
        self.assertEqual(stated.GetGCPCount(), len(other))
        for tie, its in zip(stated.GetGCPs(), other):
            self.assertEqual((tie.GCPPixel, tie.GCPX, tie.GCPZ), (its.GCPPixel, its.GCPX, its.GCPZ))
            _, (pixel, line, _) = transformer.TransformPoint(1, tie.GCPX, tie.GCPY, tie.GCPZ)
            self.assertLess(np.hypot(pixel - tie.GCPPixel, line - tie.GCPLine), 0.01)

    def test_rcm_tables_run_against_the_columns(self):
        copy = self.folder / "copy"
        shutil.copytree(self.real("rcm/16M5_20220605_HHHV_GRD"), copy)
        file = next(copy.glob("*/metadata/product.xml"))
        (file.parent.parent / "imagery").mkdir()
        for pole in ("HH", "HV"):
            image = gdal.GetDriverByName("GTiff").Create(
                str(file.parent.parent / f"imagery/2116811_1_{pole}.tif"), 4845, 8,
                1, gdal.GDT_UInt16)
            image.GetRasterBand(1).Fill(1000)
            image = None
        for key, stem in (("SIGMA_NOUGHT", "lutSigma"), ("GAMMA", "lutGamma")):
            columns, gains, _ = table(file.parent / f"calibration/{stem}_HV.xml",
                                      "pixelFirstLutValue")
            self.assertEqual((columns[0], columns[-1]), (4844, 0))
            pixels = gdal.Open(named(file, f"{key}_HV")).ReadAsArray()
            np.testing.assert_allclose(pixels, np.tile(1e6 / gains[::-1], (8, 1)), rtol=1e-6)


if __name__ == "__main__":
    unittest.main()
