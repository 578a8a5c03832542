// SPDX-License-Identifier: MIT
#include "product/families/capella/middle_pixel.h"
#include "product/families/capella/polar_format.h"
#include "product/families/document_text.h"
#include "product/families/family.h"
#include "product/families/heads.h"

#include "product/radiometry/table_limits.h"

#include "kfio/kfio.h"
#include "kfnp/kfnp.h"
#include "kstr/kstr.h"
#include "ktxt/ktxt.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace product {
namespace {

using kfio::ProductTree;

constexpr char mark[] = "_extended";
constexpr char geometry[] = "collect/image/image_geometry/";
constexpr char noisePolynomial[] = "collect/image/nesz_polynomial/coefficients";
constexpr std::uint32_t noiseStep = 16; // columns; the levels bend by less than 1e-4 dB between

/// The path of a fact in the extended document, and in the item for products where the extended
/// document is missing or does not state it.
struct Item {
    const char* key;
    const char* extended;
    const char* item;
};
constexpr Item items[] = {
    {"ACQUISITION_START_TIME", "collect/start_timestamp", "properties/start_datetime"},
    {"ANTENNA_POINTING", "collect/radar/pointing", "properties/sar:observation_direction"},
    {"BEAM_MODE", "collect/mode", "properties/sar:instrument_mode"},
    {"CENTER_INCIDENCE_ANGLE", "collect/image/center_pixel/incidence_angle",
     "properties/view:incidence_angle"},
    {"FIRST_LINE_TIME", "collect/image/image_geometry/first_line_time", nullptr},
    {"LINE_SPACING", "collect/image/pixel_spacing_row", "properties/sar:pixel_spacing_azimuth"},
    {"ORBIT_DATA_SOURCE", "collect/state/source", nullptr},
    {"ORBIT_DIRECTION", "collect/state/direction", "properties/sat:orbit_state"},
    {"PIXEL_SPACING", "collect/image/pixel_spacing_column", "properties/sar:pixel_spacing_range"},
    {"PROCESSING_FACILITY", "processing_deployment", nullptr},
    {"PROCESSING_TIME", "processing_time", nullptr},
    {"PRODUCT_ID", "collect/collect_id", nullptr},
    {"PRODUCT_TYPE", "product_type", "properties/sar:product_type"},
    {"SATELLITE_IDENTIFIER", "collect/platform", "properties/platform"},
    {"SLANT_RANGE_NEAR_EDGE", "collect/image/image_geometry/range_to_first_sample", nullptr},
};

/// Removes "_extended" from the file name only; folder names may contain it.
std::string withoutMarkOfExtended(std::string file) {
    if (const auto at = file.find(mark, file.rfind('/') + 1); at != std::string::npos)
        file.erase(at, std::string_view(mark).size());
    return file;
}

constexpr std::pair<std::string_view, Radiometry> radiometries[] = {
    {"sigma_nought", Radiometry::sigmaNought}, {"beta_nought", Radiometry::betaNought},
    {"gamma_nought", Radiometry::gamma},       {"sigma", Radiometry::sigmaNought},
    {"beta", Radiometry::betaNought},          {"gamma", Radiometry::gamma}};

std::optional<Radiometry> radiometryOf(const std::string& text) {
    for (const auto& [name, kind] : radiometries)
        if (text == name)
            return kind;
    return std::nullopt;
}

std::vector<std::string_view> radiometryWords() {
    std::vector<std::string_view> words;
    for (const auto& [name, kind] : radiometries)
        words.push_back(name);
    return words;
}

/// @return NaN when the text is no number.
std::array<double, 3> threeNumbers(const ProductTree& parent, const char* name) {
    std::array<double, 3> numbers;
    numbers.fill(std::numeric_limits<double>::quiet_NaN());
    std::size_t at = 0;
    if (const ProductTree* list = elementAt(parent, name); list && list->size() == numbers.size())
        for (const auto& [key, element] : *list)
            numbers[at++] = numberOrNan(element.data());
    return numbers;
}

/// Capella: a STAC item and, beside it, the extended document, which has most facts. Each may exist
/// without the other. The product file is the item, or the extended document if there is no item.
class CapellaProduct final : public StatedProduct {
public:
    explicit CapellaProduct(Document& named) {
        facts_.documents = {named.file};
        if (named.tree.count("properties") != 0)
            takeItem(named);
        else
            takeExtended(named);
        if (!extended_.empty() && extendedFile_ != file())
            facts_.documents.push_back(extendedFile_);
        facts_.needsImages = true;
        if (item_.empty())
            stateByExtended();
        else
            stateByItem();
        for (StatedImage& image : facts_.images) {
            image.file = imageFile(image.pole);
            image.name = image.file.substr(folder().size());
        }
    }

    std::vector<std::string> furtherFiles() const override {
        return isOwnFile(file(), extendedFile_) ? std::vector{extendedFile_}
                                                : std::vector<std::string>();
    }

    /// The document uses GDAL's type names: "UInt16", "CInt16", "CFloat32".
    ImageClaims imageClaims() const override {
        ImageClaims claims;
        claims.width = parseSize(textAt(extended_, "collect/image/columns"), extendedFile_);
        claims.height = parseSize(textAt(extended_, "collect/image/rows"), extendedFile_);
        const std::string type = textAt(extended_, "collect/image/data_type");
        const auto digits = type.find_first_of("0123456789");
        if (digits == std::string::npos)
            return claims;
        claims.isComplex = type.front() == 'C';
        claims.isFloating = type.find("Float") != std::string::npos;
        claims.bits = static_cast<unsigned>(parseInteger(type.substr(digits), extendedFile_));
        return claims;
    }

    Acquisition acquisition() const override {
        Acquisition facts;
        facts.collectStart = zoned(stated("collect/start_timestamp", "properties/start_datetime"));
        facts.collectStop = zoned(stated("collect/stop_timestamp", "properties/end_datetime"));
        facts.start =
            firstText({facts.collectStart,
                       zoned(textAt(extended_, geometry + std::string("first_line_time")))});
        facts.stop = facts.collectStop;
        facts.productId = facts_.id;
        facts.beamMode = stated("collect/mode", "properties/sar:instrument_mode");
        facts.pass = lowerCase(stated("collect/state/direction", "properties/sat:orbit_state"));
        facts.lookSide =
            lowerCase(stated("collect/radar/pointing", "properties/sar:observation_direction"));
        facts.centreIncidenceDeg = numberOf(stated("collect/image/center_pixel/incidence_angle",
                                                   "properties/view:incidence_angle"));
        facts.pixelSpacingM = numberOf(
            stated("collect/image/pixel_spacing_column", "properties/sar:pixel_spacing_range"));
        facts.lineSpacingM = numberOf(
            stated("collect/image/pixel_spacing_row", "properties/sar:pixel_spacing_azimuth"));
        const std::string type = geometryType();
        facts.geometry = type == "slant_plane" || type == "pfa" ? "slant"
                         : type == "geotransform"               ? "map"
                                                                : "";
        return facts;
    }

    RadarFacts radar() const override {
        RadarFacts facts;
        facts.band = firstText({textAt(item_, "properties/sar:frequency_band"), "X"});
        const auto hertz = numberOf(textAt(extended_, "collect/radar/center_frequency"));
        facts.centreFrequencyGHz =
            hertz ? *hertz / 1e9 : numberOf(textAt(item_, "properties/sar:center_frequency"));
        facts.rangeLooks = numberOf(textAt(extended_, "collect/image/range_looks"));
        facts.azimuthLooks = numberOf(textAt(extended_, "collect/image/azimuth_looks"));
        facts.equivalentLooks =
            numberOf(stated("collect/image/enl", "properties/sar:looks_equivalent_number"));
        facts.rangeResolutionM =
            numberOf(firstText({textAt(item_, "properties/sar:resolution_range"),
                                textAt(extended_, "collect/image/range_resolution")}));
        facts.azimuthResolutionM =
            numberOf(firstText({textAt(item_, "properties/sar:resolution_azimuth"),
                                textAt(extended_, "collect/image/azimuth_resolution")}));
        return facts;
    }

    /// Lines have times only in radar geometry.
    StatedTimes times() const override {
        StatedTimes times;
        times.first = textAt(extended_, geometry + std::string("first_line_time"));
        times.firstS = gpsSecondsOf(times.first);
        times.lastS = times.firstS + (oneNumber("collect/image/rows") - 1) *
                                         oneNumber(geometry + std::string("delta_line_time"));
        if (const ProductTree* vectors = elementAt(extended_, "collect/state/state_vectors"))
            for (const auto& [key, element] : *vectors)
                if (element.count("time") != 0)
                    times.vectors.push_back({textAt(element, "time"),
                                             threeNumbers(element, "position"),
                                             threeNumbers(element, "velocity")});
        times.collectStart = textAt(extended_, "collect/start_timestamp");
        times.collectStop = textAt(extended_, "collect/stop_timestamp");
        return times;
    }

    TextItems metadataItems() const override {
        TextItems found;
        for (const Item& item : items)
            if (std::string text = stated(item.extended, item.item); !text.empty())
                found.emplace_back(item.key, std::move(text));
        found.emplace_back("SENSOR_IDENTIFIER", "SAR");
        return found;
    }

    std::vector<std::string> contradictions() const override {
        const auto& listed = facts_.polarizations;
        const std::string pole = poleOfExtended();
        if (textAt(extended_, "collect/radar/transmit_polarization").empty() ||
            std::find(listed.begin(), listed.end(), pole) != listed.end())
            return {};
        return {extendedFile_ + " states polarization " + pole + ", which the item does not list"};
    }

    std::vector<StatedWord> words() const override {
        std::vector<StatedWord> stated;
        const auto add = [&](const char* path, std::vector<std::string_view> known) {
            if (const std::string word = firstText({textAt(extended_, path)}); !word.empty())
                stated.push_back({extendedFile_, path, word, std::move(known)});
        };
        add("collect/radar/pointing", {"left", "right"});
        add("collect/state/direction", {"ascending", "descending"});
        add("collect/state/coordinate_system/type", {"ecef"});
        add("collect/image/radiometry", radiometryWords());
        return stated;
    }

    std::optional<TiePoint> middle() const override {
        return middlePixel(extended_, extendedFile_);
    }

    /// A polygon of the item's own.
    std::vector<std::array<double, 2>> outline() const override {
        const ProductTree* rings = elementAt(item_, "geometry/coordinates");
        std::vector<std::array<double, 2>> ring;
        if (!rings || rings->empty() || textAt(item_, "geometry/type") != "Polygon")
            return ring;
        for (const auto& [key, point] : rings->front().second) {
            std::vector<double> numbers;
            for (const auto& [index, coordinate] : point)
                if (const auto value = numberOf(coordinate.data()))
                    numbers.push_back(*value);
            if (numbers.size() < 2)
                return {};
            ring.push_back({numbers[0], numbers[1]});
        }
        return ring;
    }

    std::vector<double> mapTransform() const override {
        return numbersAt(extended_, geometry + std::string("geotransform"), extendedFile_);
    }

    bool hasRadarGrid() const override {
        return hasOwnModel() ||
               !textAt(extended_, geometry + std::string("range_to_first_sample")).empty();
    }
    bool hasOwnModel() const override { return geometryType() == "pfa"; }
    KxfrXFormPtr ownModel() const override {
        return polarFormatTransform(extended_, extendedFile_);
    }

    /// Samples times the scale factor are the amplitude of the radiometry that `radiometry` names.
    std::vector<CalibrationTable> calibrationTables() const override {
        const auto kind = radiometryOf(textAt(extended_, "collect/image/radiometry"));
        if (!kind || textAt(extended_, "collect/image/scale_factor").empty())
            return {};
        return {{*kind, "", "", ""}};
    }

    /// Only in slant-plane images does a column have one slant range.
    std::vector<NoiseTable> noiseTables() const override {
        const ProductTree* found = elementAt(extended_, noisePolynomial);
        if (!found || found->empty() || geometryType() != "slant_plane" || facts_.images.empty())
            return {};
        return {{facts_.images.front().pole, "", "", extendedFile_}};
    }

private:
    void takeItem(Document& named) {
        item_.swap(named.tree);
        extendedFile_ = fileOfAsset("metadata");
        if (extendedFile_.empty()) {
            extendedFile_ = named.file;
            extendedFile_.insert(named.file.rfind('.'), mark);
        }
        readExtendedBeside();
    }

    /// If the user named the extended document and its item exists, the plug-in reads the item.
    void takeExtended(Document& named) {
        extended_.swap(named.tree);
        extendedFile_ = named.file;
        const std::string item = withoutMarkOfExtended(named.file);
        if (item != named.file && kfio::fileState(item).isRegularFile) {
            facts_.documents = {item};
            item_ = kfio::readJsonTree(item);
        }
    }

    /// Pixels and item can be used without it, so a damaged one is only reported.
    void readExtendedBeside() {
        if (!kfio::fileState(extendedFile_).isRegularFile)
            return;
        if (kfio::linkLeavesProduct(file(), extendedFile_)) {
            facts_.fault =
                extendedFile_ + ": is a link that leaves the product's folder and is refused";
            return;
        }
        try {
            extended_ = kfio::readJsonTree(extendedFile_);
        } catch (const boost::property_tree::ptree_error& error) {
            facts_.fault = error.what();
        }
    }

    void stateByItem() {
        facts_.id = firstText({textAt(item_, "id"), stem()});
        facts_.satellite = textAt(item_, "properties/platform");
        facts_.productType = textAt(item_, "properties/sar:product_type");
        if (const ProductTree* poles = elementAt(item_, "properties/sar:polarizations"))
            for (const auto& [key, pole] : *poles)
                facts_.polarizations.push_back(pole.data());
        if (!facts_.polarizations.empty())
            facts_.images.push_back({"", "", facts_.polarizations.back()});
    }

    void stateByExtended() {
        facts_.id = stem();
        facts_.satellite = textAt(extended_, "collect/platform");
        facts_.productType = textAt(extended_, "product_type");
        facts_.polarizations = {poleOfExtended()};
        facts_.images = {{"", "", poleOfExtended()}};
    }

    std::string poleOfExtended() const {
        return textAt(extended_, "collect/radar/transmit_polarization") +
               textAt(extended_, "collect/radar/receive_polarization");
    }

    /// @return the item's file name without its extension, even if the item is missing.
    std::string stem() const {
        const std::string name = kfnp::lastComponent(withoutMarkOfExtended(file()));
        return name.substr(0, name.rfind('.'));
    }

    /// Items may contain the URL of their download; the file is then beside the item.
    /// @return the file that an asset of the item names; "" when it is missing.
    std::string fileOfAsset(const std::string& asset) const {
        const std::string href = textAt(item_, "assets/" + asset + "/href");
        const bool url = kfnp::classifyReference(href) == kfnp::Reference::url;
        for (const std::string& name : {url ? std::string() : href, kfnp::lastComponent(href)})
            if (!name.empty() && kfio::fileState(folder() + name).exists)
                return folder() + name;
        return "";
    }

    std::string imageFile(const std::string& pole) const {
        return firstText({fileOfAsset(pole), folder() + stem() + ".tif"});
    }

    /// @return the text of the extended document, else of the item; "" when neither has it.
    std::string stated(const char* extended, const char* item) const {
        return firstText({textAt(extended_, extended), item ? textAt(item_, item) : ""});
    }

    std::string geometryType() const { return textAt(extended_, geometry + std::string("type")); }

    /// @return NaN when there is no number.
    double oneNumber(const std::string& path) const {
        const auto numbers = parseNumbers(textAt(extended_, path), extendedFile_);
        return numbers.size() == 1 ? numbers.front() : std::numeric_limits<double>::quiet_NaN();
    }

    StatedGains readGains(const CalibrationTable&) const override {
        constexpr char path[] = "collect/image/scale_factor";
        const std::string text = leafAt(extended_, path, extendedFile_);
        const auto scale = parseNumbers(text, extendedFile_);
        if (scale.size() != 1)
            throw loader::Error(extendedFile_ + ": \"" + text + "\" is no scale factor");
        requireWithin(scaleLimits, scale[0], extendedFile_, path);
        return {0, {}, scale[0]};
    }

    /// Noise-equivalent sigma nought in dB is a polynomial in slant range, m; constant term first.
    ColumnProfile readNoise(const NoiseTable&, Radiometry kind,
                            std::uint32_t width) const override {
        if (kind != Radiometry::sigmaNought)
            return {};
        const auto coefficients = numbersAt(extended_, noisePolynomial, extendedFile_);
        const double nearM = requiredNumber("range_to_first_sample");
        const double stepM = requiredNumber("delta_range_sample");
        ColumnProfile profile{0, noiseStep, {}};
        for (std::uint32_t column = 0; column < width - 1 + noiseStep; column += noiseStep) {
            const double rangeM = nearM + column * stepM;
            profile.values.push_back(
                std::accumulate(coefficients.rbegin(), coefficients.rend(), 0.0,
                                [&](double sum, double next) { return sum * rangeM + next; }));
        }
        requireWithin(noiseLimits, profile, extendedFile_, "collect/image/nesz_polynomial");
        return profile;
    }

    double requiredNumber(const char* name) const {
        const std::string path = geometry + std::string(name);
        const double number = oneNumber(path);
        if (std::isnan(number))
            throw loader::Error(extendedFile_ + ": \"" + textAt(extended_, path) +
                                "\" is no number, in " + path);
        return number;
    }

    ProductTree item_, extended_; ///< either may be empty
    std::string extendedFile_;    ///< where the extended document is expected
};

/// JSON files that can be products: items, and extended documents whose item is missing.
std::vector<std::string> productsAmong(const std::vector<std::string>& names) {
    const auto endsWith = [](const std::string& text, std::string_view ending) {
        const std::u16string wide = ktxt::widenLossy(text);
        return wide.size() >= ending.size() &&
               kstr_Eqic(wide.substr(wide.size() - ending.size()), ktxt::widen(ending));
    };
    constexpr std::string_view extended = "_extended.json";
    std::vector<std::string> found;
    for (const std::string& name : names) {
        if (!endsWith(name, ".json"))
            continue;
        const bool companion =
            endsWith(name, extended) &&
            std::find(names.begin(), names.end(),
                      name.substr(0, name.size() - extended.size()) + ".json") != names.end();
        if (!companion)
            found.push_back(name);
    }
    return found;
}

/// The keys that identify a document are near the start of both.
Likeness looksLike(std::string_view head) {
    if (!withoutMark(head).starts_with('{'))
        return Likeness::no;
    const std::string lower = lowerCase(std::string(head));
    const bool item = contains(head, "\"sar:product_type\"") &&
                      contains(head, "\"sar:polarizations\"") && contains(lower, "capella");
    const bool extended = contains(head, "\"product_type\"") && contains(head, "\"collect\"") &&
                          contains(head, "\"mode\"");
    if (item || extended)
        return Likeness::yes;
    const bool likely = contains(head, "\"stac_version\"") ||
                        contains(head, "\"sar:product_type\"") ||
                        contains(head, "\"product_type\"");
    return likely ? Likeness::unknown : Likeness::no;
}

} // namespace

extern const Family capella;
const Family capella = {
    .extension = ".json",
    .places = {},
    .productsAmong = productsAmong,
    .looksLike = looksLike,
    .headBytes = 65536, // an item's outline may stand before its properties
    .read = [](Document& document) -> std::unique_ptr<const StatedProduct> {
        return std::make_unique<CapellaProduct>(document);
    },
};

} // namespace product
