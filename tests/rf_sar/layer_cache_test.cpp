// SPDX-License-Identifier: MIT
#include "rf_sar_layer_cache.h"

#include <gtest/gtest.h>

TEST(LayerCache, FindsByNameWithoutCaseAndByHandle) {
    rf_sarLayerCache cache;
    auto* const one = reinterpret_cast<RF_SARFile*>(0x10);
    auto* const other = reinterpret_cast<RF_SARFile*>(0x20);
    RF_SARLayer first, again, second;
    first.file = again.file = one;
    second.file = other;
    first.name = again.name = second.name = u"C_HH_MAGNITUDE_1";
    cache.Add(&first);
    cache.Add(&again);
    cache.Add(&second);

    EXPECT_EQ(cache.Find(u"c_hh_Magnitude_1", one), &first);
    EXPECT_EQ(cache.Find(u"C_HH_MAGNITUDE_1", other), &second);
    EXPECT_EQ(cache.Find(u"C_HH_MAGNITUDE_2", one), nullptr);
    cache.Remove(&first);
    cache.Remove(&first); // absent: nothing happens
    EXPECT_EQ(cache.Find(u"C_HH_MAGNITUDE_1", one), &again);
    // A layer without an open source counts as not found: it would be opened anew.
    EXPECT_EQ(cache.FindAndCount(u"C_HH_MAGNITUDE_1", one), nullptr);

    again.referenceCount = 2;
    EXPECT_FALSE(cache.CountDownAndRemove(&again));
    EXPECT_TRUE(cache.CountDownAndRemove(&again));
    EXPECT_EQ(cache.Find(u"C_HH_MAGNITUDE_1", one), nullptr);
}

// Hosts with datasets of file scope close layers after the cache is gone.
TEST(LayerCacheDeathTest, ClosingAfterExitIsQuiet) {
    const auto closeLate = [] {
        static RF_SARLayer* layer = createLayer();
        std::atexit([] { std::_Exit(rf_sarLayerClose(layer) == 0 ? 7 : 1); });
        layer->referenceCount = 1;
        rf_sarLayerCache::Instance()->Add(layer); // registers the destruction, which comes first
        std::exit(0);
    };
    EXPECT_EXIT(closeLate(), testing::ExitedWithCode(7), "^$");
}

// The cache is destroyed at exit: whoever asks afterwards must get an error, not a dead object.
TEST(LayerCacheDeathTest, AnswersDeadReferenceAfterExit) {
    const auto askLate = [] {
        std::atexit([] { // registered first, so it runs after the cache's own destruction
            try {
                rf_sarLayerCache::Instance();
            } catch (const std::logic_error& error) {
                std::fputs(error.what(), stderr);
                std::_Exit(7);
            }
        });
        EXPECT_EQ(rf_sarLayerCache::Instance(), rf_sarLayerCache::Instance());
        std::exit(0);
    };
    EXPECT_EXIT(askLate(), testing::ExitedWithCode(7), "Dead Reference Detected");
}
