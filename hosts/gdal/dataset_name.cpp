#include "dataset_name.h"

#include "identify.h"
#include "kfio/kfio.h"
#include "loader/plugin.h"

namespace rf_sar_gdal {
namespace {

[[noreturn]] void refuse(const std::string& name) {
    throw loader::Error(name + ": is not of the form RF_SAR:\"<file>\":<layer>");
}

DatasetName parseQuoted(const std::string& name, std::string_view rest) {
    DatasetName parsed;
    std::size_t at = 1;
    for (; at < rest.size() && rest[at] != '"'; ++at) {
        if (rest[at] == '\\' && at + 1 < rest.size())
            ++at;
        parsed.file += rest[at];
    }
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

DatasetName parseDatasetName(const std::string& name) {
    const std::string_view rest = std::string_view(name).substr(connectionPrefix.size());
    DatasetName parsed = rest.starts_with('"') ? parseQuoted(name, rest) : parseBare(rest);
    if (parsed.file.empty())
        refuse(name);
    return parsed;
}

std::string formatDatasetName(const DatasetName& name) {
    std::string text(connectionPrefix);
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
