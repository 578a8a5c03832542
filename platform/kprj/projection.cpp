// SPDX-License-Identifier: MIT
#include "kprj/kprj.h"

#include "kerr/reported.h"
#include "kmsc/kmsc.h"
#include "kprj/proj_session.h"

#include <cmath>
#include <cstring>

namespace {

using kerr::reported;
using kprj::PjPtr;
using kprj::session;

template <std::size_t size>
void copyName(char (&to)[size], const std::string& from) {
    if (from.size() >= size)
        throw std::runtime_error("the name \"" + from + "\" is too long");
    std::memcpy(to, from.c_str(), from.size() + 1);
}

template <class T>
kmsc::HeapPtr<T> makeBlock() {
    kmsc::HeapPtr<T> block = kmsc::makeArray<T>(1);
    if (!block)
        throw std::bad_alloc();
    return block;
}

/// The geographic system of that name, which identifies a datum.
PjPtr geographicSystem(const std::string& name) {
    const PJ_TYPE type = PJ_TYPE_GEOGRAPHIC_2D_CRS;
    const kprj::PjListPtr found(
        proj_create_from_name(session().context(), nullptr, name.c_str(), &type, 1, 0, 1, nullptr));
    if (!found || proj_list_get_count(found.get()) < 1)
        session().fail("there is no datum \"" + name + "\"");
    return PjPtr(proj_list_get(session().context(), found.get(), 0));
}

struct Axes {
    double major = 0, minor = 0; // m
};

Axes axesOf(const PJ* ellipsoid) {
    Axes axes;
    proj_ellipsoid_get_parameters(session().context(), ellipsoid, &axes.major, &axes.minor, nullptr,
                                  nullptr);
    return axes;
}

void requireSpheroid(const PJ* system, const KPRJ_SPHEROID& spheroid, std::string_view datum) {
    const PjPtr ellipsoid(proj_get_ellipsoid(session().context(), system));
    const Axes axes = ellipsoid ? axesOf(ellipsoid.get()) : Axes{};
    if (std::abs(axes.major - spheroid.semiMajorAxis) > 1e-3 ||
        std::abs(axes.minor - spheroid.semiMinorAxis) > 1e-3)
        throw std::runtime_error("datum \"" + std::string(datum) +
                                 "\" does not stand on the spheroid " + spheroid.name);
}

/// The system without its vertical part.
PjPtr horizontal(PjPtr system) {
    if (proj_get_type(system.get()) == PJ_TYPE_COMPOUND_CRS)
        system.reset(proj_crs_get_sub_crs(session().context(), system.get(), 0));
    return system;
}

/// A bound system keeps its datum parameters in its WKT; its names and units are those of the
/// system inside.
PjPtr unbound(const PJ* system) {
    PJ_CONTEXT* context = session().context();
    return PjPtr(proj_get_type(system) == PJ_TYPE_BOUND_CRS ? proj_get_source_crs(context, system)
                                                            : proj_clone(context, system));
}

std::string textOf(const char* text) {
    return text ? text : "";
}

void describeUnits(const PJ* system, KPRJ_PROJECTION& projection) {
    const PjPtr axes(proj_crs_get_coordinate_system(session().context(), system));
    const char* unit = nullptr;
    if (!axes || !proj_cs_get_axis_info(session().context(), axes.get(), 0, nullptr, nullptr,
                                        nullptr, &projection.unitSize, &unit, nullptr, nullptr))
        session().fail("the system's axes cannot be read");
    projection.units = textOf(unit);
    if (projection.units == "degree")
        projection.units = "degrees";
    if (projection.units == "metre")
        projection.units = "meters";
}

void describeDatum(const PJ* system, KPRJ_PROJECTION& projection) {
    PJ_CONTEXT* context = session().context();
    if (const PjPtr datum{proj_crs_get_datum_forced(context, system)})
        projection.datum = textOf(proj_get_name(datum.get()));
    if (const PjPtr ellipsoid{proj_get_ellipsoid(context, system)}) {
        projection.spheroid = textOf(proj_get_name(ellipsoid.get()));
        const Axes axes = axesOf(ellipsoid.get());
        projection.semiMajorAxis = axes.major;
        projection.semiMinorAxis = axes.minor;
    }
}

KprjProjectionPtr makeProjection(PjPtr given) {
    const PjPtr system = horizontal(std::move(given));
    const PjPtr inner = system ? unbound(system.get()) : nullptr;
    const PJ_TYPE type = inner ? proj_get_type(inner.get()) : PJ_TYPE_UNKNOWN;
    KprjProjectionPtr projection(new KPRJ_PROJECTION{});
    projection->isGeographic =
        type == PJ_TYPE_GEOGRAPHIC_2D_CRS || type == PJ_TYPE_GEOGRAPHIC_3D_CRS;
    const bool isLocal = type == PJ_TYPE_ENGINEERING_CRS;
    if (!projection->isGeographic && type != PJ_TYPE_PROJECTED_CRS && !isLocal)
        throw std::runtime_error("it is no projected, geographic or local system");
    projection->name =
        projection->isGeographic ? kprjGeographicName : textOf(proj_get_name(inner.get()));
    if (const char* code = proj_get_id_code(inner.get(), 0))
        projection->authority = textOf(proj_get_id_auth_name(inner.get(), 0)) + ":" + code;
    projection->wkt = textOf(proj_as_wkt(session().context(), system.get(), PJ_WKT2_2019, nullptr));
    if (projection->wkt.empty())
        session().fail("the system has no WKT");
    describeUnits(inner.get(), *projection);
    if (!isLocal)
        describeDatum(inner.get(), *projection);
    return projection;
}

} // namespace

KPRJ_DATUM* kprj_DatumByName(std::string_view name, std::string_view spheroidName,
                             KERR_REPORT** slot) {
    KPRJ_SPHEROID spheroid{};
    if (!kprj_SpheroidByName(spheroidName, &spheroid, slot))
        return nullptr;
    return reported(__func__, slot, [&]() -> KPRJ_DATUM* {
        requireSpheroid(geographicSystem(std::string(name)).get(), spheroid, name);
        auto datum = makeBlock<KPRJ_DATUM>();
        copyName(datum->name, std::string(name));
        copyName(datum->spheroidName, spheroid.name);
        return datum.release();
    });
}

void kprj_DatumFree(KPRJ_DATUM* datum) {
    kmsc_HeapFree(datum);
}

KPRJ_PRO_PARAMETERS* kprj_ProParametersCreateByName(std::string_view name, KERR_REPORT** slot) {
    return reported(__func__, slot, [&]() -> KPRJ_PRO_PARAMETERS* {
        if (name != kprjGeographicName)
            throw std::runtime_error("there is no projection \"" + std::string(name) + "\"");
        auto parameters = makeBlock<KPRJ_PRO_PARAMETERS>();
        copyName(parameters->name, std::string(name));
        return parameters.release();
    });
}

void kprj_ProParametersFree(KPRJ_PRO_PARAMETERS* parameters) {
    kmsc_HeapFree(parameters);
}

KPRJ_PROJECTION* kprj_ProjectionInit(const KPRJ_PRO_PARAMETERS* parameters,
                                     const KPRJ_SPHEROID* spheroid, const KPRJ_DATUM* datum,
                                     KERR_REPORT** slot) {
    return reported(__func__, slot, [&]() -> KPRJ_PROJECTION* {
        if (!parameters || !spheroid || !datum)
            throw std::runtime_error("parameters, spheroid or datum are missing");
        PjPtr system = geographicSystem(datum->name);
        requireSpheroid(system.get(), *spheroid, datum->name);
        return makeProjection(std::move(system)).release();
    });
}

KPRJ_PROJECTION* kprj_ProjectionFromText(const std::string& text, KERR_REPORT** slot) {
    KprjProjectionPtr geographic(kprj_GeographicWgs84(slot));
    if (!geographic || geographic->wkt == text) // as a plug-in returns it
        return geographic.release();
    return reported(__func__, slot, [&]() -> KPRJ_PROJECTION* {
        PjPtr system(proj_create(session().context(), text.c_str()));
        if (!system)
            session().fail("the coordinate system cannot be read");
        return makeProjection(std::move(system)).release();
    });
}

void kprj_ProjectionFree(KPRJ_PROJECTION* projection) {
    delete projection;
}
