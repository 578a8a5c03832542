// SPDX-License-Identifier: MIT
#include "rf_sar.h"

#include "doppler_rates.h"
#include "kmif/kmif_node.h"
#include "kmsc/kmsc.h"
#include "record_parts.h"
#include "rf_sar_file.h"
#include "support/metadata_trees.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <thread>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// Keeps account of what is asked of it.
struct FakeReader final : imageMetadata {
    bool hasRecord = true;
    bool hasRates = false;
    std::vector<std::string> asked;

    SarMetadataRecord* readSARnode() override {
        asked.push_back("record");
        if (!hasRecord)
            return nullptr;
        try {
            auto record = record_parts::make();
            record->numberOfLines = 7;
            record_parts::allocateStateVectors(*record, 3);
            return record.release();
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
    }
    void* getDopplerRates() override {
        asked.push_back("rates");
        if (!hasRates)
            return nullptr;
        auto rates = kmsc::makeArray<DopplerRateRecord>(1);
        if (rates)
            rates->rateTimes = kmsc::makeArray<double>(1).release();
        return rates.release();
    }
    void readNonStandardData(const char16_t*, const HostNodeArguments& host) override {
        asked.push_back(host.b == this && host.d == nullptr ? "other" : "other, wrong arguments");
    }
};

struct FileDataRead : testing::Test {
    FakeReader reader;
    RF_SARFile file;
    std::string printed;
    kerr::Sink oldSink;

    FileDataRead() {
        file.reader = &reader;
        oldSink = kerr::setPrintSink(
            [this](const KERR_REPORT& report) { printed += kerr_Text(&report) + '\n'; });
    }
    ~FileDataRead() override {
        sarm_ReleaseMetadata(file.sarMetadata);
        kerr::setPrintSink(oldSink);
    }

    KmifNode node;
    std::uint32_t read(const char16_t* name) {
        node = {};
        return rf_sarFileDataRead(&file, name, &node, &reader, nullptr, nullptr);
    }
};

} // namespace

TEST_F(FileDataRead, StepsComeInOrder) {
    struct Case {
        const char16_t* name;
        bool hasRecord, hasRates;
        std::vector<std::string> asked;
        std::string filled; ///< design of the node, "" for an empty node
        std::uint32_t status;
    };
    const Case cases[] = {
        {u":SAR_Metadata", true, false, {"record", "other"}, "SAR_Metadata", 0},
        {u":sar_metadata and more", true, false, {"record", "other"}, "SAR_Metadata", 0},
        {u":SAR_Metadata", false, false, {"record", "other"}, "", 0},
        {u":Doppler", true, true, {"rates", "other"}, "Doppler", 0},
        {u":DOPPLERS", true, true, {"rates", "other"}, "Doppler", 0},
        {u":Doppler", true, false, {"rates"}, "", RF_SAR_FAILURE},
        {u":Rs2_Calibration", true, true, {"other"}, "", 0},
        {u"SAR_Metadata", true, true, {"other"}, "", 0},
        {u":SAR_Meta", true, true, {"other"}, "", 0},
        {u"", true, true, {"other"}, "", 0},
    };
    for (const Case& c : cases) {
        reader.hasRecord = c.hasRecord;
        reader.hasRates = c.hasRates;
        reader.asked.clear();
        printed.clear();
        sarm_ReleaseMetadata(std::exchange(file.sarMetadata, nullptr));
        const auto story = testing::PrintToString(c.name);
        EXPECT_EQ(read(c.name), c.status) << story;
        EXPECT_EQ(reader.asked, c.asked) << story;
        EXPECT_EQ(node.design() ? kmif_DesignName(node.design()) : "", c.filled) << story;
        EXPECT_EQ(printed.empty(), c.status == 0) << story << printed;
    }
}

TEST_F(FileDataRead, DopplerFailureIsPrinted) {
    EXPECT_EQ(read(u":Doppler"), RF_SAR_FAILURE);
    EXPECT_THAT(printed, testing::StartsWith("rf_sarFileDataRead: Creating MIF Node failed. ("));
}

TEST_F(FileDataRead, TheRecordIsAskedForOnce) {
    read(u":SAR_Metadata");
    const std::string first = kmif_NodeToJson(node);
    EXPECT_THAT(first, HasSubstr("\"numberOfLines\": 7"));
    read(u":SAR_Metadata");
    EXPECT_EQ(kmif_NodeToJson(node), first);
    EXPECT_THAT(reader.asked, ElementsAre("record", "other", "other"));
}

TEST_F(FileDataRead, AbsentRecordIsAskedForAgain) {
    reader.hasRecord = false;
    read(u":SAR_Metadata");
    reader.hasRecord = true;
    read(u":SAR_Metadata");
    EXPECT_FALSE(node.empty());
}

TEST_F(FileDataRead, ThreadsShareOneRecord) {
    std::vector<std::thread> threads;
    std::vector<std::string> texts(8);
    for (std::string& text : texts)
        threads.emplace_back([&] {
            KmifNode own;
            rf_sarFileDataRead(&file, u":SAR_Metadata", &own, &reader, nullptr, nullptr);
            text = kmif_NodeToJson(own);
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(std::count(reader.asked.begin(), reader.asked.end(), "record"), 1);
    EXPECT_EQ(std::count(texts.begin(), texts.end(), texts[0]), 8);
}

TEST_F(FileDataRead, ShortMemoryLeavesNothingOnTheHeap) {
    reader.hasRates = true;
    const auto blocks = kmsc_BlocksInUse();
    std::uint64_t served = 0;
    for (const char16_t* name : {u":SAR_Metadata", u":Doppler"})
        for (std::uint64_t n = 1; n <= 30; ++n) {
            kmsc_FailAllocation(n); // beyond the last allocation nothing fails
            served += read(name) == 0 && !node.empty() ? 1 : 0;
            kmsc_FailAllocation(0);
            node = {};
            sarm_ReleaseMetadata(std::exchange(file.sarMetadata, nullptr));
            EXPECT_EQ(kmsc_BlocksInUse(), blocks) << n;
        }
    EXPECT_GT(served, 10U);
    EXPECT_LT(served, 50U);
}
