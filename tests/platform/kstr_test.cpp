// SPDX-License-Identifier: MIT
#include "kstr/kstr.h"

#include "kerr/kerr.h"
#include "kmsc/kmsc.h"
#include "ktxt/ktxt.h"

#include <gtest/gtest.h>

TEST(WideText, RoundTripsAndRefusesWhatIsNotUtf) {
    const std::string name = "/données/产品 é \xF0\x9F\x9B\xB0.xml";
    EXPECT_EQ(ktxt::narrow(ktxt::widen(name)), name);
    EXPECT_THROW(ktxt::widen("caf\xE9"), TolvanLog::Exception);
    EXPECT_THROW(ktxt::widen("\xF0\x9F"), TolvanLog::Exception);
    EXPECT_THROW(ktxt::narrow(std::u16string(1, char16_t(0xD83D))), TolvanLog::Exception);
    EXPECT_EQ(ktxt::widenLossy("a\xE9z"), u"a\uFFFDz");
}

TEST(WideText, LeadingDigitsMakeTheNumber) {
    EXPECT_EQ(ktxt_Text_atol(u"12OneLineAsBlock"), 12);
    EXPECT_EQ(ktxt_Text_atol(u"x1"), 0);
    EXPECT_EQ(ktxt_Text_atol(u""), 0);
    EXPECT_EQ(ktxt_Text_atol(u"-7"), -7);
    EXPECT_EQ(ktxt_Text_atol(u"99999999999999999999999"), std::numeric_limits<long>::max());
}

TEST(HostStrings, CompareWithoutCaseInAnyScript) {
    EXPECT_TRUE(kstr_Eqic(u".JsOn", u".json"));
    EXPECT_TRUE(kstr_Eqic(u"élan Ж", u"ÉLAN ж"));
    EXPECT_FALSE(kstr_Eqic(u"HH", u"HHH"));
    EXPECT_TRUE(kstr_Eqnic(u":DOPPLER_rate", u":Doppler", 8));
    EXPECT_FALSE(kstr_Eqnic(u":Rs2_Cal", u":Rs2_Calibration", 16));
}

TEST(HostStrings, FormatNeverReadsPastItsArguments) {
    const kmsc::HeapPtr<char16_t> name(
        kstr_Sprintf(u"%s_%s_%s_%d", {u"C", u"HH", u"MAGNITUDE", 1L}));
    EXPECT_EQ(std::u16string(name.get()), u"C_HH_MAGNITUDE_1");
    EXPECT_EQ(kstr::format(u"100%% %s %s|%", {u"a%s"}), u"100% a%s |%");
}

TEST(HostStrings, ListTellsNeverFilledFromEmptyIndex) {
    KstrStringList list;
    EXPECT_EQ(list.count(), -1);
    EXPECT_EQ(std::u16string(list[0]), u"");
    list.append(u"");
    list.append(u"HV");
    EXPECT_EQ(list.count(), 2);
    EXPECT_EQ(std::u16string(list[1]), u"HV");
    EXPECT_EQ(std::u16string(list[2]), u"");
    EXPECT_EQ(std::u16string(list[-1]), u"");
}

TEST(HostHeap, FailsTheChosenAllocationOnceAndCountsBlocks) {
    const auto before = kmsc_BlocksInUse();
    kmsc_FailAllocation(2);
    kmsc::HeapPtr<char16_t> first(kstr_Duplicate(u"a"));
    EXPECT_TRUE(first);
    EXPECT_EQ(kstr_Duplicate(u"b"), nullptr);
    kmsc::HeapPtr<char16_t> third(kstr_Duplicate(u"c"));
    EXPECT_TRUE(third);
    EXPECT_EQ(kmsc_BlocksInUse(), before + 2);
    EXPECT_EQ(kmsc_HeapCalloc(SIZE_MAX / 4, 8), nullptr); // product overflows
}

TEST(ErrorReports, ChainPrintsThroughTheSinkAndTheThrownCopySharesIt) {
    std::vector<std::string> printed;
    const auto old = kerr::setPrintSink(
        [&](const KERR_REPORT& report) { printed.push_back(kerr_Text(&report)); });
    KERR_REPORT* report =
        kerr_CreateErrorReport("rf_sarLayerOpen", kerrError, "kimg_LayerOpen failed",
                               kerr_CreateErrorReport("kimg_LayerOpen", kerrError, "no such file"));
    kerr_PrintErrorReport(report);
    kerr_DeleteErrorReportEx(&report);
    kerr::setPrintSink(old);
    EXPECT_EQ(report, nullptr);
    ASSERT_EQ(printed.size(), 1U);
    EXPECT_EQ(printed[0], "rf_sarLayerOpen: kimg_LayerOpen failed (kimg_LayerOpen: no such file)");

    std::vector<std::string> logged;
    const TolvanLog::Listener listener(
        [&](const KERR_REPORT& heard) { logged.push_back(kerr_Text(&heard)); });
    KerrException operation("capella_metadata", "readSARnode");
    try {
        kerr::raise(operation.slot(), "kfio", "cannot read");
        operation.ThrowIfReported();
        FAIL() << "a report in the slot must throw";
    } catch (const KerrException& thrown) {
        EXPECT_STREQ(thrown.what(), "cannot read");
        operation.Log(thrown.what());
    }
    EXPECT_TRUE(operation.HasError());
    operation.Clear();
    EXPECT_FALSE(operation.HasError());
    ASSERT_EQ(logged.size(), 1U);
    EXPECT_EQ(logged[0], "readSARnode: cannot read (kfio: cannot read)");
}
