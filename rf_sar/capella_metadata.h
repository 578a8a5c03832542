// SPDX-License-Identifier: MIT
#pragma once

#include "image_metadata.h"
#include "jsonlib/jsonlib.h"

#include <string>

/// Reads Capella products: the JSON item, or its extended metadata, beside a TIFF image.
struct capellaImageMetadata final : imageMetadata {
    capellaImageMetadata() { sensorName = u"X"; }

    std::vector<std::u16string> getReferencedFiles(std::uint32_t* index,
                                                   KERR_REPORT** slot) override;
    /// Loads the item. If the user opened the extended metadata, `fileName` becomes the item's
    /// name, and the item is loaded if it exists.
    void openImageMetadata() override;
    SarMetadataRecord* readSARnode() override;
    std::uint32_t getNonStandardDataNamesGet(std::uint32_t* count, char16_t*** names) override;

private:
    struct Product {
        std::u16string image; ///< empty when the document has no assets
        std::string type;     ///< "SLC", "GRD", "GEO", …
    };

    bool loadDocument(KerrException& report);
    bool loadExtendedInstead(const std::string& whyNotItem);
    Product readItem(KerrException& report);
    Product readExtended(KerrException& report);
    std::u16string imageOf(const std::string& href, KerrException& report) const;
    void classify(const std::string& type);

    tolvan::jsonlib::Value document_;
};
