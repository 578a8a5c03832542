// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace rf_sar_gdal {

/// The parts of the name RF_SAR:"<file>":<layer>. Inside the quotes `"` and `\` are preceded by a
/// `\`. The quotes may be left out; then the text after the last colon is the layer, unless the
/// whole text names an existing file.
struct DatasetName {
    std::string file;
    std::string layer; ///< "" for the product as a whole
};

/// A second form, RF_SAR:<layer>:"/vsizip/<file>":<layer>, is for QGIS. It puts "/vsizip/" before
/// every name inside an archive, these names included, and cuts off the text after the file. So the
/// layer also stands before the file, where it suffices.
/// @return whether a name is of one of these forms, in any case.
bool isDatasetName(std::string_view name);

/// @param name  one that isDatasetName() accepts.
/// @throws loader::Error saying what is wrong with the name.
DatasetName parseDatasetName(const std::string& name);

std::string formatDatasetName(const DatasetName& name);

} // namespace rf_sar_gdal
