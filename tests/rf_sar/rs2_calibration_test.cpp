// SPDX-License-Identifier: MIT
#include "rs2_calibration.h"

#include "kmif/kmif_node.h"
#include "ktxt/ktxt.h"
#include "rf_sar.h"
#include "rs2_doppler.h"
#include "support/metadata_trees.h"
#include "support/rs2_document.h"

#include <gmock/gmock.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cmath>
#include <fstream>
#include <new>

namespace {

using support::Rs2Document;
using testing::ElementsAre;
using testing::HasSubstr;

std::string lut(const std::string& offset, const std::string& gains) {
    return "<lut copyright=\"c\"><offset>" + offset + "</offset><gains>" + gains + "</gains></lut>";
}

std::vector<double> list(const double* values, std::int32_t count) {
    return values ? std::vector<double>(values, values + count) : std::vector<double>();
}

/// A product with three tables, two of them without the schema's namespace.
struct Rs2Calibration : testing::Test {
    support::TemporaryFolder folder;
    Rs2Document document;
    kerr::Slot slot;

    Rs2Calibration() {
        document.set("satellite", "RADARSAT-2").repeat("lookupTable[0]");
        name({"sigma.xml", "tables/beta.xml", "../gamma.xml"});
        folder.write("product/sigma.xml", lut("1", "10 11"));
        folder.write("product/tables/beta.xml", lut("2", "1.5 -INF NaN"));
        std::string withNamespace = lut("3", "30");
        withNamespace.insert(4, " xmlns=\"http://www.rsi.ca/rs2/prod/xml/schemas\"");
        folder.write("gamma.xml", withNamespace);
    }

    void name(const std::vector<std::string>& files) {
        for (std::size_t i = 0; i < files.size(); ++i)
            document.set("lookupTable[" + std::to_string(i) + "]", files[i]);
    }
    std::u16string write() const {
        folder.write("product/product.xml", "");
        const std::string name = folder / "product/product.xml";
        std::filesystem::rename(document.write(folder), name);
        return ktxt::widen(name);
    }
    CalibrationPtr read() {
        kerr_DeleteErrorReportEx(slot);
        return rs2_getCalibration(rs2::Document(write()), slot);
    }
    std::string reported() const { return kerr_Text(slot.get()); }
};

} // namespace

TEST_F(Rs2Calibration, TablesGoByTheirPlace) {
    const support::Log log;
    const auto record = read();
    EXPECT_THAT(log.text(), HasSubstr("tables/beta.xml: gains[1] is -inf"));
    EXPECT_THAT(log.text(), testing::Not(HasSubstr("sigma.xml")));
    ASSERT_TRUE(record);
    EXPECT_EQ(reported(), "");
    EXPECT_EQ(record->betaOffset, 1);
    EXPECT_THAT(list(record->betaGains, record->betaCount), ElementsAre(10, 11));
    EXPECT_EQ(record->sigmaOffset, 2);
    ASSERT_EQ(record->sigmaCount, 3);
    EXPECT_EQ(record->sigmaGains[0], 1.5);
    EXPECT_EQ(record->sigmaGains[1], -INFINITY);
    EXPECT_TRUE(std::isnan(record->sigmaGains[2]));
    EXPECT_EQ(record->gammaOffset, 3);
    EXPECT_THAT(list(record->gammaGains, record->gammaCount), ElementsAre(30));
}

TEST_F(Rs2Calibration, ABadTableEndsTheReading) {
    struct Case {
        std::vector<std::string> files;
        std::int32_t read; ///< tables
        std::string message, cause;
    };
    folder.write("product/bad.xml", lut("1", "10 x"));
    const Case cases[] = {
        {{"bad.xml", "sigma.xml", "sigma.xml"}, 0, "lutBeta", "bad.xml:1: gains: "},
        {{"sigma.xml", "bad.xml", "sigma.xml"}, 1, "lutSigma", "bad.xml:1: gains: "},
        {{"sigma.xml", "sigma.xml", "none.xml"}, 2, "lutGamma", "none.xml"},
        {{"sigma.xml", "/etc/hosts", "sigma.xml"}, 1, "lutSigma", "\"/etc/hosts\" is absolute"},
        {{"sigma.xml", "../../gamma.xml", ""}, 1, "lutSigma", "leaves the product's folder"},
    };
    for (const Case& c : cases) {
        name(c.files);
        const auto record = read();
        EXPECT_THAT(reported(), testing::StartsWith("rs2_getCalibration: Wrong " + c.message +
                                                    " XML schema file detected ("));
        EXPECT_THAT(reported(), HasSubstr(c.cause));
        ASSERT_EQ(record != nullptr, c.read > 0) << c.message; // not one table: no record
        if (!record)
            continue;
        EXPECT_EQ(record->betaCount, 2);
        EXPECT_EQ(record->sigmaCount, c.read > 1 ? 2 : 0);
        EXPECT_EQ(record->sigmaGains != nullptr, c.read > 1);
        EXPECT_EQ(record->gammaCount, 0);
        EXPECT_EQ(record->gammaOffset, 0);
        EXPECT_EQ(record->gammaGains, nullptr);
    }
}

TEST_F(Rs2Calibration, FewerThanThreeTables) {
    document.erase("lookupTable[0]");
    auto record = read();
    EXPECT_EQ(record->betaOffset, 2);
    EXPECT_EQ(record->gammaGains, nullptr);
    EXPECT_EQ(reported(), "");
    document.erase("lookupTable[0]").erase("lookupTable[0]");
    EXPECT_FALSE(read());
    EXPECT_EQ(reported(), "");
    document.set("satellite", "");
    EXPECT_FALSE(read());
    EXPECT_THAT(reported(),
                testing::StartsWith("rs2_getCalibration: XML does not match RS2 schema: "));
}

TEST_F(Rs2Calibration, ShortMemoryLeavesNothingOnTheHeap) {
    const auto name = write();
    const auto blocks = kmsc_BlocksInUse();
    int failed = 0;
    const auto attempt = [&](const std::function<void()>& readOnce) {
        for (std::uint64_t n = 1; n <= 10; ++n) {
            kmsc_FailAllocation(n); // beyond the last allocation nothing fails
            try {
                readOnce();
            } catch (const std::bad_alloc&) {
                ++failed;
            }
            kmsc_FailAllocation(0);
            EXPECT_EQ(kmsc_BlocksInUse(), blocks) << n;
        }
    };
    attempt([&] { EXPECT_TRUE(rs2_getCalibration(rs2::Document(name), slot)); });
    EXPECT_EQ(std::exchange(failed, 0), 4); // the record and three tables
    attempt([&] { EXPECT_TRUE(rs2_getDopplerRates(rs2::Document(name), slot)); });
    EXPECT_EQ(failed, 7);
}

TEST_F(Rs2Calibration, DopplerRatesAreTheRateAndTheFirstEstimate) {
    document.set(
        {{"dopplerRateReferenceTime", "0.006"},
         {"dopplerRateValuesCoefficients", "-1900 2 3"},
         {"dopplerCentroid[0].timeOfDopplerCentroidEstimate", "2023-07-08T01:02:03.250000Z"},
         {"dopplerCentroid[0].dopplerCentroidReferenceTime", "0.007"},
         {"dopplerCentroid[0].dopplerCentroidCoefficients", "1 2 3 4 5 6 7"}});
    const auto rates = rs2_getDopplerRates(rs2::Document(write()), slot);
    ASSERT_TRUE(rates);
    EXPECT_THAT(
        (std::array{rates->rateEstimateCount, rates->rateTimeCount, rates->rateReferenceCount,
                    rates->rateCoefficientCount, rates->rateCoefficientTotal}),
        ElementsAre(1, 1, 1, 3, 3));
    EXPECT_THAT((std::array{*rates->rateTimes, *rates->rateReferenceTimes}),
                ElementsAre(0.006, 0.006));
    EXPECT_THAT(list(rates->rateCoefficients, 3), ElementsAre(-1900, 2, 3));
    EXPECT_THAT((std::array{rates->centroidEstimateCount, rates->centroidTimeCount,
                            rates->centroidReferenceCount, rates->centroidCoefficientCount,
                            rates->centroidCoefficientTotal}),
                ElementsAre(1, 1, 1, 7, 7));
    EXPECT_THAT((std::array{*rates->centroidTimes, *rates->centroidReferenceTimes}),
                ElementsAre(3723.25, 0.007));
    EXPECT_THAT(list(rates->centroidCoefficients, 7), ElementsAre(1, 2, 3, 4, 5, 6, 7));
    EXPECT_THAT(rates->reserved, testing::Each(0));

    document.set("dopplerRateReferenceTime", "soon");
    EXPECT_FALSE(rs2_getDopplerRates(rs2::Document(write()), slot));
    EXPECT_THAT(reported(),
                testing::StartsWith("getDopplerRates: XML does not match RS2 schema: "));
}

TEST_F(Rs2Calibration, NodesFollowNameSatelliteAndType) {
    struct Case {
        std::string satellite, type, node;
        std::string design; ///< of the filled node, "" for none
    };
    const Case cases[] = {
        {"RADARSAT-2", "SLC", ":Rs2_Calibration", "Rs2_Calibration"},
        {"radarsat-2", "SLC", ":rs2_calibrationS", ""}, // the binding wants the exact name
        {"RADARSAT-2", "SGF", ":rs2_calibrationS", "Rs2_Calibration"},
        {"RADARSAT-2", "SCF", ":RS2_CALIBRATION", "Rs2_Calibration"},
        {"RADARSAT-2", "SLC", ":Rs2_Cal", ""},
        {"RADARSAT-2", "SSG", ":Rs2_Calibration", ""},
        {"RADARSAT-2", "SPG", ":Doppler", ""},
        {"RADARSAT-2", "SPG", ":SAR_Metadata", ""},
        {"RADARSAT-2", "SGX", ":Doppler", "Doppler"},
        {"RADARSAT-2", "SCS", ":SAR_Metadata", "SAR_Metadata"},
    };
    const auto blocks = kmsc_BlocksInUse();
    for (const Case& c : cases) {
        document.set({{"satellite", c.satellite}, {"productType", c.type}});
        {
            RF_SARFile* file = rf_sarFileOpen(write().c_str(), u"rb");
            ASSERT_TRUE(file);
            KmifNode node;
            const kerr::Sink old = kerr::setPrintSink([](const KERR_REPORT&) {});
            for (int round = 0; round < 3; ++round) // asked for anew every time
                rf_sarFileDataRead(file, ktxt::widen(c.node).c_str(), &node, nullptr, nullptr,
                                   nullptr);
            kerr::setPrintSink(old);
            EXPECT_EQ(node.design() ? kmif_DesignName(node.design()) : "", c.design)
                << c.type << " " << c.node;
            rf_sarFileClose(file);
        }
        EXPECT_EQ(kmsc_BlocksInUse(), blocks) << c.type << " " << c.node;
    }
}

TEST_F(Rs2Calibration, ProductFileIsReadOnceUntilItChanges) {
    const auto name = write();
    const int watcher = inotify_init1(IN_NONBLOCK);
    // With the closing between them, openings are not folded into one event.
    inotify_add_watch(watcher, ktxt::narrow(name).c_str(), IN_OPEN | IN_CLOSE_NOWRITE);
    const auto opens = [&] {
        inotify_event event;
        int count = 0;
        while (::read(watcher, &event, sizeof event) == sizeof event)
            count += (event.mask & IN_OPEN) != 0;
        return count;
    };
    RF_SARFile* file = rf_sarFileOpen(name.c_str(), u"rb");
    ASSERT_TRUE(file);
    const auto readAll = [&] {
        for (const char16_t* node : {u":SAR_Metadata", u":Rs2_Calibration", u":Doppler"}) {
            KmifNode read;
            EXPECT_EQ(rf_sarFileDataRead(file, node, &read, nullptr, nullptr, nullptr), 0U);
            EXPECT_FALSE(read.empty());
        }
    };
    readAll();
    readAll();
    EXPECT_EQ(opens(), 1);
    std::ofstream(ktxt::narrow(name), std::ios::app) << "<!-- later -->";
    opens();
    readAll();
    EXPECT_EQ(opens(), 1);
    rf_sarFileClose(file);
    close(watcher);
}

TEST_F(Rs2Calibration, APartialNodeComesWithTheReason) {
    name({"sigma.xml", "none.xml", "../gamma.xml"});
    RF_SARFile* file = rf_sarFileOpen(write().c_str(), u"rb");
    const support::Log log;
    KmifNode node;
    EXPECT_EQ(rf_sarFileDataRead(file, u":Rs2_Calibration", &node, nullptr, nullptr, nullptr), 0U);
    rf_sarFileClose(file);
    EXPECT_THAT(kmif_NodeToJson(node), testing::AllOf(HasSubstr("\"lutBeta\": [10.0, 11.0]"),
                                                      HasSubstr("\"lutSigmaOffset\": 0.0"),
                                                      HasSubstr("\"lutGamma\": []")));
    // Reported under the name of the Doppler operation.
    EXPECT_THAT(log.text(), testing::StartsWith("getDopplerRates: Wrong lutSigma XML schema file"));
    EXPECT_THAT(log.text(), HasSubstr("none.xml"));
}
