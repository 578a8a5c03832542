#include "kimg/new_file.h"

#include <cpl_conv.h>
#include <cpl_vsi.h>

#include <atomic>
#include <utility>

#include <unistd.h>

namespace kimg {
namespace {

constexpr char sideCars[] = "GDAL_PAM_ENABLED";

std::string temporaryNameBeside(const std::string& path) {
    static std::atomic<unsigned> count{0};
    return path + ".part-" + std::to_string(getpid()) + "-" + std::to_string(++count);
}

} // namespace

NewFile::NewFile(std::string path)
    : path_(std::move(path)), temporaryPath_(temporaryNameBeside(path_)) {}

NewFile::~NewFile() {
    if (!inPlace_)
        VSIUnlink(temporaryPath_.c_str());
}

bool NewFile::putInPlace() {
    inPlace_ = VSIRename(temporaryPath_.c_str(), path_.c_str()) == 0;
    return inPlace_;
}

NoSideCars::NoSideCars() {
    if (const char* before = CPLGetThreadLocalConfigOption(sideCars, nullptr))
        before_ = before;
    CPLSetThreadLocalConfigOption(sideCars, "NO");
}

NoSideCars::~NoSideCars() {
    CPLSetThreadLocalConfigOption(sideCars, before_ ? before_->c_str() : nullptr);
}

} // namespace kimg
