// SPDX-License-Identifier: MIT
#include "rf_sar.h"

#include "kmif/kmif_node.h"
#include "ktxt/ktxt.h"
#include "support/small_products.h"

#include <gtest/gtest.h>

#include <tuple>

namespace {

/// Calls the function with each of its pointers null in turn; nullptr marks those that may be.
template <class Function, class... Arguments>
void expectFailures(const char* name, Function function, Arguments... arguments) {
    const std::tuple<Arguments...> good(arguments...);
    const auto without = [&]<std::size_t i>(std::integral_constant<std::size_t, i>) {
        if constexpr (std::is_pointer_v<std::tuple_element_t<i, std::tuple<Arguments...>>>) {
            auto lacking = good;
            std::get<i>(lacking) = nullptr;
            EXPECT_EQ(std::apply(function, lacking), RF_SAR_FAILURE) << name << ", argument " << i;
        }
    };
    [&]<std::size_t... i>(std::index_sequence<i...>) {
        (without(std::integral_constant<std::size_t, i>()), ...);
    }(std::index_sequence_for<Arguments...>());
}

TEST(EntryPoints, NullArgumentsFailTheCall) {
    const support::TemporaryFolder folder;
    support::writeImage((folder.path() / "C.tif").string(), {64, 64, 1}, [](int, int x, int y) {
        return std::pair<double, double>(x, y);
    });
    const std::u16string name = ktxt::widen(folder.write(
        "item.json", support::capellaItem("\"GEO\"", "[\"VV\"]", "VV", "C.tif")));
    RF_SARFile* file = rf_sarFileOpen(name.c_str(), u"rb");
    ASSERT_TRUE(file);
    std::uint32_t n[6] = {};
    RF_SARLayer* layer = nullptr;
    char16_t *text = nullptr, **texts = nullptr;
    std::uint8_t* flags = nullptr;
    std::int64_t time = 0;
    double number = 0;
    KmifNode node;
    void* host = &node;
    std::vector<std::uint16_t> samples(64 * 64);
    void* block = samples.data();

#define EXPECT_FAILURES(function, ...) expectFailures(#function, function, __VA_ARGS__)
    EXPECT_FAILURES(rf_sarInstanceTitleListGet, nullptr, &texts);
    EXPECT_FAILURES(rf_sarInstanceShortNameListGet, &texts);
    EXPECT_FAILURES(rf_sarInstanceExtListGet, &texts);
    EXPECT_FAILURES(rf_sarInstanceMagicListGet, &texts);
    EXPECT_FAILURES(rf_sarInstanceTemplateListGet, &texts, &flags);
    EXPECT_FAILURES(rf_sarInstanceLayerTypesGet, nullptr, &texts);
    EXPECT_FAILURES(rf_sarInstancePixelTypesGet, nullptr, &texts);
    EXPECT_FAILURES(rf_sarInstanceDescriptionGet, &text);
    EXPECT_FAILURES(rf_sarFileTitleIdentify, name.c_str());
    EXPECT_FAILURES(rf_sarFileDataModTimeGet, file, nullptr, &time);
    EXPECT_FAILURES(rf_sarFileLayerNamesGet, file, n, &texts);
    EXPECT_FAILURES(rf_sarFileRasterFormatsNonStandardDataNamesGet, file, n, &texts);
    EXPECT_FAILURES(rf_sarFileDataRead, file, u":SAR_Metadata", host, nullptr, nullptr, nullptr);
    const char16_t* layerName = u"X_VV_MAGNITUDE_1";
    EXPECT_FAILURES(rf_sarLayerOpen, file, layerName, n, n + 1, n + 2, n + 3, n + 4, n + 5, &layer);
    EXPECT_EQ(layer, nullptr);
    ASSERT_EQ(rf_sarLayerOpen(file, layerName, n, n + 1, n + 2, n + 3, n + 4, n + 5, &layer), 0U);
    EXPECT_FAILURES(rf_sarLayerRasterRead, layer, 0U, 0U, &block);
    EXPECT_EQ(block, nullptr); // on every failure
    EXPECT_FAILURES(rf_sarLayerLayerTypeRead, nullptr, n);
    EXPECT_FAILURES(rf_sarLayerMapInfoRead, layer, &text, &number, &number, &number, &number,
                    &text);
    EXPECT_FAILURES(rf_sarLayerMapProjectionRead, layer, &text, &text, &text, &text, &text, &text,
                    &text, &text, &text);
    EXPECT_FAILURES(rf_sarLayerMapToPixelTransformRead, layer, &text, &text, n, &texts, &texts,
                    &texts, &texts, &texts);
#undef EXPECT_FAILURES
    EXPECT_EQ(rf_sarFileOpen(nullptr, u"rb"), nullptr);
    EXPECT_EQ(rf_sarLayerClose(nullptr), 0U);
    EXPECT_EQ(rf_sarFileClose(nullptr), 0U);
    EXPECT_EQ(rf_sarLayerClose(layer), 0U);
    EXPECT_EQ(rf_sarFileClose(file), 0U);
}

} // namespace
