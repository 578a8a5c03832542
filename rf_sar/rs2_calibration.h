// SPDX-License-Identifier: MIT
#pragma once

#include "image_metadata.h"
#include "kerr/kerr.h"
#include "kmsc/kmsc.h"
#include "records/calibration_lut_record.h"
#include "rs2_product.h"

#include <memory>

/// Frees a calibration record with its gains.
struct CalibrationDeleter {
    void operator()(CalibrationLutRecord* record) const {
        for (double* gains : {record->betaGains, record->sigmaGains, record->gammaGains})
            kmsc_HeapFree(gains);
        kmsc_HeapFree(record);
    }
};
using CalibrationPtr = std::unique_ptr<CalibrationLutRecord, CalibrationDeleter>;

/// Reads the calibration tables that a RADARSAT-2 product.xml names.
/// Kept: the first file named is the beta table, the second sigma, the third gamma, whatever their
/// names or attributes say. (Rs2Calibration.TablesGoByTheirPlace)
/// @param document  table names are relative to its file.
/// @param slot  receives a report when product.xml or a table does not match its schema; after a
///        bad table no further one is read.
/// @return the tables that were read, the others with offset and count 0 and null gains; null when
///         no table could be read.
/// @throws std::bad_alloc
CalibrationPtr rs2_getCalibration(const rs2::Document& document, KERR_REPORT** slot);

/// Fills the host's node with those tables; without any the node stays as it was.
/// @param slot  receives the report of rs2_getCalibration, even if the node was filled, or why the
///        node could not be made.
/// @throws std::bad_alloc
void rs2_createCalibrationNode(const rs2::Document& document, const HostNodeArguments& host,
                               KERR_REPORT** slot);
