#include "identify.h"

#include "product/find_product.h"

#include <gdal_priv.h>

#include <algorithm>
#include <array>
#include <cctype>

namespace rf_sar_gdal {
namespace {

constexpr std::array<std::string_view, 2> namespaces = {"http://www.rsi.ca/rs2/prod/xml/schemas",
                                                        "rcmGsProductSchema"};
constexpr int moreXmlBytes = 4096;   // a root element's attributes
constexpr int moreJsonBytes = 65536; // an item's outline may stand before its properties
constexpr std::string_view blanks = " \t\r\n";

bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

bool containsAnyCase(std::string_view text, std::string_view lower) {
    const auto same = [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) == b;
    };
    return std::search(text.begin(), text.end(), lower.begin(), lower.end(), same) != text.end();
}

std::string_view withoutMark(std::string_view head) {
    constexpr std::string_view utf8Mark = "\xEF\xBB\xBF";
    if (head.starts_with(utf8Mark))
        head.remove_prefix(utf8Mark.size());
    return head.substr(std::min(head.find_first_not_of(blanks), head.size()));
}

/// Skips declaration, processing instructions, comments and blanks.
/// @return what begins with the root element; empty when it does not begin in these bytes.
std::string_view fromRoot(std::string_view head) {
    head = withoutMark(head);
    while (head.starts_with("<?") || head.starts_with("<!")) {
        const std::string_view end = head.starts_with("<?")     ? "?>"
                                     : head.starts_with("<!--") ? "-->"
                                                                : ">";
        const auto at = head.find(end);
        if (at == std::string_view::npos)
            return {};
        head = withoutMark(head.substr(at + end.size()));
    }
    return head;
}

std::string_view headOf(const GDALOpenInfo& info) {
    return {reinterpret_cast<const char*>(info.pabyHeader),
            static_cast<std::size_t>(info.nHeaderBytes)};
}

bool identifyXml(GDALOpenInfo& info) {
    bool complete = true;
    if (looksLikeProductXml(headOf(info), complete))
        return true;
    if (complete || !info.TryToIngest(moreXmlBytes))
        return false;
    return looksLikeProductXml(headOf(info), complete);
}

/// The keys that tell stand near the start of both documents; the rest is read only with them.
bool identifyJson(GDALOpenInfo& info) {
    const std::string_view head = headOf(info);
    if (!withoutMark(head).starts_with('{') ||
        !(contains(head, "\"stac_version\"") || contains(head, "\"sar:product_type\"") ||
          contains(head, "\"product_type\"")))
        return false;
    return looksLikeCapellaJson(head) ||
           (info.TryToIngest(moreJsonBytes) && looksLikeCapellaJson(headOf(info)));
}

/// An archive or a manifest, which lead to a product file: that file decides.
bool identifyContainer(const GDALOpenInfo& info) {
    const CPLErrorHandlerPusher quiet(CPLQuietErrorHandler);
    try {
        const std::string file = product::findProduct(info.pszFilename);
        GDALOpenInfo inner(file.c_str(), GA_ReadOnly);
        return file != info.pszFilename && identify(inner);
    } catch (const std::exception&) {
        return false; // no product in it, or several
    }
}

bool identifyFolder(const GDALOpenInfo& info) {
    for (const char* name : {"product.xml", "metadata/product.xml"}) {
        const std::string file = CPLFormFilename(info.pszFilename, name, nullptr);
        VSIStatBufL state;
        if (VSIStatExL(file.c_str(), &state, VSI_STAT_EXISTS_FLAG) != 0)
            continue;
        GDALOpenInfo inner(file.c_str(), GA_ReadOnly);
        return inner.nHeaderBytes > 0 && identifyXml(inner);
    }
    return false;
}

} // namespace

bool looksLikeProductXml(std::string_view head, bool& complete) {
    constexpr std::string_view root = "<product";
    const std::string_view from = fromRoot(head);
    const auto end = from.find('>');
    // A root that has not begun, or a comment that has not ended, may still become one.
    complete = !from.empty() &&
               (end != std::string_view::npos || !root.starts_with(from.substr(0, root.size())));
    const std::string_view tag = from.substr(0, end);
    if (!tag.starts_with(root) || tag.size() == root.size() ||
        !contains(blanks, tag.substr(root.size(), 1)))
        return false;
    return std::any_of(namespaces.begin(), namespaces.end(), [&](std::string_view uri) {
        const auto at = tag.find(uri);
        return at != std::string_view::npos && at > 0 &&
               (tag[at - 1] == '"' || tag[at - 1] == '\'') && at + uri.size() < tag.size() &&
               tag[at + uri.size()] == tag[at - 1];
    });
}

bool looksLikeCapellaJson(std::string_view head) {
    const bool item = contains(head, "\"sar:product_type\"") &&
                      contains(head, "\"sar:polarizations\"") && containsAnyCase(head, "capella");
    const bool extended = contains(head, "\"product_type\"") && contains(head, "\"collect\"") &&
                          contains(head, "\"mode\"");
    return withoutMark(head).starts_with('{') && (item || extended);
}

bool identify(GDALOpenInfo& info) {
    if (STARTS_WITH_CI(info.pszFilename, connectionPrefix.data()))
        return true;
    if (info.bIsDirectory)
        return identifyFolder(info);
    if (info.nHeaderBytes == 0)
        return false;
    const char* extension = CPLGetExtension(info.pszFilename);
    constexpr std::string_view archiveMark = "PK\3\4";
    if (EQUAL(CPLGetFilename(info.pszFilename), "manifest.safe") ||
        (EQUAL(extension, "zip") && headOf(info).starts_with(archiveMark)))
        return identifyContainer(info);
    if (EQUAL(extension, "xml"))
        return identifyXml(info);
    return EQUAL(extension, "json") && identifyJson(info);
}

} // namespace rf_sar_gdal
