// SPDX-License-Identifier: MIT
#include "support/small_products.h"

#include <gdal.h>

#include <complex>
#include <stdexcept>

namespace support {

std::string xmlText(const XmlProduct& p) {
    const bool rcm = p.satellite.substr(0, 3) == "RCM" || p.satellite.substr(0, 3) == "Rcm";
    std::string images;
    for (const auto& image : p.images)
        images += rcm ? "<ipdf pole=\"XX\">" + image + "</ipdf>" + p.newline
                      : "<fullResolutionImageData pole=\"XX\">" + image +
                            "</fullResolutionImageData>" + p.newline;
    images = "<imageAttributes>" + images + "</imageAttributes>";
    if (rcm)
        images = "<sceneAttributes>" + images + "</sceneAttributes>";
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>" + p.newline + "<product" + p.attributes +
           ">" + p.newline + "<note>Données é</note><sourceAttributes><satellite>" + p.satellite +
           "</satellite><radarParameters><polarizations>" + p.polarizations +
           "</polarizations></radarParameters></sourceAttributes>" + p.newline +
           "<imageGenerationParameters><generalProcessingInformation><productType>" + p.type +
           "</productType></generalProcessingInformation></imageGenerationParameters>" + images +
           p.newline + "</product>" + p.newline;
}

std::string capellaItem(const std::string& type, const std::string& polarizationsJson,
                        const std::string& lastPole, const std::string& href) {
    const std::string assets =
        href.empty() ? "" : ",\"assets\":{\"" + lastPole + "\":{\"href\":\"" + href + "\"}}";
    return "{\"properties\":{\"sar:product_type\":" + type +
           ",\"sar:polarizations\":" + polarizationsJson + "}" + assets + "}";
}

std::string capellaExtended(const std::string& type) {
    return R"({"collect":{"radar":{"transmit_polarization":"V","receive_polarization":"H"}},)"
           "\"product_type\":\"" +
           type + "\"}";
}

namespace {

GDALDataType gdalType(SampleType type) {
    switch (type) {
    case SampleType::uint16:
        return GDT_UInt16;
    case SampleType::int16:
        return GDT_Int16;
    case SampleType::float32:
        return GDT_Float32;
    case SampleType::complexInt16:
        return GDT_CInt16;
    case SampleType::complexFloat32:
        return GDT_CFloat32;
    }
    return GDT_Unknown;
}

} // namespace

void writeImage(const std::string& name, const ImageShape& shape,
                const std::function<std::pair<double, double>(int, int, int)>& value) {
    GDALAllRegister();
    const char* tiled[] = {"TILED=YES", "BLOCKXSIZE=16", "BLOCKYSIZE=32", nullptr};
    const char* strips[] = {"BLOCKYSIZE=1", nullptr};
    GDALDatasetH image =
        GDALCreate(GDALGetDriverByName("GTiff"), name.c_str(), shape.width, shape.height,
                   shape.bands, gdalType(shape.type),
                   const_cast<char**>(shape.tiled ? tiled : strips));
    if (!image)
        throw std::runtime_error("cannot write " + name);
    std::vector<std::complex<double>> line(static_cast<std::size_t>(shape.width));
    for (int band = 1; band <= shape.bands; ++band)
        for (int y = 0; y < shape.height; ++y) {
            for (int x = 0; x < shape.width; ++x) {
                const auto [real, imaginary] = value(band, x, y);
                line[static_cast<std::size_t>(x)] = {real, imaginary};
            }
            if (GDALRasterIO(GDALGetRasterBand(image, band), GF_Write, 0, y, shape.width, 1,
                             line.data(), shape.width, 1, GDT_CFloat64, 0, 0) != CE_None)
                throw std::runtime_error("cannot write " + name);
        }
    GDALClose(image);
}

} // namespace support
