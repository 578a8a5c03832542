// SPDX-License-Identifier: MIT
#pragma once

// A real RADARSAT-2 product, unpacked from the zip that RF_SAR_PRODUCTS leads to.

#include <cpl_conv.h>
#include <cpl_string.h>
#include <cpl_vsi.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include <unistd.h>

/// The product's metadata and image in a folder of their own, removed at exit.
class UnpackedProduct {
public:
    UnpackedProduct()
        : folder_(std::filesystem::temp_directory_path() /
                  ("open_bench-" + std::to_string(getpid()))) {
        const std::string zip = findZip();
        if (zip.empty())
            return;
        std::filesystem::create_directories(folder_);
        char** names = VSIReadDirRecursive(("/vsizip/" + zip).c_str());
        for (char** name = names; name && *name; ++name) {
            const std::string base = std::filesystem::path(*name).filename();
            if (base == "product.xml" || base.starts_with("lut") || base.starts_with("imagery"))
                CPLCopyFile((folder_ / base).c_str(), ("/vsizip/" + zip + "/" + *name).c_str());
        }
        CSLDestroy(names);
    }
    ~UnpackedProduct() { std::filesystem::remove_all(folder_); }
    UnpackedProduct(const UnpackedProduct&) = delete;
    UnpackedProduct& operator=(const UnpackedProduct&) = delete;

    /// @return its product.xml; empty when there is no real product.
    std::string product() const {
        const auto file = folder_ / "product.xml";
        return std::filesystem::exists(file) ? file.string() : "";
    }

private:
    static std::string findZip() {
        const char* folder = std::getenv("RF_SAR_PRODUCTS");
        const auto products = std::filesystem::path(folder ? folder : RF_SAR_PRODUCTS);
        if (std::filesystem::exists(products / "radarsat2"))
            for (const auto& entry :
                 std::filesystem::recursive_directory_iterator(products / "radarsat2"))
                if (entry.path().extension() == ".zip")
                    return entry.path();
        return {};
    }

    std::filesystem::path folder_;
};
