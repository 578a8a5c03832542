// SPDX-License-Identifier: MIT
#pragma once

#include "kstr/host_list.h"
#include "image_metadata.h"
#include "kfio/product_tree.h"
#include "kfnp/kfnp.h"
#include "metadata_element.h"
#include "record_parts.h"
#include "referenced_file.h"

/// Reads the products of an instrument that does not exist: a JSON document beside its image,
/// {"image": "strip.tif", "pole": "VV", "lines": 40, "samples": 30}.
struct exampleImageMetadata final : imageMetadata {
    exampleImageMetadata() { sensorName = u"S"; } // begins every layer name

    std::vector<std::u16string> getReferencedFiles(std::uint32_t* index, KERR_REPORT**) override {
        KerrException report("example_metadata", "getReferencedFiles");
        try {
            const std::string file = ktxt::narrow(fileName);
            const kfio::ProductTree tree = kfio::readJsonTree(file);
            const MetadataElement document(tree, file);
            const std::string& image = document.text("image");
            refuseNamesOutsideProduct(image);
            isComplex = false;    // true: a magnitude and a phase layer for each image
            complexInOneBand = 0; // 1: complex samples in one band, 0: real ones in two
            polarizations.append(ktxt::widen(document.text("pole"))); // one for each image
            formatIndex = formatMine;
            *index = static_cast<std::uint32_t>(formatIndex);
            referencedFiles.push_back(kfnp_FileNameGetPathPart(fileName.c_str()) +
                                      ktxt::widen(image));
            return referencedFiles;
        } catch (const std::exception& error) {
            report.Log(error.what());
        }
        return {};
    }

    SarMetadataRecord* readSARnode() override {
        KerrException report("example_metadata", "readSARnode");
        try {
            const std::string file = ktxt::narrow(fileName);
            const kfio::ProductTree tree = kfio::readJsonTree(file);
            const MetadataElement document(tree, file);
            sarm::MetadataPtr record = record_parts::make();
            record->numberOfLines = document.imageSize("lines");
            record->numberOfSamplesPerLine = document.imageSize("samples");
            record_parts::setImageWindow(*record);
            record_parts::describeModel(*record, file); // no orbit, no model: it is logged
            return record.release();
        } catch (const std::exception& error) {
            report.Log(error.what());
        }
        return nullptr;
    }

    std::uint32_t getNonStandardDataNamesGet(std::uint32_t* count, char16_t*** names) override {
        HostList list(1);
        if (!list.append(u":SAR_Metadata"))
            return static_cast<std::uint32_t>(-1);
        *count = list.count();
        *names = list.release();
        return 0;
    }

    static constexpr std::int32_t formatMine = 5; // the row that step 2 appends
};
