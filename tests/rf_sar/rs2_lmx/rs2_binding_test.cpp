// SPDX-License-Identifier: MIT
#include "rs2_lmx/source/rs2prod.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <random>

using lmx::elmx_error;
using lmx::s_error;
using namespace rs2prod;

namespace {

std::string contents(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// A document in which every member of the schema occurs.
const std::string& seed() {
    static const std::string document = contents(RS2_SEED_DOCUMENT);
    return document;
}

std::string replaced(std::string text, std::string_view from, std::string_view to) {
    const auto at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
}

std::vector<s_error> errorsOf(c_product& product, const std::string& document, bool tolerant) {
    std::vector<s_error> errors;
    elmx_error error;
    c_product bound(document.data(), document.size(), error, [&](const s_error& each) {
        errors.push_back(each);
        return tolerant ? elmx_error::ok : each.code;
    });
    EXPECT_EQ(error, tolerant || errors.empty() ? elmx_error::ok : errors.front().code);
    product.swap(bound);
    return errors;
}

elmx_error codeOf(const std::string& document) {
    c_product product;
    const auto errors = errorsOf(product, document, false);
    return errors.empty() ? elmx_error::ok : errors.front().code;
}

std::string canonical(const c_product& product) {
    lmx::c_xml_writer writer(lmx::c_xml_writer::e_style::canonical);
    EXPECT_EQ(product.marshal(writer, "product"), elmx_error::ok);
    return writer.document();
}

/// Binds a state vector alone. @return the codes that the handler saw.
std::vector<int> bindStateVector(const std::string& children, c_stateVectorDataStore& vector,
                                 bool tolerant) {
    const std::string document = "<p:stateVector xmlns:p='" + std::string(ns_map_reader[0].uri) +
                                 "'>" + children + "</p:stateVector>";
    std::vector<int> codes;
    lmx::c_xml_reader reader(document, "", [&](const s_error& error) {
        codes.push_back(static_cast<int>(error.code));
        return tolerant ? elmx_error::ok : error.code;
    });
    reader.set_namespace(ns_map_reader[0]);
    const auto result = vector.unmarshal(reader, "stateVector");
    EXPECT_EQ(static_cast<int>(result), codes.empty() || tolerant ? 0 : codes.front());
    return codes;
}

const std::string stamp = "<p:timeStamp>2017-04-30T08:42:00.000001Z</p:timeStamp>";
const std::string restOfVector =
    "<p:yPosition units='m'>2</p:yPosition><p:zPosition units='m'>3</p:zPosition>"
    "<p:xVelocity units='m/s'>4</p:xVelocity><p:yVelocity units='m/s'>5</p:yVelocity>"
    "<p:zVelocity units='m/s'>6</p:zVelocity>";
const std::string x = "<p:xPosition units='m'>1</p:xPosition>";

} // namespace

TEST(StateVector, ReportsTheAgreedCodes) {
    const struct {
        std::string children;
        std::vector<int> codes;
    } cases[] = {
        {stamp + x + restOfVector, {}},
        {replaced(stamp, "Z<", "<") + x + restOfVector, {22}},
        {replaced(stamp, "04-30", "04-31") + x + restOfVector, {35}},
        {stamp + replaced(x, "'m'", "'km'") + restOfVector, {43}},
        {stamp + replaced(x, " units='m'", "") + restOfVector, {25}},
        {stamp + replaced(x, "units", "units='m' units") + restOfVector, {3}},
        {x + restOfVector, {21}},
        {stamp + replaced(x, "1<", "one<") + restOfVector, {35}},
        {stamp + x + restOfVector + "<p:extra/>", {20}},
        {stamp + "text" + x + restOfVector, {30}},
    };
    for (const auto& each : cases) {
        c_stateVectorDataStore vector;
        EXPECT_EQ(bindStateVector(each.children, vector, false), each.codes) << each.children;
    }
}

TEST(StateVector, ATolerantHandlerGetsTheRest) {
    const std::string stranger = "<p:stranger a='1'><p:x/>text</p:stranger>";
    const struct {
        std::string children;
        std::vector<int> codes;
    } cases[] = {
        {x + restOfVector, {21}},                    // a child is missing
        {stranger + stamp + x + restOfVector, {20}}, // ... or only stands behind a stranger
        {stamp + x + restOfVector + stamp + stranger, {31, 20}},
        {restOfVector.substr(0, restOfVector.find("<p:z")) + stamp + x +
             restOfVector.substr(restOfVector.find("<p:z")),
         {21, 21, 31, 31}}, // wrong order: yPosition comes before time and x
        {replaced(stamp, "Z<", "<") + replaced(x, "'m'", "'km' mass='1'") + restOfVector,
         {22, 43, 26, 25}},
    };
    for (const auto& each : cases) {
        c_stateVectorDataStore vector;
        EXPECT_EQ(bindStateVector(each.children, vector, true), each.codes) << each.children;
        EXPECT_EQ(vector.get_zVelocity().get_zVelocity(), 6) << each.children;
        EXPECT_EQ(vector.get_yPosition().get_yPosition(), 2) << each.children;
    }
}

TEST(StateVector, AReaderAtItsEndIsRefused) {
    const std::string document = "<p:stateVector xmlns:p='" + std::string(ns_map_reader[0].uri) +
                                 "'>" + stamp + x + restOfVector + "</p:stateVector>";
    std::vector<s_error> errors;
    lmx::c_xml_reader reader(document, "", [&](const s_error& error) {
        errors.push_back(error);
        return elmx_error::ok;
    });
    reader.set_namespace(ns_map_reader[0]);
    c_stateVectorDataStore vector;
    EXPECT_EQ(vector.unmarshal(reader, "stateVector"), elmx_error::ok);
    EXPECT_EQ(vector.unmarshal(reader, "stateVector"), elmx_error::elementMissing);
    c_mapProjectionDataStore::c_anon_utmProjectionParameters choice;
    EXPECT_EQ(choice.unmarshal(reader, ""), elmx_error::elementMissing);
    c_product product;
    EXPECT_EQ(product.unmarshal(reader, "product"), elmx_error::elementMissing);
    ASSERT_EQ(errors.size(), 3u);
    EXPECT_EQ(errors[0].element, "rs2prod:stateVector");
}

TEST(StateVector, MessagesNameTheElement) {
    const auto messageOf = [](const std::string& children) {
        std::string message;
        const std::string document = "<p:stateVector xmlns:q='urn:q' xmlns:p='" +
                                     std::string(ns_map_reader[0].uri) + "'>" + children;
        lmx::c_xml_reader reader(document, "", [&](const s_error& error) {
            message = error.message();
            return error.code;
        });
        reader.set_namespace(ns_map_reader[0]);
        c_stateVectorDataStore().unmarshal(reader, "stateVector");
        return message.substr(message.find(": ") + 2);
    };
    const struct {
        std::string children, message;
    } cases[] = {
        {stamp + "\ntext" + x, "rs2prod:stateVector: text is not expected here ( text)"},
        {"<q:odd/>" + stamp, "q:odd: an element is not known here (in rs2prod:stateVector)"},
        {stamp + stamp, "rs2prod:timeStamp: an element is misplaced: it is known, but not expected "
                        "here, or not again (in rs2prod:stateVector)"},
        {stamp + replaced(x, "units", "q:units"),
         "rs2prod:xPosition: an attribute is not known (q:units=\"m\")"},
        {replaced(stamp, "Z", "Z<p:b/>"),
         "rs2prod:b: an element is not known here (in rs2prod:timeStamp)"},
        {stamp, "rs2prod:stateVector: the document is not well-formed XML (no element found)"},
    };
    for (const auto& each : cases)
        EXPECT_EQ(messageOf(each.children), each.message);
}

TEST(StateVector, PartsOfAValueNeverRunTogether) {
    c_stateVectorDataStore vector;
    const auto split = replaced(x, "1<", "1<p:b/>2<");
    EXPECT_EQ(bindStateVector(stamp + split + restOfVector, vector, true),
              (std::vector<int>{20, 35}));
    EXPECT_EQ(vector.get_xPosition().get_xPosition(), 0);
}

TEST(StateVector, AnAttributeReadTwiceIsRepeated) {
    const std::string document = "<xPosition units='m'/>";
    lmx::c_xml_reader reader(document, "");
    c_stateVectorDataStore::c_xPosition position;
    auto error = elmx_error::ok;
    EXPECT_FALSE(position.unmarshal_attributes_check(reader, error));
    EXPECT_EQ(error, elmx_error::attributeMissing);
    EXPECT_TRUE(position.unmarshal_attributes(reader, error));
    EXPECT_TRUE(position.unmarshal_attributes_check(reader, error));
    EXPECT_FALSE(position.unmarshal_attributes(reader, error));
    EXPECT_EQ(error, elmx_error::attributeRepeated);
}

TEST(Rs2Binding, EveryMemberSurvivesReadingAndWriting) {
    c_product first;
    ASSERT_TRUE(errorsOf(first, seed(), false).empty());
    for (const auto style :
         {lmx::c_xml_writer::e_style::pretty, lmx::c_xml_writer::e_style::canonical}) {
        lmx::c_xml_writer writer(style);
        ASSERT_EQ(first.marshal(writer, "product"), elmx_error::ok);
        c_product second;
        ASSERT_TRUE(errorsOf(second, writer.document(), false).empty());
        EXPECT_EQ(canonical(second), canonical(first));
    }
    const auto count = [](std::string_view text, std::string_view what) {
        std::size_t found = 0;
        for (auto at = text.find(what); at != text.npos; at = text.find(what, at + 1))
            ++found;
        return found;
    };
    EXPECT_EQ(count(canonical(first), "</"), count(seed(), "</"));
    EXPECT_EQ(count(canonical(first), "=\""), count(seed(), "=\""));
}

TEST(Rs2Binding, AStrangerAnywhereCostsNothingButItself) {
    c_product whole;
    ASSERT_TRUE(errorsOf(whole, seed(), false).empty());
    const auto expected = canonical(whole);
    const std::string strangers[] = {"<stranger a='1'><productId>x</productId>text</stranger>",
                                     "<q:height xmlns:q='urn:q'/>"};
    std::size_t places = 0;
    for (auto at = seed().find("<productId"); at != std::string::npos;
         at = seed().find('<', at + 1)) {
        if (seed().compare(at, 10, "</product>") == 0)
            break;
        if (seed()[at + 1] == '/')
            continue;
        for (const auto& stranger : strangers) {
            c_product product;
            const auto errors = errorsOf(product, std::string(seed()).insert(at, stranger), true);
            ASSERT_EQ(errors.size(), 1u) << errors[1].message() << seed().substr(at, 80);
            EXPECT_EQ(errors[0].code, elmx_error::elementUnexpected);
            ASSERT_EQ(canonical(product), expected) << seed().substr(at, 80);
        }
        ++places;
    }
    EXPECT_GT(places, 300u);
}

TEST(Rs2Binding, ListsHoldTheirSizesWhenBuiltAndWritten) {
    const auto codeOfWriting = [](const lmx::c_object& object) {
        lmx::c_xml_writer writer;
        return object.marshal(writer, "part");
    };
    c_product product;
    errorsOf(product, seed(), false);
    auto& rational =
        product.get_imageAttributes().get_geographicInformation().get_rationalFunctions();
    rational.delete_lineNumeratorCoefficients(0);
    EXPECT_FALSE(rational.is_occurs_ok());
    EXPECT_EQ(codeOfWriting(rational), elmx_error::lengthOutOfBounds);
    EXPECT_EQ(codeOfWriting(product), elmx_error::lengthOutOfBounds);
    rational.clear_lineNumeratorCoefficients();
    EXPECT_EQ(codeOfWriting(rational), elmx_error::elementMissing);

    c_dopplerRateValuesDataStore rate; // one element with a list
    rate.get_dopplerRateReferenceTime().set_dopplerRateReferenceTime(0);
    rate.get_dopplerRateReferenceTime().set_units();
    for (int i = 0; i < 10; ++i)
        rate.append_dopplerRateValuesCoefficients(i);
    EXPECT_TRUE(rate.is_occurs_ok());
    EXPECT_EQ(codeOfWriting(rate), elmx_error::ok);
    rate.append_dopplerRateValuesCoefficients(10);
    EXPECT_FALSE(rate.is_occurs_ok());
    EXPECT_EQ(codeOfWriting(rate), elmx_error::lengthOutOfBounds);

    auto& shifts = product
                       .get_imageAttributes() // a value with attributes
                       .get_geographicInformation()
                       .get_referenceEllipsoidParameters()
                       .get_datumShiftParameters();
    shifts.append_datumShiftParameters(1);
    EXPECT_FALSE(shifts.is_occurs_ok());
    EXPECT_EQ(codeOfWriting(shifts), elmx_error::lengthOutOfBounds);
}

TEST(Rs2Binding, TheWritersNamespaceWins) {
    c_product product;
    errorsOf(product, seed(), false);
    lmx::c_xml_writer writer;
    writer.set_namespace({"", c_product::ns_map.uri});
    ASSERT_EQ(product.marshal(writer, "product"), elmx_error::ok);
    EXPECT_EQ(writer.document().find("rs2prod:"), std::string::npos);
    c_product again;
    EXPECT_TRUE(errorsOf(again, writer.document(), false).empty());
    EXPECT_EQ(canonical(again), canonical(product));
}

TEST(Rs2Binding, ErrorsNameElementLineAndFile) {
    const auto path = std::filesystem::temp_directory_path() / u8"b\u00E4d product.xml";
    std::ofstream(path) << "<?xml version='1.0'?>\n<product copyright='c'\n xmlns='"
                        << ns_map_reader[0].uri << "'>\n<productId>a b</productId></product>";
    s_error seen;
    elmx_error error;
    const c_product product(path.u16string().c_str(), error, [&](const s_error& each) {
        seen = each;
        return each.code;
    });
    std::filesystem::remove(path);
    EXPECT_EQ(error, elmx_error::patternMismatch);
    EXPECT_EQ(seen.element, "rs2prod:productId");
    EXPECT_EQ(seen.line, 4);
    EXPECT_EQ(std::filesystem::path(std::u8string(seen.file.begin(), seen.file.end())), path);

    const c_product none("/no/such/product.xml", error);
    EXPECT_EQ(error, elmx_error::notOpened);
    const char16_t loneSurrogate[] = {u'/', 0xD800, 0};
    const c_product noName(loneSurrogate, error);
    EXPECT_EQ(error, elmx_error::notOpened);
}

TEST(Rs2Binding, NamespaceIsMatchedByUri) {
    const std::string uri = ns_map_reader[0].uri;
    EXPECT_EQ(codeOf(replaced(seed(), uri, "urn:other")), elmx_error::wrongRoot);
    EXPECT_EQ(codeOf(replaced(seed(), "xmlns=", "xmlns:unused=")), elmx_error::wrongRoot);
    EXPECT_EQ(codeOf("<lut/>"), elmx_error::wrongRoot);
}

TEST(Rs2Binding, BadBytesNeverCrash) {
    const unsigned seedNumber = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seedNumber));
    std::mt19937 random(seedNumber);
    const std::string_view alphabet = "<>/&;'\"= \n!-[]a1Z\xC3";
    int refused = 0;
    for (int round = 0; round < 1000; ++round) {
        std::string document = seed();
        for (int change = 0; change < 1 + round % 4; ++change)
            document[random() % document.size()] = alphabet[random() % alphabet.size()];
        for (const bool tolerant : {false, true}) {
            elmx_error error;
            c_product product(document.data(), document.size(), error, [&](const s_error& each) {
                return tolerant ? elmx_error::ok : each.code;
            });
            refused += error != elmx_error::ok;
        }
    }
    EXPECT_GT(refused, 500);
}

TEST(Rs2Binding, CopiesAreDeepAndResetEmpties) {
    c_product first;
    errorsOf(first, seed(), false);
    const auto before = canonical(first);
    c_product copy(first);
    EXPECT_EQ(canonical(copy), before);
    auto& orbit = copy.get_sourceAttributes().get_orbitAndAttitude().get_orbitInformation();
    orbit.get_stateVector(0).get_xPosition().set_xPosition(-1);
    orbit.append_stateVector(orbit.get_stateVector(0));
    EXPECT_EQ(canonical(first), before);
    copy = first;
    EXPECT_EQ(canonical(copy), before);
    copy = *&copy;
    EXPECT_EQ(canonical(copy), before);

    copy.reset();
    EXPECT_FALSE(copy.is_occurs_ok());
    EXPECT_EQ(copy.get_productId(), "");
    first.swap(copy);
    EXPECT_EQ(canonical(copy), before);
    EXPECT_TRUE(copy.is_occurs_ok());
}

TEST(Rs2Binding, MovesTakeTheContents) {
    static_assert(std::is_nothrow_move_constructible_v<c_product> &&
                  std::is_nothrow_move_assignable_v<c_product> &&
                  std::is_nothrow_swappable_v<c_product>);
    c_product first, empty;
    errorsOf(first, seed(), false);
    const auto before = canonical(first);
    const auto* image = first.find_imageAttributes();
    c_product second(std::move(first));
    EXPECT_EQ(second.find_imageAttributes(), image);
    EXPECT_EQ(first.find_imageAttributes(), nullptr); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(first.get_productId(), "");
    EXPECT_FALSE(first.is_occurs_ok());
    std::swap(second, empty);
    EXPECT_EQ(empty.find_imageAttributes(), image);
    second = std::move(empty);
    EXPECT_EQ(canonical(second), before);
    auto& itself = second;
    second = std::move(itself);
    EXPECT_EQ(canonical(second), before);
}

TEST(Rs2Binding, WhatIsMissingReadsAsTheDefault) {
    c_product created;
    EXPECT_EQ(created.find_sourceAttributes(), nullptr);
    created.get_sourceAttributes(); // makes it
    EXPECT_NE(created.find_sourceAttributes(), nullptr);

    const c_product empty;
    const auto& processing = empty.get_imageGenerationParameters();
    EXPECT_EQ(processing.size_dopplerCentroid(), 0u);
    EXPECT_EQ(processing.get_dopplerCentroid(3).get_dopplerAmbiguity(), lmx::c_big_int(0));
    EXPECT_EQ(processing.back_chirp().get_pole(), "");
    const auto& first = processing.get_sarProcessingInformation().get_zeroDopplerTimeFirstLine();
    EXPECT_EQ(first.get_year(), 0);
    EXPECT_EQ(processing.get_payloadCharacteristicsParameterFile(0), "");

    c_imageGenerationParametersDataStore changed;
    changed.get_chirp(5).setenum_pole(e_HH); // nothing is there to keep it
    EXPECT_EQ(changed.size_chirp(), 0u);
    EXPECT_EQ(changed.get_chirp(5).get_pole(), "");
    EXPECT_FALSE(c_geographicInformationDataStore().isset_mapProjection());
}

TEST(Rs2Binding, SetChecksWhatItStores) {
    c_sourceAttributesDataStore source;
    EXPECT_EQ(source.set_beamModeMnemonic("F0W2"), elmx_error::ok);
    EXPECT_EQ(source.set_beamModeMnemonic("F0W2_long"), elmx_error::lengthOutOfBounds);
    EXPECT_EQ(source.set_beamModeMnemonic("F 0"), elmx_error::patternMismatch);
    EXPECT_EQ(source.set_satellite("RADARSAT-3"), elmx_error::valueNotInSet);
    EXPECT_EQ(source.set_rawDataStartTime(*lmx::c_datetime::from_string("2017-04-30T08:42:53")),
              elmx_error::patternMismatch);
    EXPECT_EQ(source.set_rawDataStartTime(lmx::c_datetime()), elmx_error::valueInvalid);
    EXPECT_EQ(source.get_beamModeMnemonic(), "F0W2");
    EXPECT_EQ(source.get_rawDataStartTime().get_year(), 0);

    c_radarParametersDataStore::c_rank rank;
    EXPECT_EQ(rank.set_rank(0), elmx_error::valueOutOfRange);
    EXPECT_EQ(rank.set_rank(101), elmx_error::valueOutOfRange);
    EXPECT_EQ(rank.set_rank(100), elmx_error::ok);
    EXPECT_FALSE(rank.is_occurs_ok());
    EXPECT_EQ(rank.append_beam("W2"), elmx_error::ok);
    EXPECT_EQ(rank.append_beam("W 2"), elmx_error::patternMismatch);
    EXPECT_TRUE(rank.is_occurs_ok());

    c_stateVectorDataStore::c_xPosition position;
    EXPECT_EQ(position.set_units(), elmx_error::ok);
    EXPECT_EQ(position.get_units(), "m");
    lmx::c_xml_writer writer;
    EXPECT_EQ(position.marshal(writer, "xPosition"), elmx_error::elementMissing);
}

TEST(Rs2Binding, ListsAreEditedInPlace) {
    c_radarParametersDataStore radar;
    for (const char* beam : {"W1", "W2", "W3"})
        EXPECT_EQ(radar.append_beams(beam), elmx_error::ok);
    radar.insert_beams(1, "S7");
    radar.assign_beams(0, "U1");
    radar.delete_beams(2);
    radar.delete_beams(9);
    ASSERT_EQ(radar.size_beams(), 3u);
    EXPECT_EQ(radar.get_beams(0) + radar.get_beams(1) + radar.back_beams() + radar.get_beams(3),
              "U1S7W3");

    c_radarParametersDataStore::c_settableGain gain;
    gain.set_settableGain(1);
    radar.append_settableGain(gain);
    radar.append_settableGain().set_settableGain(3);
    gain.set_settableGain(2);
    const auto& inserted = radar.insert_settableGain(1, gain);
    EXPECT_EQ(&inserted, &radar.get_settableGain(1));
    gain.set_settableGain(0);
    radar.assign_settableGain(0, gain);
    EXPECT_EQ(radar.get_settableGain(0).get_settableGain(), 0);
    EXPECT_EQ(radar.get_settableGain(1).get_settableGain(), 2);
    EXPECT_EQ(radar.back_settableGain().get_settableGain(), 3);
    radar.clear_settableGain();
    EXPECT_EQ(radar.size_settableGain(), 0u);
}

TEST(Rs2Binding, AChoiceHoldsOneOfItsElements) {
    c_mapProjectionDataStore::c_anon_utmProjectionParameters choice;
    EXPECT_EQ(choice.getchosen(), choice.e_none);
    EXPECT_FALSE(choice.is_occurs_ok());
    c_utmProjectionParametersDataStore utm;
    utm.set_utmZone(31);
    choice.assign_utmProjectionParameters(utm);
    EXPECT_EQ(choice.getchosen(), choice.e_utmProjectionParameters);
    choice.get_nspProjectionParameters().set_zone(7);
    EXPECT_EQ(choice.getchosen(), choice.e_nspProjectionParameters);
    const auto& fixed = choice;
    EXPECT_FALSE(fixed.get_utmProjectionParameters().isset_utmZone());
    EXPECT_TRUE(choice.is_occurs_ok());
    choice.release_choice();
    EXPECT_EQ(choice.getchosen(), choice.e_none);
}

TEST(Rs2Binding, EnumerationsMapTextsToTheirCodes) {
    c_chirpDataStore chirp;
    EXPECT_EQ(chirp.getenum_pole(), 0);
    EXPECT_EQ(chirp.set_pole("hh"), elmx_error::valueNotInSet);
    EXPECT_EQ(chirp.set_pulse("Upper_50"), elmx_error::ok);
    EXPECT_EQ(chirp.getenum_pulse(), 81);
    EXPECT_TRUE(chirp.setenum_pulse(elmx_enums(87)));
    EXPECT_EQ(chirp.get_pulse(), "Upper_50short");
    EXPECT_FALSE(chirp.setenum_pulse(e_HH));
    EXPECT_EQ(chirp.get_pulse(), "Upper_50short");

    c_radarParametersDataStore radar;
    EXPECT_EQ(radar.set_rawBitsPerSample(*lmx::c_big_int::from_string("08")), elmx_error::ok);
    EXPECT_EQ(radar.getenum_rawBitsPerSample(), 107);
    EXPECT_EQ(radar.set_rawBitsPerSample(5), elmx_error::valueNotInSet);
    EXPECT_TRUE(radar.setenum_acquisitionType(elmx_enums(113)));
    EXPECT_EQ(radar.get_acquisitionType(), "TOPS");

    c_rasterAttributesDataStore raster;
    EXPECT_TRUE(raster.setenum_lineTimeOrdering(elmx_enums(108)));
    EXPECT_EQ(raster.get_lineTimeOrdering(), "Increasing");
    EXPECT_TRUE(raster.setenum_pixelTimeOrdering(elmx_enums(109)));
    c_mapProjectionDataStore::c_satelliteHeading heading;
    EXPECT_TRUE(heading.setenum_units(e_rad));
    EXPECT_FALSE(heading.setenum_units(e_m));
}

TEST(Rs2Binding, TakesAnyNumberOfPayloadFiles) {
    const std::string file = "<payloadCharacteristicsParameterFile>folder/file.xml</"
                             "payloadCharacteristicsParameterFile>";
    std::string document = seed();
    for (int removed = 0; removed < 4; ++removed)
        document = replaced(document, file, "");
    EXPECT_EQ(codeOf(document), elmx_error::ok);
    EXPECT_EQ(codeOf(replaced(document, file, "")), elmx_error::elementMissing);
    EXPECT_EQ(codeOf(replaced(document, file, file + file + file + file + file + file + file)),
              elmx_error::ok);
}

TEST(Rs2Binding, RefusesWhatTheMembersCannotHold) {
    c_nspProjectionParametersDataStore projection;
    EXPECT_EQ(projection.set_zone(60), elmx_error::ok);
    EXPECT_EQ(projection.set_zone(61), elmx_error::valueOutOfRange);
    EXPECT_EQ(codeOf(replaced(seed(), "<numberOfLines>7<", "<numberOfLines>18446744073709551615<")),
              elmx_error::ok);
    EXPECT_EQ(codeOf(replaced(seed(), "<numberOfLines>7<", "<numberOfLines>18446744073709551616<")),
              elmx_error::valueOutOfRange);
    EXPECT_EQ(codeOf(replaced(seed(), "<stepSize>7<", "<stepSize>123456789012345678901234567890<")),
              elmx_error::ok);
    EXPECT_EQ(codeOf(replaced(seed(), "burst=\"7\"", "burst=\"many\"")),
              elmx_error::attributeUnreadable);
}

TEST(Rs2Binding, ReadsTheOptionalMembersOfTheLaterEdition) {
    c_product product;
    errorsOf(product, seed(), false);
    const auto& image = product.get_imageGenerationParameters();
    EXPECT_EQ(image.get_hyperFitPhaseErrorCorr().size_hyperFitPhaseErrorCorrCoefficients(), 2u);
    const auto& processing = image.get_sarProcessingInformation();
    EXPECT_TRUE(processing.isset_slantRangeCentre());
    EXPECT_EQ(processing.get_perBeamNumberOfRangeLooks(1).get_beam(0), "W2");
    const auto& radar = product.get_sourceAttributes().get_radarParameters();
    EXPECT_EQ(radar.get_referenceNoiseLevel(0).getenum_pole(), e_HH);
    EXPECT_EQ(radar.get_azimuthNoiseLevelScaling(0).get_noiseLevelScalingFactors().get_units(),
              "dB");
    const auto& raster = product.get_imageAttributes().get_rasterAttributes();
    EXPECT_EQ(raster.get_burstAttributes(1).get_burst(), lmx::c_big_int(7));
}
