#pragma once

#include "support/temporary_folder.h"

#include <cstdio>
#include <stdexcept>

namespace support {

/// A whole product, made by tools/sarsim in a folder of its own.
class SimulatedProduct {
public:
    explicit SimulatedProduct(const std::string& family,
                              const std::string& options = "--lines 64 --samples 48") {
        const std::string command = std::string(RF_SAR_PYTHON) + " " + RF_SAR_SIMULATOR + " " +
                                    family + " '" + folder_.path().string() + "' " + options;
        std::FILE* out = popen(command.c_str(), "r");
        char line[4096] = "";
        if (!out || !std::fgets(line, sizeof line, out) || pclose(out) != 0)
            throw std::runtime_error("the simulator failed: " + command);
        file_ = line;
        file_.erase(file_.find_last_not_of('\n') + 1);
    }

    const std::string& file() const { return file_; } ///< the one to open
    const TemporaryFolder& folder() const { return folder_; }

private:
    TemporaryFolder folder_;
    std::string file_;
};

} // namespace support
