// SPDX-License-Identifier: MIT
#pragma once

#include "product/families/document_text.h"
#include "product/families/family.h"

namespace product {

/// States what the products of an instrument that does not exist hold: a JSON document beside its
/// image, {"image": "strip.tif", "pole": "VV", "lines": 40, "samples": 30}.
class ExampleProduct final : public StatedProduct {
public:
    explicit ExampleProduct(Document& document) {
        tree_.swap(document.tree);
        facts_.documents = {document.file};
        facts_.id = text("id");
        facts_.satellite = "Example-1";
        facts_.polarizations = {text("pole")};
        facts_.images = {{folder() + text("image"), text("image"), text("pole")}};
    }

    ImageClaims imageClaims() const override {
        return {parseSize(text("samples"), file()), parseSize(text("lines"), file()), {}, {}, 0};
    }
    Acquisition acquisition() const override {
        Acquisition facts;
        facts.start = facts.stop = zoned(text("time"));
        facts.productId = facts_.id;
        return facts;
    }
    RadarFacts radar() const override { return {}; }
    StatedTimes times() const override { return {}; }
    TextItems metadataItems() const override { return {{"POLARIZATIONS", text("pole")}}; }
    bool hasRadarGrid() const override { return false; }
    std::vector<CalibrationTable> calibrationTables() const override { return {}; }
    std::vector<NoiseTable> noiseTables() const override { return {}; }

private:
    StatedGains readGains(const CalibrationTable&) const override { return {}; }
    ColumnProfile readNoise(const NoiseTable&, Radiometry, std::uint32_t) const override {
        return {};
    }

    std::string text(const std::string& path) const { return textAt(tree_, path); }

    kfio::ProductTree tree_;
};

/// Its folder, `families/example`, and the line FAMILY(example) in registered.inc make it known.
const Family example = {
    .extension = ".json",
    .places = {},
    .productsAmong = [](const std::vector<std::string>& names) { return names; },
    .looksLike =
        [](std::string_view head) {
            return head.find("\"image\"") == head.npos ? Likeness::no : Likeness::yes;
        },
    .headBytes = 1024,
    .read = [](Document& document) -> std::unique_ptr<const StatedProduct> {
        if (document.tree.count("image") == 0)
            return nullptr;
        return std::make_unique<ExampleProduct>(document);
    },
};

} // namespace product
