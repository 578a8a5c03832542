// SPDX-License-Identifier: MIT
#include "rf_sar.h"

#include "kerr/kerr.h"
#include "kmif/kmif_node.h"
#include "kmsc/kmsc.h"
#include "ktxt/ktxt.h"
#include "support/simulated_product.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <functional>

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

/// All that is printed or logged.
class Told {
public:
    Told() : old_(kerr::setPrintSink(add_)), listener_(add_) {}
    ~Told() { kerr::setPrintSink(old_); }
    std::string text;

private:
    kerr::Sink add_ = [this](const KERR_REPORT& report) { text += kerr_Text(&report) + "\n"; };
    kerr::Sink old_;
    TolvanLog::Listener listener_;
};

struct OpenLayer {
    explicit OpenLayer(const support::SimulatedProduct& product, const char16_t* name)
        : file(rf_sarFileOpen(ktxt::widen(product.file()).c_str(), u"rb")) {
        std::uint32_t type, width, reserved;
        if (!file)
            return;
        status = rf_sarLayerOpen(file, name, &type, &width, &height, &reserved, &blockWidth,
                                 &blockHeight, &layer);
    }
    ~OpenLayer() {
        EXPECT_EQ(rf_sarLayerClose(layer), 0U);
        EXPECT_EQ(rf_sarFileClose(file), 0U);
    }

    /// The block of the last line; `told` hears what is wrong with it.
    std::vector<std::uint16_t> readLast() const {
        std::vector<std::uint16_t> samples(std::size_t{blockWidth} * blockHeight, 7);
        void* block = samples.data();
        const auto failed = rf_sarLayerRasterRead(layer, (height - 1) / blockHeight, 0, &block);
        EXPECT_EQ(failed != 0, block == nullptr);
        return samples;
    }

    RF_SARFile* file;
    RF_SARLayer* layer = nullptr;
    std::uint32_t status = RF_SAR_FAILURE, height = 0, blockWidth = 0, blockHeight = 0;
};

/// The image of the first polarization.
fs::path imageOf(const support::SimulatedProduct& product) {
    fs::path first;
    for (const auto& entry : fs::recursive_directory_iterator(product.folder().path()))
        if (entry.path().extension() == ".tif" && (first.empty() || entry.path() < first))
            first = entry.path();
    return first;
}

struct Fault {
    const char* name;
    std::function<void(const fs::path&)> happen;
};
const Fault faults[] = {
    {"vanishes", [](const fs::path& file) { fs::remove(file); }},
    {"shrinks", [](const fs::path& file) { fs::resize_file(file, fs::file_size(file) / 2); }},
    {"is emptied", [](const fs::path& file) { fs::resize_file(file, 0); }},
    {"becomes a folder",
     [](const fs::path& file) {
         fs::remove(file);
         fs::create_directory(file);
     }},
    {"becomes a fifo",
     [](const fs::path& file) {
         fs::remove(file);
         mkfifo(file.c_str(), 0600);
     }},
    {"is overwritten", [](const fs::path& file) { std::ofstream(file) << "II*"; }},
};

} // namespace

TEST(VanishingFiles, AnImageThatChangesUnderALayerIsReadRightOrNamed) {
    const struct {
        const char *family, *layer;
    } products[] = {{"rcm", "C_HH_MAGNITUDE_1"},
                    {"radarsat2", "C_HH_PHASE_2"},
                    {"capella-slc", "X_VV_MAGNITUDE_1"}};
    for (const auto& [family, layerName] : products)
        for (const Fault& fault : faults)
            for (const bool readBefore : {false, true}) {
                SCOPED_TRACE(std::string(family) + " " + fault.name + (readBefore ? " late" : ""));
                const support::SimulatedProduct product(family);
                const std::int64_t blocks = kmsc_BlocksInUse();
                {
                    const OpenLayer open(product, ktxt::widen(layerName).c_str());
                    ASSERT_EQ(open.status, 0U);
                    const fs::path image = imageOf(product);
                    std::vector<std::uint16_t> right;
                    if (readBefore)
                        right = open.readLast();
                    fault.happen(image);
                    Told told;
                    const auto samples = open.readLast();
                    if (!told.text.empty()) {
                        EXPECT_THAT(told.text, HasSubstr(image.filename().string()));
                    } else if (readBefore) {
                        EXPECT_EQ(samples, right);
                    }
                    told.text.clear();
                    const OpenLayer again(product, ktxt::widen(layerName).c_str());
                    if (again.status == 0) // the header is still there
                        again.readLast();
                    EXPECT_THAT(told.text, HasSubstr(again.file ? image.filename().string()
                                                                : "appropriate tif file"));
                }
                EXPECT_EQ(kmsc_BlocksInUse(), blocks);
            }
}

TEST(VanishingFiles, MetadataThatChangesUnderAProductIsNamed) {
    for (const char* family : {"rcm", "radarsat2", "capella-slc"})
        for (const Fault& fault : faults) {
            SCOPED_TRACE(std::string(family) + " " + fault.name);
            const support::SimulatedProduct product(family);
            RF_SARFile* file = rf_sarFileOpen(ktxt::widen(product.file()).c_str(), u"rb");
            ASSERT_TRUE(file);
            fs::path metadata = product.file();
            if (std::string_view(family) == "capella-slc")
                metadata.replace_filename(metadata.stem().string() + "_extended.json");
            fault.happen(metadata);
            Told told;
            KmifNode node;
            const auto status =
                rf_sarFileDataRead(file, u":SAR_Metadata", &node, nullptr, nullptr, nullptr);
            EXPECT_TRUE(status != 0 || node.empty());
            EXPECT_THAT(told.text, HasSubstr(metadata.filename().string()));
            EXPECT_EQ(rf_sarFileClose(file), 0U);
        }
}
