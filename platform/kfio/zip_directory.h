// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

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

/// Reads an archive's directory once; looking for names one by one takes time by the square of
/// their number.
/// @param archive  may itself be virtual.
/// @return the paths of all members as they follow "/vsizip/<archive>/", in the directory's order,
///         those of folders with a slash at the end; nullopt when the archive cannot be read to its
///         end, where its directory stands.
RF_PLATFORM_API std::optional<std::vector<std::string>> zipPaths(const std::string& archive);

} // namespace kfio
