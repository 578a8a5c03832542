// SPDX-License-Identifier: MIT
#pragma once

#include "product/place/footprint.h"

#include <nlohmann/json_fwd.hpp>

/// @return the outline as a GeoJSON geometry, a Polygon or MultiPolygon; null when it is not known.
nlohmann::ordered_json footprintJson(const product::Footprint& footprint);

/// @return west, south, east, north; west is greater than east across the antimeridian. The
///         footprint has polygons.
nlohmann::ordered_json boundingBox(const product::Footprint& footprint);
