#include "lmx/document_source.h"

#include <filesystem>
#include <fstream>

namespace lmx {

elmx_error load_document(const std::string& path, std::string& document) {
    document.clear();
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(path, ignored))
        return elmx_error::notOpened;
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    const auto size = file.tellg();
    if (!file || size < 0)
        return elmx_error::notOpened;
    if (static_cast<std::size_t>(size) > maxDocumentBytes)
        return elmx_error::tooLarge;
    document.resize(static_cast<std::size_t>(size));
    file.seekg(0);
    if (!file.read(document.data(), size)) {
        document.clear();
        return elmx_error::notOpened;
    }
    return elmx_error::ok;
}

} // namespace lmx
