#include "sensor_model.h"

namespace rf_sar_gdal {
namespace {

constexpr int tiesPerSide = 11;

} // namespace

product::RpcItems SensorModel::rpc() const {
    const auto fit = model ? sarm::fitRpc(*model) : std::nullopt;
    return fit ? product::rpcItems(*fit) : product::RpcItems();
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
        return {found.transform ? product::modelOf(*found.transform) : std::nullopt, found.remarks};
    } catch (const loader::Error& error) {
        return {std::nullopt, error.what()};
    }
}

} // namespace rf_sar_gdal
