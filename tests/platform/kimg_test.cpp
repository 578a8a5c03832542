// SPDX-License-Identifier: MIT
#include "kimg/kimg.h"

#include "kfio/virtual_files.h"
#include "kimg/georeferencing.h"
#include "kimg/picture_writer.h"
#include "kmsc/kmsc.h"
#include "ktxt/ktxt.h"
#include "support/test_image.h"

#include <cpl_vsi.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ogr_srs_api.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <fstream>
#include <memory>
#include <random>
#include <thread>

namespace {

using support::TemporaryFolder;
using support::TestImage;
using testing::ElementsAre;
using testing::HasSubstr;

struct RectDeleter {
    void operator()(KPXM_RECT* rect) const { kpxm_PixelRectDelete(rect); }
};
using Rect = std::unique_ptr<KPXM_RECT, RectDeleter>;
struct LayerCloser {
    void operator()(KIMG_LAYER* layer) const { kimg_LayerClose(layer); }
};
using Layer = std::unique_ptr<KIMG_LAYER, LayerCloser>;

Layer open(const std::string& name, KERR_REPORT** slot = nullptr, double fill = 0) {
    const Rect rect(kimg_PixelRectCreate(1, 1, kpxmF64));
    kpxm_PixelRectPixelSet(rect.get(), 0, 0, fill);
    return Layer(
        kimg_LayerOpen(ktxt::widen(name), nullptr, slot, 25, 6, rect.get(), 3, 4097, 1, 0));
}

std::string openFailure(const std::string& name) {
    kerr::Slot slot;
    EXPECT_EQ(open(name, slot), nullptr) << name;
    return kerr_Text(slot.get());
}

Rect read(KIMG_LAYER* layer, std::int64_t x, std::int64_t y, std::uint32_t w, std::uint32_t h,
          std::uint32_t type, KERR_REPORT** slot = nullptr) {
    Rect rect(kimg_PixelRectCreate(w, h, type));
    const auto size = static_cast<std::ptrdiff_t>(kpxm::pixelSize(type));
    const KGDA_DATA view{kpxm_PixelRectDataGet(rect.get()), h, w, type, size * w, size};
    kimg_LayerRead(layer, x, y, w, h, &view, slot);
    return rect;
}

int openFileCount() {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return static_cast<int>(std::distance(begin(files), end(files)));
}

const std::vector<std::vector<std::string>> fileLayouts = {
    {"TILED=YES", "BLOCKXSIZE=32", "BLOCKYSIZE=16"},
    {"BLOCKYSIZE=1", "INTERLEAVE=PIXEL"},
    {"BLOCKYSIZE=16", "INTERLEAVE=BAND"},
    {"TILED=YES", "BLOCKXSIZE=16", "BLOCKYSIZE=32", "COMPRESS=DEFLATE", "INTERLEAVE=PIXEL"},
    {"BLOCKYSIZE=8", "ENDIANNESS=BIG", "INTERLEAVE=PIXEL"},
    {"TILED=YES", "BLOCKXSIZE=32", "BLOCKYSIZE=32", "INTERLEAVE=PIXEL"},
};

} // namespace

TEST(ImageLayers, ReadTheirOwnTypeAndAnyOtherWithoutLoss) {
    const TemporaryFolder folder;
    struct Case {
        GDALDataType stored;
        std::vector<std::uint32_t> layerTypes;
    };
    const Case cases[] = {
        {GDT_Byte, {kpxmU8}},
        {GDT_UInt16, {kpxmU16}},
        {GDT_Int16, {kpxmS16}},
        {GDT_UInt32, {kpxmU32}},
        {GDT_Int32, {kpxmS32}},
        {GDT_Float32, {kpxmF32}},
        {GDT_Float64, {kpxmF64}},
        {GDT_Int64, {kpxmF64}},
        {GDT_UInt64, {kpxmF64}},
        {GDT_CInt16, {kpxmU32, kpxmS16}},
        {GDT_CInt32, {kpxmC128, kpxmS32}},
        {GDT_CFloat32, {kpxmC64, kpxmF32}},
        {GDT_CFloat64, {kpxmC128, kpxmF64}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(GDALGetDataTypeName(c.stored));
        const TestImage image{.type = c.stored, .options = fileLayouts[0]};
        const std::string path = folder / GDALGetDataTypeName(c.stored);
        image.write(path);
        ASSERT_EQ(kimg_LayerGetNames(ktxt::widen(path), nullptr, nullptr).count(),
                  static_cast<int>(c.layerTypes.size()));
        for (std::size_t n = 0; n < c.layerTypes.size(); ++n) {
            const Layer layer = open(path + "#" + std::to_string(n + 1));
            ASSERT_TRUE(layer);
            ASSERT_EQ(kimg_LayerPixelTypeGet(layer.get()), c.layerTypes[n]);
            const auto own = read(layer.get(), 64, 16, 32, 16, c.layerTypes[n]);
            const auto wide = read(layer.get(), 64, 16, 32, 16, kpxmC128);
            for (std::uint32_t i = 0; i < 32 * 16; ++i) {
                const auto truth =
                    image.sample(1, static_cast<int>(64 + i % 32), static_cast<int>(16 + i / 32));
                const auto part = n == 1 ? std::complex(truth.imag()) : truth;
                ASSERT_EQ(kpxm_PixelRectPixelGet(wide.get(), i % 32, i / 32), part);
                auto got = kpxm_PixelRectPixelGet(own.get(), i % 32, i / 32);
                if (c.stored == GDT_CInt16 && n == 0) {
                    const auto word = static_cast<std::uint32_t>(got.real());
                    got = {static_cast<double>(static_cast<std::int16_t>(word & 0xffff)),
                           static_cast<double>(static_cast<std::int16_t>(word >> 16))};
                }
                ASSERT_EQ(got, part);
            }
        }
    }
}

TEST(ImageLayers, ComplexBandAndTwoRealBandsServeTheSameReadings) {
    const TemporaryFolder folder;
    for (const auto& layout : fileLayouts) {
        SCOPED_TRACE(testing::PrintToString(layout));
        const TestImage complexImage{.type = GDT_CInt16, .options = {"TILED=YES"}};
        complexImage.write(folder / "one.tif");
        // The same samples as two bands, written by copying the parts.
        TestImage parts{.bands = 2, .type = GDT_Int16, .options = layout};
        parts.write(folder / "two.tif");
        const GDALDatasetH two = GDALOpen((folder / "two.tif").c_str(), GA_Update);
        const Layer real = open(folder / "one.tif#1"), imaginary = open(folder / "one.tif#2");
        for (int band = 1; band <= 2; ++band) {
            const auto part =
                read(band == 1 ? real.get() : imaginary.get(), 0, 0, 100, 70, kpxmS16);
            ASSERT_EQ(GDALRasterIO(GDALGetRasterBand(two, band), GF_Write, 0, 0, 100, 70,
                                   kpxm_PixelRectDataGet(part.get()), 100, 70, GDT_Int16, 0, 0),
                      CE_None);
        }
        GDALClose(two);
        const Layer first = open(folder / "two.tif#1"), second = open(folder / "two.tif#2");
        for (const auto& [x, y] :
             {std::pair(0, 0), {32, 16}, {7, 3}, {-5, 60}, {90, -2}, {64, 32}}) {
            for (const auto& [w, h] : {std::pair(32U, 16U), {100U, 1U}, {41U, 29U}, {100U, 70U}}) {
                const auto packed = read(real.get(), x, y, w, h, kpxmU32);
                std::vector<std::uint32_t> words(std::size_t{w} * h, 1);
                kerr::Slot slot;
                ASSERT_TRUE(kimg::readPackedWords(first.get(), second.get(), x, y, w, h,
                                                  words.data(), slot));
                const auto* expected =
                    static_cast<std::uint32_t*>(kpxm_PixelRectDataGet(packed.get()));
                ASSERT_TRUE(std::equal(words.begin(), words.end(), expected))
                    << w << " x " << h << " at " << x << ", " << y;
                const auto q = read(second.get(), x, y, w, h, kpxmF32);
                ASSERT_EQ(kpxm_PixelRectPixelGet(q.get(), w / 2, h / 2).real(),
                          static_cast<std::int16_t>(words[h / 2 * w + w / 2] >> 16));
            }
        }
    }
}

TEST(ImageLayers, AnyWindowHoldsTheImageAndTheFillValueAround) {
    const TemporaryFolder folder;
    const auto seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto between = [&](int low, int high) {
        return std::uniform_int_distribution<>(low, high)(random);
    };
    for (const auto& layout : fileLayouts) {
        SCOPED_TRACE(testing::PrintToString(layout));
        const TestImage image{.bands = 2, .options = layout};
        image.write(folder / "image.tif");
        const Layer layer = open(folder / "image.tif#2", nullptr, 7);
        const auto blockWidth = static_cast<int>(kimg_LayerBlockWidthGet(layer.get()));
        const auto blockHeight = static_cast<int>(kimg_LayerBlockHeightGet(layer.get()));
        for (int i = 0; i < 150; ++i) {
            // Every third window is one whole block, those beyond the edges included.
            const bool block = i % 3 == 0;
            const int x = block ? between(0, 100 / blockWidth) * blockWidth : between(-60, 130);
            const int y = block ? between(0, 70 / blockHeight) * blockHeight : between(-60, 100);
            const int w = block ? blockWidth : between(1, 160),
                      h = block ? blockHeight : between(1, 90);
            const std::uint32_t type = std::array{kpxmU16, kpxmF32, kpxmC64}[i % 2 + (i % 5 == 4)];
            const auto pixels = read(layer.get(), x, y, static_cast<std::uint32_t>(w),
                                     static_cast<std::uint32_t>(h), type);
            for (int line = 0; line < h; ++line)
                for (int column = 0; column < w; ++column) {
                    const int u = x + column, v = y + line;
                    const bool inside = u >= 0 && u < 100 && v >= 0 && v < 70;
                    ASSERT_EQ(kpxm_PixelRectPixelGet(pixels.get(),
                                                     static_cast<std::uint32_t>(column),
                                                     static_cast<std::uint32_t>(line)),
                              inside ? image.sample(2, u, v) : 7.0)
                        << w << " x " << h << " at " << x << ", " << y << ", pixel " << u << ", "
                        << v;
                }
        }
    }
}

TEST(ImageLayers, PartOfAnEdgeBlockStaysInsideAViewThatIsABlockWide) {
    const TemporaryFolder folder;
    const TestImage image{.options = fileLayouts[0]}; // 100 x 70 in blocks of 32 x 16
    image.write(folder / "image.tif");
    const Layer layer = open(folder / "image.tif#1");
    struct Part {
        int x, y;
        std::uint32_t w, h;
    };
    for (const auto& [x, y, w, h] : {Part{96, 0, 4, 16}, Part{0, 64, 32, 6}, Part{96, 64, 4, 6}}) {
        std::vector<std::uint16_t> buffer(512, 0xEEEE);
        const KGDA_DATA view{buffer.data(), h, w, kpxmU16, 64, 2};
        ASSERT_TRUE(kimg_LayerRead(layer.get(), x, y, w, h, &view, nullptr));
        for (std::uint32_t i = 0; i < 32 * 16; ++i) {
            const int column = static_cast<int>(i % 32), line = static_cast<int>(i / 32);
            const bool inside = i % 32 < w && i / 32 < h;
            ASSERT_EQ(buffer[i], inside ? image.sample(1, x + column, y + line).real() : 0xEEEE);
        }
    }
}

TEST(ImageLayers, NarrowTypesClampRoundAndKeepToTheirStrides) {
    const TemporaryFolder folder;
    const std::string path = folder / "f.tif";
    const TestImage image{.width = 4, .height = 1, .type = GDT_Float32};
    image.write(path);
    const float values[] = {-200.6F, 2.5F, 300.0F, NAN};
    const GDALDatasetH file = GDALOpen(path.c_str(), GA_Update);
    ASSERT_EQ(GDALRasterIO(GDALGetRasterBand(file, 1), GF_Write, 0, 0, 4, 1,
                           const_cast<float*>(values), 4, 1, GDT_Float32, 0, 0),
              CE_None);
    GDALClose(file);
    const Layer layer = open(path + "#1");
    const auto bytes = [&](std::uint32_t type, std::int64_t x) {
        std::array<std::uint8_t, 12> buffer;
        buffer.fill(0xEE);
        const KGDA_DATA everyThird{buffer.data(), 1, 4, type, 12, 3};
        EXPECT_TRUE(kimg_LayerRead(layer.get(), x, 0, 4, 1, &everyThird, nullptr));
        EXPECT_EQ(std::count(buffer.begin(), buffer.end(), 0xEE), 8);
        return std::vector<int>{buffer[0], buffer[3], buffer[6], buffer[9]};
    };
    EXPECT_THAT(bytes(kpxmU1, 0), ElementsAre(0, 1, 1, 0));
    EXPECT_THAT(bytes(kpxmU4, 0), ElementsAre(0, 3, 15, 0));
    EXPECT_THAT(bytes(kpxmU8, 0), ElementsAre(0, 3, 255, 0));
    EXPECT_THAT(bytes(kpxmS8, 0), ElementsAre(0x80, 3, 127, 0));
    EXPECT_THAT(bytes(kpxmS8, -1), ElementsAre(0, 0x80, 3, 127));

    const std::string signedPath = folder / "s8.tif";
    TestImage{.type = GDT_Byte, .options = {"PIXELTYPE=SIGNEDBYTE"}}.write(signedPath);
    // From 3.7 on, GDAL has a type for signed bytes and stops at 127 when larger ones are written.
    const GDALDatasetH signedFile = GDALOpen(signedPath.c_str(), GA_Update);
    std::int16_t below[] = {-128, -1};
    ASSERT_EQ(GDALRasterIO(GDALGetRasterBand(signedFile, 1), GF_Write, 0, 3, 2, 1, below, 2, 1,
                           GDT_Int16, 0, 0),
              CE_None);
    GDALClose(signedFile);
    const Layer byteLayer = open(signedPath + "#1");
    ASSERT_EQ(kimg_LayerPixelTypeGet(byteLayer.get()), kpxmS8);
    for (const std::uint32_t width : {100U, 33U}) { // whole strips, and parts of them
        const auto same = read(byteLayer.get(), 0, 3, width, 20, kpxmS8);
        const auto wider = read(byteLayer.get(), 0, 3, width, 20, kpxmS16);
        bool negative = false;
        for (std::uint32_t i = 0; i < width * 20; ++i) {
            const auto value = kpxm_PixelRectPixelGet(wider.get(), i % width, i / width);
            ASSERT_EQ(kpxm_PixelRectPixelGet(same.get(), i % width, i / width), value);
            negative = negative || value.real() < 0;
        }
        EXPECT_TRUE(negative);
    }
}

TEST(ImageLayers, ManyThreadsReadOneLayerAndManyLayers) {
    const TemporaryFolder folder;
    const TestImage image{.bands = 2, .options = fileLayouts[3]};
    image.write(folder / "shared.tif");
    std::atomic<int> wrong{0};
    const auto work = [&](int thread) {
        const TestImage own{.options = fileLayouts[0], .seed = thread + 2};
        own.write(folder / (std::to_string(thread) + ".tif"));
        for (int i = 0; i < 60; ++i) {
            const bool shared = i % 2 == 0;
            const int band = shared ? 1 + i % 4 / 2 : 1;
            const Layer layer = open(folder / (shared ? "shared.tif#" + std::to_string(band)
                                                      : std::to_string(thread) + ".tif#1"));
            const int x = i % 3 * 32, y = i % 4 * 16;
            const auto pixels = read(layer.get(), x, y, 32, 16, kpxmU16);
            for (std::uint32_t p = 0; p < 32 * 16; ++p) {
                const int u = x + static_cast<int>(p % 32), v = y + static_cast<int>(p / 32);
                const auto truth = (shared ? image : own).sample(band, u, v);
                if (v < 70 && kpxm_PixelRectPixelGet(pixels.get(), p % 32, p / 32) != truth)
                    ++wrong;
            }
        }
    };
    std::vector<std::thread> threads;
    threads.reserve(8);
    for (int i = 0; i < 8; ++i)
        threads.emplace_back(work, i);
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

TEST(ImageLayers, ForkedProcessesReadWhatTheirParentHasOpen) {
    constexpr int size = 512, block = 32;
    for (const char* compression : {"COMPRESS=DEFLATE", "COMPRESS=NONE"}) {
        const TemporaryFolder folder;
        const TestImage image{
            .width = size,
            .height = size,
            .options = {"TILED=YES", "BLOCKXSIZE=32", "BLOCKYSIZE=32", compression}};
        image.write(folder / "shared.tif");
        const Layer layer = open(folder / "shared.tif#1");
        read(layer.get(), 0, 0, 1, 1, kpxmU16);
        const auto wrongSamples = [&](unsigned seed) {
            int wrong = 0;
            std::minstd_rand random(seed);
            for (int i = 0; i < 600; ++i) {
                const int x = static_cast<int>(random() % (size / block)) * block;
                const int y = static_cast<int>(random() % (size / block)) * block;
                const auto pixels = read(layer.get(), x, y, block, 1, kpxmU16);
                for (int p = 0; p < block; ++p)
                    wrong += kpxm_PixelRectPixelGet(pixels.get(), static_cast<std::uint32_t>(p),
                                                    0) != image.sample(1, x + p, y);
            }
            return wrong;
        };
        std::vector<pid_t> children;
        for (unsigned seed = 1; seed <= 8; ++seed) {
            children.push_back(fork());
            if (children.back() == 0)
                _exit(wrongSamples(seed) == 0 ? 0 : 1);
        }
        EXPECT_EQ(wrongSamples(9), 0) << compression;
        for (const pid_t child : children) {
            int status = -1;
            waitpid(child, &status, 0);
            EXPECT_EQ(status, 0) << compression;
        }
    }
}

TEST(ImageLayers, StayFewInHandlesAndLeaveNothingBehind) {
    const TemporaryFolder folder;
    const int before = openFileCount();
    const auto blocksBefore = kmsc_BlocksInUse();
    std::vector<Layer> layers;
    for (int i = 0; i < 150; ++i) {
        const std::string path = folder / (std::to_string(i) + ".tif");
        TestImage{.width = 8, .height = 8, .seed = i}.write(path);
        layers.push_back(open(path + "#1"));
    }
    for (int round = 0; round < 2; ++round)
        for (int i = 0; i < 150; ++i) {
            const auto pixel = read(layers[static_cast<std::size_t>(i)].get(), 3, 5, 1, 1, kpxmF64);
            ASSERT_EQ(kpxm_PixelRectPixelGet(pixel.get(), 0, 0),
                      (TestImage{.seed = i}.sample(1, 3, 5)));
        }
    EXPECT_LE(openFileCount(), before + 64);
    for (int i = 0; i < 10000; ++i) {
        KIMG_LAYER* same = open(folder / "0.tif#1").release(); // never closed, as a host may do
        ASSERT_EQ(same, layers[0].get());
    }
    EXPECT_LE(openFileCount(), before + 64);
    layers.clear();
    EXPECT_LE(openFileCount(), before + 1); // 0.tif is still in use
    EXPECT_EQ(kmsc_BlocksInUse(), blocksBefore);
    EXPECT_EQ(folder.names().size(), 150U);
}

TEST(ImageLayers, HoldersReleaseAsTheirFlagsSay) {
    const TemporaryFolder folder;
    TestImage{}.write(folder / "a.tif");
    const std::string name = folder / "a.tif#1";
    const Layer keeper = open(name);
    const Layer outlivesItsHolder = open(name);
    {
        KimgLayerHolder holder; // without flags nothing happens on release
        holder.reset(outlivesItsHolder.get());
    }
    EXPECT_EQ(open(name), keeper);
    {
        KimgLayerHolder holder;
        holder.removeTableOnRelease(true);
        holder.closeOnRelease(true);
        holder.reset(open(name).release());
    }
    const Layer fresh = open(name);
    EXPECT_NE(fresh, keeper);
    EXPECT_EQ(kpxm_PixelRectPixelGet(read(keeper.get(), 1, 1, 1, 1, kpxmF64).get(), 0, 0),
              TestImage{}.sample(1, 1, 1));
}

TEST(ImageLayers, FileReplacedBetweenOpensIsReadAnew) {
    const TemporaryFolder folder;
    const std::string path = folder / "a.tif";
    TestImage{.seed = 1}.write(path);
    const Layer old = open(path + "#1");
    TestImage{.seed = 2}.write(folder / "b.tif");
    std::filesystem::rename(folder / "b.tif", path);
    const Layer fresh = open(path + "#1");
    ASSERT_NE(fresh, old);
    const auto pixel = [](const Layer& layer) {
        return kpxm_PixelRectPixelGet(read(layer.get(), 9, 9, 1, 1, kpxmF64).get(), 0, 0);
    };
    EXPECT_EQ(pixel(fresh), TestImage{.seed = 2}.sample(1, 9, 9));
    EXPECT_EQ(pixel(old), TestImage{.seed = 1}.sample(1, 9, 9)); // its handle is still open
}

TEST(ImageLayers, FailuresNameFileAndReasonAndLeaveZeros) {
    const TemporaryFolder folder;
    const std::string missing = folder / "missing.tif";
    testing::internal::CaptureStderr();
    EXPECT_THAT(openFailure(missing + "#1"), AllOf(HasSubstr(missing), HasSubstr("No such file")));
    EXPECT_THAT(openFailure(""), HasSubstr("empty"));
    EXPECT_THAT(openFailure("/a/b.tif"), AllOf(HasSubstr("/a/b.tif"), HasSubstr("#<number>")));
    EXPECT_THAT(openFailure("/a/b.tif#0"), HasSubstr("/a/b.tif#0"));
    kerr::Slot names;
    EXPECT_EQ(kimg_LayerGetNames(ktxt::widen(missing), nullptr, names).count(), -1);
    EXPECT_THAT(kerr_Text(names.get()), HasSubstr(missing));
    kerr::Slot notUtf;
    EXPECT_EQ(kimg_LayerGetNames(std::u16string(1, char16_t(0xD800)), nullptr, notUtf).count(), -1);
    EXPECT_THAT(kerr_Text(notUtf.get()), HasSubstr("UTF-16"));

    const std::string path = folder / "cut.tif";
    TestImage{.bands = 2, .type = GDT_Int16, .options = {"INTERLEAVE=PIXEL", "BLOCKYSIZE=1"}}.write(
        path);
    EXPECT_THAT(openFailure(path + "#3"), AllOf(HasSubstr(path), HasSubstr("no layer 3")));
    const Layer first = open(path + "#1"), second = open(path + "#2");
    std::filesystem::resize_file(path, 14000); // of 28000 bytes of pixels
    const Layer cut = open(path + "#1"), cutSecond = open(path + "#2");
    ASSERT_TRUE(cut && cutSecond);
    std::vector<std::uint32_t> words(7000, 1);
    kerr::Slot slots[2];
    EXPECT_FALSE(
        kimg::readPackedWords(cut.get(), cutSecond.get(), 0, 0, 100, 70, words.data(), slots[0]));
    EXPECT_EQ(std::count(words.begin(), words.end(), 0U), 7000);
    const KGDA_DATA data{words.data(), 70, 100, kpxmF32, 400, 4};
    words.assign(words.size(), 1);
    EXPECT_FALSE(kimg_LayerRead(cut.get(), 0, 0, 100, 70, &data, slots[1]));
    EXPECT_EQ(std::count(words.begin(), words.end(), 0U), 7000);
    for (const kerr::Slot& slot : slots)
        EXPECT_THAT(kerr_Text(slot.get()), HasSubstr(path));
    EXPECT_TRUE(kimg_LayerRead(cut.get(), 0, 0, 100, 70, &data, nullptr) == false);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

    const Rect rect(kimg_PixelRectCreate(1, 1, kpxmF64));
    kerr::Slot argument;
    EXPECT_EQ(kimg_LayerOpen(ktxt::widen(path + "#1"), nullptr, argument, 25, 6, rect.get(), 3,
                             4097, 2, 0),
              nullptr);
    EXPECT_THAT(kerr_Text(argument.get()), HasSubstr("reduction"));
    kerr::Slot size;
    EXPECT_FALSE(kimg_LayerRead(cut.get(), 0, 0, 99, 70, &data, size));
    EXPECT_THAT(kerr_Text(size.get()), HasSubstr("another size"));
}

TEST(ImageLayers, OpenUnderAnyNameAlsoInArchivesAndMemory) {
    const TemporaryFolder folder;
    const TestImage image{};
    for (const std::string& path :
         {folder / "with blanks.tif", folder / "données é.tif", folder / "产品.tif",
          folder / "a#2.tif", folder / "a#2", std::string("/vsimem/kimg_test/a.tif"),
          "/vsizip/{" + folder / "products.zip" + "}/in/a.tif"}) {
        SCOPED_TRACE(path);
        if (path.find("/vsizip/") == 0) { // filled through GDAL's archive writer
            image.write("/vsimem/kimg_test/zipped.tif");
            ASSERT_EQ(CPLCopyFile(("/vsizip/" + folder / "products.zip" + "/in/a.tif").c_str(),
                                  "/vsimem/kimg_test/zipped.tif"),
                      0);
        } else {
            image.write(path);
        }
        const auto names = kimg_LayerGetNames(ktxt::widen(path), nullptr, nullptr);
        ASSERT_EQ(names.count(), 1);
        const Layer layer = open(ktxt::narrow(names[0]));
        ASSERT_TRUE(layer);
        EXPECT_EQ(ktxt::narrow(kimg_LayerFileNameGet(layer.get())), path);
        EXPECT_EQ(kpxm_PixelRectPixelGet(read(layer.get(), 99, 69, 1, 1, kpxmF64).get(), 0, 0),
                  image.sample(1, 99, 69));
    }
    GDALRegister_NITF();
    const GDALDatasetH source = GDALOpen((folder / "with blanks.tif").c_str(), GA_ReadOnly);
    GDALClose(GDALCreateCopy(GDALGetDriverByName("NITF"), (folder / "a.ntf").c_str(), source, FALSE,
                             nullptr, nullptr, nullptr));
    GDALClose(source);
    const Layer nitf = open(folder / "a.ntf#1");
    ASSERT_TRUE(nitf);
    EXPECT_EQ(kpxm_PixelRectPixelGet(read(nitf.get(), 99, 69, 1, 1, kpxmF64).get(), 0, 0),
              image.sample(1, 99, 69));
    EXPECT_THAT(kfio::listVirtualFolder("/vsizip/" + folder / "products.zip"), ElementsAre("in"));
    EXPECT_TRUE(kfio::virtualStat("/vsizip/" + folder / "products.zip" + "/in")->isDirectory);
    VSIRmdirRecursive("/vsimem/kimg_test");
}

namespace {

/// An image that packs well, so that damage to its archive rarely unpacks.
void writeRamps(const std::string& path) {
    GDALRegister_GTiff();
    const GDALDatasetH image =
        GDALCreate(GDALGetDriverByName("GTiff"), path.c_str(), 300, 300, 1, GDT_UInt16, nullptr);
    std::vector<std::uint16_t> line(300);
    for (int y = 0; y < 300; ++y) {
        for (std::size_t x = 0; x < line.size(); ++x)
            line[x] = static_cast<std::uint16_t>(x * x / 7 + static_cast<unsigned>(y * y));
        EXPECT_EQ(GDALRasterIO(GDALGetRasterBand(image, 1), GF_Write, 0, y, 300, 1, line.data(),
                               300, 1, GDT_UInt16, 0, 0),
                  CE_None);
    }
    GDALClose(image);
}

} // namespace

TEST(ImageLayers, MembersOfArchivesThatDoNotUnpackFailTheRead) {
    const TemporaryFolder folder;
    writeRamps(folder / "a.tif");
    ASSERT_EQ(std::system(("cd '" + folder.path().string() + "' && zip -q p.zip a.tif").c_str()),
              0);
    const Layer whole = open("/vsizip/" + folder / "p.zip" + "/a.tif#1");
    ASSERT_TRUE(whole);
    const auto size = std::filesystem::file_size(folder / "p.zip");
    int refused = 0;
    for (const int percent : {50, 70}) { // there nothing unpacks any more
        const std::string archive = folder / (std::to_string(percent) + ".zip");
        std::filesystem::copy(folder / "p.zip", archive);
        std::fstream file(archive, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(static_cast<std::streamoff>(size * static_cast<unsigned>(percent) / 100));
        file << std::string(size * static_cast<unsigned>(92 - percent) / 100, '\xFF');
        file.close();
        kerr::Slot slot;
        const Layer layer = open("/vsizip/" + archive + "/a.tif#1", slot);
        if (!layer) {
            ++refused;
            continue;
        }
        const auto width = kimg_LayerWidthGet(layer.get()),
                   height = kimg_LayerHeightGet(layer.get());
        const Rect damaged = read(layer.get(), 0, 0, width, height, kpxmF64, slot);
        const Rect good = read(whole.get(), 0, 0, width, height, kpxmF64);
        const bool same =
            std::memcmp(kpxm_PixelRectDataGet(damaged.get()), kpxm_PixelRectDataGet(good.get()),
                        std::size_t{width} * height * sizeof(double)) == 0;
        EXPECT_TRUE(slot || same) << percent;
        refused += static_cast<bool>(slot);
    }
    EXPECT_EQ(refused, 2);
}

TEST(ImageLayers, BlocksThatNobodyHasRoomForAreRefused) {
    const TemporaryFolder folder;
    GDALRegister_GTiff();
    const char* const options[] = {"TILED=YES", "BLOCKXSIZE=65536", "BLOCKYSIZE=65536",
                                   "SPARSE_OK=TRUE", nullptr};
    GDALClose(GDALCreate(GDALGetDriverByName("GTiff"), (folder / "a.tif").c_str(), 70000, 70000, 1,
                         GDT_UInt16, const_cast<char**>(options)));
    EXPECT_THAT(
        openFailure(folder / "a.tif#1"),
        AllOf(HasSubstr(folder / "a.tif"), HasSubstr("65536 x 65536 pixels are too large")));
}

TEST(VirtualFiles, ReadStatAndListWithinBounds) {
    const std::string path = "/vsimem/virtual_files_test/é.xml",
                      content = std::string("<a>\0</a>", 8);
    VSILFILE* file = VSIFOpenL(path.c_str(), "wb");
    VSIFWriteL(content.data(), 1, content.size(), file);
    VSIFCloseL(file);
    EXPECT_EQ(kfio::virtualStat(path)->size, 8U);
    EXPECT_FALSE(kfio::virtualStat(path)->isDirectory);
    EXPECT_FALSE(kfio::virtualStat("/vsimem/virtual_files_test/none"));
    std::string reason;
    EXPECT_EQ(kfio::readVirtualFile(path, 8, reason), content);
    EXPECT_EQ(reason, "");
    EXPECT_FALSE(kfio::readVirtualFile(path, 7, reason));
    EXPECT_EQ(reason, "is longer than 7 bytes");
    EXPECT_FALSE(kfio::readVirtualFile("/vsimem/none", 7, reason));
    EXPECT_EQ(reason, "no such file");
    EXPECT_THAT(kfio::listVirtualFolder("/vsimem/virtual_files_test"), ElementsAre("é.xml"));
    EXPECT_THAT(kfio::listVirtualFolder("/vsimem/none"), testing::IsEmpty());
    VSIRmdirRecursive("/vsimem/virtual_files_test");
}

TEST(ImageGeoreferencing, IsThatOfTheFile) {
    const TemporaryFolder folder;
    TestImage{}.write(folder / "plain.tif");
    const Layer plain = open(folder / "plain.tif#1");
    kerr::Slot slot;
    EXPECT_EQ(kimg_MapInfoRead(plain.get(), slot), nullptr);
    const auto nothing = kimg::georeferencing(plain.get(), slot);
    ASSERT_TRUE(nothing && !slot.get());
    EXPECT_TRUE(!nothing->geoTransform && nothing->gcps.empty() && nothing->wkt.empty() &&
                nothing->rpc.empty());

    TestImage{}.write(folder / "map.tif");
    TestImage{}.write(folder / "gcp.tif");
    const OGRSpatialReferenceH utm = OSRNewSpatialReference(nullptr);
    ASSERT_EQ(OSRImportFromEPSG(utm, 32611), OGRERR_NONE);
    double transform[] = {500000, 10, 0, 4000000, 0, -5};
    GDALDatasetH file = GDALOpen((folder / "map.tif").c_str(), GA_Update);
    ASSERT_EQ(GDALSetGeoTransform(file, transform), CE_None);
    ASSERT_EQ(GDALSetSpatialRef(file, utm), CE_None);
    GDALClose(file);
    char id[] = "1", info[] = "";
    const GDAL_GCP gcp{id, info, 0.5, 69.5, -117.0, 36.0, 120.0};
    const OGRSpatialReferenceH wgs84 = OSRNewSpatialReference(nullptr);
    ASSERT_EQ(OSRImportFromEPSG(wgs84, 4326), OGRERR_NONE);
    file = GDALOpen((folder / "gcp.tif").c_str(), GA_Update);
    ASSERT_EQ(GDALSetGCPs2(file, 1, &gcp, wgs84), CE_None);
    GDALClose(file);
    OSRDestroySpatialReference(utm);
    OSRDestroySpatialReference(wgs84);

    const Layer mapped = open(folder / "map.tif#1"), tied = open(folder / "gcp.tif#1");
    KIMG_MAP_INFO* map = kimg_MapInfoRead(mapped.get(), slot);
    ASSERT_TRUE(map);
    EXPECT_EQ(std::u16string(map->projectionName), u"WGS 84 / UTM zone 11N");
    EXPECT_EQ(std::u16string(map->unitsName), u"meters");
    EXPECT_THAT((std::array{map->upperLeftX, map->upperLeftY, map->lowerRightX, map->lowerRightY,
                            map->pixelSizeX, map->pixelSizeY}),
                ElementsAre(500005, 3999997.5, 500995, 3999652.5, 10, 5));
    kimg_MapInfoFree(map);
    EXPECT_THAT(*kimg::georeferencing(mapped.get(), slot)->geoTransform,
                testing::ElementsAreArray(transform));
    const auto ties = kimg::georeferencing(tied.get(), slot);
    ASSERT_EQ(ties->gcps.size(), 1U);
    EXPECT_EQ(ties->gcps[0].line, 69.5);
    EXPECT_EQ(ties->gcps[0].z, 120.0);
    EXPECT_THAT(ties->wkt, HasSubstr("WGS 84"));
    EXPECT_FALSE(ties->geoTransform);
}

TEST(PictureWriter, WritesWholeFilesAndNothingElse) {
    const TemporaryFolder folder;
    const std::vector<std::uint8_t> samples = {0, 10, 20, 30, 40, 250};
    std::string reason;
    using enum kimg::PictureFormat;
    GDALRegister_PNG();
    for (const auto& [format, name, width, bands] :
         {std::tuple(png, "é.png", 3U, 1U), {png, "é.png", 1U, 3U}, {tiff, "é.png", 1U, 3U}}) {
        const kimg::Picture picture{
            width, 2, bands, samples, {{{10, 2, 0, 20, 0, -2}}, {}, "", {}}, {{"SATELLITE", "A"}}};
        ASSERT_TRUE(kimg::writePicture(folder / name, format, picture, reason)) << reason;
        EXPECT_THAT(folder.names(), ElementsAre(name));
        const GDALDatasetH file = GDALOpen((folder / name).c_str(), GA_ReadOnly);
        ASSERT_EQ(GDALGetRasterCount(file), static_cast<int>(bands));
        std::vector<std::uint8_t> back(6);
        const int w = static_cast<int>(width), b = static_cast<int>(bands);
        ASSERT_EQ(GDALDatasetRasterIO(file, GF_Read, 0, 0, w, 2, back.data(), w, 2, GDT_Byte, b,
                                      nullptr, b, w * b, 1),
                  CE_None);
        std::array<double, 6> place{};
        EXPECT_EQ(GDALGetGeoTransform(file, place.data()), format == tiff ? CE_None : CE_Failure);
        const char* item = GDALGetMetadataItem(file, "SATELLITE", nullptr);
        EXPECT_STREQ(item ? item : "", format == tiff ? "A" : "");
        GDALClose(file);
        EXPECT_EQ(back, samples);
    }
    const kimg::Picture grey{3, 2, 1, samples, {}, {}};
    EXPECT_FALSE(kimg::writePicture(folder / "none/a.png", png, grey, reason));
    EXPECT_THAT(reason, HasSubstr("none/a.png"));
    std::filesystem::create_directory(folder / "taken.jpg");
    EXPECT_FALSE(kimg::writePicture(folder / "taken.jpg", jpeg, grey, reason));
    EXPECT_EQ(folder.names().size(), 2U);
}

TEST(PixelRects, FailCleanlyWhenMemoryIsShort) {
    const auto before = kmsc_BlocksInUse();
    EXPECT_EQ(kimg_PixelRectCreate(0xffffffff, 0xffffffff, kpxmC128), nullptr);
    EXPECT_EQ(kimg_PixelRectCreate(1, 1, 13), nullptr);
    for (std::uint64_t n = 1; n <= 2; ++n) {
        kmsc_FailAllocation(n);
        EXPECT_EQ(kimg_PixelRectCreate(2, 2, kpxmF64), nullptr);
    }
    kerr::Slot slot;
    kmsc_FailAllocation(1);
    EXPECT_EQ(kgda_BaseDataCreate(2, 2, kpxmU16, 3, &slot, slot), nullptr);
    EXPECT_THAT(kerr_Text(slot.get()), HasSubstr("No memory"));
    EXPECT_EQ(kmsc_BlocksInUse(), before);
    KGDA_DATA* view = kgda_BaseDataCreate(3, 5, kpxmS16, kgdaLineMajorPacked, &slot, nullptr);
    EXPECT_EQ(view->lineStride, 10);
    kgda_BaseDataDelete(view);
}
