// SPDX-License-Identifier: MIT
#pragma once

#include "support/temporary_folder.h"

#include <cstdio>
#include <map>
#include <memory>
#include <stdexcept>

namespace support {

/// A whole product in a folder of its own, made by tools/sarsim once a family and process.
class SimulatedProduct {
public:
    explicit SimulatedProduct(const std::string& family,
                              const std::string& options = "--lines 64 --samples 48") {
        static std::map<std::string, std::unique_ptr<Made>> made;
        auto& original = made[family + " " + options];
        if (!original)
            original = std::make_unique<Made>(family + " '%s' " + options);
        std::filesystem::copy(original->folder.path(), folder_.path(),
                              std::filesystem::copy_options::recursive);
        file_ = folder_ / original->file;
    }

    const std::string& file() const { return file_; } ///< the one to open
    const TemporaryFolder& folder() const { return folder_; }

private:
    struct Made {
        explicit Made(std::string arguments) {
            arguments.replace(arguments.find("%s"), 2, folder.path().string());
            const std::string command =
                std::string(RF_SAR_PYTHON) + " " + RF_SAR_SIMULATOR + " " + arguments;
            std::FILE* out = popen(command.c_str(), "r");
            char line[4096] = "";
            if (!out || !std::fgets(line, sizeof line, out) || pclose(out) != 0)
                throw std::runtime_error("the simulator failed: " + command);
            file = line;
            file = file.substr(0, file.find_last_not_of('\n') + 1)
                       .substr(folder.path().string().size() + 1);
        }

        TemporaryFolder folder;
        std::string file; ///< within the folder
    };

    TemporaryFolder folder_;
    std::string file_;
};

} // namespace support
