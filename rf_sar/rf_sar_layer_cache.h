// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/kimg.h"
#include "ktxt/ktxt.h"
#include "rf_sar.h"

#include <boost/thread/mutex.hpp>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// An open layer, shared by all who opened its name on the same file. The object is constructed in
/// a zeroed block of the host heap; `destroyLayer` undoes both.
struct RF_SARLayer {
    RF_SARFile* file = nullptr;     ///< the handle it was opened through, not owned
    // Deviation: the image layers are closed with the layer, so that no file of a closed product
    // stays open. (Load.ProductsLeaveNothingOpen)
    KimgLayerHolder first;          ///< the image layer, or the real part
    KimgLayerHolder second;         ///< the imaginary part where it is a band of its own
    boost::mutex lock;              ///< locked while a close counts down
    std::int32_t referenceCount = 0;
    KtxtTextU name;                 ///< as the host gave it
    std::uint32_t number = 0;       ///< parsed from the name
    std::uint8_t oneLineAsBlock = 0;
    std::string wrongKind;          ///< why its samples cannot be read; empty when they can
};

RF_SARLayer* createLayer();
void destroyLayer(RF_SARLayer* layer);

/// The open layers of the process, in the order added. Any thread.
class RF_SAR_API rf_sarLayerCache {
public:
    rf_sarLayerCache() = default;
    virtual ~rf_sarLayerCache();
    rf_sarLayerCache(const rf_sarLayerCache&) = delete;
    rf_sarLayerCache& operator=(const rf_sarLayerCache&) = delete;

    /// @return the one cache, made on first use.
    /// @throws std::logic_error("Dead Reference Detected") after it was destroyed at process exit.
    static rf_sarLayerCache* Instance();

    void Add(RF_SARLayer* layer);
    /// @return the first layer of that name (without regard to case) on that handle, or null.
    RF_SARLayer* Find(std::u16string_view name, const RF_SARFile* file);
    void Remove(RF_SARLayer* layer);

    // Deviation: finding and counting up, adding what is not there, and counting down and removing
    // are each one step under the cache's lock; else a close on another thread could free a layer
    // that was just found, and two threads could add one name twice.
    // (LayerOpen.ThreadsThatOpenOneNameGetOneLayer)

    /// Finds a layer and counts it up if its first image layer is open.
    RF_SARLayer* FindAndCount(std::u16string_view name, const RF_SARFile* file);
    /// Adds a layer with one user, unless FindAndCount finds one of its name and handle.
    /// @return the layer found, counted up; null if `layer` was added.
    RF_SARLayer* FindAndCountOrAdd(RF_SARLayer* layer);
    /// Counts down and removes the layer at 0. @return whether it was removed: then the caller
    /// frees it.
    bool CountDownAndRemove(RF_SARLayer* layer);

    /// CountDownAndRemove on the cache; also works after the cache was destroyed, because hosts
    /// close layers while the process ends. Never throws.
    static bool EndUse(RF_SARLayer* layer);

private:
    RF_SARLayer* find(std::u16string_view name, const RF_SARFile* file) const;
    RF_SARLayer* findAndCount(std::u16string_view name, const RF_SARFile* file);
    void remove(RF_SARLayer* layer);

    std::vector<RF_SARLayer*> layers_;
    boost::mutex mutex_;
};
