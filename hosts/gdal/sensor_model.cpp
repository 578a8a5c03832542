#include "sensor_model.h"

#include "kxfr/part.h"
#include "sarm/rpc.h"

#include <charconv>

namespace rf_sar_gdal {
namespace {

constexpr int tiesPerSide = 11;

/// The shortest text that reads back to the same number.
std::string numberText(double value) {
    char text[32];
    const auto end = std::to_chars(std::begin(text), std::end(text), value).ptr;
    return {text, end};
}

std::string numbersText(const std::array<double, 20>& values) {
    std::string text;
    for (const double value : values)
        text += (text.empty() ? "" : " ") + numberText(value);
    return text;
}

/// @return the model when the transform is one, and nothing besides.
std::optional<sarm::Model> modelOf(const KxfrXForm& transform) {
    if (transform.parts().size() != 1 || transform.parts()[0]->designName() != "RangeDoppler")
        return std::nullopt;
    return sarm::Model(*static_cast<const sarm::ModelParameters*>(transform.parts()[0]->data()));
}

} // namespace

RpcItems SensorModel::rpc() const {
    const auto fit = model ? sarm::fitRpc(*model) : std::nullopt;
    if (!fit)
        return {};
    return {{"LINE_OFF", numberText(fit->lineOffset)},
            {"SAMP_OFF", numberText(fit->sampleOffset)},
            {"LAT_OFF", numberText(fit->latOffsetDeg)},
            {"LONG_OFF", numberText(fit->lonOffsetDeg)},
            {"HEIGHT_OFF", numberText(fit->heightOffsetM)},
            {"LINE_SCALE", numberText(fit->lineScale)},
            {"SAMP_SCALE", numberText(fit->sampleScale)},
            {"LAT_SCALE", numberText(fit->latScaleDeg)},
            {"LONG_SCALE", numberText(fit->lonScaleDeg)},
            {"HEIGHT_SCALE", numberText(fit->heightScaleM)},
            {"LINE_NUM_COEFF", numbersText(fit->lineNumerator)},
            {"LINE_DEN_COEFF", numbersText(fit->lineDenominator)},
            {"SAMP_NUM_COEFF", numbersText(fit->sampleNumerator)},
            {"SAMP_DEN_COEFF", numbersText(fit->sampleDenominator)}};
}

std::vector<GroundTie> SensorModel::ties(std::uint32_t width, std::uint32_t height) const {
    std::vector<GroundTie> ties;
    const double heightM = model->parameters().terrainHeightM;
    for (int row = 0; row < tiesPerSide; ++row)
        for (int column = 0; column < tiesPerSide; ++column) {
            const sarm::ImagePosition image{(width - 1.0) * column / (tiesPerSide - 1),
                                            (height - 1.0) * row / (tiesPerSide - 1)};
            if (const auto ground = model->imageToGround(image, heightM))
                ties.push_back({image.sample + 0.5, image.line + 0.5, ground->lonDeg,
                                ground->latDeg, heightM});
        }
    return ties;
}

SensorModel sensorModel(const OpenedProduct& opened) {
    if (opened.layerNames.empty())
        return {std::nullopt, "the product has no layers"};
    try {
        const loader::Georeferencing found =
            opened.product.openLayer(opened.layerNames.front()).georeferencing();
        return {found.transform ? modelOf(*found.transform) : std::nullopt, found.remarks};
    } catch (const loader::Error& error) {
        return {std::nullopt, error.what()};
    }
}

} // namespace rf_sar_gdal
