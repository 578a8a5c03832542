#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// What a zip archive states of its members.
namespace kfio {

struct ZipMember {
    std::uint64_t size = 0; ///< bytes, unpacked
    std::uint32_t crc = 0;
};

/// @param path  "/vsizip/<archive>/<member>"; the archive may itself be virtual.
/// @return nullopt when the path does not lead into a zip archive, or its directory does not list
///         the member or cannot be read.
std::optional<ZipMember> zipMember(const std::string& path);

} // namespace kfio
