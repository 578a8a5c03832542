#include "lmx/lmx.h"

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
