# SPDX-License-Identifier: MIT
"""Writes the image files with GDAL, strip by strip."""
import numpy as np
from osgeo import gdal, osr

gdal.UseExceptions()

_TYPES = {"uint8": (gdal.GDT_Byte, np.uint8), "uint16": (gdal.GDT_UInt16, np.uint16),
          "int16": (gdal.GDT_Int16, np.int16), "uint32": (gdal.GDT_UInt32, np.uint32),
          "int32": (gdal.GDT_Int32, np.int32), "float32": (gdal.GDT_Float32, np.float32),
          "float64": (gdal.GDT_Float64, np.float64)}
_COMPLEX = {"int16": gdal.GDT_CInt16, "int32": gdal.GDT_CInt32, "float32": gdal.GDT_CFloat32,
            "float64": gdal.GDT_CFloat64}


def _options(r):
    options = ["BIGTIFF=IF_SAFER", "INTERLEAVE=PIXEL"]
    if r.tiled:
        edge = r.block or 256
        options += ["TILED=YES", f"BLOCKXSIZE={edge}", f"BLOCKYSIZE={edge}"]
    else:
        options.append(f"BLOCKYSIZE={r.block or 1}")
    if r.compress:
        options.append(f"COMPRESS={r.compress}")
    if r.sparse:
        options.append("SPARSE_OK=TRUE")
    return options


def _georeference(dataset, scene, picture):
    if scene.recipe.product_is_map:
        dataset.SetGeoTransform(scene.grid.geotransform)
        dataset.SetSpatialRef(scene.grid.srs)
    elif scene.recipe.gcps:
        wgs84 = osr.SpatialReference()
        wgs84.ImportFromEPSG(4326)
        wgs84.SetAxisMappingStrategy(osr.OAMS_TRADITIONAL_GIS_ORDER)
        top, left, lines, samples = picture.window
        # The file counts from the corner of the first pixel, tie points from its centre.
        dataset.SetGCPs([gdal.GCP(lon, lat, height, sample - left + 0.5, line - top + 0.5)
                         for line, sample, lon, lat, height in scene.tie_points
                         if top <= line < top + lines and left <= sample < left + samples], wgs84)


def write(path, scene, content, picture):
    """One image file; `content` is a pixels.Content, `picture` a pixels.Picture."""
    r = scene.recipe
    _, _, lines, samples = picture.window
    part_type, numpy_type = _TYPES[r.pixel_type]
    one_complex_band = picture.is_complex and r.bands == 1
    bands = 2 if picture.is_complex and r.bands == 2 else 1
    dataset = gdal.GetDriverByName("GTiff").Create(
        path, samples, lines, bands,
        _COMPLEX[r.pixel_type] if one_complex_band else part_type, _options(r))
    _georeference(dataset, scene, picture)
    if not r.sparse:
        pixel_bytes = np.dtype(numpy_type).itemsize
        for first, strip in content.strips(picture):
            stored = _stored(strip, numpy_type)
            if one_complex_band:
                dataset.GetRasterBand(1).WriteRaster(
                    0, first, samples, len(strip), stored.tobytes(),
                    buf_type=_COMPLEX[r.pixel_type])
            else:
                dataset.WriteRaster(
                    0, first, samples, len(strip), stored.tobytes(), buf_type=part_type,
                    band_list=list(range(1, bands + 1)), buf_pixel_space=bands * pixel_bytes,
                    buf_line_space=samples * bands * pixel_bytes, buf_band_space=pixel_bytes)
    dataset.FlushCache()
    del dataset


def _stored(strip, numpy_type):
    """Values as stored, the two parts of a complex sample side by side."""
    if np.iscomplexobj(strip):
        strip = np.ascontiguousarray(strip).view(np.float32)
    if np.issubdtype(numpy_type, np.integer):
        limits = np.iinfo(numpy_type)
        strip = np.clip(np.rint(strip), limits.min, limits.max)
    return np.ascontiguousarray(strip).astype(numpy_type)
