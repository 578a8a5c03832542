// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The directory of a zip archive.
namespace kfio {

struct ZipMember {
    std::uint64_t size = 0; ///< bytes, unpacked
    std::uint32_t crc = 0;
};

/// @param path  "/vsizip/<archive>/<member>"; the archive may itself be virtual.
/// @return nullopt when the path is not inside a zip archive, or when the archive's directory does
///         not list the member or cannot be read.
std::optional<ZipMember> zipMember(const std::string& path);

/// Reads an archive's directory in one pass. Looking up the names one by one would take quadratic
/// time.
/// @param archive  may itself be virtual.
/// @return the paths of all members below "/vsizip/<archive>/", in the directory's order, folders
///         with a slash at the end; nullopt when the archive cannot be read to its end, where the
///         directory is.
RF_PLATFORM_API std::optional<std::vector<std::string>> zipPaths(const std::string& archive);

} // namespace kfio
