// SPDX-License-Identifier: MIT
#include "hosts/example_family.h"
#include "support/temporary_folder.h"

#include <gmock/gmock.h>

#include <atomic>
#include <thread>

using namespace product;

TEST(Families, TheExampleStatesItsProductAndLeavesOthersAlone) {
    const support::TemporaryFolder folder;
    const std::string file = folder.write(
        "strip.json", R"({"id": "S1", "image": "strip.tif", "pole": "VV", "lines": 40,
                          "samples": 30, "time": "2024-05-06T07:08:09.5"})");
    Document document{file, {}, kfio::readJsonTree(file)};
    EXPECT_EQ(example.looksLike(R"({"image": 1})"), Likeness::yes);
    const auto stated = example.read(document);
    ASSERT_TRUE(stated);
    EXPECT_EQ(stated->facts().images.at(0).file, folder / "strip.tif");
    EXPECT_EQ(stated->imageClaims().height, 40U);
    EXPECT_EQ(stated->acquisition().start, "2024-05-06T07:08:09.5Z");
    EXPECT_THAT(stated->tiePoints(), testing::IsEmpty());
    Document other{file, {}, {}};
    EXPECT_FALSE(example.read(other));
}

TEST(Families, AnItemsAssetLeadsToTheExtendedDocument) {
    const support::TemporaryFolder folder;
    folder.write("other.json", R"({"collect": {"image": {"rows": 7, "columns": 3}}})");
    folder.write("P_extended.json", R"({"collect": {"image": {"rows": 8, "columns": 3}}})");
    for (const auto& [href, rows] :
         {std::pair{"other.json", 7U}, {"https://a.example/other.json?sig=1", 7U},
          {"missing.json", 8U}, {"", 8U}}) {
        const std::string file = folder.write(
            "P.json", std::string(R"({"properties": {}, "assets": {"metadata": {"href": ")") +
                          href + R"("}}})");
        EXPECT_EQ(readStatedProduct(file)->imageClaims().height, rows) << href;
    }
}

TEST(DocumentText, ReadsTimesAndNumbersAsDocumentsWriteThem) {
    const double whole = gpsSecondsOf("2024-05-06T07:08:09Z");
    EXPECT_NEAR(gpsSecondsOf("2024-05-06T07:08:09.25Z") - whole, 0.25, 1e-6);
    EXPECT_EQ(gpsSecondsOf("2024-05-06T07:08:09+00:00"), whole);
    for (const char* text : {"", "soon", "2024-05-06", "2024-05-06T07:08", "2024-5-6T07:08:09Z",
                             "2024-05-06T07:08:xxZ", "-024-05-06T07:08:09Z"})
        EXPECT_TRUE(std::isnan(gpsSecondsOf(text))) << text;
    EXPECT_THAT(parseNumbers(" 1.5\n-2e3\t+4 ", "f"), testing::ElementsAre(1.5, -2000, 4));
    EXPECT_THROW(parseNumbers("1,5", "f"), loader::Error);
    EXPECT_EQ(parseSize("", "f"), 0U);
    EXPECT_THROW(parseSize("0", "f"), loader::Error);
}

TEST(Kept, ReadsOnceWhateverTheThreadsAndKeepsTheFault) {
    const KeptByName<int> kept;
    std::atomic<int> reads = 0;
    const auto ask = [&] {
        for (int i = 0; i < 100; ++i) {
            EXPECT_EQ(kept.get("good", [&] { return ++reads; }), 1);
            EXPECT_THROW(kept.get("bad", [&]() -> int {
                ++reads;
                throw loader::Error("bad: is damaged");
            }),
                         loader::Error);
        }
    };
    std::thread first(ask), second(ask);
    first.join();
    second.join();
    EXPECT_EQ(reads, 2);
}
