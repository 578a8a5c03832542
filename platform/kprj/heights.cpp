// SPDX-License-Identifier: MIT
#include "kprj/heights.h"

#include "kerr/reported.h"
#include "kprj/proj_session.h"

#include <cmath>
#include <limits>

namespace {

using kprj::PjPtr;
using kprj::session;

constexpr char ellipsoidal[] = "EPSG:4979"; // WGS 84 with heights above its ellipsoid

struct FactoryDeleter {
    void operator()(PJ_OPERATION_FACTORY_CONTEXT* factory) const {
        proj_operation_factory_context_destroy(factory);
    }
};

PjPtr parse(kprj::Session& in, const std::string& text) {
    PjPtr system(proj_create(in.context(), text.c_str()));
    if (!system)
        in.fail("the coordinate system cannot be read");
    return system;
}

PjPtr unbound(PJ_CONTEXT* context, PjPtr system) {
    if (system && proj_get_type(system.get()) == PJ_TYPE_BOUND_CRS)
        system.reset(proj_get_source_crs(context, system.get()));
    return system;
}

PjPtr part(PJ_CONTEXT* context, const PJ* compound, int index) {
    return unbound(context, PjPtr(proj_crs_get_sub_crs(context, compound, index)));
}

/// @return the axis unit, m upwards; nothing when there is no such axis.
double unitOf(PJ_CONTEXT* context, const PJ* system, int axis) {
    const PjPtr axes(proj_crs_get_coordinate_system(context, system));
    const char* direction = nullptr;
    double unit = 0;
    if (!axes || proj_cs_get_axis_count(context, axes.get()) <= axis ||
        !proj_cs_get_axis_info(context, axes.get(), axis, nullptr, nullptr, &direction, &unit,
                               nullptr, nullptr, nullptr))
        return 0;
    return direction && std::string(direction) == "down" ? -unit : unit;
}

/// The vertical system combined with its own geographic system, or with WGS 84.
PjPtr onDegrees(kprj::Session& in, const std::string& text) {
    PJ_CONTEXT* context = in.context();
    PjPtr given = unbound(context, parse(in, text));
    PjPtr vertical, horizontal;
    if (proj_get_type(given.get()) == PJ_TYPE_COMPOUND_CRS) {
        const PjPtr ground = part(context, given.get(), 0);
        horizontal.reset(proj_crs_get_geodetic_crs(context, ground.get()));
        // Unchanged: a geoid that the file itself names is part of the bound system.
        vertical.reset(proj_crs_get_sub_crs(context, given.get(), 1));
    } else {
        vertical = std::move(given);
    }
    if (!horizontal)
        horizontal.reset(proj_create(context, "EPSG:4326"));
    const auto wkt = [&](const PJ* system) {
        const char* written = proj_as_wkt(context, system, PJ_WKT2_2019, nullptr);
        return std::string(written ? written : "");
    };
    const std::string whole =
        "COMPOUNDCRS[\"heights\"," + wkt(horizontal.get()) + "," + wkt(vertical.get()) + "]";
    PjPtr both(proj_create(context, whole.c_str()));
    if (!both)
        in.fail("the system has no heights");
    return both;
}

/// The transformations that PROJ knows, its preferred one first, without those that do not convert
/// heights.
kprj::PjListPtr waysBetween(PJ_CONTEXT* context, const PJ* from, const PJ* to,
                            PROJ_GRID_AVAILABILITY_USE grids) {
    const std::unique_ptr<PJ_OPERATION_FACTORY_CONTEXT, FactoryDeleter> factory(
        proj_create_operation_factory_context(context, nullptr));
    proj_operation_factory_context_set_grid_availability_use(context, factory.get(), grids);
    proj_operation_factory_context_set_allow_ballpark_transformations(context, factory.get(), 0);
    proj_operation_factory_context_set_spatial_criterion(
        context, factory.get(), PROJ_SPATIAL_CRITERION_PARTIAL_INTERSECTION);
    return kprj::PjListPtr(proj_create_operations(context, from, to, factory.get()));
}

/// Newer PROJ releases make a transformation even if all grids are missing, and fail when it is
/// used.
bool hasGridsOfAWay(PJ_CONTEXT* context, const PJ* from, const PJ* to) {
    const auto ways = waysBetween(context, from, to,
                                  proj_context_is_network_enabled(context)
                                      ? PROJ_GRID_AVAILABILITY_KNOWN_AVAILABLE
                                      : PROJ_GRID_AVAILABILITY_DISCARD_OPERATION_IF_MISSING_GRID);
    return ways && proj_list_get_count(ways.get()) > 0;
}

/// The grids that PROJ's preferred transformation needs and does not find.
std::string missingGrids(PJ_CONTEXT* context, const PJ* from, const PJ* to) {
    const auto ways = waysBetween(context, from, to, PROJ_GRID_AVAILABILITY_IGNORED);
    std::string names;
    if (!ways || proj_list_get_count(ways.get()) == 0)
        return names;
    const PjPtr best(proj_list_get(context, ways.get(), 0));
    for (int i = 0; i < proj_coordoperation_get_grid_used_count(context, best.get()); ++i) {
        const char* name = nullptr;
        int available = 1;
        if (proj_coordoperation_get_grid_used(context, best.get(), i, &name, nullptr, nullptr,
                                              nullptr, nullptr, nullptr, &available) &&
            !available)
            names += (names.empty() ? "" : ", ") + std::string(name);
    }
    return names;
}

} // namespace

KprjHeightSystem kprj_HeightSystemOf(const std::string& system, KERR_REPORT** slot) {
    return kerr::reported(__func__, slot, [&] {
        PJ_CONTEXT* context = session().context();
        PjPtr given = unbound(context, parse(session(), system));
        KprjHeightSystem found;
        if (proj_get_type(given.get()) == PJ_TYPE_COMPOUND_CRS)
            given = part(context, given.get(), 1);
        const bool isVertical = proj_get_type(given.get()) == PJ_TYPE_VERTICAL_CRS;
        const double unit = unitOf(context, given.get(), isVertical ? 0 : 2);
        if (unit == 0)
            return found;
        found.kind =
            isVertical ? KprjHeightSystem::Kind::vertical : KprjHeightSystem::Kind::ellipsoid;
        found.unitSize = unit;
        found.name = proj_get_name(given.get());
        return found;
    });
}

/// A session of its own, because it may outlive the thread that made it.
struct KprjHeightZero::Session {
    kprj::Session session;
    PjPtr transformation;
};

KprjHeightZero::KprjHeightZero(std::unique_ptr<Session> session) : session_(std::move(session)) {}

KprjHeightZero::~KprjHeightZero() = default;

std::unique_ptr<KprjHeightZero> KprjHeightZero::create(const std::string& system,
                                                       KERR_REPORT** slot) {
    return kerr::reported("KprjHeightZero", slot, [&] {
        auto made = std::make_unique<Session>();
        PJ_CONTEXT* context = made->session.context();
        const PjPtr from = onDegrees(made->session, system);
        const PjPtr to(proj_create(context, ellipsoidal));
        const std::string name = proj_get_name(part(context, from.get(), 1).get());
        // By default PROJ leaves heights unconverted if it knows no transformation.
        const char* const options[] = {"ALLOW_BALLPARK=NO", nullptr};
        const PjPtr way(
            proj_create_crs_to_crs_from_pj(context, from.get(), to.get(), nullptr, options));
        if (way && hasGridsOfAWay(context, from.get(), to.get()))
            made->transformation.reset(proj_normalize_for_visualization(context, way.get()));
        if (!made->transformation) {
            const std::string grids = missingGrids(context, from.get(), to.get());
            throw std::runtime_error(
                "heights in the system \"" + name + "\" cannot be converted: " +
                (grids.empty() ? "PROJ knows no way to the ellipsoid"
                               : "PROJ lacks the grid " + grids + " (it looks in " +
                                     proj_info().searchpath + "; projsync --file fetches one)"));
        }
        return std::unique_ptr<KprjHeightZero>(new KprjHeightZero(std::move(made)));
    });
}

void KprjHeightZero::heightsAt(const double* lonDeg, const double* latDeg, std::size_t strideBytes,
                               std::size_t count, double* heightsM) const {
    std::vector<PJ_COORD> places(count);
    for (std::size_t i = 0; i < count; ++i) {
        const auto at = [&](const double* first) {
            // The caller counts its strides in bytes.
            // cppcheck-suppress invalidPointerCast
            return *reinterpret_cast<const double*>(reinterpret_cast<const char*>(first) +
                                                    i * strideBytes);
        };
        places[i] = proj_coord(std::remainder(at(lonDeg), 360.0), at(latDeg), 0, HUGE_VAL);
    }
    proj_trans_array(session_->transformation.get(), PJ_FWD, count, places.data());
    for (std::size_t i = 0; i < count; ++i)
        heightsM[i] = std::isfinite(places[i].xyz.z) ? places[i].xyz.z
                                                     : std::numeric_limits<double>::quiet_NaN();
}

const std::vector<KprjGeoid>& kprj_Geoids() {
    static const std::vector<KprjGeoid> known = {{"egm96", "EPSG:5773", "EGM96"},
                                                 {"egm2008", "EPSG:3855", "EGM2008"}};
    return known;
}
