// SPDX-License-Identifier: MIT
#include "rf_sar.h"

#include "kerr/kerr.h"
#include "kmsc/kmsc.h"
#include "ktxt/ktxt.h"
#include "pixel_conversion.h"
#include "rf_sar_file.h"
#include "rf_sar_layer_cache.h"
#include "support/small_products.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <barrier>
#include <stdexcept>
#include <thread>

namespace {

using pixel_conversion::Quantity;
using support::ImageShape;
using support::SampleType;
using support::TemporaryFolder;

struct OpenedLayer {
    std::uint32_t status = 0, type = 0, width = 0, height = 0, reserved = 9, blockWidth = 0,
                  blockHeight = 0;
    RF_SARLayer* layer = nullptr;
};

OpenedLayer openLayer(RF_SARFile* file, const char16_t* name) {
    OpenedLayer o;
    o.status = rf_sarLayerOpen(file, name, &o.type, &o.width, &o.height, &o.reserved,
                               &o.blockWidth, &o.blockHeight, &o.layer);
    return o;
}

/// The whole layer through its blocks; whatever lies beyond the image must be 0.
std::vector<std::uint16_t> readAll(const OpenedLayer& o) {
    std::vector<std::uint16_t> image(std::size_t{o.width} * o.height);
    std::vector<std::uint16_t> block(std::size_t{o.blockWidth} * o.blockHeight);
    for (std::uint32_t row = 0; row * o.blockHeight < o.height; ++row)
        for (std::uint32_t column = 0; column * o.blockWidth < o.width; ++column) {
            std::fill(block.begin(), block.end(), 0xBEEF);
            void* buffer = block.data();
            EXPECT_EQ(rf_sarLayerRasterRead(o.layer, row, column, &buffer), 0U);
            EXPECT_EQ(buffer, block.data());
            for (std::size_t n = 0; n < block.size(); ++n) {
                const std::size_t x = column * o.blockWidth + n % o.blockWidth;
                const std::size_t y = row * o.blockHeight + n / o.blockWidth;
                if (x < o.width && y < o.height)
                    image[y * o.width + x] = block[n];
                else
                    EXPECT_EQ(block[n], 0U);
            }
        }
    return image;
}

std::pair<double, double> speckle(int band, int x, int y) {
    const int hash = (x * 7919 + y * 104729 + band * 1299709) % 65536;
    return {hash - 32768, (hash * 31 + x) % 65536 - 32768};
}

/// A product file open with its handle.
class OpenProduct {
public:
    explicit OpenProduct(const std::string& name)
        : file_(rf_sarFileOpen(ktxt::widen(name).c_str(), u"rb")) {}
    ~OpenProduct() { rf_sarFileClose(file_); }
    OpenProduct(const OpenProduct&) = delete;
    OpenProduct& operator=(const OpenProduct&) = delete;
    RF_SARFile* get() const { return file_; }

private:
    RF_SARFile* file_;
};

std::string capellaSlc(const TemporaryFolder& folder) {
    return folder.write("C.json",
                        support::capellaItem("\"SLC\"", "[\"VV\"]", "VV", "C.tif"));
}

std::string rs2(const TemporaryFolder& folder, const char* type) {
    return folder.write("product.xml", support::xmlText({"RADARSAT-2", type, "HH", {"hh.tif"}}));
}

} // namespace

TEST(LayerRead, OneBandAndTwoBandProductsOfTheSameSamplesAreEqual) {
    const TemporaryFolder folder;
    for (const bool tiled : {false, true}) {
        SCOPED_TRACE(tiled ? "tiled" : "striped");
        support::writeImage((folder.path() / "C.tif").string(),
                            {70, 50, 1, SampleType::complexInt16, tiled},
                            [](int, int x, int y) { return speckle(1, x, y); });
        support::writeImage((folder.path() / "hh.tif").string(),
                            {70, 50, 2, SampleType::int16, tiled}, [](int band, int x, int y) {
                                const auto [re, im] = speckle(1, x, y);
                                return std::pair{band == 1 ? re : im, 0.0};
                            });
        const OpenProduct oneBand(capellaSlc(folder)), twoBands(rs2(folder, "SLC"));
        const char16_t* names[2][2] = {{u"X_VV_MAGNITUDE_1", u"C_HH_MAGNITUDE_1"},
                                       {u"X_VV_PHASE_2", u"C_HH_PHASE_2"}};
        for (int kind = 0; kind < 2; ++kind) {
            const auto one = openLayer(oneBand.get(), names[kind][0]);
            const auto two = openLayer(twoBands.get(), names[kind][1]);
            EXPECT_EQ(one.status + two.status, 0U);
            EXPECT_EQ(one.type, kind == 0 ? 5U : 6U);
            EXPECT_EQ(one.reserved, 0U);
            EXPECT_EQ(one.blockWidth, tiled ? 16U : 70U);
            const auto samples = readAll(one);
            EXPECT_EQ(samples, readAll(two));
            for (int y = 0; y < 50; ++y)
                for (int x = 0; x < 70; ++x) {
                    const auto [re, im] = speckle(1, x, y);
                    const auto quantity = kind == 0 ? Quantity::magnitude : Quantity::phase;
                    ASSERT_EQ(samples[static_cast<std::size_t>(y * 70 + x)],
                              pixel_conversion::convert(re, im, quantity, 1));
                }
            rf_sarLayerClose(one.layer);
            rf_sarLayerClose(two.layer);
        }
    }
}

TEST(LayerRead, FloatSamplesFollowTheRule) {
    const TemporaryFolder folder;
    const auto sample = [](int x, int y) { return std::pair{x - 0.25, 3.5 * y}; };
    support::writeImage((folder.path() / "C.tif").string(),
                        {33, 21, 1, SampleType::complexFloat32},
                        [&](int, int x, int y) { return sample(x, y); });
    support::writeImage((folder.path() / "hh.tif").string(), {33, 21, 2, SampleType::float32},
                        [&](int band, int x, int y) {
                            const auto [re, im] = sample(x, y);
                            return std::pair{band == 1 ? re : im, 0.0};
                        });
    const OpenProduct oneBand(capellaSlc(folder)), twoBands(rs2(folder, "SLC"));
    const OpenedLayer layers[] = {openLayer(oneBand.get(), u"X_VV_MAGNITUDE_1"),
                                  openLayer(twoBands.get(), u"C_HH_MAGNITUDE_1")};
    for (const OpenedLayer& layer : layers) {
        const auto samples = readAll(layer);
        for (int y = 0; y < 21; ++y)
            for (int x = 0; x < 33; ++x) {
                const auto [re, im] = sample(x, y);
                ASSERT_EQ(samples[static_cast<std::size_t>(y * 33 + x)],
                          pixel_conversion::convert(re, im, Quantity::magnitude, 1));
            }
        rf_sarLayerClose(layer.layer);
    }
}

TEST(LayerRead, DetectedLayersComeAsTheyAreStored) {
    const TemporaryFolder folder;
    support::writeImage((folder.path() / "hh.tif").string(),
                        {61, 47, 1, SampleType::uint16, true},
                        [](int, int x, int y) { return std::pair{x * 1000 + y, 0}; });
    const OpenProduct product(rs2(folder, "SGF"));
    const auto tiles = openLayer(product.get(), u"C_HH_MAGNITUDE_1");
    // "OneLineAsBlock" counts one more than the digits say.
    const auto lines = openLayer(product.get(), u"C_HH_MAGNITUDE_0OneLineAsBlock");
    EXPECT_EQ(tiles.type, 5U);
    EXPECT_EQ(lines.blockWidth, 61U);
    EXPECT_EQ(lines.blockHeight, 1U);
    const auto samples = readAll(tiles);
    EXPECT_EQ(samples, readAll(lines));
    for (std::size_t n = 0; n < samples.size(); ++n)
        ASSERT_EQ(samples[n], static_cast<std::uint16_t>((n % 61) * 1000 + n / 61));
    std::uint32_t kind = 0;
    EXPECT_EQ(rf_sarLayerLayerTypeRead(tiles.layer, &kind), 0U);
    EXPECT_EQ(kind, 1U);
    rf_sarLayerClose(tiles.layer);
    rf_sarLayerClose(lines.layer);
}

TEST(LayerOpen, NumbersBeyondTheProductAreOutOfRange) {
    const TemporaryFolder folder;
    support::writeImage((folder.path() / "hh.tif").string(), {},
                        [](int, int, int) { return std::pair{1, 0}; });
    const OpenProduct detected(rs2(folder, "SGF"));
    for (const char16_t* name : {u"C_HH_MAGNITUDE_", u"C_HH_MAGNITUDE_0", u"C_HH_MAGNITUDE_2",
                                 u"nonsense", u"", u"C_HH_MAGNITUDE_-1",
                                 u"C_HH_MAGNITUDE_99999999999999999999"})
        EXPECT_THROW(openLayer(detected.get(), name), std::out_of_range);
    const OpenProduct complexOne(rs2(folder, "SLC"));
    for (const char16_t* name : {u"C_HH_MAGNITUDE_0", u"C_HH_MAGNITUDE_3"})
        EXPECT_THROW(openLayer(complexOne.get(), name), std::out_of_range);
}

TEST(LayerOpen, CacheHitTypeFollowsParity) {
    const TemporaryFolder folder;
    for (const char* name : {"a.tif", "b.tif"})
        support::writeImage((folder.path() / name).string(), {},
                            [](int, int x, int) { return std::pair{x, 0}; });
    const auto name = folder.write(
        "product.xml", support::xmlText({"RCM-1", "GRD", "HH HV", {"a.tif", "b.tif"}}));
    const OpenProduct product(name), again(name);
    const auto first = openLayer(product.get(), u"C_HV_MAGNITUDE_2");
    const auto second = openLayer(product.get(), u"c_hv_magnitude_2");
    const auto other = openLayer(again.get(), u"C_HV_MAGNITUDE_2");
    EXPECT_EQ(first.type, 5U);
    EXPECT_EQ(second.type, 6U);
    EXPECT_EQ(other.type, 5U);
    EXPECT_EQ(first.layer, second.layer);
    EXPECT_NE(first.layer, other.layer);
    EXPECT_EQ(first.layer->referenceCount, 2);
    rf_sarLayerClose(second.layer);
    EXPECT_EQ(first.layer->referenceCount, 1);
    EXPECT_EQ(readAll(first), readAll(other));
    rf_sarLayerClose(first.layer);
    EXPECT_EQ(rf_sarLayerCache::Instance()->Find(u"C_HV_MAGNITUDE_2", product.get()), nullptr);
    rf_sarLayerClose(other.layer);
    EXPECT_EQ(rf_sarLayerClose(nullptr), 0U);
}

namespace {

/// Collects what is printed while it lives.
class Printed {
public:
    Printed()
        : old_(kerr::setPrintSink(
              [this](const KERR_REPORT& report) { text += kerr_Text(&report) + "\n"; })) {}
    ~Printed() { kerr::setPrintSink(old_); }
    std::string text;

private:
    kerr::Sink old_;
};

} // namespace

TEST(LayerOpen, MissingBandsAndFilesFailWithTheReason) {
    const TemporaryFolder folder;
    const auto blocks = kmsc_BlocksInUse();
    Printed printed;
    const OpenProduct missing(rs2(folder, "SGF"));
    EXPECT_EQ(openLayer(missing.get(), u"C_HH_MAGNITUDE_1").status, RF_SAR_FAILURE);
    EXPECT_THAT(printed.text, testing::AllOf(testing::HasSubstr("kimg_LayerOpen failed"),
                                             testing::HasSubstr("hh.tif")));
    EXPECT_EQ(kmsc_BlocksInUse(), blocks);
}

TEST(LayerOpen, ImagesOfAnotherKindYieldNoSamples) {
    const TemporaryFolder folder;
    const struct {
        const char* product;
        ImageShape image;
        const char* found;
    } cases[] = {{"SLC", {}, "hh.tif: holds 1 real bands, but the layer's samples are complex"},
                 {"SLC", {64, 48, 3, SampleType::int16}, "holds 3 real bands"},
                 {"SGF", {64, 48, 2, SampleType::int16}, "holds 2 real bands"},
                 {"SGF", {64, 48, 1, SampleType::complexInt16}, "holds complex samples in one"},
                 {"Capella", {}, "C.tif: holds 1 real bands"},
                 {"Capella", {64, 48, 2, SampleType::int16}, "C.tif: holds 2 real bands"}};
    for (const auto& each : cases) {
        const bool capella = std::string_view(each.product) == "Capella";
        support::writeImage(folder / (capella ? "C.tif" : "hh.tif"), each.image, [](int, int, int) {
            return std::pair{1, 0};
        });
        const OpenProduct product(capella ? capellaSlc(folder) : rs2(folder, each.product));
        Printed printed;
        const auto opened =
            openLayer(product.get(), capella ? u"X_VV_MAGNITUDE_1" : u"C_HH_MAGNITUDE_1");
        const bool detected = std::string_view(each.product) == "SGF";
        EXPECT_EQ(opened.status, detected ? 0 : RF_SAR_FAILURE) << each.found;
        if (detected) {
            std::vector<std::uint16_t> block(64 * 48);
            void* buffer = block.data();
            EXPECT_EQ(rf_sarLayerRasterRead(opened.layer, 0, 0, &buffer), RF_SAR_FAILURE);
            EXPECT_EQ(buffer, nullptr);
            rf_sarLayerClose(opened.layer);
        }
        EXPECT_THAT(printed.text, testing::HasSubstr(each.found));
    }
}

TEST(LayerRead, FailedComplexReadIsLoggedAndAnswersZero) {
    const TemporaryFolder folder;
    for (const char* type : {"SLC", "SGF"}) {
        const bool isComplex = std::string_view(type) == "SLC";
        const auto image = (folder.path() / "hh.tif").string();
        support::writeImage(image, {64, 64, isComplex ? 2 : 1, SampleType::int16},
                            [](int, int, int) { return std::pair{100, 0}; });
        const OpenProduct product(rs2(folder, type));
        const auto layer = openLayer(product.get(), u"C_HH_MAGNITUDE_1");
        ASSERT_EQ(layer.status, 0U);
        std::filesystem::resize_file(image, std::filesystem::file_size(image) / 2);

        std::string logged;
        const TolvanLog::Listener listener(
            [&](const KERR_REPORT& report) { logged += kerr_Text(&report); });
        Printed printed;
        std::vector<std::uint16_t> block(std::size_t{layer.blockWidth} * layer.blockHeight, 7);
        void* buffer = block.data();
        const auto status = rf_sarLayerRasterRead(layer.layer, 63, 0, &buffer);
        if (isComplex) {
            EXPECT_EQ(status, 0U);
            EXPECT_THAT(logged, testing::HasSubstr("hh.tif"));
            EXPECT_THAT(block, testing::Each(0));
        } else {
            EXPECT_EQ(status, RF_SAR_FAILURE);
            EXPECT_EQ(buffer, nullptr);
            EXPECT_THAT(printed.text, testing::AllOf(
                                          testing::HasSubstr("kimg_LayerRasterPixelRectGet failed"),
                                          testing::HasSubstr("hh.tif")));
        }
        rf_sarLayerClose(layer.layer);
    }
}

TEST(LayerCache, ThreadsOpenAndCloseTheSameLayer) {
    const TemporaryFolder folder;
    support::writeImage((folder.path() / "C.tif").string(),
                        {64, 64, 1, SampleType::complexInt16, true},
                        [](int, int x, int y) { return speckle(1, x, y); });
    const OpenProduct product(capellaSlc(folder));
    const auto reference = openLayer(product.get(), u"X_VV_MAGNITUDE_1");
    const auto expected = readAll(reference);
    rf_sarLayerClose(reference.layer);
    const auto blocks = kmsc_BlocksInUse();
    std::vector<std::thread> threads;
    for (int t = 0; t < 6; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 60; ++i) {
                const auto layer = openLayer(product.get(), u"X_VV_MAGNITUDE_1");
                if (i % 20 == 0) {
                    EXPECT_EQ(readAll(layer), expected);
                }
                rf_sarLayerClose(layer.layer);
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(rf_sarLayerCache::Instance()->Find(u"X_VV_MAGNITUDE_1", product.get()), nullptr);
    EXPECT_EQ(kmsc_BlocksInUse(), blocks);
}

TEST(LayerOpen, ThreadsThatOpenOneNameGetOneLayer) {
    const TemporaryFolder folder;
    support::writeImage((folder.path() / "C.tif").string(),
                        {64, 64, 1, SampleType::complexInt16},
                        [](int, int x, int y) { return speckle(1, x, y); });
    const OpenProduct product(capellaSlc(folder));
    constexpr int rounds = 300;
    std::barrier together(2);
    RF_SARLayer* opened[2] = {};
    int differing = 0;
    const auto work = [&](int self) {
        for (int i = 0; i < rounds; ++i) {
            together.arrive_and_wait();
            opened[self] = openLayer(product.get(), u"X_VV_PHASE_2").layer;
            together.arrive_and_wait();
            if (self == 0)
                differing += opened[0] != opened[1];
            together.arrive_and_wait();
            rf_sarLayerClose(opened[self]);
        }
    };
    std::thread other(work, 1);
    work(0);
    other.join();
    EXPECT_EQ(differing, 0);
}

TEST(LayerOpen, TwoHundredRoundsKeepTheHeapFlat) {
    const TemporaryFolder folder;
    support::writeImage((folder.path() / "C.tif").string(),
                        {64, 64, 1, SampleType::complexInt16},
                        [](int, int x, int y) { return speckle(1, x, y); });
    const auto name = capellaSlc(folder);
    std::int64_t blocks = 0;
    for (int i = 0; i < 200; ++i) {
        const OpenProduct product(name);
        const auto layer = openLayer(product.get(), u"X_VV_PHASE_2");
        std::vector<std::uint16_t> block(std::size_t{layer.blockWidth} * layer.blockHeight);
        void* buffer = block.data();
        EXPECT_EQ(rf_sarLayerRasterRead(layer.layer, 0, 0, &buffer), 0U);
        rf_sarLayerClose(layer.layer);
        if (i == 1)
            blocks = kmsc_BlocksInUse();
    }
    EXPECT_LE(kmsc_BlocksInUse(), blocks);
}
