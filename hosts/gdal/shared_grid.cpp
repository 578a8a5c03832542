#include "shared_grid.h"

#include "product/place/georeferencing.h"

namespace rf_sar_gdal {
namespace {

constexpr int tiesPerSide = 11;

} // namespace

product::RpcItems SharedGrid::rpc() const {
    const auto fit = model() ? sarm::fitRpc(*model()) : std::nullopt;
    return fit ? product::rpcItems(*fit) : product::RpcItems();
}

std::vector<GroundTie> SharedGrid::ties(std::uint32_t width, std::uint32_t height) const {
    std::vector<GroundTie> ties;
    const double heightM = model()->terrainHeightM();
    for (int row = 0; row < tiesPerSide; ++row)
        for (int column = 0; column < tiesPerSide; ++column) {
            const sarm::ImagePosition image{(width - 1.0) * column / (tiesPerSide - 1),
                                            (height - 1.0) * row / (tiesPerSide - 1)};
            if (const auto ground = model()->imageToGround(image, heightM))
                ties.push_back({image.sample + 0.5, image.line + 0.5, ground->lonDeg,
                                ground->latDeg, heightM});
        }
    return ties;
}

SharedGrid sharedGrid(const OpenedProduct& opened) {
    if (opened.layerNames().empty())
        return {{nullptr, nullptr, "the product has no layers"}};
    try {
        return {product::georeferencingOf(
            opened, opened.product.openLayer(opened.layerNames().front()))};
    } catch (const loader::Error& error) {
        return {{nullptr, nullptr, error.what()}};
    }
}

} // namespace rf_sar_gdal
