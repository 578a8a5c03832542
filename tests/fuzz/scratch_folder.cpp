// SPDX-License-Identifier: MIT
#include "fuzz/scratch_folder.h"

#include "fuzz/require.h"

#include <filesystem>
#include <fstream>

namespace fuzz {

namespace fs = std::filesystem;

ScratchFolder::ScratchFolder() {
    std::string pattern = (fs::temp_directory_path() / "fuzzed-XXXXXX").string();
    require(mkdtemp(pattern.data()) != nullptr, "a temporary folder can be made");
    path_ = pattern;
    elevationFile_ = pattern + ".asc";
    std::ofstream grid(elevationFile_);
    constexpr int side = 200;
    grid << "ncols 200\nnrows 200\nxllcorner 11\nyllcorner 47.6\ncellsize 0.005\n";
    for (int row = 0; row < side; ++row)
        for (int column = 0; column < side; ++column)
            grid << (row * column) % 7 * 20 << (column + 1 == side ? '\n' : ' ');
    std::ofstream(pattern + ".prj")
        << R"(GEOGCS["WGS 84",DATUM["WGS_1984",SPHEROID["WGS 84",6378137,298.257223563]],)"
        << R"(PRIMEM["Greenwich",0],UNIT["degree",0.0174532925199433]])";
    require(static_cast<bool>(grid), "an elevation model can be written");
}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
    fs::remove(elevationFile_, ignored);
    fs::remove(path_ + ".prj", ignored);
}

std::size_t ScratchFolder::clear() const {
    std::size_t files = 0;
    for (const fs::directory_entry& each : fs::directory_iterator(path_))
        files += fs::remove_all(each.path());
    return files;
}

} // namespace fuzz
