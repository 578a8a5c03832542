// SPDX-License-Identifier: MIT
#include "lmx/lmx.h"

#include <ctime>
#include <gtest/gtest.h>

using lmx::c_xml_reader;
using lmx::elmx_error;
using lmx::s_error;
using e_event = c_xml_reader::e_event;

namespace {

/// Reads to the end. @return the error that ended the document.
s_error readAll(std::string_view document) {
    s_error last;
    c_xml_reader reader(document, "test.xml", [&](const s_error& error) {
        last = error;
        return elmx_error::ok;
    });
    while (reader.event() != e_event::stop)
        reader.next();
    EXPECT_EQ(reader.fatal_error(), last.code);
    return last;
}

std::string nested(int depth) {
    std::string document;
    for (int i = 0; i < depth; ++i)
        document += "<a>";
    for (int i = 0; i < depth; ++i)
        document += "</a>";
    return document;
}

} // namespace

TEST(LmxReader, ResolvesNamespacesAndKeepsTextWhole) {
    // Larger than what is parsed at a time, in pieces that the parser reports one by one.
    const std::string longText(100000, 'x');
    const std::string document = "<r xmlns='u1' xmlns:p='u2' p:b='2' a='1 &#10;&amp;'>" + longText +
                                 "<!-- c --><![CDATA[<&]]>&lt;" + longText + "<p:c/></r>";
    c_xml_reader reader(document, "");
    ASSERT_EQ(reader.event(), e_event::start);
    EXPECT_EQ(reader.uri(), "u1");
    EXPECT_EQ(reader.local_name(), "r");
    ASSERT_EQ(reader.attribute_count(), 2);
    EXPECT_EQ(reader.attribute(0).uri, "u2");
    EXPECT_EQ(reader.attribute(1).uri, "");
    EXPECT_EQ(reader.attribute(1).value, "1 \n&");
    reader.next();
    EXPECT_EQ(reader.text(), longText + "<&<" + longText);
    EXPECT_EQ(reader.uri(), "u2");
    reader.skip_element();
    EXPECT_EQ(reader.event(), e_event::end);
    reader.next();
    EXPECT_EQ(reader.event(), e_event::stop);
    EXPECT_EQ(reader.fatal_error(), elmx_error::ok);
}

TEST(LmxReader, LongTokensTakeTimeLinearInTheirLength) {
    const std::string token(std::size_t{32} << 20, 'x');
    const struct {
        const char* story;
        std::string document;
    } cases[] = {
        {"a comment", "<r><!--" + token + "--></r>"},
        {"an attribute", "<r a='" + token + "'/>"},
        {"an element's name", "<r><" + token + "/></r>"},
        {"character data", "<r>" + token + "</r>"},
        {"a CDATA section", "<r><![CDATA[" + token + "]]></r>"},
        {"a tag that does not end", "<r><a " + token},
    };
    for (const auto& each : cases) {
        const auto began = std::clock();
        readAll(each.document);
        // One fortieth of what starting again with each stretch took.
        EXPECT_LT(std::clock() - began, 20 * CLOCKS_PER_SEC) << each.story;
    }
}

TEST(LmxReader, ManyElementsBehindALongCommentAreAllThere) {
    std::string document = "<r>t<!--" + std::string(1 << 20, 'c') + "-->";
    for (int i = 0; i < 30000; ++i)
        document += "<a b='" + std::to_string(i) + "'>" + std::to_string(i) + "</a>";
    document += "</r>";
    c_xml_reader reader(document, "");
    reader.next();
    for (int i = 0; i < 30000; ++i) {
        ASSERT_EQ(reader.event(), e_event::start);
        EXPECT_EQ(reader.attribute(0).value, std::to_string(i));
        reader.next();
        ASSERT_EQ(reader.text(), std::to_string(i));
        reader.next();
    }
    EXPECT_EQ(reader.event(), e_event::end);
    reader.next();
    EXPECT_EQ(reader.event(), e_event::stop);
    EXPECT_EQ(reader.fatal_error(), elmx_error::ok);
}

TEST(LmxReader, TheEndIsEmpty) {
    c_xml_reader reader("<r a='1'/>", "");
    for (int i = 0; i < 4; ++i)
        reader.next();
    reader.skip_element();
    EXPECT_EQ(reader.event(), e_event::stop);
    EXPECT_EQ(reader.uri(), "");
    EXPECT_EQ(reader.local_name(), "");
    EXPECT_EQ(reader.text(), "");
    EXPECT_EQ(reader.attribute_count(), 0u);
    EXPECT_EQ(reader.attribute(0).value, "");
    EXPECT_EQ(reader.selected_attribute().name, "");
    EXPECT_EQ(reader.element_name(), "");
    EXPECT_EQ(reader.open_element(), "");
    EXPECT_FALSE(reader.at_element(""));
}

TEST(LmxReader, ReadsTheEncodingsThatTheSystemKnows) {
    const struct {
        const char* encoding;
        std::string bytes, utf8;
    } cases[] = {
        {"windows-1252", "\xE9\x80", "\u00E9\u20AC"},
        {"ISO-8859-15", "\xA4", "\u20AC"},
        {"KOI8-R", "\xC1", "\u0430"},
        {"Shift_JIS", "\x83\x5C\xB1", "\u30BD\uFF71"},      // two bytes, the second "\\"; one
        {"EUC-JP", "\xA5\xBD\x8F\xB0\xA1", "\u30BD\u4E02"}, // two bytes; three
        {"GB18030", "\xD6\xD0", "\u4E2D"},
    };
    for (const auto& each : cases) {
        const std::string document = "<?xml version='1.0' encoding='" + std::string(each.encoding) +
                                     "'?><r a='" + each.bytes + "'>" + each.bytes + "</r>";
        c_xml_reader reader(document, "");
        EXPECT_EQ(reader.attribute(0).value, each.utf8) << each.encoding;
        reader.next();
        EXPECT_EQ(reader.text(), each.utf8) << each.encoding;
    }
    // Bytes that stand for nothing, or for what the parser cannot take, are errors, never letters.
    for (const char* document :
         {"<?xml version='1.0' encoding='windows-1252'?><r>\x81</r>",
          "<?xml version='1.0' encoding='Shift_JIS'?><r>\x83</r>",
          "<?xml version='1.0' encoding='GB18030'?><r>\x81\x30\x81\x30</r>",
          "<?xml version='1.0' encoding='ISO-2022-JP'?><r>\x1B$B%+\x1B(B</r>",
          "<?xml version='1.0' encoding='UTF-7'?><r/>",
          "<?xml version='1.0' encoding='IBM037'?><r/>"})
        EXPECT_EQ(readAll(document).code, elmx_error::notWellFormed) << document;
}

TEST(LmxReader, MessagesAreCleanText) {
    const std::string bad =
        "<?xml version='1.0' encoding='windows-1252'?><r><\xE9 a='1' a='2'/></r>";
    EXPECT_EQ(readAll(bad).element, "r"); // no bytes of the document's encoding
    EXPECT_EQ(readAll("<r><\u00E9 a='1' a='2'/></r>").element, "\u00E9");
    std::string wide = "\xFF\xFE";
    for (const char16_t c : std::u16string(u"<a\u0101><b></c></b></a\u0101>"))
        wide.append({char(c & 0xFF), char(c >> 8)});
    EXPECT_EQ(readAll(wide).element, "b");

    s_error seen;
    c_xml_reader reader("<r/>", "", [&](const s_error& error) {
        seen = error;
        return error.code;
    });
    std::string text;
    for (int i = 0; i < 50; ++i)
        text += "\u20AC";
    reader.handle_error(elmx_error::valueInvalid, std::string(1, '\0') + "\xC3",
                        "\n" + text + text + text);
    EXPECT_EQ(seen.element, " ?");
    EXPECT_EQ(seen.detail.substr(0, 4), " \u20AC");
    EXPECT_EQ(seen.detail.substr(seen.detail.size() - 6), "\u20AC...");
}

TEST(LmxReader, RefusesHostileDocuments) {
    const struct {
        const char* story;
        std::string document;
        elmx_error code;
    } cases[] = {
        {"entities that grow", "<!DOCTYPE r [<!ENTITY a 'xx'><!ENTITY b '&a;&a;'>]><r>&b;</r>",
         elmx_error::doctypeRefused},
        {"an external entity", "<!DOCTYPE r [<!ENTITY e SYSTEM 'file:///etc/passwd'>]><r>&e;</r>",
         elmx_error::doctypeRefused},
        {"an external document type", "<!DOCTYPE r SYSTEM 'http://127.0.0.1/r.dtd'><r/>",
         elmx_error::doctypeRefused},
        {"an undeclared entity", "<r>&e;</r>", elmx_error::notWellFormed},
        {"as deep as allowed", nested(c_xml_reader::maxDepth), elmx_error::ok},
        {"deeper than allowed", nested(c_xml_reader::maxDepth + 1), elmx_error::tooDeep},
        {"nothing", "", elmx_error::notWellFormed},
        {"binary", std::string("\0\xFF\xFE\x01", 4), elmx_error::notWellFormed},
        {"bad UTF-8", "<r>\xC3</r>", elmx_error::notWellFormed},
        {"two roots", "<r/><r/>", elmx_error::notWellFormed},
        {"an unknown prefix", "<p:r/>", elmx_error::notWellFormed},
        {"an unknown encoding", "<?xml version='1.0' encoding='klingon'?><r/>",
         elmx_error::notWellFormed},
        {"an endless namespace", "<r xmlns='" + std::string(5000, 'u') + "'/>",
         elmx_error::tooLarge},
        {"more than the size limit", std::string(c_xml_reader::maxBytes + 1, ' '),
         elmx_error::tooLarge},
    };
    for (const auto& each : cases)
        EXPECT_EQ(readAll(each.document).code, each.code) << each.story;
}

TEST(LmxReader, ErrorsCarryElementLineAndFile) {
    const auto repeated = readAll("<r>\n<ok/>\n<bad units='m'\n units='m'/></r>");
    EXPECT_EQ(repeated.code, elmx_error::attributeRepeated);
    EXPECT_EQ(repeated.element, "bad");
    EXPECT_EQ(repeated.line, 4);
    EXPECT_EQ(repeated.message(),
              "test.xml:4: bad: an attribute is given more than once (duplicate attribute)");

    std::string wide = "\xFF\xFE"; // the same lines in UTF-16, whose bytes hold more line feeds
    for (const char16_t c : std::u16string(u"<r>\n\u0A0A\u010A\n<x></r>"))
        wide.append({char(c & 0xFF), char(c >> 8)});
    EXPECT_EQ(readAll(wide).line, 3);
}

TEST(LmxReader, EveryTruncationIsAnError) {
    const std::string document =
        "<?xml version='1.0'?><r a='1'><b>t&lt;<![CDATA[x]]></b><!--c--></r>";
    EXPECT_EQ(readAll(document).code, elmx_error::ok);
    for (std::size_t size = 0; size < document.size(); ++size)
        EXPECT_EQ(readAll(document.substr(0, size)).code, elmx_error::notWellFormed) << size;
}

TEST(LmxWriter, WritesTextThatReadsBack) {
    const std::string text = " <a> & ]]> \"q\"\t\n\r \xC3\xA9 \xF0\x9F\x9B\xB0 ";
    for (const auto style :
         {lmx::c_xml_writer::e_style::pretty, lmx::c_xml_writer::e_style::canonical}) {
        lmx::c_xml_writer writer(style);
        writer.set_namespace({"p", "urn:x?a&b"});
        writer.start_element("r");
        EXPECT_EQ(writer.attribute("z", "1"), elmx_error::ok);
        EXPECT_EQ(writer.attribute("a", text), elmx_error::ok);
        EXPECT_EQ(writer.characters(text), elmx_error::ok);
        writer.end_element();
        c_xml_reader reader(writer.document(), "");
        ASSERT_EQ(reader.event(), e_event::start) << writer.document();
        EXPECT_EQ(reader.uri(), "urn:x?a&b");
        EXPECT_EQ(reader.attribute(0).name,
                  style == lmx::c_xml_writer::e_style::canonical ? "a" : "z");
        EXPECT_EQ(reader.attribute(reader.attribute(0).name == "a" ? 0 : 1).value, text);
        reader.next();
        EXPECT_EQ(reader.text(), text);
    }
}

TEST(LmxWriter, RefusesWhatXmlCannotCarry) {
    int reported = 0;
    lmx::c_xml_writer writer(lmx::c_xml_writer::e_style::pretty, [&](const s_error& error) {
        reported += error.code == elmx_error::textNotWritable && error.element == "r";
        return error.code;
    });
    writer.start_element("r");
    EXPECT_EQ(writer.attribute("a", "\x01"), elmx_error::textNotWritable);
    for (const std::string& bad : {std::string(1, '\0'), std::string("\xC3"),
                                   std::string("\xEF\xBF\xBF"), std::string("\xED\xA0\x80")})
        EXPECT_EQ(writer.characters(bad), elmx_error::textNotWritable);
    EXPECT_EQ(reported, 5);
}
