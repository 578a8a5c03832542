// SPDX-License-Identifier: MIT
#include "rf_sar_layer_cache.h"

#include "kmsc/kmsc.h"
#include "kstr/kstr.h"

#include <boost/thread/locks.hpp>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>
#include <stdexcept>

namespace {

using Guard = boost::lock_guard<boost::mutex>;

std::atomic<rf_sarLayerCache*> instance{nullptr};
bool destroyed = false; // guarded by creation()

boost::mutex& creation() {
    static auto* const section = new boost::mutex; // outlives every other static, by intent
    return *section;
}

void destroyInstance() {
    const Guard section(creation());
    delete instance.exchange(nullptr);
    destroyed = true;
}

} // namespace

RF_SARLayer* createLayer() {
    void* block = kmsc_HeapCalloc(1, sizeof(RF_SARLayer));
    return block ? new (block) RF_SARLayer : nullptr;
}

void destroyLayer(RF_SARLayer* layer) {
    layer->~RF_SARLayer();
    kmsc_HeapFree(layer);
}

rf_sarLayerCache::~rf_sarLayerCache() = default;

rf_sarLayerCache* rf_sarLayerCache::Instance() {
    if (auto* cache = instance.load(std::memory_order_acquire))
        return cache;
    const Guard section(creation());
    if (!instance) {
        if (destroyed)
            throw std::logic_error("Dead Reference Detected");
        instance = new rf_sarLayerCache;
        std::atexit(destroyInstance);
    }
    return instance;
}

void rf_sarLayerCache::Add(RF_SARLayer* layer) {
    const Guard guard(mutex_);
    layers_.push_back(layer);
}

RF_SARLayer* rf_sarLayerCache::Find(std::u16string_view name, const RF_SARFile* file) {
    const Guard guard(mutex_);
    return find(name, file);
}

void rf_sarLayerCache::Remove(RF_SARLayer* layer) {
    const Guard guard(mutex_);
    remove(layer);
}

RF_SARLayer* rf_sarLayerCache::FindAndCount(std::u16string_view name, const RF_SARFile* file) {
    const Guard guard(mutex_);
    return findAndCount(name, file);
}

RF_SARLayer* rf_sarLayerCache::FindAndCountOrAdd(RF_SARLayer* layer) {
    const Guard guard(mutex_);
    if (RF_SARLayer* other = findAndCount(layer->name, layer->file))
        return other;
    layers_.push_back(layer);
    layer->referenceCount = 1;
    return nullptr;
}

RF_SARLayer* rf_sarLayerCache::findAndCount(std::u16string_view name, const RF_SARFile* file) {
    RF_SARLayer* layer = find(name, file);
    if (!layer || !layer->first)
        return nullptr;
    ++layer->referenceCount;
    return layer;
}

bool rf_sarLayerCache::CountDownAndRemove(RF_SARLayer* layer) {
    const Guard guard(mutex_);
    if (--layer->referenceCount >= 1)
        return false;
    remove(layer);
    return true;
}

bool rf_sarLayerCache::EndUse(RF_SARLayer* layer) {
    const Guard section(creation());
    if (rf_sarLayerCache* cache = instance)
        return cache->CountDownAndRemove(layer);
    return --layer->referenceCount < 1;
}

RF_SARLayer* rf_sarLayerCache::find(std::u16string_view name, const RF_SARFile* file) const {
    const auto found = std::find_if(layers_.begin(), layers_.end(), [&](RF_SARLayer* layer) {
        return layer->file == file && kstr_Eqic(layer->name, name);
    });
    return found == layers_.end() ? nullptr : *found;
}

void rf_sarLayerCache::remove(RF_SARLayer* layer) {
    const auto found = std::find(layers_.begin(), layers_.end(), layer);
    if (found != layers_.end())
        layers_.erase(found);
}
