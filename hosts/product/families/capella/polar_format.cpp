// SPDX-License-Identifier: MIT
#include "product/families/capella/polar_format.h"

#include "product/families/capella/middle_pixel.h"

#include "loader/heard.h"
#include "loader/plugin.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <sstream>

namespace product {
namespace {

using kfio::ProductTree;
using sarm::Vec3;

constexpr double mostPixelsOff = 2; ///< from the stated place of the middle pixel

/// Reads the numbers below one element; errors name the file and the path.
class Numbers {
public:
    Numbers(const ProductTree& document, const std::string& file, const char* parent)
        : file_(file), tree_(document), parent_(parent) {}

    double one(const std::string& path) const {
        const ProductTree* found = find(path);
        if (!found)
            fail(path, "is missing");
        return parse(path, found->data());
    }

    std::vector<double> list(const std::string& path) const {
        const ProductTree* found = find(path);
        if (!found || found->empty())
            fail(path, "is missing");
        std::vector<double> numbers;
        for (const auto& [key, element] : *found)
            numbers.push_back(parse(path, element.data()));
        return numbers;
    }

    Vec3 vector(const std::string& path) const {
        const std::vector<double> v = list(path);
        if (v.size() != 3)
            fail(path, "has not three parts");
        return {v[0], v[1], v[2]};
    }

    std::int32_t count(const std::string& path) const {
        const double number = one(path);
        if (!(number >= 1 && number <= INT32_MAX && number == std::floor(number)))
            fail(path, "is no number of pixels");
        return static_cast<std::int32_t>(number);
    }

    /// Coefficients with the constant term first.
    std::vector<double> polynomial(const std::string& path) const {
        const ProductTree* type = find(path + "/type");
        if (type && type->data() != "standard")
            fail(path, "is of the unknown type " + type->data());
        return list(path + "/coefficients");
    }

    [[noreturn]] void fail(const std::string& path, const std::string& what) const {
        throw loader::Error(file_ + ": " + parent_ + "/" + path + " " + what +
                            ", so that its polar-format grid has no sensor model");
    }

private:
    const ProductTree* find(const std::string& path) const {
        const auto found =
            tree_.get_child_optional(ProductTree::path_type(parent_ + "/" + path, '/'));
        return found ? &*found : nullptr;
    }

    double parse(const std::string& path, const std::string& text) const {
        double number = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(number))
            fail(path, "is no number (\"" + text + "\")");
        return number;
    }

    const std::string& file_;
    const ProductTree& tree_;
    std::string parent_;
};

struct ValueAndSlope {
    double value = 0, slope = 0;
};

ValueAndSlope valueAt(const std::vector<double>& coefficients, double x) {
    ValueAndSlope at;
    for (auto c = coefficients.rbegin(); c != coefficients.rend(); ++c) {
        at.slope = at.slope * x + at.value;
        at.value = at.value * x + *c;
    }
    return at;
}

/// The grid's "rows" run in range and are the samples of the file; its "columns" are the lines.
sarm::PolarFormatParameters readParameters(const ProductTree& document, const std::string& file) {
    const Numbers image(document, file, "collect/image");
    const Numbers grid(document, file, "collect/image/image_geometry");
    sarm::PolarFormatParameters p;
    p.numberOfLines = image.count("rows");
    p.numberOfSamples = image.count("columns");
    const std::vector<double> reference = grid.list("scene_reference_point_row_col");
    if (reference.size() != 2)
        grid.fail("scene_reference_point_row_col", "has not two parts");
    p.referenceSample = reference[0];
    p.referenceLine = reference[1];
    p.referencePoint = grid.vector("scene_reference_point_ecef");
    p.terrainHeightM = sarm::toGeodetic(p.referencePoint, p.ellipsoid).heightM;
    p.sampleSpacingM = grid.one("row_sample_spacing");
    p.lineSpacingM = grid.one("col_sample_spacing");
    p.antennaPosition = grid.vector("center_of_aperture/antenna_reference_point");
    p.antennaVelocity = grid.vector("center_of_aperture/velocity_antenna_reference_point");
    const ValueAndSlope angle =
        valueAt(grid.polynomial("polar_angle_polynomial"), grid.one("center_of_aperture/time"));
    p.polarAngleRad = angle.value;
    p.polarAngleRate = angle.slope;
    // The product also states a scale factor at the centre of the aperture. In real products that
    // value is the polynomial evaluated at the time (15.1), although its variable is the angle
    // (1.0).
    const ValueAndSlope scale =
        valueAt(grid.polynomial("spatial_frequency_scale_factor_polynomial"), angle.value);
    p.scaleFactor = scale.value;
    p.scaleFactorSlope = scale.slope;
    return p;
}

/// If the product states the position of its middle pixel, the grid must reproduce it.
void requireMiddle(const ProductTree& document, const std::string& file,
                   const sarm::SensorModel& model) {
    const auto middle = middlePixel(document, file);
    if (!middle)
        return;
    const auto found = model.groundToImage({middle->lonDeg, middle->latDeg, middle->heightM});
    if (found && std::abs(found->sample - middle->sample) <= mostPixelsOff &&
        std::abs(found->line - middle->line) <= mostPixelsOff)
        return;
    std::ostringstream what;
    what << "should lie in the middle of the image and ";
    if (found)
        what << "lies at sample " << found->sample << ", line " << found->line;
    else
        what << "has no place in it";
    Numbers(document, file, "collect/image/center_pixel").fail("target_position", what.str());
}

} // namespace

KxfrXFormPtr polarFormatTransform(const ProductTree& document, const std::string& file) {
    kerr::Slot slot;
    KxfrXFormPtr transform(kxfr_XFormFromPolarFormat(readParameters(document, file), slot));
    if (!transform)
        throw loader::Error(file + ": its polar-format grid has no sensor model: " +
                            loader::Heard::text(*slot.get()));
    requireMiddle(document, file, *transform->sensorModel());
    return transform;
}

} // namespace product
