// SPDX-License-Identifier: MIT
#include "kimg/feature_table.h"

#include "kimg/gdal_session.h"
#include "kimg/new_file.h"

#include <cpl_string.h>
#include <gdal.h>
#include <ogr_api.h>
#include <ogr_srs_api.h>
#include <ogrsf_frmts.h>

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace kimg {
namespace {

constexpr char driverName[] = "GPKG";

void registerGeoPackage() {
    static std::once_flag once;
    std::call_once(once, [] {
        registerDrivers();
        RegisterOGRGeoPackage();
    });
}

OGRFieldType typeOf(FieldType type) {
    switch (type) {
    case FieldType::integer:
        return OFTInteger64;
    case FieldType::flag:
        return OFTInteger;
    case FieldType::real:
        return OFTReal;
    case FieldType::time:
        return OFTDateTime;
    case FieldType::text:
        break;
    }
    return OFTString;
}

struct FeatureDeleter {
    void operator()(void* feature) const { OGR_F_Destroy(feature); }
};
using FeaturePtr = std::unique_ptr<std::remove_pointer_t<OGRFeatureH>, FeatureDeleter>;

/// @return null for no outline.
OGRGeometryH geometryOf(const Outline& outline) {
    if (outline.empty())
        return nullptr;
    OGRGeometryH whole = OGR_G_CreateGeometry(wkbMultiPolygon);
    for (const auto& points : outline) {
        OGRGeometryH ring = OGR_G_CreateGeometry(wkbLinearRing);
        for (const auto& [lon, lat] : points)
            OGR_G_AddPoint_2D(ring, lon, lat);
        OGRGeometryH polygon = OGR_G_CreateGeometry(wkbPolygon);
        OGR_G_AddGeometryDirectly(polygon, ring);
        OGR_G_AddGeometryDirectly(whole, polygon);
    }
    return whole;
}

/// @return a time that the table holds in UTC.
std::string timeText(OGRFeatureH feature, int field) {
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, zone = 0;
    float second = 0;
    OGR_F_GetFieldAsDateTimeEx(feature, field, &year, &month, &day, &hour, &minute, &second, &zone);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%06.3fZ", year, month, day, hour,
                  minute, static_cast<double>(second));
    return text;
}

Outline outlineOf(OGRGeometryH whole) {
    Outline outline;
    const int count = whole ? OGR_G_GetGeometryCount(whole) : 0;
    for (int i = 0; i < count; ++i) {
        const OGRGeometryH ring = OGR_G_GetGeometryRef(OGR_G_GetGeometryRef(whole, i), 0);
        auto& points = outline.emplace_back();
        for (int j = 0; ring && j < OGR_G_GetPointCount(ring); ++j)
            points.push_back({OGR_G_GetX(ring, j), OGR_G_GetY(ring, j)});
    }
    return outline;
}

} // namespace

struct FeatureTable::State {
    std::string path;
    std::optional<NewFile> newFile;
    GDALDatasetH dataset = nullptr;
    OGRLayerH layer = nullptr;
    std::vector<Field> fields;
    std::vector<int> positions; ///< in the layer, of each field
    ~State() {
        const ErrorCapture silent;
        if (dataset)
            GDALClose(dataset); // ends an open transaction without its changes
    }

    [[noreturn]] void fail(const ErrorCapture& capture, const char* otherwise) const {
        throw std::runtime_error(capture.describe(path, otherwise));
    }

    void findFields() {
        const OGRFeatureDefnH definition = OGR_L_GetLayerDefn(layer);
        for (const Field& field : fields) {
            positions.push_back(OGR_FD_GetFieldIndex(definition, field.name.c_str()));
            if (positions.back() < 0)
                throw std::runtime_error(path + ": has no column " + field.name +
                                         "; it was made by another program or version");
        }
    }

    FeaturePtr make(const Feature& feature) const {
        FeaturePtr made(OGR_F_Create(OGR_L_GetLayerDefn(layer)));
        for (std::size_t i = 0; i < fields.size(); ++i) {
            const int at = positions[i];
            if (const auto* text = std::get_if<std::string>(&feature.values[i])) {
                OGR_F_SetFieldString(made.get(), at, text->c_str());
            } else if (const auto* integer = std::get_if<std::int64_t>(&feature.values[i])) {
                OGR_F_SetFieldInteger64(made.get(), at, *integer);
            } else if (const auto* real = std::get_if<double>(&feature.values[i])) {
                OGR_F_SetFieldDouble(made.get(), at, *real);
            } else { // not only unset: the driver updates the fields that the first one had
                OGR_F_SetFieldNull(made.get(), at);
            }
        }
        if (feature.id >= 0)
            OGR_F_SetFID(made.get(), feature.id);
        if (OGRGeometryH geometry = geometryOf(feature.outline))
            OGR_F_SetGeometryDirectly(made.get(), geometry);
        return made;
    }

    FieldValue read(OGRFeatureH feature, std::size_t field) const {
        const int at = positions[field];
        if (OGR_F_IsFieldSetAndNotNull(feature, at) == 0)
            return {};
        switch (fields[field].type) {
        case FieldType::integer:
        case FieldType::flag:
            return std::int64_t{OGR_F_GetFieldAsInteger64(feature, at)};
        case FieldType::real:
            return OGR_F_GetFieldAsDouble(feature, at);
        case FieldType::time:
            return timeText(feature, at);
        case FieldType::text:
            break;
        }
        return std::string(OGR_F_GetFieldAsString(feature, at));
    }

    void run(const std::string& sql) const {
        const ErrorCapture capture;
        OGRLayerH answer = GDALDatasetExecuteSQL(dataset, sql.c_str(), nullptr, nullptr);
        if (answer)
            GDALDatasetReleaseResultSet(dataset, answer);
        if (capture.failed())
            fail(capture, "cannot be written");
    }
};

FeatureTable::FeatureTable(std::unique_ptr<State> state) : state_(std::move(state)) {}
FeatureTable::FeatureTable(FeatureTable&&) noexcept = default;
FeatureTable::~FeatureTable() = default;

FeatureTable FeatureTable::create(const std::string& path, const std::string& name,
                                  const std::vector<Field>& fields,
                                  const std::vector<std::string>& indexed) {
    registerGeoPackage();
    const ErrorCapture capture;
    auto state = std::make_unique<State>();
    state->path = path;
    state->fields = fields;
    state->newFile.emplace(path);
    const std::string& temporary = state->newFile->temporaryPath();
    const GDALDriverH driver = GDALGetDriverByName(driverName);
    state->dataset = GDALCreate(driver, temporary.c_str(), 0, 0, 0, GDT_Unknown, nullptr);
    if (!state->dataset)
        state->fail(capture, "cannot be written");
    const OGRSpatialReferenceH system = OSRNewSpatialReference(nullptr);
    OSRImportFromEPSG(system, 4326);
    OSRSetAxisMappingStrategy(system, OAMS_TRADITIONAL_GIS_ORDER);
    state->layer =
        GDALDatasetCreateLayer(state->dataset, name.c_str(), system, wkbMultiPolygon, nullptr);
    OSRRelease(system);
    if (!state->layer)
        state->fail(capture, "cannot be written");
    for (const Field& field : fields) {
        const OGRFieldDefnH definition = OGR_Fld_Create(field.name.c_str(), typeOf(field.type));
        if (field.type == FieldType::flag)
            OGR_Fld_SetSubType(definition, OFSTBoolean);
        OGR_L_CreateField(state->layer, definition, TRUE);
        OGR_Fld_Destroy(definition);
    }
    state->findFields();
    for (const std::string& field : indexed)
        state->run("CREATE INDEX \"" + name + '_' + field + "\" ON \"" + name + "\" (\"" + field +
                   "\")");
    if (GDALDatasetStartTransaction(state->dataset, FALSE) != OGRERR_NONE)
        state->fail(capture, "cannot be written");
    return FeatureTable(std::move(state));
}

FeatureTable FeatureTable::open(const std::string& path, const std::string& name,
                                const std::vector<Field>& fields, bool forChanges) {
    registerGeoPackage();
    const ErrorCapture capture;
    auto state = std::make_unique<State>();
    state->path = path;
    state->fields = fields;
    const char* const drivers[] = {driverName, nullptr};
    const unsigned how = GDAL_OF_VECTOR | (forChanges ? GDAL_OF_UPDATE : GDAL_OF_READONLY);
    state->dataset = GDALOpenEx(path.c_str(), how, drivers, nullptr, nullptr);
    if (!state->dataset)
        state->fail(capture, "cannot be opened as a GeoPackage");
    state->layer = GDALDatasetGetLayerByName(state->dataset, name.c_str());
    if (!state->layer)
        throw std::runtime_error(path + ": has no table " + name);
    state->findFields();
    if (forChanges && GDALDatasetStartTransaction(state->dataset, FALSE) != OGRERR_NONE)
        state->fail(capture, "cannot be written");
    return FeatureTable(std::move(state));
}

void FeatureTable::forEach(const FeatureQuery& query,
                           const std::function<void(Feature&&)>& take) const {
    const ErrorCapture capture;
    const OGRLayerH layer = state_->layer;
    CPLStringList ignored;
    const auto wanted = [&](const std::string& field) {
        return query.fields.empty() ||
               std::find(query.fields.begin(), query.fields.end(), field) != query.fields.end();
    };
    for (const Field& field : state_->fields)
        if (!wanted(field.name))
            ignored.AddString(field.name.c_str());
    if (!query.outlines && !query.box)
        ignored.AddString("OGR_GEOMETRY");
    OGR_L_SetIgnoredFields(layer, const_cast<const char**>(ignored.List()));
    if (OGR_L_SetAttributeFilter(layer, query.where.empty() ? nullptr : query.where.c_str()) !=
        OGRERR_NONE)
        state_->fail(capture, "cannot be searched");
    if (query.box)
        OGR_L_SetSpatialFilterRect(layer, (*query.box)[0], (*query.box)[1], (*query.box)[2],
                                   (*query.box)[3]);
    else
        OGR_L_SetSpatialFilter(layer, nullptr);
    OGR_L_ResetReading(layer);
    while (const FeaturePtr read{OGR_L_GetNextFeature(layer)}) {
        Feature feature;
        feature.id = OGR_F_GetFID(read.get());
        for (std::size_t i = 0; i < state_->fields.size(); ++i)
            feature.values.push_back(wanted(state_->fields[i].name) ? state_->read(read.get(), i)
                                                                    : FieldValue());
        if (query.outlines)
            feature.outline = outlineOf(OGR_F_GetGeometryRef(read.get()));
        take(std::move(feature));
    }
    OGR_L_SetIgnoredFields(layer, nullptr);
    OGR_L_SetAttributeFilter(layer, nullptr);
    OGR_L_SetSpatialFilter(layer, nullptr);
    if (capture.failed())
        state_->fail(capture, "cannot be read");
}

void FeatureTable::add(const Feature& feature) {
    const ErrorCapture capture;
    if (OGR_L_CreateFeature(state_->layer, state_->make(feature).get()) != OGRERR_NONE)
        state_->fail(capture, "cannot be written");
}

void FeatureTable::replace(const Feature& feature) {
    const ErrorCapture capture;
    if (OGR_L_SetFeature(state_->layer, state_->make(feature).get()) != OGRERR_NONE)
        state_->fail(capture, "cannot be written");
}

void FeatureTable::commit() {
    const ErrorCapture capture;
    const bool written = GDALDatasetCommitTransaction(state_->dataset) == OGRERR_NONE;
    GDALClose(std::exchange(state_->dataset, nullptr));
    if (!written || capture.failed() || (state_->newFile && !state_->newFile->putInPlace()))
        state_->fail(capture, "cannot be written");
}

std::string sqlText(const std::string& text) {
    std::string literal = "'";
    for (const char c : text)
        literal += c == '\'' ? "''" : std::string(1, c);
    return literal + "'";
}

} // namespace kimg
