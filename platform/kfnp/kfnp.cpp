// SPDX-License-Identifier: MIT
#include "kfnp/kfnp.h"

#include <algorithm>
#include <cctype>
#include <unistd.h>
#include <vector>

namespace {

std::u16string_view lastPart(std::u16string_view name) {
    return name.substr(name.rfind(u'/') + 1); // npos + 1 is 0: the whole name
}

/// The index where the path itself begins, after "/vsizip/", "/vsicurl/https://" and the like.
std::size_t pathProper(std::string_view name) {
    std::size_t at = 0;
    while (name.substr(at, 4) == "/vsi") {
        const auto slash = name.find('/', at + 1);
        if (slash == std::string_view::npos)
            return name.size();
        at = slash + 1;
        // "/vsizip//vsicurl/…" is a chain; in "/vsizip//home/…" the path is absolute.
        if (name.substr(at, 4) != "/vsi")
            break;
    }
    const auto scheme = name.find("://", at);
    return scheme == std::string_view::npos ? at : scheme + 3;
}

std::vector<std::string_view> components(std::string_view path, std::string_view separators) {
    std::vector<std::string_view> parts;
    while (!path.empty()) {
        const auto end = std::min(path.find_first_of(separators), path.size());
        if (end > 0 && path.substr(0, end) != ".")
            parts.push_back(path.substr(0, end));
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return parts;
}

} // namespace

std::u16string kfnp_FileNameInternalToExternal(std::u16string_view name) {
    return std::u16string(name);
}

std::u16string kfnp_FileNameExternalToInternal(std::u16string_view name) {
    return std::u16string(name);
}

std::u16string kfnp_FileNameGetPathPart(std::u16string_view name) {
    return std::u16string(name.substr(0, name.size() - lastPart(name).size()));
}

std::u16string kfnp_FileNameGetBasePart(std::u16string_view name) {
    const auto last = lastPart(name);
    return std::u16string(last.substr(0, last.rfind(u'.')));
}

std::u16string kfnp_FileNameGetExtPart(std::u16string_view name) {
    const auto last = lastPart(name);
    const auto dot = last.rfind(u'.');
    return dot == std::u16string_view::npos ? std::u16string() : std::u16string(last.substr(dot));
}

namespace kfnp {

bool isVirtual(std::string_view name) { return name.substr(0, 4) == "/vsi"; }

std::string clean(std::string_view name) {
    const bool foldParents = isVirtual(name);
    const std::size_t start = pathProper(name);
    std::string result(name.substr(0, start));
    const std::string_view path = name.substr(start);
    const bool rooted = !path.empty() && path.front() == '/';

    std::vector<std::string_view> kept;
    for (const auto part : components(path, "/")) {
        if (foldParents && part == ".." && !kept.empty() && kept.back() != "..")
            kept.pop_back();
        else
            kept.push_back(part);
    }
    if (rooted)
        result += '/';
    for (std::size_t i = 0; i < kept.size(); ++i) {
        if (i != 0)
            result += '/';
        result += kept[i];
    }
    if (!foldParents && isVirtual(result)) // "//vsizip/x" is a local name, and stays one
        result.insert(0, "/.");
    return result.empty() && !name.empty() ? "." : result;
}

std::string absolute(std::string_view name) {
    if (name.empty() || name.front() == '/')
        return std::string(name);
    std::string directory(4096, '\0');
    if (!getcwd(directory.data(), directory.size()))
        return std::string(name);
    directory.resize(directory.find('\0'));
    return clean(directory + '/' + std::string(name));
}

Reference classifyReference(std::string_view name) {
    if (name.empty())
        return Reference::empty;
    if (name.find("://") != std::string_view::npos)
        return Reference::url;
    const bool drive = name.size() > 1 && name[1] == ':' &&
                       std::isalpha(static_cast<unsigned char>(name[0]));
    if (name.front() == '/' || name.front() == '\\' || drive)
        return Reference::absolute;
    // Products written on other systems may use "\", which must not lead out of the product either.
    int depth = 0;
    for (const auto part : components(name, "/\\")) {
        depth += part == ".." ? -1 : 1;
        if (depth < -1)
            return Reference::climbs;
    }
    return Reference::inside;
}

std::string lastComponent(std::string_view pathOrUrl) {
    if (pathOrUrl.find("://") != std::string_view::npos)
        pathOrUrl = pathOrUrl.substr(0, pathOrUrl.find_first_of("?#"));
    return std::string(pathOrUrl.substr(pathOrUrl.rfind('/') + 1));
}

} // namespace kfnp
