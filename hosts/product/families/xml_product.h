// SPDX-License-Identifier: MIT
#pragma once

#include "product/families/document_text.h"
#include "product/families/family.h"

namespace product {

/// Shared code of the families whose product file is an XML document with the root `product`. Their
/// documents are mostly alike.
class XmlProduct : public StatedProduct {
public:
    std::vector<std::string> furtherFiles() const override;
    Acquisition acquisition() const override;
    RadarFacts radar() const override;
    StatedTimes times() const override;
    std::vector<StatedWord> words() const override;
    TextItems metadataItems() const override;
    TextItems rationalFunctions() const override;
    bool hasRadarGrid() const override;

protected:
    /// The names that differ between the families' documents.
    struct Layout {
        std::string image;       ///< the element that holds rasters, tie points and tables
        std::string tableFolder; ///< of the tables, below the product's; with its separator
        std::string tableName;   ///< the element that names a calibration table
        std::string tableKind;   ///< its attribute for the kind of radiometry
        std::vector<std::string> furtherNames; ///< elements that name other files there
        std::vector<KeyAndPath> items;         ///< metadata items beyond the shared ones
    };

    /// @param document  the constructor takes over its root element.
    XmlProduct(Document& document, const Layout& layout);

    /// @return the images that the children of that name state, with their attribute `pole`.
    std::vector<StatedImage> imagesOf(const kfio::ProductTree& parent, std::string_view name) const;
    std::vector<CalibrationTable> calibrationTables() const override;

    const kfio::ProductTree& root() const { return root_; }
    std::string text(const std::string& path) const { return textAt(root_, path); }
    /// @return the document as it was read.
    const std::string& wholeText() const { return text_; }
    /// @return the element that holds rasters, tie points and tables; null when there is none.
    const kfio::ProductTree* image() const { return elementAt(root_, layout_.image); }
    std::string tableFile(const std::string& name) const {
        return folder() + layout_.tableFolder + name;
    }
    /// Noise levels as both families write them: an element for each kind.
    /// @return the child element for that kind; null when there is none.
    static const kfio::ProductTree* levelsFor(const kfio::ProductTree& parent, Radiometry kind);
    static ColumnProfile levelsOf(const kfio::ProductTree& element, const std::string& file);

private:
    std::vector<TiePoint> readTiePoints() const override;
    StatedGains readGains(const CalibrationTable& table) const override;

    kfio::ProductTree root_;
    std::string text_; ///< of the whole document, for the tie points
    Layout layout_;
};

/// @return whether the root element is `product` of the namespace.
Likeness looksLikeProductXml(std::string_view head, std::string_view namespaceUri);

} // namespace product
