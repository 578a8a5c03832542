// SPDX-License-Identifier: MIT
#include "kprj/kprj.h"

#include "kmsc/kmsc.h"

#include <gmock/gmock.h>

#include <array>
#include <cmath>
#include <tuple>

namespace {

using testing::HasSubstr;

KprjProjectionPtr projection(const std::string& text) {
    kerr::Slot slot;
    KprjProjectionPtr made(kprj_ProjectionFromText(text, slot));
    EXPECT_TRUE(made) << text << kerr_Text(slot.get());
    return made;
}

/// Without the realization of WGS 84 that later releases of PROJ know; what the platform itself
/// says of WGS 84 is the same with every release.
std::string withoutLatestRealization(std::string wkt) {
    const std::string latest = "        MEMBER[\"World Geodetic System 1984 (G2296)\"],\n";
    if (const auto at = wkt.find(latest); at != wkt.npos)
        wkt.erase(at, latest.size());
    return wkt;
}

void expectSame(const KPRJ_PROJECTION& made, const KPRJ_PROJECTION& known) {
    const auto members = [](const KPRJ_PROJECTION& of) {
        return std::tie(of.name, of.units, of.datum, of.spheroid, of.authority, of.semiMajorAxis,
                        of.semiMinorAxis, of.isGeographic);
    };
    EXPECT_EQ(withoutLatestRealization(made.wkt), withoutLatestRealization(known.wkt));
    EXPECT_EQ(members(made), members(known));
    EXPECT_NEAR(made.unitSize, known.unitSize, 1e-17);
}

/// The nine texts of a projection, owned.
struct Nine {
    std::array<kmsc::HeapPtr<char16_t>, 9> texts;
    bool converted = false;

    explicit Nine(const KPRJ_PROJECTION& from, KERR_REPORT** slot = nullptr) {
        std::array<char16_t*, 9> t{};
        converted = kprj_ProjectionConvertToMIF(&from, &t[0], &t[1], &t[2], &t[3], &t[4], &t[5],
                                                &t[6], &t[7], &t[8], slot);
        for (std::size_t i = 0; i < t.size(); ++i)
            texts[i].reset(t[i]);
    }
    KprjMifTexts view() const {
        const auto& t = texts;
        return {t[0].get(), t[1].get(), t[2].get(), t[3].get(), t[4].get(),
                t[5].get(), t[6].get(), t[7].get(), t[8].get()};
    }
};

} // namespace

TEST(Kprj, SpheroidsByNameHaveThePublishedAxes) {
    const std::tuple<const char*, double, double> known[] = {
        {"WGS 84", 6378137.0, 6356752.314245179},
        {"wgs84", 6378137.0, 6356752.314245179},
        {"Clarke 1866", 6378206.4, 6356583.8}};
    for (const auto& [name, major, minor] : known) {
        KPRJ_SPHEROID* spheroid = kprj_SpheroidCreate();
        EXPECT_TRUE(kprj_SpheroidByName(name, spheroid, nullptr));
        EXPECT_DOUBLE_EQ(spheroid->semiMajorAxis, major);
        EXPECT_DOUBLE_EQ(spheroid->semiMinorAxis, minor);
        kerr::Slot slot;
        EXPECT_FALSE(kprj_SpheroidByName("Flat", spheroid, slot));
        EXPECT_THAT(kerr_Text(slot.get()), HasSubstr("\"Flat\""));
        EXPECT_EQ(spheroid->semiMajorAxis, major);
        kprj_SpheroidFree(spheroid);
    }
}

TEST(Kprj, NamedPartsMakeTheGeographicProjectionAndContradictionsDoNot) {
    const KprjProjectionPtr known = projection("EPSG:4326");
    expectSame(*KprjProjectionPtr(kprj_GeographicWgs84(nullptr)), *known);
    const auto parameters84 = kprj_ProParametersCreateByName("Geographic (Lat/Lon)", nullptr);
    KPRJ_SPHEROID spheroid84{};
    ASSERT_TRUE(kprj_SpheroidByName("WGS 84", &spheroid84, nullptr));
    KPRJ_DATUM* datum84 = kprj_DatumByName("WGS 84", "WGS 84", nullptr);
    expectSame(*KprjProjectionPtr(kprj_ProjectionInit(parameters84, &spheroid84, datum84, nullptr)),
               *known);
    kprj_DatumFree(datum84);
    kprj_ProParametersFree(parameters84);
    kerr::Slot spheroid, datum, parameters, text;
    EXPECT_EQ(kprj_DatumByName("WGS 84", "Bessel 1841", spheroid), nullptr);
    EXPECT_THAT(kerr_Text(spheroid.get()), HasSubstr("does not stand on"));
    EXPECT_EQ(kprj_DatumByName("Atlantis", "WGS 84", datum), nullptr);
    EXPECT_THAT(kerr_Text(datum.get()), HasSubstr("\"Atlantis\""));
    EXPECT_EQ(kprj_ProParametersCreateByName("Mercator", parameters), nullptr);
    EXPECT_EQ(kprj_ProjectionFromText("EPSG:4978", text), nullptr); // geocentric
    EXPECT_TRUE(parameters && text);
}

TEST(Kprj, NineTextsComeBackAsTheSameProjection) {
    // name, units, size of a unit in m or rad
    const std::tuple<const char*, const char*, const char*, double> known[] = {
        {"EPSG:4326", "Geographic (Lat/Lon)", "degrees", 0.017453292519943295},
        {"EPSG:32633", "WGS 84 / UTM zone 33N", "meters", 1},
        {"EPSG:3995", "WGS 84 / Arctic Polar Stereographic", "meters", 1},
        {"EPSG:2263", "NAD83 / New York Long Island (ftUS)", "US survey foot", 0.3048006096012192},
        {"EPSG:4807", "Geographic (Lat/Lon)", "grad", 0.015707963267949},
        {"EPSG:32633+5773", "WGS 84 / UTM zone 33N", "meters", 1},
        {"LOCAL_CS[\"site\",UNIT[\"metre\",1]]", "site", "meters", 1}};
    for (const auto& [text, name, units, size] : known) {
        SCOPED_TRACE(text);
        const KprjProjectionPtr made = projection(text);
        EXPECT_EQ(made->name, name);
        EXPECT_EQ(made->units, units);
        EXPECT_NEAR(made->unitSize, size, 1e-15);
        const Nine nine(*made);
        kerr::Slot slot;
        const KprjProjectionPtr back(kprj_ProjectionFromMIF(nine.view(), slot));
        ASSERT_TRUE(back) << kerr_Text(slot.get());
        EXPECT_EQ(std::tie(back->name, back->units, back->datum, back->spheroid, back->authority,
                           back->wkt, back->semiMajorAxis, back->semiMinorAxis, back->unitSize,
                           back->isGeographic),
                  std::tie(made->name, made->units, made->datum, made->spheroid, made->authority,
                           made->wkt, made->semiMajorAxis, made->semiMinorAxis, made->unitSize,
                           made->isGeographic));
    }
}

TEST(Kprj, DamagedTextsAreRefused) {
    const Nine utm(*projection("EPSG:32633")), polar(*projection("EPSG:3995"));
    using Text = std::u16string_view KprjMifTexts::*;
    for (const Text text :
         {&KprjMifTexts::projectionName, &KprjMifTexts::unitsName, &KprjMifTexts::datumName,
          &KprjMifTexts::spheroidName, &KprjMifTexts::authority, &KprjMifTexts::wkt,
          &KprjMifTexts::designName, &KprjMifTexts::dictionary, &KprjMifTexts::data}) {
        KprjMifTexts damaged = utm.view();
        damaged.*text = u"{}";
        kerr::Slot slot;
        EXPECT_EQ(kprj_ProjectionFromMIF(damaged, slot), nullptr);
        EXPECT_TRUE(slot);
    }
    KprjMifTexts mixed = utm.view();
    mixed.wkt = polar.view().wkt;
    EXPECT_EQ(kprj_ProjectionFromMIF(mixed, nullptr), nullptr);
}

TEST(Kprj, ShortMemoryLeavesNoTextAndNoBlock) {
    const KprjProjectionPtr made = projection("EPSG:4326");
    const std::int64_t before = kmsc_BlocksInUse();
    int failures = 0;
    for (std::uint64_t n = 1;; ++n) {
        kmsc_FailAllocation(n);
        kerr::Slot slot;
        const Nine nine(*made, slot);
        kmsc_FailAllocation(0);
        if (nine.converted)
            break;
        ++failures;
        EXPECT_TRUE(slot);
        for (const auto& text : nine.texts)
            EXPECT_FALSE(text);
    }
    EXPECT_GE(failures, 9);
    EXPECT_EQ(kmsc_BlocksInUse(), before);
}

// Values from cs2cs 9.1 with x before y.
TEST(Kprj, ConvertsWithEastBeforeNorthWhateverTheSystemSays) {
    struct Case {
        const char* system;
        double x, y, lon, lat;
    };
    const Case cases[] = {
        {"EPSG:32633", 392000, 5820000, 13.408275440338, 52.519395317262},
        {"EPSG:3035", 4321000, 3210000, 10, 52}, // northing before easting
        {"EPSG:4326", 190, 10, -170, 10},        // latitude before longitude
        {"EPSG:3031", -1000000, 1000000, -45, -77.037400634593},
        {"EPSG:2263", 984250, 0, -74, 40.1666666666667}, // feet
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.system);
        const auto converter = KprjGeographicConverter::create(*projection(c.system), nullptr);
        ASSERT_TRUE(converter);
        struct Point {
            double x, other, y;
        } points[] = {{c.x, 7, c.y}, {c.x, 7, c.y}, {NAN, 7, 0}};
        converter->toGeographic(&points[0].x, &points[0].y, sizeof points[0], 3);
        EXPECT_NEAR(points[1].x, c.lon, 1e-9);
        EXPECT_NEAR(points[1].y, c.lat, 1e-9);
        EXPECT_TRUE(std::isnan(points[2].y));
        converter->fromGeographic(&points[0].x, &points[0].y, sizeof points[0], 3);
        EXPECT_NEAR(std::remainder(points[1].x - c.x, 360), 0, 1e-7);
        EXPECT_NEAR(points[1].y, c.y, 1e-7);
        EXPECT_EQ(points[1].other, 7);
    }
    kerr::Slot slot;
    EXPECT_EQ(
        KprjGeographicConverter::create(*projection("LOCAL_CS[\"site\",UNIT[\"metre\",1]]"), slot),
        nullptr);
    EXPECT_THAT(kerr_Text(slot.get()), HasSubstr("\"site\""));
}
