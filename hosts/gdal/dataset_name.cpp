// SPDX-License-Identifier: MIT
#include "dataset_name.h"

#include "identify.h"
#include "kfio/kfio.h"
#include "loader/plugin.h"

#include <cpl_port.h>

namespace rf_sar_gdal {
namespace {

constexpr std::string_view archivePrefix = "/vsizip/";

/// @return the name without the prefix that QGIS adds; a view to the end of the name.
std::string_view withoutArchive(std::string_view name) {
    const std::string both = std::string(archivePrefix) + std::string(connectionPrefix);
    if (name.size() > both.size() && EQUALN(name.data(), both.data(), both.size()))
        name.remove_prefix(archivePrefix.size());
    return name;
}

[[noreturn]] void refuse(const std::string& name) {
    throw loader::Error(name + ": is not of the form RF_SAR:\"<file>\":<layer>");
}

/// @param endMayLack  whether the second quote and the rest may be missing.
DatasetName parseQuoted(const std::string& name, std::string_view rest, bool endMayLack) {
    DatasetName parsed;
    std::size_t at = 1;
    for (; at < rest.size() && rest[at] != '"'; ++at) {
        if (rest[at] == '\\' && at + 1 < rest.size())
            ++at;
        parsed.file += rest[at];
    }
    if (endMayLack && at >= rest.size())
        return parsed;
    const std::string_view behind = at < rest.size() ? rest.substr(at + 1) : "?";
    if (!behind.empty() && behind.front() != ':')
        refuse(name);
    if (!behind.empty())
        parsed.layer = behind.substr(1);
    return parsed;
}

DatasetName parseBare(std::string_view rest) {
    const auto colon = rest.rfind(':');
    const bool layered = colon != std::string_view::npos &&
                         rest.find_first_of("/.", colon) == std::string_view::npos &&
                         !kfio::fileState(rest).exists;
    if (!layered)
        return {std::string(rest), ""};
    return {std::string(rest.substr(0, colon)), std::string(rest.substr(colon + 1))};
}

} // namespace

bool isDatasetName(std::string_view name) {
    return EQUALN(withoutArchive(name).data(), connectionPrefix.data(), connectionPrefix.size());
}

DatasetName parseDatasetName(const std::string& name) {
    std::string_view rest = withoutArchive(name).substr(connectionPrefix.size());
    std::string first; // the layer's name before the file's
    if (const auto at = rest.find(":\"" + std::string(archivePrefix));
        at != std::string_view::npos && !rest.starts_with('"')) {
        first = rest.substr(0, at);
        rest.remove_prefix(at + 1);
    }
    DatasetName parsed =
        rest.starts_with('"') ? parseQuoted(name, rest, !first.empty()) : parseBare(rest);
    if (!first.empty())
        parsed.layer = first;
    if (parsed.file.empty())
        refuse(name);
    return parsed;
}

std::string formatDatasetName(const DatasetName& name) {
    std::string text(connectionPrefix);
    const bool archived = name.file.compare(0, archivePrefix.size(), archivePrefix) == 0;
    if (archived && !name.layer.empty())
        text += name.layer + ':';
    text += '"';
    for (const char c : name.file) {
        if (c == '"' || c == '\\')
            text += '\\';
        text += c;
    }
    text += '"';
    return name.layer.empty() ? text : text + ':' + name.layer;
}

} // namespace rf_sar_gdal
