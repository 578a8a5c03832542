// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace rf_sar_gdal {

/// What RF_SAR:"<file>":<layer> names. In the quoted file `"` and `\` stand behind a `\`. The
/// quotes may be left out; then the text behind the last colon is the layer, unless it belongs to
/// a file that exists.
struct DatasetName {
    std::string file;
    std::string layer; ///< "" for the product as a whole
};

/// QGIS puts "/vsizip/" before the name of whatever lies in an archive, and so before these, and
/// cuts off what stands behind the file. The layer's name therefore stands before it too, and alone
/// suffices there: RF_SAR:<layer>:"/vsizip/<file>":<layer>.
/// @return whether a name is of one of these forms, in any case.
bool isDatasetName(std::string_view name);

/// @param name  for which isDatasetName() says yes.
/// @throws loader::Error telling what is wrong with the name.
DatasetName parseDatasetName(const std::string& name);

std::string formatDatasetName(const DatasetName& name);

} // namespace rf_sar_gdal
