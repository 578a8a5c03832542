// SPDX-License-Identifier: MIT
#include "kerr/reported.h"
#include "kprj/kprj.h"
#include "rf_constants.h"

namespace {

/// EPSG:4326 as PROJ writes it. Nearly every product uses it, and opening PROJ's database takes
/// longer than the rest of opening a product.
constexpr char wkt[] = R"wkt(GEOGCRS["WGS 84",
    ENSEMBLE["World Geodetic System 1984 ensemble",
        MEMBER["World Geodetic System 1984 (Transit)"],
        MEMBER["World Geodetic System 1984 (G730)"],
        MEMBER["World Geodetic System 1984 (G873)"],
        MEMBER["World Geodetic System 1984 (G1150)"],
        MEMBER["World Geodetic System 1984 (G1674)"],
        MEMBER["World Geodetic System 1984 (G1762)"],
        MEMBER["World Geodetic System 1984 (G2139)"],
        ELLIPSOID["WGS 84",6378137,298.257223563,
            LENGTHUNIT["metre",1]],
        ENSEMBLEACCURACY[2.0]],
    PRIMEM["Greenwich",0,
        ANGLEUNIT["degree",0.0174532925199433]],
    CS[ellipsoidal,2],
        AXIS["geodetic latitude (Lat)",north,
            ORDER[1],
            ANGLEUNIT["degree",0.0174532925199433]],
        AXIS["geodetic longitude (Lon)",east,
            ORDER[2],
            ANGLEUNIT["degree",0.0174532925199433]],
    USAGE[
        SCOPE["Horizontal component of 3D system."],
        AREA["World."],
        BBOX[-90,-180,90,180]],
    ID["EPSG",4326]])wkt";

} // namespace

KPRJ_PROJECTION* kprj_GeographicWgs84(KERR_REPORT** slot) {
    return kerr::reported(__func__, slot, [] {
        return new KPRJ_PROJECTION{kprjGeographicName,
                                   "degrees",
                                   "World Geodetic System 1984",
                                   "WGS 84",
                                   "EPSG:4326",
                                   wkt,
                                   constants::wgs84SemiMajorAxisM,
                                   constants::wgs84SemiMinorAxisM,
                                   constants::radiansPerDegree,
                                   true};
    });
}
