// SPDX-License-Identifier: MIT
#pragma once

#include "kxfr/kxfr.h"
#include "product/families/statements.h"
#include "product/kept.h"

namespace product {

/// What a product states about itself. Each family of products implements it in a folder of its
/// own; no other code knows the family's documents. The main document is parsed when the product is
/// opened; everything that takes longer is read once, when first asked for, and kept. Objects are
/// constant: any thread may use them.
///
/// Errors are loader::Error, naming the file and what is wrong.
class StatedProduct {
public:
    virtual ~StatedProduct() = default;
    StatedProduct(const StatedProduct&) = delete;
    StatedProduct& operator=(const StatedProduct&) = delete;

    const ProductFacts& facts() const { return facts_; }
    /// @return the product file: what the plug-in reads.
    const std::string& file() const { return facts_.documents.front(); }
    /// @return its folder, ending with a separator.
    std::string folder() const;
    /// @return the files of the product other than documents and images.
    virtual std::vector<std::string> furtherFiles() const { return {}; }

    /// @return documents that the plug-in can read in place of the product's own, the product file
    ///         first, for a product that it refuses; empty for others. They serve only for the
    ///         record: such a product has no layers.
    virtual std::vector<StandInFile> standIn() const { return {}; }

    /// @throws loader::Error when a size is no whole number above 0.
    virtual ImageClaims imageClaims() const = 0;
    virtual Acquisition acquisition() const = 0;
    virtual RadarFacts radar() const = 0;
    virtual StatedTimes times() const = 0;
    /// @return metadata under GDAL's usual keys, with the product's own texts.
    virtual TextItems metadataItems() const = 0;
    /// @return a sentence for each polarization that two documents of the product state
    ///         differently.
    virtual std::vector<std::string> contradictions() const { return {}; }
    /// @return the stated words that decide how an image is read.
    virtual std::vector<StatedWord> words() const { return {}; }

    /// @return the geolocation grid; empty when there is none.
    /// @throws loader::Error for a text that is no number.
    const std::vector<TiePoint>& tiePoints() const;
    /// @return the rational functions under the names of RPC00B ("LINE_OFF", ...); empty when there
    ///         are none, or not all of them.
    virtual TextItems rationalFunctions() const { return {}; }
    /// @return longitudes and latitudes of the image's closed outline; empty where none is stated.
    virtual std::vector<std::array<double, 2>> outline() const { return {}; }
    /// @return the position of the image's middle pixel; nothing where it is not stated.
    virtual std::optional<TiePoint> middle() const { return {}; }
    /// @return the geotransform that the metadata state for a map; the image file has its own.
    virtual std::vector<double> mapTransform() const { return {}; }
    /// @return whether the images are in radar geometry, so that they can have a sensor model.
    virtual bool hasRadarGrid() const = 0;
    /// @return whether the product states a grid that the plug-in's record cannot hold.
    virtual bool hasOwnModel() const { return false; }
    /// @return the sensor model of such a grid, with the product's scene height.
    virtual KxfrXFormPtr ownModel() const { return nullptr; }

    /// @return the bursts of a ScanSAR product, ordered by beam and number, whatever their order in
    ///         the document; empty for others. In a product of bursts, facts().images and
    ///         imageClaims() describe the burst that the document lists first, which the plug-in's
    ///         layers show.
    /// @throws loader::Error naming the burst and the text that is no number.
    const std::vector<StatedBurst>& bursts() const;

    virtual std::vector<CalibrationTable> calibrationTables() const = 0;
    /// @param table  one of calibrationTables().
    const StatedGains& gains(const CalibrationTable& table) const;
    virtual std::vector<NoiseTable> noiseTables() const = 0;
    /// @param table  one of noiseTables().
    /// @param width  of the image.
    /// @return the noise-equivalent level of that kind in dB; without values if the product states
    ///         none for that kind. Every table states sigma nought.
    const ColumnProfile& noise(const NoiseTable& table, Radiometry kind, std::uint32_t width) const;
    /// @return the file of incidence angles; "" when there is none.
    virtual std::string incidenceFile() const { return ""; }
    /// @return the angles in degrees; call it only where there is a file of them.
    const ColumnProfile& incidence() const;

protected:
    StatedProduct() = default;

    ProductFacts facts_; ///< filled by the constructors of families

private:
    virtual std::vector<TiePoint> readTiePoints() const { return {}; }
    virtual std::vector<StatedBurst> readBursts() const { return {}; }
    virtual StatedGains readGains(const CalibrationTable& table) const = 0;
    virtual ColumnProfile readNoise(const NoiseTable& table, Radiometry kind,
                                    std::uint32_t width) const = 0;
    virtual ColumnProfile readIncidence() const { return {}; }

    Kept<std::vector<TiePoint>> tiePoints_;
    Kept<std::vector<StatedBurst>> bursts_;
    KeptByName<StatedGains> gains_;
    KeptByName<ColumnProfile> noise_;
    Kept<ColumnProfile> incidence_;
};

/// Reads the statements of a product whose product file the plug-in has opened.
/// @throws loader::Error naming the file when it cannot be read.
std::unique_ptr<const StatedProduct> readStatedProduct(const std::string& productFile);

} // namespace product
