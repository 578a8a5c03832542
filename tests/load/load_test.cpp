// SPDX-License-Identifier: MIT
#include "rf_sar.h"

#include "kerr/kerr.h"
#include "kmif/kmif_node.h"
#include "kmsc/kmsc.h"
#include "kstr/host_list.h"
#include "ktxt/ktxt.h"
#include "support/simulated_product.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <random>
#include <thread>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

/// How long the load lasts: short where every change is tested, minutes where somebody looks for
/// what grows slowly.
double loadSeconds() {
    const char* wanted = std::getenv("RF_SAR_LOAD_SECONDS");
    return wanted ? std::atof(wanted) : 2.0;
}

/// What a process holds of the machine.
struct Use {
    std::int64_t blocks = kmsc_BlocksInUse();
    std::ptrdiff_t descriptors = std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                                               std::filesystem::directory_iterator());
    double residentMiB = [] {
        double whole = 0, resident = 0;
        std::ifstream("/proc/self/statm") >> whole >> resident;
        return resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1 << 20);
    }();
};

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr double mayGrowMiB = 1e9; // the sanitizer's own books grow
#else
constexpr double mayGrowMiB = 24; // allocators keep some for each thread
#endif

void expectFlat(const Use& before, const Use& after, const std::string& work) {
    EXPECT_EQ(after.blocks, before.blocks);
    EXPECT_LE(after.descriptors, before.descriptors + 64); // kimg keeps that many files open
    EXPECT_LT(after.residentMiB, before.residentMiB + mayGrowMiB);
    std::cout << work << ": resident " << before.residentMiB << " -> " << after.residentMiB
              << " MiB, descriptors " << before.descriptors << " -> " << after.descriptors << '\n';
}

class Layer {
public:
    Layer(RF_SARFile* file, const std::u16string& name) {
        std::uint32_t type, reserved;
        if (rf_sarLayerOpen(file, name.c_str(), &type, &width, &height, &reserved, &blockWidth,
                            &blockHeight, &layer) != 0)
            throw std::runtime_error("a layer does not open");
    }
    ~Layer() { rf_sarLayerClose(layer); }
    Layer(const Layer&) = delete;
    Layer& operator=(const Layer&) = delete;

    std::vector<std::uint16_t> read(std::uint32_t row, std::uint32_t column) const {
        std::vector<std::uint16_t> block(std::size_t{blockWidth} * blockHeight);
        void* samples = block.data();
        if (rf_sarLayerRasterRead(layer, row, column, &samples) != 0)
            throw std::runtime_error("a block cannot be read");
        return block;
    }
    std::uint32_t rows() const { return (height + blockHeight - 1) / blockHeight; }
    std::uint32_t columns() const { return (width + blockWidth - 1) / blockWidth; }

    RF_SARLayer* layer = nullptr;
    std::uint32_t width = 0, height = 0, blockWidth = 0, blockHeight = 0;
};

using File = std::unique_ptr<RF_SARFile, decltype(&rf_sarFileClose)>;

/// A product, its layers' names and all their blocks.
struct Scene {
    explicit Scene(const std::string& family)
        : product(family, "--lines 300 --samples 280 --tiled --block 64"),
          name(ktxt::widen(product.file())), file(open()) {
        std::uint32_t count = 0;
        char16_t** names = nullptr;
        rf_sarFileLayerNamesGet(file.get(), &count, &names);
        for (std::uint32_t i = 0; i < count; ++i) {
            layers.emplace_back(names[i]);
            kmsc_HeapFree(names[i]);
            const Layer layer(file.get(), layers.back());
            for (std::uint32_t row = 0; row < layer.rows(); ++row)
                for (std::uint32_t column = 0; column < layer.columns(); ++column)
                    blocks.push_back(layer.read(row, column));
        }
        kmsc_HeapFree(names);
    }
    File open() const { return {rf_sarFileOpen(name.c_str(), u"rb"), rf_sarFileClose}; }

    support::SimulatedProduct product;
    std::u16string name;
    File file; ///< shared by all threads
    std::vector<std::u16string> layers;
    std::vector<std::vector<std::uint16_t>> blocks; ///< layer by layer, row by row
};

/// What one thread does again and again; wrong samples are counted.
class Worker {
public:
    Worker(const std::vector<std::unique_ptr<Scene>>& scenes, unsigned seed)
        : scenes_(scenes), random_(seed) {}

    void work() {
        const Scene& scene = *scenes_[upTo(scenes_.size())];
        const bool own = upTo(3) == 0;
        const File file = own ? scene.open() : File(nullptr, rf_sarFileClose);
        RF_SARFile* handle = own ? file.get() : scene.file.get();
        const std::size_t number = upTo(scene.layers.size());
        {
            const Layer layer(handle, scene.layers[number]);
            for (int i = 0; i < 4; ++i) {
                const auto row = static_cast<std::uint32_t>(upTo(layer.rows()));
                const auto column = static_cast<std::uint32_t>(upTo(layer.columns()));
                const std::size_t block = (number * layer.rows() + row) * layer.columns() + column;
                wrong += layer.read(row, column) != scene.blocks[block];
            }
            if (upTo(8) == 0)
                readPlace(layer);
        }
        if (own && upTo(4) == 0) {
            KmifNode node;
            wrong += rf_sarFileDataRead(handle, u":SAR_Metadata", &node, nullptr, nullptr,
                                        nullptr) != 0 ||
                     node.empty();
        }
        ++rounds;
    }

    std::size_t wrong = 0, rounds = 0;

private:
    std::size_t upTo(std::size_t count) {
        return std::uniform_int_distribution<std::size_t>(0, count - 1)(random_);
    }

    void readPlace(const Layer& layer) {
        char16_t *name = nullptr, *units = nullptr, **lists[5] = {};
        std::uint32_t count = 0;
        wrong +=
            rf_sarLayerMapToPixelTransformRead(layer.layer, &name, &units, &count, &lists[0],
                                               &lists[1], &lists[2], &lists[3], &lists[4]) != 0 ||
            count == 0;
        kmsc_HeapFree(name);
        kmsc_HeapFree(units);
        for (char16_t** list : lists) {
            for (std::uint32_t i = 0; i < count; ++i)
                kmsc_HeapFree(list[i]);
            kmsc_HeapFree(list);
        }
    }

    const std::vector<std::unique_ptr<Scene>>& scenes_;
    std::mt19937 random_;
};

} // namespace

TEST(Load, ManyThreadsReadRightSamplesThroughSharedAndOwnHandlesInFlatMemory) {
    constexpr unsigned threadCount = 8;
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::vector<std::unique_ptr<Scene>> scenes;
    for (const char* family : {"rcm", "radarsat2", "capella-slc"})
        scenes.push_back(std::make_unique<Scene>(family));
    std::atomic<std::size_t> wrong{0}, rounds{0};
    const auto load = [&](double seconds, std::size_t leastRounds) {
        std::vector<std::thread> threads;
        const auto end = Clock::now() + std::chrono::duration<double>(seconds);
        for (unsigned i = 0; i < threadCount; ++i)
            threads.emplace_back([&, i] {
                Worker worker(scenes, seed + i);
                while (Clock::now() < end || worker.rounds < leastRounds)
                    worker.work();
                wrong += worker.wrong;
                rounds += worker.rounds;
            });
        for (std::thread& thread : threads)
            thread.join();
    };
    load(loadSeconds() / 4, 100); // fills caches and pools
    const Use before;
    load(loadSeconds(), 1);
    expectFlat(before, Use(),
               std::to_string(rounds) + " rounds of " + std::to_string(threadCount) + " threads");
    EXPECT_EQ(wrong, 0U);
    EXPECT_GT(rounds, threadCount);
}

TEST(Load, ProductsLeaveNothingOpen) {
    // Distinct products, each with files of its own name. 3000 in 20 s.
    std::vector<std::unique_ptr<support::SimulatedProduct>> products;
    for (const char* family : {"rcm", "radarsat2", "capella-slc"})
        products.push_back(std::make_unique<support::SimulatedProduct>(family));
    const support::TemporaryFolder folder;
    const auto count = static_cast<std::size_t>(150 * loadSeconds());
    Use before;
    for (std::size_t i = 0; i < count; ++i) {
        if (i == count / 4)
            before = Use();
        namespace fs = std::filesystem;
        const support::SimulatedProduct& product = *products[i % products.size()];
        const fs::path original = product.folder().path(), copy = folder / std::to_string(i);
        fs::copy(original, copy,
                 fs::copy_options::recursive | fs::copy_options::create_hard_links);
        const fs::path name = copy / fs::relative(product.file(), original);
        const File file(rf_sarFileOpen(ktxt::widen(name.string()).c_str(), u"rb"), rf_sarFileClose);
        ASSERT_TRUE(file);
        std::uint32_t layers = 0;
        char16_t** names = nullptr;
        ASSERT_EQ(rf_sarFileLayerNamesGet(file.get(), &layers, &names), 0U);
        const HostList owner(names, layers);
        for (std::uint32_t n = 0; n < layers; ++n)
            Layer(file.get(), names[n]).read(0, 0);
        for (const char16_t* node : {u":SAR_Metadata", u":Rs2_Calibration", u":Doppler"}) {
            KmifNode read;
            rf_sarFileDataRead(file.get(), node, &read, nullptr, nullptr, nullptr);
        }
    }
    const Use after;
    expectFlat(before, after, std::to_string(count) + " products opened, read and closed");
    EXPECT_EQ(after.descriptors, before.descriptors);
}
