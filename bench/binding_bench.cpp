// SPDX-License-Identifier: MIT
// Binding a whole RADARSAT-2 product.xml against what a generic library needs to read and validate
// it. RF_SAR_PRODUCTS names the folder with real products; without one there is nothing to measure.
#include "rs2_lmx/source/rs2prod.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <expat.h>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <libxml/parser.h>
#include <libxml/xmlschemas.h>
#include <malloc.h>

namespace {

namespace fs = std::filesystem;

struct Product {
    fs::path file, schema;
    std::string text;
};

/// The product unpacked beside this run: product.xml and its schemas.
Product unpack() {
    const char* products = std::getenv("RF_SAR_PRODUCTS");
    if (!products)
        return {};
    const auto folder = fs::temp_directory_path() / "rf_sar_binding_bench";
    fs::create_directories(folder);
    for (const auto& entry : fs::recursive_directory_iterator(fs::path(products) / "radarsat2")) {
        if (entry.path().extension() != ".zip")
            continue;
        const auto command = "unzip -qojd '" + folder.string() + "' '" + entry.path().string() +
                             "' '*/product.xml' '*.xsd'";
        if (std::system(command.c_str()) != 0)
            return {};
        std::ifstream file(folder / "product.xml", std::ios::binary);
        return {folder / "product.xml",
                folder / "rs2prod_product.xsd",
                {std::istreambuf_iterator<char>(file), {}}};
    }
    return {};
}

const Product& product() {
    static const Product unpacked = unpack();
    return unpacked;
}

void bind(benchmark::State& state) {
    for (auto _ : state) {
        lmx::elmx_error error;
        rs2prod::c_product bound(product().file.c_str(), error);
        if (error != lmx::elmx_error::ok)
            state.SkipWithError(lmx::get_error_description(error));
        benchmark::DoNotOptimize(bound);
    }
}

/// What stays on the heap for a bound product, as a multiple of the file.
void bindMemory(benchmark::State& state) {
    for (auto _ : state) {
        const auto before = mallinfo2().uordblks;
        lmx::elmx_error error;
        const rs2prod::c_product bound(product().text.data(), product().text.size(), error);
        const auto kept = mallinfo2().uordblks - before;
        state.counters["kept/file"] =
            static_cast<double>(kept) / static_cast<double>(product().text.size());
    }
}

void domAndValidate(benchmark::State& state) {
    const auto parser = xmlSchemaNewParserCtxt(product().schema.c_str());
    const auto schema = xmlSchemaParse(parser);
    for (auto _ : state) {
        const auto document = xmlReadFile(product().file.c_str(), nullptr, XML_PARSE_NONET);
        const auto check = xmlSchemaNewValidCtxt(schema);
        if (xmlSchemaValidateDoc(check, document) != 0)
            state.SkipWithError("the validator refuses the product");
        xmlSchemaFreeValidCtxt(check);
        xmlFreeDoc(document);
    }
    xmlSchemaFree(schema);
    xmlSchemaFreeParserCtxt(parser);
}

void write(benchmark::State& state) {
    lmx::elmx_error error;
    const rs2prod::c_product bound(product().file.c_str(), error);
    for (auto _ : state) {
        lmx::c_xml_writer writer;
        benchmark::DoNotOptimize(bound.marshal(writer, "product"));
    }
}

void swapProducts(benchmark::State& state) {
    lmx::elmx_error error;
    rs2prod::c_product one(product().file.c_str(), error), other;
    for (auto _ : state) {
        std::swap(one, other);
        benchmark::ClobberMemory();
    }
}

/// The product with so many megabytes of one kind put in front of its first member.
std::string bloated(const std::string& kind, std::size_t megabytes) {
    const std::string mass(megabytes << 20, 'x');
    std::string added;
    if (kind == "comment")
        added = "<!--" + mass + "-->";
    else if (kind == "comments")
        while (added.size() < mass.size())
            added += "<!-- a comment between members -->\n";
    else if (kind == "attribute")
        added = "<stranger a='" + mass + "'/>";
    else if (kind == "name")
        added = "<" + mass + "/>";
    else
        added = "<stranger>" + mass + "</stranger>";
    std::string text = product().text;
    return text.insert(text.find("<productId"), added);
}

void bindBloated(benchmark::State& state, const std::string& kind) {
    const auto text = bloated(kind, static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        lmx::elmx_error error;
        const rs2prod::c_product bound(
            text.data(), text.size(), error, [](const lmx::s_error& each) {
                return each.code == lmx::elmx_error::elementUnexpected ? lmx::elmx_error::ok
                                                                       : each.code;
            });
        if (error != lmx::elmx_error::ok)
            state.SkipWithError(lmx::get_error_description(error));
    }
}

/// The parser alone, which gets all at once and tells nobody.
void parseBloated(benchmark::State& state, const std::string& kind) {
    const auto text = bloated(kind, static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        const auto parser = XML_ParserCreateNS(nullptr, '\n');
        if (XML_Parse(parser, text.data(), static_cast<int>(text.size()), 1) != XML_STATUS_OK)
            state.SkipWithError("not well-formed");
        XML_ParserFree(parser);
    }
}

void domBloated(benchmark::State& state, const std::string& kind) {
    const auto text = bloated(kind, static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        const auto document = xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr,
                                            nullptr, XML_PARSE_NONET | XML_PARSE_HUGE);
        if (!document)
            state.SkipWithError("not well-formed");
        xmlFreeDoc(document);
    }
}

void registerBloated() {
    for (const std::string kind : {"comment", "comments", "attribute", "name", "text"})
        for (const auto& [what, run] :
             {std::pair{"bind", &bindBloated}, std::pair{"expat", &parseBloated},
              std::pair{"libxml2", &domBloated}})
            benchmark::RegisterBenchmark(("long " + kind + " " + what).c_str(), run, kind)
                ->Arg(8)
                ->Arg(32)
                ->Unit(benchmark::kMillisecond);
}

} // namespace

int main(int count, char** arguments) {
    if (product().text.empty()) {
        std::cerr << "RF_SAR_PRODUCTS names no folder with a RADARSAT-2 product\n";
        return 0;
    }
    benchmark::RegisterBenchmark("bind", bind)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("dom+xsd", domAndValidate)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("bind memory", bindMemory)->Iterations(1);
    benchmark::RegisterBenchmark("write", write)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("swap", swapProducts)->Unit(benchmark::kMicrosecond);
    registerBloated();
    benchmark::Initialize(&count, arguments);
    benchmark::RunSpecifiedBenchmarks();
    std::filesystem::remove_all(product().file.parent_path());
}
