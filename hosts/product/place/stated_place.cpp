// SPDX-License-Identifier: MIT
#include "product/place/stated_place.h"

#include "kprj/kprj.h"
#include "loader/heard.h"
#include "product/images/image_claims.h"

#include <algorithm>
#include <cmath>

namespace product {
namespace {

double worstPixels(const sarm::Rpc& rpc, const std::vector<TiePoint>& ties) {
    double worst = 0;
    for (const TiePoint& tie : ties) {
        const auto found = sarm::rpcPosition(rpc, {tie.lonDeg, tie.latDeg, tie.heightM});
        const double off =
            std::max(std::abs(found.sample - tie.sample), std::abs(found.line - tie.line));
        worst = std::isnan(off) ? HUGE_VAL : std::max(worst, off);
    }
    return worst;
}

} // namespace

StatedPlace statedByProduct(const StatedProduct& product, std::uint32_t width,
                            std::uint32_t height) {
    StatedPlace stated{product.tiePoints(), product.rationalFunctions()};
    if (stated.ties.empty() && stated.rpc.empty())
        return stated;
    if (const std::string other = sizeContradiction(product.imageClaims(), width, height);
        !other.empty())
        throw loader::Error(product.file() + ": the image " + other +
                            ", so that its tie points do not serve");
    return stated;
}

StatedPlace statedByImage(const OpenedProduct& opened) {
    const ProductImage* image = opened.firstImage();
    if (!image)
        return {};
    kerr::Slot slot;
    const auto found = kimg::georeferencing(image->samples()->layer(), slot);
    if (!found)
        throw loader::Error(image->file + ": its georeferencing cannot be read: " +
                            loader::Heard::text(*slot.get()));
    return statedBy(*found, image->file);
}

StatedPlace statedBy(const kimg::Georeferencing& file, const std::string& name) {
    StatedPlace stated{{}, file.rpc};
    std::vector<kimg::GroundControlPoint> gcps = file.gcps;
    if (gcps.empty() || file.wkt.empty())
        return stated;
    kerr::Slot slot;
    const KprjProjectionPtr projection(kprj_ProjectionFromText(file.wkt, slot));
    const auto converter =
        projection ? KprjGeographicConverter::create(*projection, slot) : nullptr;
    if (!converter)
        throw loader::Error(name +
                            ": its tie points cannot be used: " + loader::Heard::text(*slot.get()));
    if (projection->authority != "EPSG:4326")
        converter->toGeographic(&gcps[0].x, &gcps[0].y, sizeof gcps[0], gcps.size());
    for (const kimg::GroundControlPoint& gcp : gcps)
        stated.ties.push_back({gcp.line - 0.5, gcp.pixel - 0.5, gcp.y, gcp.x, gcp.z});
    return stated;
}

/// Some products state the coefficients in the earlier order of terms. Both orders agree where the
/// terms concerned are tiny, so only a clear gain decides.
std::optional<StatedFunctions> functionsOf(const StatedPlace& stated) {
    const auto standard = rpcOf(stated.rpc);
    if (!standard)
        return std::nullopt;
    StatedFunctions found{*standard, worstPixels(*standard, stated.ties)};
    const sarm::Rpc earlier = fromEarlierOrder(*standard);
    const double worst = worstPixels(earlier, stated.ties);
    if (found.worstPixels > functionsServePixels && worst < 0.1 * found.worstPixels)
        found = {earlier, worst};
    return found;
}

} // namespace product
