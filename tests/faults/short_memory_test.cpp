// SPDX-License-Identifier: MIT
#include "rf_sar.h"

#include "kerr/kerr.h"
#include "kmif/kmif_node.h"
#include "kmsc/kmsc.h"
#include "kprj/kprj.h"
#include "ktxt/ktxt.h"
#include "support/failing_new.h"
#include "support/simulated_product.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>

namespace {

using support::FailingNew;
using support::Shortage;

void freeList(char16_t** list, std::uint32_t count) {
    for (std::uint32_t i = 0; list && i < count; ++i)
        kmsc_HeapFree(list[i]);
    kmsc_HeapFree(list);
}

std::size_t openDescriptors() {
    using std::filesystem::directory_iterator;
    return static_cast<std::size_t>(
        std::distance(directory_iterator("/proc/self/fd"), directory_iterator()));
}

/// One call of an entry point; `done` tells whether its answer is a whole one. What it hands out
/// is given back, whatever the answer.
struct Step {
    const char* name;
    std::function<bool()> call;
};

/// @return whether the call was done; nothing of it may stay on the host's heap.
bool isDone(const Step& step, std::uint64_t n) {
    const std::int64_t blocks = kmsc_BlocksInUse();
    const bool done = step.call();
    EXPECT_EQ(kmsc_BlocksInUse(), blocks) << step.name << ", allocation " << n;
    return done;
}

/// Lets each allocation of a call fail, in turn; of many a sample.
/// @return how many calls failed.
int sweep(const Step& step) {
    SCOPED_TRACE(step.name);
    EXPECT_TRUE(step.call());
    int failures = 0;
    for (const Shortage kind : {Shortage::once, Shortage::lasts})
        for (std::uint64_t n = 1;; n += 1 + n / 24) {
            auto shortage = std::make_unique<FailingNew>(n, kind);
            const bool done = step.call();
            shortage.reset();
            if (!FailingNew::hasFailed())
                break;
            failures += !done;
            EXPECT_TRUE(isDone(step, n)) << step.name << " after a failure of allocation " << n;
        }
    constexpr std::uint64_t hostAllocations = 40; // more than any call makes
    for (std::uint64_t n = 1; n <= hostAllocations; ++n) {
        kmsc_FailAllocation(n);
        failures += !isDone(step, n);
        kmsc_FailAllocation(0);
    }
    return failures;
}

class Product {
public:
    explicit Product(const std::string& name) : name_(ktxt::widen(name)) { reopen(); }
    ~Product() { close(); }
    Product(const Product&) = delete;
    Product& operator=(const Product&) = delete;

    const char16_t* name() const { return name_.c_str(); }
    RF_SARFile* file() const { return file_; }
    /// A new handle, which has not read its record yet.
    void reopen() {
        close();
        file_ = rf_sarFileOpen(name(), u"rb");
        if (!file_)
            throw std::runtime_error("the product does not open");
    }

private:
    void close() { rf_sarFileClose(file_); }

    std::u16string name_;
    RF_SARFile* file_ = nullptr;
};

bool openAndClose(RF_SARFile* file, const char16_t* name) {
    std::uint32_t type, width, height, reserved, blockWidth, blockHeight;
    RF_SARLayer* layer = nullptr;
    const bool done = rf_sarLayerOpen(file, name, &type, &width, &height, &reserved, &blockWidth,
                                      &blockHeight, &layer) == 0;
    rf_sarLayerClose(layer);
    return done;
}

std::u16string firstLayer(RF_SARFile* file) {
    std::uint32_t count = 0;
    char16_t** names = nullptr;
    rf_sarFileLayerNamesGet(file, &count, &names);
    const std::u16string first = names[0];
    freeList(names, count);
    return first;
}

template <class ListGet>
Step listStep(const char* name, ListGet get) {
    return {name, [get] {
                std::uint32_t count = 0;
                char16_t** list = nullptr;
                const bool done = get(&count, &list) == 0 && list;
                freeList(list, count);
                return done;
            }};
}

std::vector<Step> instanceSteps() {
    const auto rows = [](auto get) {
        return [get](std::uint32_t* count, char16_t*** list) {
            *count = 5;
            return get(list);
        };
    };
    return {listStep("TitleListGet", rf_sarInstanceTitleListGet),
            listStep("ShortNameListGet", rows(rf_sarInstanceShortNameListGet)),
            listStep("ExtListGet", rows(rf_sarInstanceExtListGet)),
            listStep("MagicListGet", rows(rf_sarInstanceMagicListGet)),
            listStep("LayerTypesGet", rf_sarInstanceLayerTypesGet),
            listStep("PixelTypesGet", rf_sarInstancePixelTypesGet),
            listStep("TemplateListGet", rows([](char16_t*** list) {
                         std::uint8_t* flags = nullptr;
                         const auto status = rf_sarInstanceTemplateListGet(list, &flags);
                         kmsc_HeapFree(flags);
                         return status;
                     })),
            {"DescriptionGet", [] {
                 char16_t* text = nullptr;
                 const bool done = rf_sarInstanceDescriptionGet(&text) == 0;
                 kmsc_HeapFree(text);
                 return done;
             }}};
}

std::vector<Step> fileSteps(Product& product) {
    return {{"TitleIdentify",
             [&] { return rf_sarFileTitleIdentify(product.name()) != RF_SAR_FAILURE; }},
            {"FileOpen",
             [&] {
                 RF_SARFile* file = rf_sarFileOpen(product.name(), u"rb");
                 return rf_sarFileClose(file) == 0 && file;
             }},
            listStep("LayerNamesGet",
                     [&](std::uint32_t* count, char16_t*** list) {
                         return rf_sarFileLayerNamesGet(product.file(), count, list);
                     }),
            listStep("NonStandardDataNamesGet",
                     [&](std::uint32_t* count, char16_t*** list) {
                         return rf_sarFileRasterFormatsNonStandardDataNamesGet(product.file(),
                                                                               count, list);
                     }),
            {"LayerOpen", [&, name = firstLayer(product.file())] {
                 return openAndClose(product.file(), name.c_str());
             }}};
}

/// A node is read through a handle of its own, or the record would be there already.
Step nodeStep(Product& product, const char16_t* node) {
    return {"FileDataRead", [&product, node] {
                KmifNode filled;
                RF_SARFile* file = rf_sarFileOpen(product.name(), u"rb");
                const bool done =
                    file &&
                    rf_sarFileDataRead(file, node, &filled, nullptr, nullptr, nullptr) == 0 &&
                    !filled.empty();
                rf_sarFileClose(file);
                return done;
            }};
}

std::vector<Step> layerSteps(RF_SARLayer* layer, std::vector<std::uint16_t>& block) {
    return {{"RasterRead",
             [layer, &block] {
                 void* samples = block.data();
                 return rf_sarLayerRasterRead(layer, 0, 0, &samples) == 0 && samples;
             }},
            {"MapInfoRead",
             [layer] {
                 char16_t *name = nullptr, *units = nullptr;
                 double numbers[4];
                 const bool done = rf_sarLayerMapInfoRead(layer, &name, &numbers[0], &numbers[1],
                                                          &numbers[2], &numbers[3], &units) == 0;
                 kmsc_HeapFree(name);
                 kmsc_HeapFree(units);
                 return done;
             }},
            {"MapProjectionRead",
             [layer] {
                 char16_t* t[9] = {};
                 const bool done =
                     rf_sarLayerMapProjectionRead(layer, &t[0], &t[1], &t[2], &t[3], &t[4], &t[5],
                                                  &t[6], &t[7], &t[8]) == 0;
                 for (char16_t* text : t)
                     kmsc_HeapFree(text);
                 return done;
             }},
            {"MapToPixelTransformRead", [layer] {
                 char16_t *name = nullptr, *units = nullptr, **lists[5] = {};
                 std::uint32_t count = 0;
                 const bool done = rf_sarLayerMapToPixelTransformRead(
                                       layer, &name, &units, &count, &lists[0], &lists[1],
                                       &lists[2], &lists[3], &lists[4]) == 0;
                 kmsc_HeapFree(name);
                 kmsc_HeapFree(units);
                 for (char16_t** list : lists)
                     freeList(list, count);
                 return done;
             }}};
}

} // namespace

class ShortMemory : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        old_ = kerr::setPrintSink([](const KERR_REPORT&) {});
    }
    void TearDown() override { kerr::setPrintSink(old_); }

private:
    kerr::Sink old_;
};

TEST_P(ShortMemory, EveryEntryPointAnswersAndLeavesNothing) {
    const support::SimulatedProduct simulated(GetParam());
    int failures = 0;
    for (const Step& step : instanceSteps())
        failures += sweep(step);
    Product product(simulated.file());
    const std::size_t before = openDescriptors();
    for (const Step& step : fileSteps(product))
        failures += sweep(step);
    constexpr std::size_t kept = 1; // the image waits for its next use
    EXPECT_LE(openDescriptors(), before + kept);
    for (const char16_t* node : {u":SAR_Metadata", u":Doppler", u":Rs2_Calibration"})
        if (const Step step = nodeStep(product, node); step.call())
            failures += sweep(step);

    const std::u16string name = firstLayer(product.file());
    std::uint32_t type, width, height, reserved, blockWidth, blockHeight;
    RF_SARLayer* layer = nullptr;
    ASSERT_EQ(rf_sarLayerOpen(product.file(), name.c_str(), &type, &width, &height, &reserved,
                              &blockWidth, &blockHeight, &layer),
              0U);
    std::vector<std::uint16_t> block(std::size_t{blockWidth} * blockHeight);
    const auto steps = layerSteps(layer, block);
    for (const Step& step : steps)
        step.call(); // opens the image
    // Without memory for a sensor model the image is asked, through PROJ: its database stays open.
    KprjProjectionPtr(kprj_ProjectionFromText("EPSG:4326", nullptr));
    const std::size_t descriptors = openDescriptors();
    for (const Step& step : steps)
        failures += sweep(step);
    EXPECT_LE(openDescriptors(), descriptors);
    EXPECT_EQ(rf_sarLayerClose(layer), 0U);
    EXPECT_GT(failures, 500);
}

INSTANTIATE_TEST_SUITE_P(Families, ShortMemory,
                         testing::Values("rcm", "radarsat2", "capella-slc", "capella-geo"),
                         [](const auto& family) {
                             std::string name = family.param;
                             std::erase(name, '-');
                             return name;
                         });

// What a process makes when it first needs it may fail as well; each trial is a process of its own.
TEST(ShortMemory, TheFirstIdentificationOfAProcessAnswers) {
    for (const char* family : {"rcm", "capella-slc"}) {
        const support::SimulatedProduct product(family);
        const std::u16string name = ktxt::widen(product.file());
        int failed = 0, ended = 0;
        for (std::uint64_t n = 1; n < 4000; n += 1 + n / 16) {
            const pid_t child = fork();
            if (child == 0) {
                const FailingNew shortage(n, Shortage::lasts);
                rf_sarFileTitleIdentify(name.c_str());
                _exit(FailingNew::hasFailed() ? 7 : 0);
            }
            int status = 0;
            waitpid(child, &status, 0);
            failed += WIFEXITED(status) && WEXITSTATUS(status) == 7;
            ended += !WIFEXITED(status);
            if (WIFEXITED(status) && WEXITSTATUS(status) == 0)
                break;
        }
        EXPECT_GT(failed, 10);
        EXPECT_EQ(ended, 0) << family;
    }
}

TEST(ShortMemory, AReportThatCannotBeMadeLeavesItsCauseToTheCaller) {
    const std::string text(100, 'x'); // longer than strings hold in themselves
    KERR_REPORT* cause = kerr_CreateErrorReport("f", kerrError, text);
    int failures = 0;
    for (std::uint64_t n = 1;; ++n) {
        try {
            const FailingNew shortage(n, Shortage::once);
            cause = kerr_CreateErrorReport(text, kerrError, text, cause);
            break;
        } catch (const std::bad_alloc&) {
            ++failures;
            ASSERT_EQ(cause->message, text);
        }
    }
    EXPECT_EQ(failures, 3); // the report and its two texts
    EXPECT_EQ(cause->cause->message, text);
    kerr_DeleteErrorReportEx(&cause);
}
