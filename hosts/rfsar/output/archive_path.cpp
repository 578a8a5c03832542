// SPDX-License-Identifier: MIT
#include "output/archive_path.h"

#include "kfio/kfio.h"

#include <string_view>

std::string outermostArchive(const std::string& file) {
    for (const std::string_view prefix : {"/vsizip/", "/vsitar/", "/vsi7z/", "/vsirar/"})
        if (file.starts_with(prefix)) {
            std::string inner = file.substr(prefix.size());
            if (inner.starts_with('{')) // the archive's name in braces
                inner = inner.substr(1, inner.find('}') - 1);
            inner = outermostArchive(inner);
            // The shortest prefix that is a file is the archive.
            for (auto slash = inner.find('/', 1); slash != std::string::npos;
                 slash = inner.find('/', slash + 1))
                if (kfio::fileState(inner.substr(0, slash)).isRegularFile)
                    return inner.substr(0, slash);
            return inner;
        }
    return file;
}
