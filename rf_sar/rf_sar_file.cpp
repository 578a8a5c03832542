// SPDX-License-Identifier: MIT
#include "rf_sar_file.h"

#include "entry_point.h"
#include "kfnp/kfnp.h"
#include "kimg/kimg.h"
#include "kmsc/kmsc.h"
#include "messages.h"
#include "reader_factory.h"
#include "sarm/sarm.h"

#include <boost/thread/locks.hpp>

#include <algorithm>
#include <array>
#include <memory>
#include <new>

namespace {

constexpr char identifyName[] = "rf_sarFileTitleIdentifyAndOpen";

constexpr std::array<std::u16string_view, 5> creationModes = {u"a", u"ab", u"w+", u"wb+", u"w+b"};

bool asksForCreation(const char16_t* mode) {
    return mode && std::find(creationModes.begin(), creationModes.end(), mode) !=
                       creationModes.end();
}

/// Identification never prints; the reason goes to the log.
void logFailure(const char* message) { TolvanLog::Write(identifyName, kerrError, message); }

struct Shelver {
    void operator()(imageMetadata* reader) const noexcept {
        try {
            shelveReader(reader);
        } catch (const std::exception&) {
            // memory is short: the reader is freed instead of shelved
        }
    }
};
using ReaderPtr = std::unique_ptr<imageMetadata, Shelver>;

RF_SARFile* openProduct(ReaderPtr reader, std::uint32_t formatIndex) {
    auto* file = new (std::nothrow) RF_SARFile;
    if (!file) {
        logFailure(messages::fileAllocationFailed);
        return nullptr;
    }
    file->formatIndex = formatIndex;
    file->reader = reader.release();
    return file;
}

RF_SARFile* identifyAndOpen(const char16_t* name, uint32_t* index, const char16_t* mode) {
    if (asksForCreation(mode)) {
        logFailure(messages::creationNotSupported);
        return nullptr;
    }
    ReaderPtr reader(makeReader(kfnp_FileNameGetExtPart(name)));
    if (!reader) {
        if (index)
            *index = RF_SAR_FAILURE;
        logFailure(messages::readerAllocationFailed);
        return nullptr;
    }
    const kmsc::HeapPtr<char16_t> expanded(kstr_PathExpand(name));
    if (!expanded)
        throw std::bad_alloc();
    // Absolute, so that names formed from its folder stay beside it.
    reader->fileName = kfnp_FileNameInternalToExternal(
        ktxt::widen(kfnp::absolute(ktxt::narrow(expanded.get()))));

    std::uint32_t formatIndex = RF_SAR_FAILURE;
    kerr::Slot slot;
    if (reader->getReferencedFiles(&formatIndex, slot).empty())
        formatIndex = RF_SAR_FAILURE;

    RF_SARFile* file = nullptr;
    if (mode && formatIndex != RF_SAR_FAILURE)
        file = openProduct(std::move(reader), formatIndex);
    if (index)
        *index = formatIndex;
    return file;
}

} // namespace

uint32_t rf_sarFileTitleIdentify(const char16_t* name) {
    uint32_t index = RF_SAR_FAILURE;
    rf_sarFileTitleIdentifyAndOpen(name, &index, nullptr);
    return index;
}

RF_SARFile* rf_sarFileOpen(const char16_t* name, const char16_t* mode) {
    return rf_sarFileTitleIdentifyAndOpen(name, nullptr, mode);
}

RF_SARFile* rf_sarFileTitleIdentifyAndOpen(const char16_t* name, uint32_t* index,
                                           const char16_t* mode) {
    return entryPoint<RF_SARFile*>(identifyName, nullptr, [&](KerrException&) {
        if (index)
            *index = RF_SAR_FAILURE;
        return name ? identifyAndOpen(name, index, mode) : nullptr;
    });
}

uint32_t rf_sarFileClose(RF_SARFile* file) {
    if (!file)
        return 0;
    sarm_ReleaseMetadata(file->sarMetadata);
    for (const std::u16string& image : file->reader->referencedFiles)
        kimg::closeUnused(image); // what was looked at without a layer being opened
    releaseReader(file->reader);
    delete file;
    return 0;
}

SarMetadataRecord* sarMetadataOf(RF_SARFile& file) {
    const boost::lock_guard<boost::mutex> guard(file.lock);
    if (!file.sarMetadata)
        file.sarMetadata = file.reader->readSARnode();
    return file.sarMetadata;
}

// cppcheck-suppress constParameter ; hosts look the signature up
uint32_t rf_sarFileDataModTimeGet(RF_SARFile* file, void*, int64_t* time) {
    if (!file || !time)
        return RF_SAR_FAILURE;
    *time = 0;
    return 0;
}
