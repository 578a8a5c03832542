// SPDX-License-Identifier: MIT
#include "kxfr/kxfr.h"

#include "kmif/kmif_node.h"
#include "kmsc/kmsc.h"
#include "kstr/kstr.h"
#include "kxfr/part.h"
#include "support/spotlight.h"

#include <gdal_alg.h>
#include <gmock/gmock.h>

#include <bit>
#include <cmath>
#include <random>

namespace {

using testing::HasSubstr;

/// A transform's texts as the plug-in hands them out, and what a host does with them.
struct Texts {
    std::uint32_t count = 0;
    char16_t **from = nullptr, **to = nullptr, **data = nullptr;
    KmifDesign** designs = nullptr;
    std::vector<std::u16string> names, dictionaries;
    bool converted = false;

    explicit Texts(const KxfrXForm& transform, KERR_REPORT** slot = nullptr)
        : converted(kxfr_XFormConvertToMIF(&transform, &count, &from, &to, &data, &designs, slot)) {
    }
    Texts(const Texts&) = delete;
    Texts& operator=(const Texts&) = delete;
    ~Texts() {
        for (std::uint32_t i = 0; i < count; ++i) {
            for (char16_t** list : {from, to, data})
                kmsc_HeapFree(list[i]);
            kmif_DesignDestroy(designs[i]);
        }
        for (void* list : {static_cast<void*>(from), static_cast<void*>(to),
                           static_cast<void*>(data), static_cast<void*>(designs)})
            kmsc_HeapFree(list);
    }

    std::vector<KxfrPartTexts> parts() {
        std::vector<KxfrPartTexts> parts;
        names.clear();
        dictionaries.clear();
        for (std::uint32_t i = 0; i < count; ++i) {
            const kmif::DictionaryPtr dictionary(kmif_DictionaryCreate(nullptr));
            kmif_DictionaryAddDesign(dictionary.get(), designs[i], nullptr);
            const kmsc::HeapPtr<char16_t> text(
                kmif_DictionaryEncodeToString(dictionary.get(), nullptr));
            dictionaries.emplace_back(text.get());
            const std::string& name = kmif_DesignName(designs[i]);
            names.emplace_back(name.begin(), name.end());
        }
        for (std::uint32_t i = 0; i < count; ++i)
            parts.push_back({from[i], to[i], data[i], dictionaries[i], names[i]});
        return parts;
    }
};

KxfrXFormPtr decoded(const std::vector<KxfrPartTexts>& parts) {
    kerr::Slot slot;
    KxfrXFormPtr transform(kxfr_XFormFromTexts(parts, slot));
    EXPECT_TRUE(transform) << kerr_Text(slot.get());
    return transform;
}

bool bitEqual(double a, double b) {
    return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

/// Both transforms answer bit by bit alike, both ways, on a grid that leaves the image.
void expectBitEqual(const KxfrXForm& a, const KxfrXForm& b, double width, double height) {
    std::vector<KxfrPixel> pixels, backA, backB;
    std::vector<KxfrMapPoint> mapA, mapB;
    for (int i = 0; i < 3000; ++i) { // more than a batch
        pixels.push_back({(i % 55 - 5) * width / 45, (i / 55 - 5) * height / 45});
        mapA.push_back({0, 0, i % 7 * 100.0});
    }
    mapB = mapA;
    backA = backB = pixels;
    EXPECT_EQ(a.pixelToMap(pixels, mapA), b.pixelToMap(pixels, mapB));
    EXPECT_EQ(a.mapToPixel(mapA, backA), b.mapToPixel(mapB, backB));
    int differing = 0, answered = 0;
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        differing += !bitEqual(mapA[i].x, mapB[i].x) || !bitEqual(mapA[i].y, mapB[i].y) ||
                     !bitEqual(backA[i].sample, backB[i].sample) ||
                     !bitEqual(backA[i].line, backB[i].line);
        if (std::isnan(backA[i].sample))
            continue;
        ++answered;
        EXPECT_NEAR(backA[i].sample, pixels[i].sample, 1e-6);
        EXPECT_NEAR(backA[i].line, pixels[i].line, 1e-6);
    }
    EXPECT_EQ(differing, 0);
    EXPECT_GT(answered, 1000);
}

/// A circular orbit over a sphere's worth of random looks; the numbers of a model, no record.
sarm::ModelParameters randomModel(std::mt19937& random) {
    const auto uniform = [&](double low, double high) {
        return std::uniform_real_distribution(low, high)(random);
    };
    sarm::ModelParameters p;
    p.terrainHeightM = uniform(0, 500);
    p.imageDurationS = uniform(2, 20);
    p.startTimeS = uniform(-10, 86400);
    p.side = random() % 2 ? 1 : -1;
    p.grid = {4000, 3000, 0, p.imageDurationS / 3999, 0, uniform(3, 8), 0, {}};
    if (random() % 2) {
        p.grid.timeOfLine0S = p.imageDurationS;
        p.grid.timePerLineS *= -1;
    }
    p.grid.rangeExtentM = 2999 * p.grid.rangePerSampleM;
    p.grid.slantRange[0] = uniform(800e3, 900e3);
    p.grid.slantRange[1] = 1;
    const double radius = 7071e3, rate = 1.06e-3, node = uniform(-3, 3), tilt = uniform(0.5, 2.6),
                 phase = uniform(-3, 3);
    p.orbit.centreTimeS = p.imageDurationS / 2;
    p.orbit.halfSpanS = p.imageDurationS;
    p.orbit.positionDegree = 6;
    p.orbit.velocityDegree = 6;
    const sarm::Vec3 a{std::cos(node), std::sin(node), 0};
    const sarm::Vec3 b{-std::sin(node) * std::cos(tilt), std::cos(node) * std::cos(tilt),
                       std::sin(tilt)};
    double factor = 1; // (rate * halfSpan)^k / k!
    for (int k = 0; k <= 6; ++k) {
        const double angle = phase + k * std::acos(0.0);
        const double c = factor * std::cos(angle), s = factor * std::sin(angle);
        const double position[3] = {a.x * c + b.x * s, a.y * c + b.y * s, b.z * s};
        const double velocity[3] = {b.x * c - a.x * s, b.y * c - a.y * s, b.z * c};
        for (int axis = 0; axis < 3; ++axis) {
            p.orbit.position[axis][k] = radius * position[axis];
            p.orbit.velocity[axis][k] = radius * rate * velocity[axis];
        }
        factor *= rate * p.orbit.halfSpanS / (k + 1);
    }
    return p;
}

/// A grid of ties of a picture that is turned, bent and 20 km wide.
std::vector<KxfrTie> bentTies(double bend) {
    std::vector<KxfrTie> ties;
    for (double line = 0; line <= 1000; line += 200)
        for (double sample = 0; sample <= 2000; sample += 250)
            ties.push_back({{sample, line},
                            5e5 + 10 * sample + 3 * line + bend * sample * line,
                            6e6 - 2 * sample - 9 * line + bend * line * line * line / 1000});
    return ties;
}

} // namespace

TEST(Kxfr, SarModelsDecodeToBitEqualTransforms) {
    std::mt19937 random(20240611);
    for (int i = 0; i < 12; ++i) {
        SCOPED_TRACE(i);
        const KxfrXFormPtr made(kxfr_XFormFromSarModel(sarm::Model(randomModel(random)), nullptr));
        ASSERT_TRUE(made);
        Texts texts(*made);
        EXPECT_EQ(texts.count, 1U);
        const KxfrXFormPtr back = decoded(texts.parts());
        ASSERT_TRUE(back);
        EXPECT_TRUE(back->sensorModel());
        EXPECT_EQ(back->sceneHeightM(), made->sceneHeightM());
        expectBitEqual(*made, *back, 3000, 4000);
    }
}

TEST(Kxfr, PolarFormatDecodesToABitEqualTransform) {
    sarm::PolarFormatParameters numbers = support::spotlight();
    const KxfrXFormPtr made(kxfr_XFormFromPolarFormat(numbers, nullptr));
    ASSERT_TRUE(made);
    Texts texts(*made);
    const KxfrXFormPtr back = decoded(texts.parts());
    ASSERT_TRUE(back && back->sensorModel());
    EXPECT_EQ(back->sceneHeightM(), numbers.terrainHeightM);
    expectBitEqual(*made, *back, numbers.numberOfSamples, numbers.numberOfLines);
    numbers.polarAngleRate = 0;
    kerr::Slot slot;
    EXPECT_FALSE(kxfr_XFormFromPolarFormat(numbers, slot));
    EXPECT_THAT(kerr_Text(slot.get()), HasSubstr("polar angle does not change"));
}

TEST(Kxfr, FlatTransformsDecodeToBitEqualOnes) {
    const KxfrXFormPtr made[] = {
        KxfrXFormPtr(
            kxfr_XFormFromAffine({5e5, 10, 1, 6e6, 2, -9}, 2000, 1000, KxfrMap::plane, nullptr)),
        KxfrXFormPtr(kxfr_XFormFromAffine({179.5, 1e-3, 0, 9, 0, -1e-3}, 2000, 1000,
                                          KxfrMap::degrees, nullptr)),
        KxfrXFormPtr(kxfr_XFormFromTies(bentTies(1e-4), KxfrMap::plane, nullptr))};
    for (const KxfrXFormPtr& transform : made) {
        ASSERT_TRUE(transform);
        EXPECT_FALSE(transform->sensorModel());
        Texts texts(*transform);
        expectBitEqual(*transform, *decoded(texts.parts()), 2000, 1000);
    }
}

TEST(Kxfr, AffineAcrossTheAntimeridianAnswersEveryTurn) {
    const KxfrXFormPtr transform(
        kxfr_XFormFromAffine({179.5, 1e-3, 0, 9, 0, -1e-3}, 2000, 1000, KxfrMap::degrees, nullptr));
    const KxfrPixel pixels[] = {{999.5, 499.5}};
    KxfrMapPoint map[] = {{}};
    transform->pixelToMap(pixels, map);
    EXPECT_NEAR(map[0].x, -179.5, 1e-12); // 1000 pixels from the outer corner
    EXPECT_NEAR(map[0].y, 8.5, 1e-12);
    for (const double x : {-179.5, 180.5, 540.5}) {
        KxfrPixel back[1];
        EXPECT_EQ(transform->mapToPixel(std::vector<KxfrMapPoint>{{x, 8.5, 0}}, back), 1U);
        EXPECT_NEAR(back[0].sample, 999.5, 1e-9);
    }
    kerr::Slot slot;
    EXPECT_EQ(kxfr_XFormFromAffine({0, 1, 2, 0, 2, 4}, 9, 9, KxfrMap::plane, slot), nullptr);
    EXPECT_THAT(kerr_Text(slot.get()), HasSubstr("spread"));
}

TEST(Kxfr, PolynomialsAreThoseThatGdalFits) {
    // A picture that only this order bends to: GDAL's fit of the same order is the oracle.
    const double bends[] = {0, 0, 0, 1e-4};
    for (const int order : {1, 3}) {
        const std::vector<KxfrTie> ties = bentTies(bends[order]);
        std::vector<GDAL_GCP> gcps;
        for (const KxfrTie& tie : ties)
            gcps.push_back({nullptr, nullptr, tie.pixel.sample, tie.pixel.line, tie.x, tie.y, 0});
        void* gdal = GDALCreateGCPTransformer(static_cast<int>(gcps.size()), gcps.data(), order, 0);
        const KxfrXFormPtr own(kxfr_XFormFromTies(ties, KxfrMap::plane, nullptr));
        ASSERT_TRUE(gdal && own);
        for (double sample = -300; sample <= 2300; sample += 130) {
            double x = sample, y = 700 - sample / 5, z = 0;
            const KxfrPixel pixels[] = {{x, y}};
            KxfrMapPoint map[1];
            int good = 0;
            GDALGCPTransform(gdal, 0, 1, &x, &y, &z, &good);
            own->pixelToMap(pixels, map);
            EXPECT_NEAR(map[0].x, x, 1e-5); // m; GDAL solves the normal equations
            EXPECT_NEAR(map[0].y, y, 1e-5);
        }
        GDALDestroyGCPTransformer(gdal);
    }
}

TEST(Kxfr, NoiseDoesNotBuyAHigherOrderAndBadTiesAreRefused) {
    std::vector<KxfrTie> ties = bentTies(0);
    std::mt19937 random(3);
    std::normal_distribution noise(0.0, 5.0); // m, half a pixel
    for (KxfrTie& tie : ties) {
        tie.x += noise(random);
        tie.y += noise(random);
    }
    const KxfrXFormPtr made(kxfr_XFormFromTies(ties, KxfrMap::plane, nullptr));
    const auto& numbers = *static_cast<const kxfr::PolynomialData*>(made->parts()[0]->data());
    EXPECT_EQ(numbers.order, 1);

    std::vector<KxfrTie> line;
    for (double i = 0; i < 20; ++i)
        line.push_back({{i, 2 * i}, i, 3 * i * i});
    std::vector<KxfrTie> hole = bentTies(0);
    hole[7].x = NAN;
    for (const auto& bad : {line, hole, std::vector<KxfrTie>(ties.begin(), ties.begin() + 2),
                            std::vector<KxfrTie>()}) {
        kerr::Slot slot;
        EXPECT_EQ(kxfr_XFormFromTies(bad, KxfrMap::plane, slot), nullptr);
        EXPECT_EQ(kxfr_XFormFromTies(bad, KxfrMap::degrees, nullptr), nullptr);
        EXPECT_TRUE(slot);
    }
}

TEST(Kxfr, TiesAroundAPoleAndAcrossTheAntimeridianFitAsAnywhere) {
    // The same picture, in kilometres about its middle, laid on the sphere at three places.
    const double degree = std::acos(-1) / 180, earth = 6371;
    for (const auto& [lon0, lat0] : {std::pair(10.0, 45.0), {180.0, -16.0}, {30.0, 89.95}}) {
        const auto place = [&, lon = lon0 * degree, lat = lat0 * degree](double sample,
                                                                         double line) {
            const double e = (sample - 500) * 0.05 / earth, n = (500 - line) * 0.05 / earth;
            const double up = std::sin(lat) + n * std::cos(lat);
            const double forward = std::cos(lat) - n * std::sin(lat);
            return std::pair(std::remainder(lon + std::atan2(e, forward), 360 * degree) / degree,
                             std::atan2(up, std::hypot(e, forward)) / degree);
        };
        std::vector<KxfrTie> ties;
        for (double line = 0; line <= 1000; line += 100)
            for (double sample = 0; sample <= 1000; sample += 100) {
                const auto [lon, lat] = place(sample, line);
                ties.push_back({{sample, line}, lon, lat});
            }
        const KxfrXFormPtr transform(kxfr_XFormFromTies(ties, KxfrMap::degrees, nullptr));
        ASSERT_TRUE(transform);
        for (double at = 3; at < 1000; at += 71) {
            const auto [lon, lat] = place(at, 1000 - at / 2);
            KxfrPixel found[1];
            transform->mapToPixel(std::vector<KxfrMapPoint>{{lon, lat, 0}}, found);
            EXPECT_NEAR(found[0].sample, at, 1e-4);
            EXPECT_NEAR(found[0].line, 1000 - at / 2, 1e-4);
        }
    }
}

TEST(Kxfr, DamagedTextsAreRefusedByName) {
    std::mt19937 random(1);
    const KxfrXFormPtr sar(kxfr_XFormFromSarModel(sarm::Model(randomModel(random)), nullptr));
    const KxfrXFormPtr turned(
        kxfr_XFormFromAffine({5, 1, 0, 6, 0, -1}, 9, 9, KxfrMap::degrees, nullptr));
    Texts sarTexts(*sar), turnedTexts(*turned);
    const auto refusal = [](std::vector<KxfrPartTexts> parts, auto damage) {
        damage(parts);
        kerr::Slot slot;
        EXPECT_EQ(KxfrXFormPtr(kxfr_XFormFromTexts(parts, slot)), nullptr);
        return kerr_Text(slot.get());
    };
    const auto changed = [](std::u16string_view text, std::u16string_view name,
                            std::u16string_view value) {
        std::u16string result(text);
        const auto start = result.find(u": ", result.find(name)) + 2;
        return result.replace(start, result.find_first_of(u",\n}", start) - start, value);
    };
    const std::tuple<const char16_t*, const char16_t*, const char*> numbers[] = {
        {u"positionDegree", u"11", "positionDegree is out of range"},
        {u"side", u"0", "side"},
        {u"halfSpan", u"0", "halfSpan is not positive"},
        {u"startTime", u"\"NaN\"", "not finite"},
        {u"numberOfLines", u"1.5", "numberOfLines"}};
    for (const auto& [name, value, message] : numbers) {
        const std::u16string data = changed(sarTexts.data[0], name, value);
        EXPECT_THAT(refusal(sarTexts.parts(), [&](auto& parts) { parts[0].data = data; }),
                    testing::AllOf(HasSubstr("RangeDoppler"), HasSubstr(message)));
    }
    EXPECT_THAT(refusal(sarTexts.parts(), [](auto& parts) { parts[0].designName = u"Magic"; }),
                HasSubstr("\"Magic\": its design is not known"));
    EXPECT_THAT(refusal(sarTexts.parts(), [](auto& parts) { parts[0].to = u"map"; }),
                HasSubstr("does not fit"));
    EXPECT_THAT(refusal(turnedTexts.parts(), [](auto& parts) { parts.pop_back(); }),
                HasSubstr("do not lead to pixels"));
    EXPECT_NE(refusal(turnedTexts.parts(), [](auto& parts) { std::swap(parts[0], parts[1]); }), "");
    EXPECT_NE(refusal(turnedTexts.parts(),
                      [](auto& parts) { parts[0].dictionary = parts[1].dictionary; }),
              "");
    EXPECT_NE(refusal({}, [](auto&) {}), "");
}

TEST(Kxfr, DesignsDescribeTheStructures) {
    const std::pair<const char*, std::size_t> sizes[] = {
        {"LongitudeTurn", sizeof(kxfr::LongitudeTurnData)},
        {"TouchingPlane", sizeof(kxfr::TouchingPlaneData)},
        {"Affine", sizeof(kxfr::AffineData)},
        {"Polynomial", sizeof(kxfr::PolynomialData)},
        {"RangeDoppler", sizeof(sarm::ModelParameters)},
        {"PolarFormat", sizeof(sarm::PolarFormatParameters)}};
    for (const auto& [name, size] : sizes) {
        const kmif::DesignPtr design(kxfr::findKind(name)->makeDesign(nullptr));
        EXPECT_EQ(kmif_DesignSize(design.get()), size) << name;
    }
}

TEST(Kxfr, ShortMemoryLeavesNothing) {
    std::mt19937 random(2);
    const KxfrXFormPtr sar(kxfr_XFormFromSarModel(sarm::Model(randomModel(random)), nullptr));
    const std::int64_t before = kmsc_BlocksInUse();
    int failures = 0;
    for (std::uint64_t n = 1;; ++n, ++failures) {
        kmsc_FailAllocation(n);
        kerr::Slot slot;
        const Texts texts(*sar, slot);
        kmsc_FailAllocation(0);
        if (texts.converted)
            break;
        EXPECT_TRUE(slot);
        EXPECT_TRUE(!texts.from && !texts.to && !texts.data && !texts.designs);
    }
    EXPECT_GE(failures, 8);
    EXPECT_EQ(kmsc_BlocksInUse(), before);
}
