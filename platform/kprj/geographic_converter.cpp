// SPDX-License-Identifier: MIT
#include "kprj/kprj.h"

#include "kerr/reported.h"
#include "kprj/proj_session.h"

#include <cmath>
#include <limits>

/// A session of its own, because a converter may outlive the thread that made it.
struct KprjGeographicConverter::Session {
    kprj::Session session;
    kprj::PjPtr transformation;
};

KprjGeographicConverter::KprjGeographicConverter(std::unique_ptr<Session> session)
    : session_(std::move(session)) {}

KprjGeographicConverter::~KprjGeographicConverter() = default;

std::unique_ptr<KprjGeographicConverter>
KprjGeographicConverter::create(const KPRJ_PROJECTION& projection, KERR_REPORT** slot) {
    return kerr::reported("KprjGeographicConverter", slot, [&] {
        auto made = std::make_unique<Session>();
        PJ_CONTEXT* context = made->session.context();
        const kprj::PjPtr asGiven(
            proj_create_crs_to_crs(context, projection.wkt.c_str(), "EPSG:4326", nullptr));
        // Both sides with x before y, as in images.
        if (asGiven)
            made->transformation.reset(proj_normalize_for_visualization(context, asGiven.get()));
        if (!made->transformation)
            made->session.fail("\"" + projection.name + "\" has no relation to WGS 84");
        return std::unique_ptr<KprjGeographicConverter>(
            new KprjGeographicConverter(std::move(made)));
    });
}

void KprjGeographicConverter::run(int direction, double* x, double* y, std::size_t strideBytes,
                                  std::size_t count) const {
    proj_trans_generic(session_->transformation.get(), static_cast<PJ_DIRECTION>(direction), x,
                       strideBytes, count, y, strideBytes, count, nullptr, 0, 0, nullptr, 0, 0);
    constexpr double none = std::numeric_limits<double>::quiet_NaN();
    for (std::size_t i = 0; i < count; ++i) {
        // The caller counts its strides in bytes.
        // cppcheck-suppress invalidPointerCast
        auto& px = *reinterpret_cast<double*>(reinterpret_cast<char*>(x) + i * strideBytes);
        // cppcheck-suppress invalidPointerCast
        auto& py = *reinterpret_cast<double*>(reinterpret_cast<char*>(y) + i * strideBytes);
        if (!std::isfinite(px) || !std::isfinite(py))
            px = py = none; // PROJ's infinite mark
        else if (direction == PJ_FWD)
            px = std::remainder(px, 360.0);
    }
}

void KprjGeographicConverter::toGeographic(double* x, double* y, std::size_t strideBytes,
                                           std::size_t count) const {
    run(PJ_FWD, x, y, strideBytes, count);
}

void KprjGeographicConverter::fromGeographic(double* x, double* y, std::size_t strideBytes,
                                             std::size_t count) const {
    run(PJ_INV, x, y, strideBytes, count);
}
