// SPDX-License-Identifier: MIT
#include "rf_sar/example_reader.h"

#include "kmif/kmif_node.h"
#include "rf_sar_file.h"
#include "support/small_products.h"

#include <gmock/gmock.h>

namespace {

/// A file handle as identification makes one, with the reader of docs/adding-a-product.md.
struct ExampleReader : testing::Test {
    support::TemporaryFolder folder;
    exampleImageMetadata reader;
    RF_SARFile file;
    std::uint32_t index = RF_SAR_FAILURE;

    std::size_t discover(const std::string& image) {
        support::writeImage(folder / "strip.tif", {30, 40},
                            [](int, int x, int y) { return std::pair(100.0 * y + x, 0.0); });
        reader.fileName = ktxt::widen(
            folder.write("strip.json", R"({"pole": "VV", "lines": 40, "samples": 30, "image": ")" +
                                           image + "\"}"));
        file.reader = &reader;
        kerr::Slot slot;
        return reader.getReferencedFiles(&index, slot).size();
    }
    ~ExampleReader() override { sarm_ReleaseMetadata(file.sarMetadata); }
};

} // namespace

TEST_F(ExampleReader, ShowsItsImageAsALayer) {
    ASSERT_EQ(discover("strip.tif"), 1U);
    EXPECT_EQ(index, 5U);
    std::uint32_t count = 0;
    char16_t** names = nullptr;
    ASSERT_EQ(rf_sarFileLayerNamesGet(&file, &count, &names), 0U);
    const HostList owner(names, count);
    ASSERT_EQ(count, 1U);
    EXPECT_EQ(std::u16string(names[0]), u"S_VV_MAGNITUDE_1");

    std::uint32_t type, width, height, reserved, blockWidth, blockHeight;
    RF_SARLayer* layer = nullptr;
    ASSERT_EQ(rf_sarLayerOpen(&file, names[0], &type, &width, &height, &reserved, &blockWidth,
                              &blockHeight, &layer),
              0U);
    EXPECT_THAT((std::array{width, height}), testing::ElementsAre(30, 40));
    std::vector<std::uint16_t> samples(std::size_t{blockWidth} * blockHeight);
    void* block = samples.data();
    ASSERT_EQ(rf_sarLayerRasterRead(layer, 7 / blockHeight, 0, &block), 0U);
    EXPECT_EQ(samples[std::size_t{7 % blockHeight} * blockWidth + 12], 712);
    rf_sarLayerClose(layer);
}

TEST_F(ExampleReader, HasARecordWithoutAModel) {
    ASSERT_EQ(discover("strip.tif"), 1U);
    KmifNode node;
    ASSERT_EQ(rf_sarFileDataRead(&file, u":SAR_Metadata", &node, nullptr, nullptr, nullptr), 0U);
    const auto* record = static_cast<const SarMetadataRecord*>(node.data());
    ASSERT_TRUE(record);
    EXPECT_THAT((std::array{record->numberOfLines, record->lastSample}),
                testing::ElementsAre(40, 29));
}

TEST_F(ExampleReader, RefusesWhatIsNoProduct) {
    EXPECT_EQ(discover("../../elsewhere.tif"), 0U);
    reader.fileName = ktxt::widen(folder.write("other.json", R"({"image": "strip.tif"})"));
    kerr::Slot slot;
    EXPECT_TRUE(reader.getReferencedFiles(&index, slot).empty());
    EXPECT_EQ(index, RF_SAR_FAILURE);
}
