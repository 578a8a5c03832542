// SPDX-License-Identifier: MIT
#pragma once

#include "kerr/kerr.h"
#include "kstr/kstr.h"
#include "ktxt/ktxt.h"
#include "records/sar_metadata_record.h"

#include <cstdint>
#include <string>
#include <vector>

/// Rows of the format table; the number is what identification returns.
enum FormatIndex : std::int32_t {
    formatUnknown = -1,
    formatCapellaGeo = 0,
    formatCapellaSlc = 1,
    formatRcm = 2,
    formatRadarsat2 = 3,
    formatCapellaGrd = 4,
};

/// The four arguments of a host's request for a node, passed on unchanged.
struct HostNodeArguments {
    void* a;
    void* b;
    void* c;
    void* d;
};

/// The interface of product readers, common to all families. Slot 0 fills the fields; the other
/// slots use them. One thread at a time; rf_sar_nodes.cpp holds the file's lock for that. No
/// operation lets an exception out: it logs the failure and returns an empty result.
struct imageMetadata {
    bool isComplex = false;                   ///< samples are complex
    std::int32_t formatIndex = formatUnknown; ///< row of the format table
    std::uint8_t complexInOneBand = 0; ///< 1: packed int16 pairs in one band, else two bands
    std::vector<std::u16string> referencedFiles; ///< image files, in layer order
    KtxtTextU fileName;                          ///< product file, expanded, external form
    KtxtTextU sensorName;                        ///< first component of every layer name
    double magnitudeScale = 1.0;                 ///< factor of complex magnitudes
    KstrStringList polarizations;                ///< one a referenced file

    /// Slot 0: lists the product's image files and sets the fields above.
    /// @param index  preset to -1 by the caller; receives the row of the format table.
    virtual std::vector<std::u16string> getReferencedFiles(std::uint32_t* index,
                                                           KERR_REPORT** slot);
    /// Slot 1: loads the product's metadata document.
    virtual void openImageMetadata() {}
    /// Slot 2: @return a new record, owned by the caller, or null.
    virtual SarMetadataRecord* readSARnode() { return nullptr; }
    /// Slot 3: @return Doppler rates in the layout of the SAR model library's design, or null.
    virtual void* getDopplerRates() { return nullptr; }
    /// Slot 4: fills a node that only this reader knows.
    virtual void readNonStandardData(const char16_t*, const HostNodeArguments&) {}
    /// Slot 5: @return 0, or -1 when the reader has no nodes to offer.
    virtual std::uint32_t getNonStandardDataNamesGet(std::uint32_t* count, char16_t*** names);

protected:
    ~imageMetadata() = default; // the interface has no virtual destructor; see reader_factory.h
};
