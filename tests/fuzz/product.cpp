// SPDX-License-Identifier: MIT
// A whole product, its files in sections or in a zip archive, sent one of the ways of ways.h: that
// of the first line, "rfsar VERB..." or "gdal OPTION...", or without such a line the library's.
#include "fuzz/memory_folder.h"
#include "fuzz/oracles.h"
#include "fuzz/require.h"
#include "fuzz/sections.h"
#include "fuzz/ways.h"
#include "loader/plugin.h"

namespace {

constexpr std::string_view verbMark = "rfsar ", driverMark = "gdal ", archiveMark = "PK\3\4";

/// @return the first line, when it is no file's or archive's.
std::string_view firstLine(std::string_view input) {
    const std::string_view line = input.substr(0, input.find('\n'));
    return line.starts_with(verbMark) || line.starts_with(driverMark) ? line : "";
}

/// @return what a user would name.
std::string writeProduct(const fuzz::MemoryFolder& folder, std::string_view product) {
    if (product.starts_with(archiveMark))
        return folder.write("product.zip", product);
    for (const fuzz::Section& file : fuzz::sections(product))
        folder.write(file.name, file.content);
    return folder.path();
}

void send(const std::string& entry, std::string_view line, std::size_t turn) {
    if (line.starts_with(verbMark))
        fuzz::runVerb(entry, line.substr(verbMark.size()));
    else if (line.starts_with(driverMark))
        fuzz::openByDriver(entry, line.substr(driverMark.size()), turn);
    else
        fuzz::openByLibrary(entry, turn);
}

} // namespace

/// Before the first input, so that the plug-in's code counts from the beginning.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    static_cast<void>(loader::Plugin::instance());
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(bytes), size);
    const std::string_view line = firstLine(input);
    fuzz::setInput(input);
    const fuzz::MemoryFolder folder;
    const std::string entry =
        writeProduct(folder, input.substr(line.empty() ? 0 : std::min(line.size() + 1, size)));
    const auto before = fuzz::filesInMemory();
    send(entry, line, std::hash<std::string_view>()(input));
    fuzz::require(fuzz::filesInMemory() == before, "nothing is written beside the product");
    return 0;
}
