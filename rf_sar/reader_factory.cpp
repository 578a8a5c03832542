// SPDX-License-Identifier: MIT
#include "reader_factory.h"

#include "capella_metadata.h"
#include "rcm_metadata.h"

#include <boost/thread/locks.hpp>
#include <boost/thread/mutex.hpp>

#include <memory>

namespace {

/// Readers of one family kept for reuse.
template <class Reader>
class Shelf {
public:
    imageMetadata* take() {
        {
            const boost::lock_guard<boost::mutex> lock(mutex_);
            if (!readers_.empty()) {
                imageMetadata* reader = readers_.back().release();
                readers_.pop_back();
                return reader;
            }
        }
        return new Reader();
    }

    void put(Reader* reader) {
        std::unique_ptr<Reader> owner(reader); // frees it when memory is short
        *reader = Reader();
        const boost::lock_guard<boost::mutex> lock(mutex_);
        readers_.push_back(std::move(owner));
    }

private:
    boost::mutex mutex_;
    std::vector<std::unique_ptr<Reader>> readers_;
};

template <class Reader>
Shelf<Reader>& shelf() {
    static Shelf<Reader> instance;
    return instance;
}

} // namespace

imageMetadata* makeReader(std::u16string_view extension) {
    if (kstr_Eqic(extension, u".json"))
        return shelf<capellaImageMetadata>().take();
    if (kstr_Eqic(extension, u".xml"))
        return shelf<rcmImageMetadata>().take();
    return nullptr;
}

void releaseReader(imageMetadata* reader) {
    if (auto* capella = dynamic_cast<capellaImageMetadata*>(reader))
        delete capella;
    else
        delete dynamic_cast<rcmImageMetadata*>(reader);
}

void shelveReader(imageMetadata* reader) {
    if (auto* capella = dynamic_cast<capellaImageMetadata*>(reader))
        shelf<capellaImageMetadata>().put(capella);
    else if (auto* rcm = dynamic_cast<rcmImageMetadata*>(reader))
        shelf<rcmImageMetadata>().put(rcm);
}
