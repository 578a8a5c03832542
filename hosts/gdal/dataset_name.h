#pragma once

#include <string>

namespace rf_sar_gdal {

/// What RF_SAR:"<file>":<layer> names. In the quoted file `"` and `\` stand behind a `\`. The
/// quotes may be left out; then the text behind the last colon is the layer, unless it belongs to
/// a file that exists.
struct DatasetName {
    std::string file;
    std::string layer; ///< "" for the product as a whole
};

/// @throws loader::Error telling what is wrong with the name.
DatasetName parseDatasetName(const std::string& name);

std::string formatDatasetName(const DatasetName& name);

} // namespace rf_sar_gdal
