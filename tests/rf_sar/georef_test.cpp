// SPDX-License-Identifier: MIT
#include "rf_sar.h"

#include "kerr/kerr.h"
#include "kmsc/kmsc.h"
#include "ktxt/ktxt.h"
#include "kxfr/kxfr.h"
#include "platform/sarm/sar_record.h"
#include "rf_sar_file.h"
#include "rf_sar_layer_cache.h"
#include "support/small_products.h"

#include <gdal.h>
#include <gmock/gmock.h>
#include <ogr_srs_api.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace {

using support::TemporaryFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// A reader that has the record it is given, or none.
struct FakeReader final : imageMetadata {
    sarm::MetadataPtr record;
    int asked = 0;

    SarMetadataRecord* readSARnode() override {
        ++asked;
        return record.release();
    }
};

enum class Record { none, good, refused };

sarm::MetadataPtr makeRecord(Record kind) {
    if (kind == Record::none)
        return nullptr;
    // Flying north over the equator at 700 km, looking right.
    sarm::MetadataPtr record = support::recordOf({}, {0, {7078e3, 0, 0}, {0, -516, 7500}});
    record->geodeticTerrainHeight = 120;
    if (kind == Record::refused)
        record->slantRangeNearEdge = 0;
    return record;
}

enum class Place {
    none,
    northUp,
    southUp,
    turned,
    ties,
    tiesWithoutSystem,
    plainWithoutSystem,
    geocentric
};

/// An image of 64 x 48 pixels that states where it lies.
void writePlacedImage(const std::string& name, Place place) {
    support::writeImage(name, {}, [](int, int x, int y) { return std::pair(x + y, 0); });
    if (place == Place::none)
        return;
    const GDALDatasetH image = GDALOpen(name.c_str(), GA_Update);
    const OGRSpatialReferenceH system = OSRNewSpatialReference(nullptr);
    OSRImportFromEPSG(system, place == Place::geocentric ? 4978 : 32633);
    double transform[6] = {5e5, 10, 0, 4e6, 0, -10};
    if (place == Place::southUp)
        transform[5] = 10;
    if (place == Place::turned)
        transform[1] = -8, transform[2] = transform[4] = 6, transform[5] = 8;
    if (place == Place::ties || place == Place::tiesWithoutSystem) {
        std::vector<GDAL_GCP> ties;
        static char empty[] = "";
        for (const double line : {0.5, 47.5})
            for (const double pixel : {0.5, 63.5})
                ties.push_back({empty, empty, pixel, line, 5e5 + 10 * pixel, 4e6 - 10 * line, 0});
        GDALSetGCPs2(image, 4, ties.data(), place == Place::ties ? system : nullptr);
    } else {
        GDALSetGeoTransform(image, transform);
        if (place != Place::plainWithoutSystem)
            GDALSetSpatialRef(image, system);
    }
    OSRDestroySpatialReference(system);
    GDALClose(image);
}

/// A layer over an image and a reader, without a product around them.
class PlacedLayer {
public:
    PlacedLayer(Record record, Place place, std::uint32_t formatIndex = formatRcm) {
        reader.record = makeRecord(record);
        file.formatIndex = formatIndex;
        file.reader = &reader;
        layer.file = &file;
        writePlacedImage(image, place);
        kerr::Slot slot;
        const KstrStringList names = kimg_LayerGetNames(ktxt::widen(image), nullptr, slot);
        KPXM_RECT* fill = kimg_PixelRectCreate(1, 1, kpxmF64);
        layer.first.closeOnRelease(true);
        layer.first.reset(kimg_LayerOpen(names[0], nullptr, slot, 25, 6, fill, 3, 4097, 1, 0));
        kpxm_PixelRectDelete(fill);
        EXPECT_TRUE(layer.first) << kerr_Text(slot.get());
    }
    ~PlacedLayer() { sarm_ReleaseMetadata(file.sarMetadata); }

    TemporaryFolder folder;
    std::string image = folder / "image.tif";
    FakeReader reader;
    RF_SARFile file;
    RF_SARLayer layer;
};

/// What an entry point printed or logged.
class Heard {
public:
    Heard()
        : outer_(kerr::setPrintSink([this](const KERR_REPORT& r) { add(r); })),
          listener_([this](const KERR_REPORT& r) { add(r); }) {}
    ~Heard() { kerr::setPrintSink(outer_); }
    std::string text;

private:
    void add(const KERR_REPORT& report) { text += kerr_Text(&report) + "\n"; }
    kerr::Sink outer_;
    TolvanLog::Listener listener_;
};

std::string taken(char16_t* text) {
    const kmsc::HeapPtr<char16_t> owner(text);
    return text ? ktxt::narrow(text) : "(null)";
}

struct Info {
    std::uint32_t status;
    std::string projection, units;
    double numbers[4] = {9, 9, 9, 9}; ///< upper left x, y, pixel size x, y
};

Info readInfo(RF_SARLayer& layer) {
    Info info{};
    char16_t *projection = nullptr, *units = nullptr;
    info.status = rf_sarLayerMapInfoRead(&layer, &projection, &info.numbers[0], &info.numbers[1],
                                         &info.numbers[2], &info.numbers[3], &units);
    info.projection = taken(projection);
    info.units = taken(units);
    return info;
}

struct Projection {
    std::uint32_t status = 9;
    std::array<std::string, 9> texts;
};

Projection readProjection(RF_SARLayer& layer) {
    Projection read;
    std::array<char16_t*, 9> t;
    t.fill(reinterpret_cast<char16_t*>(&read)); // the call zeroes them
    read.status = rf_sarLayerMapProjectionRead(&layer, &t[0], &t[1], &t[2], &t[3], &t[4], &t[5],
                                               &t[6], &t[7], &t[8]);
    for (std::size_t i = 0; i < t.size(); ++i)
        read.texts[i] = taken(t[i]);
    return read;
}

struct Transform {
    std::uint32_t status = 9, count = 9;
    std::string projection, units;
    std::vector<std::string> designs;
    KxfrXFormPtr decoded;
};

Transform readTransform(RF_SARLayer& layer) {
    Transform read;
    char16_t *projection = nullptr, *units = nullptr;
    char16_t** lists[5];
    std::fill(std::begin(lists), std::end(lists), reinterpret_cast<char16_t**>(&read));
    read.status =
        rf_sarLayerMapToPixelTransformRead(&layer, &projection, &units, &read.count, &lists[0],
                                           &lists[1], &lists[2], &lists[3], &lists[4]);
    read.projection = taken(projection);
    read.units = taken(units);
    std::vector<KxfrPartTexts> parts;
    for (std::uint32_t i = 0; i < read.count; ++i) {
        parts.push_back({lists[0][i], lists[1][i], lists[2][i], lists[3][i], lists[4][i]});
        read.designs.push_back(ktxt::narrow(lists[4][i]));
    }
    kmsc_FailAllocation(0); // the host's own part
    if (read.count > 0)
        read.decoded.reset(kxfr_XFormFromTexts(parts, nullptr));
    for (char16_t** list : lists) {
        for (std::uint32_t i = 0; i < read.count; ++i)
            kmsc_HeapFree(list[i]);
        kmsc_HeapFree(list); // null when there is none
    }
    return read;
}

/// Fails every host allocation of a call in turn. @return how many calls failed.
template <class Call>
int failEachAllocation(const Call& call) {
    const std::int64_t before = kmsc_BlocksInUse();
    int failures = 0;
    for (std::uint64_t n = 1;; ++n) {
        kmsc_FailAllocation(n);
        const bool done = call();
        kmsc_FailAllocation(0);
        EXPECT_EQ(kmsc_BlocksInUse(), before) << n;
        if (done)
            return failures;
        ++failures;
    }
}

} // namespace

TEST(MapInfo, SignsOfPixelSizesAreTheDirectionsOfTheImageAxes) {
    PlacedLayer north(Record::none, Place::northUp), south(Record::none, Place::southUp),
        turned(Record::none, Place::turned), none(Record::none, Place::ties);
    const Info info = readInfo(north.layer);
    EXPECT_EQ(info.projection, "WGS 84 / UTM zone 33N");
    EXPECT_EQ(info.units, "meters");
    EXPECT_THAT(info.numbers, ElementsAre(500005, 3999995, 10, -10));
    EXPECT_THAT(readInfo(south.layer).numbers, ElementsAre(500005, 4000005, 10, 10));
    // Turned so that x falls from the first pixel to the last although lines lead east.
    EXPECT_THAT(readInfo(turned.layer).numbers, ElementsAre(499999, 4000007, -10, 10));

    const Info nothing = readInfo(none.layer);
    EXPECT_EQ(nothing.status, 0U);
    EXPECT_EQ(nothing.projection + nothing.units, "(null)(null)");
    EXPECT_THAT(nothing.numbers, ElementsAre(0, 0, 0, 0));
    RF_SARLayer closed;
    EXPECT_EQ(readInfo(closed).status, 0U);
}

TEST(MapInfo, ShortMemoryIsReportedAndLeavesNothing) {
    PlacedLayer placed(Record::none, Place::northUp);
    std::string printed;
    const int failures = failEachAllocation([&] {
        const Heard heard;
        const Info info = readInfo(placed.layer);
        printed += heard.text;
        // What the host library could not allocate is unprinted and counts as no map information.
        EXPECT_EQ(info.numbers[2] == 0, info.projection == "(null)");
        return info.projection != "(null)";
    });
    EXPECT_GE(failures, 5);
    EXPECT_EQ(printed, "rf_sarLayerMapInfoRead: No memory\n"
                       "rf_sarLayerMapInfoRead: No memory\n");
}

TEST(Georeferencing, ComesFromTheRecordThenTheImageThenNowhere) {
    struct Case {
        Record record;
        Place place;
        std::uint32_t format;
        const char *projection, *units; ///< of the projection read
        const char *mapName, *mapUnits; ///< of the transform read
        std::vector<std::string> designs;
    };
    const char geographic[] = "Geographic (Lat/Lon)", utm[] = "WGS 84 / UTM zone 33N";
    const char none[] = "(null)";
    const Case cases[] = {
        {Record::good,
         Place::northUp,
         formatRcm,
         geographic,
         "degrees",
         geographic,
         "degrees",
         {"RangeDoppler"}},
        {Record::good,
         Place::none,
         formatCapellaSlc,
         geographic,
         "degrees",
         geographic,
         "degrees",
         {"RangeDoppler"}},
        // Capella GEO is what its image says, record or not.
        {Record::good, Place::northUp, formatCapellaGeo, utm, "meters", utm, "meters", {"Affine"}},
        {Record::refused,
         Place::ties,
         formatCapellaSlc,
         utm,
         "meters",
         utm,
         "meters",
         {"Polynomial"}},
        {Record::none, Place::northUp, formatRcm, utm, "meters", utm, "meters", {"Affine"}},
        {Record::none,
         Place::tiesWithoutSystem,
         formatRcm,
         none, // it may be any
         none,
         "Unknown",
         "Unknown",
         {"Polynomial"}},
        {Record::none,
         Place::plainWithoutSystem,
         formatRcm,
         none,
         none,
         "Unknown",
         "Unknown",
         {"Affine"}},
        {Record::none, Place::none, formatRcm, geographic, "degrees", none, none, {}},
        {Record::good, Place::none, formatCapellaGeo, geographic, "degrees", none, none, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "case " << &c - cases);
        PlacedLayer placed(c.record, c.place, c.format);
        const Heard heard;
        const Projection projection = readProjection(placed.layer);
        EXPECT_EQ(projection.status, 0U);
        EXPECT_EQ(projection.texts[0], c.projection);
        EXPECT_EQ(projection.texts[1], c.units);
        EXPECT_EQ(projection.texts[3], c.projection == none ? none : "WGS 84");
        const Transform transform = readTransform(placed.layer);
        EXPECT_EQ(transform.status, 0U);
        EXPECT_EQ(transform.projection, c.mapName);
        EXPECT_EQ(transform.units, c.mapUnits);
        EXPECT_EQ(transform.designs, c.designs);
        EXPECT_EQ(transform.decoded != nullptr, !c.designs.empty());
        EXPECT_EQ(heard.text.find("no sensor model") != std::string::npos,
                  c.record == Record::refused);
        // The record is asked for once; a reader without one is asked by every read.
        EXPECT_EQ(placed.reader.asked, c.record == Record::none ? 2 : 1);
    }
}

TEST(Georeferencing, DecodedTransformsPutPixelCentresWhereTheyAre) {
    PlacedLayer affine(Record::none, Place::northUp), ties(Record::none, Place::ties);
    for (PlacedLayer* placed : {&affine, &ties}) {
        const Transform read = readTransform(placed->layer);
        const KxfrPixel pixels[] = {{0, 0}, {63, 47}};
        KxfrMapPoint map[2];
        EXPECT_EQ(read.decoded->pixelToMap(pixels, map), 2U);
        EXPECT_NEAR(map[0].x, 500005, 1e-6);
        EXPECT_NEAR(map[0].y, 3999995, 1e-6);
        EXPECT_NEAR(map[1].x, 500635, 1e-6);
        EXPECT_NEAR(map[1].y, 3999525, 1e-6);
    }
    // A sensor model answers as the record's own model does, bit by bit.
    PlacedLayer sensor(Record::good, Place::none);
    const Transform read = readTransform(sensor.layer);
    const auto model = sarm::Model::fromRecord(*makeRecord(Record::good));
    EXPECT_EQ(read.decoded->sceneHeightM(), 120);
    const KxfrPixel pixels[] = {{100, 2000}};
    KxfrMapPoint map[] = {{0, 0, 33}};
    read.decoded->pixelToMap(pixels, map);
    const auto ground = model->imageToGround({100, 2000}, 33);
    EXPECT_EQ(map[0].x, ground->lonDeg);
    EXPECT_EQ(map[0].y, ground->latDeg);
}

TEST(Georeferencing, ImagesInNoMapFailBothReads) {
    PlacedLayer placed(Record::none, Place::geocentric);
    const Heard heard;
    EXPECT_EQ(readProjection(placed.layer).status, RF_SAR_FAILURE);
    EXPECT_THAT(heard.text, HasSubstr("rf_sarLayerMapProjectionRead: "
                                      "kimg_LayerMapProjectionRead failed"));
    EXPECT_THAT(heard.text, HasSubstr(placed.image));
    EXPECT_EQ(readTransform(placed.layer).status, RF_SAR_FAILURE);
}

TEST(Georeferencing, ShortMemoryLeavesNothingOfAnyRead) {
    for (const Record record : {Record::good, Record::none}) {
        PlacedLayer placed(record, Place::northUp);
        sarMetadataOf(placed.file);
        const Heard heard;
        EXPECT_GE(failEachAllocation([&] {
                      const Projection read = readProjection(placed.layer);
                      const bool whole = read.texts[8] != "(null)";
                      for (const std::string& text : read.texts)
                          EXPECT_EQ(text != "(null)", whole);
                      return whole;
                  }),
                  9);
        EXPECT_GE(failEachAllocation([&] {
                      const Transform read = readTransform(placed.layer);
                      EXPECT_EQ(read.status == 0, read.decoded != nullptr);
                      EXPECT_EQ(read.projection == "(null)", read.status != 0);
                      return read.status == 0;
                  }),
                  12);
        EXPECT_THAT(heard.text, HasSubstr("kprj_ProjectionConvertToMIF failed"));
        EXPECT_THAT(heard.text, HasSubstr("No memory"));
    }
}
