// SPDX-License-Identifier: MIT
#pragma once

#include "product/place/footprint.h"

#include <nlohmann/json_fwd.hpp>

/// @return the outline as a GeoJSON Polygon or MultiPolygon; null when it is not known.
nlohmann::ordered_json footprintJson(const product::Footprint& footprint);

/// @param footprint  must have polygons. @return west, south, east, north; west is greater than
///        east across the antimeridian.
nlohmann::ordered_json boundingBox(const product::Footprint& footprint);
