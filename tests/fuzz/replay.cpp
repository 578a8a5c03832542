// SPDX-License-Identifier: MIT
// Feeds files to a fuzzer's function, without libFuzzer: replay FILE_OR_FOLDER...
#include "fuzz/require.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

namespace fs = std::filesystem;

int main(int count, char** arguments) {
    std::vector<fs::path> files;
    for (int i = 1; i < count; ++i) {
        if (fs::is_directory(arguments[i]))
            files.insert(files.end(), fs::directory_iterator(arguments[i]), {});
        else
            files.emplace_back(arguments[i]);
    }
    std::sort(files.begin(), files.end());
    for (const fs::path& file : files) {
        std::cerr << file.string() << std::endl; // stands there when the next line never comes
        std::ifstream in(file, std::ios::binary);
        if (!in)
            return 1;
        const std::string bytes(std::istreambuf_iterator<char>(in), {});
        LLVMFuzzerTestOneInput(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    }
    return files.empty() ? 1 : 0;
}
