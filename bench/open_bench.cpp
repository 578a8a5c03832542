// SPDX-License-Identifier: MIT
// Opening a product and reading its SAR metadata: an RCM product beside libxml2's DOM parse of the
// same document, a RADARSAT-2 product beside GDAL's own open of it, in the same run. Needs real
// products, which RF_SAR_PRODUCTS leads to.

#include "unpacked_product.h"

#include "loader/product.h"

#include "kmif/kmif_node.h"

#include <benchmark/benchmark.h>
#include <gdal.h>
#include <gdal_frmts.h>
#include <libxml/parser.h>

#include <cstdlib>
#include <filesystem>

namespace {

namespace fs = std::filesystem;

/// The largest RCM `product.xml` of the folder; empty when there is none.
std::string productXml() {
    const char* folder = std::getenv("RF_SAR_PRODUCTS");
    const fs::path rcm = fs::path(folder ? folder : RF_SAR_PRODUCTS) / "rcm";
    std::string largest;
    if (!fs::exists(rcm))
        return largest;
    for (const auto& entry : fs::recursive_directory_iterator(rcm))
        if (entry.path().filename() == "product.xml" &&
            (largest.empty() || entry.file_size() > fs::file_size(largest)))
            largest = entry.path();
    return largest;
}

void skip(benchmark::State& state) {
    state.SkipWithError("no real product; RF_SAR_PRODUCTS names the folder that holds some");
}

void libxml2Dom(benchmark::State& state) {
    const std::string name = productXml();
    if (name.empty())
        return skip(state);
    for ([[maybe_unused]] auto _ : state) {
        xmlDoc* document =
            xmlReadFile(name.c_str(), nullptr, XML_PARSE_NONET | XML_PARSE_NOWARNING);
        if (!document)
            return state.SkipWithError("libxml2 could not parse the product");
        xmlFreeDoc(document);
    }
}

/// Identifies and opens a product, and builds its record.
void openAndRecord(benchmark::State& state, const std::string& name) {
    if (name.empty())
        return skip(state);
    const loader::Plugin& plugin = loader::Plugin::instance();
    for ([[maybe_unused]] auto _ : state) {
        const loader::Product product(plugin, name);
        KmifNode node;
        plugin.entry().dataRead(product.handle(), u":SAR_Metadata", &node, nullptr, nullptr,
                                nullptr);
        if (node.empty())
            return state.SkipWithError("the product has no SAR metadata");
    }
}

void openAndRecordRcm(benchmark::State& state) {
    openAndRecord(state, productXml());
}

const UnpackedProduct& radarsat2() {
    static const UnpackedProduct unpacked;
    return unpacked;
}

void openAndRecordRadarsat2(benchmark::State& state) {
    openAndRecord(state, radarsat2().product());
}

void gdalOpenRadarsat2(benchmark::State& state) {
    const std::string name = radarsat2().product();
    if (name.empty())
        return skip(state);
    GDALRegister_GTiff();
    GDALRegister_RS2();
    for ([[maybe_unused]] auto _ : state) {
        GDALDatasetH dataset = GDALOpen(name.c_str(), GA_ReadOnly);
        if (!dataset)
            return state.SkipWithError("GDAL could not open the product");
        GDALClose(dataset);
    }
}

BENCHMARK(libxml2Dom)->Unit(benchmark::kMillisecond);
BENCHMARK(openAndRecordRcm)->Unit(benchmark::kMillisecond);
BENCHMARK(gdalOpenRadarsat2)->Unit(benchmark::kMillisecond);
BENCHMARK(openAndRecordRadarsat2)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
