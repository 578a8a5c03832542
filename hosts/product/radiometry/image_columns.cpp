// SPDX-License-Identifier: MIT
#include "product/radiometry/image_columns.h"

namespace product {

ImageColumns columnsOf(const StatedProduct& stated) {
    const std::uint32_t width = stated.imageClaims().width;
    return {width, width, 0};
}

ImageColumns columnsOf(const StatedBurst& burst) {
    return {burst.samples, burst.samples, burst.sampleOffset};
}

ImageColumns columnsOf(const StatedProduct& stated, const ProductImage& image) {
    ImageColumns columns = image.burst ? columnsOf(*image.burst) : columnsOf(stated);
    columns.width = image.samples()->width();
    return columns;
}

ColumnProfile inImage(ColumnProfile profile, const ImageColumns& columns, double reach,
                      const std::string& what, const std::string& tableFile) {
    if (columns.stated != 0 && columns.stated != columns.width)
        throw loader::Error(tableFile + ": is made for lines of " + std::to_string(columns.stated) +
                            " samples, but the image's have " + std::to_string(columns.width));
    if (profile.values.empty() || profile.step == 0)
        throw loader::Error(tableFile + ": holds no " + what + ", or none a column");
    // Columns beyond any image stay unchanged, so that sums cannot overflow.
    constexpr std::int64_t farthest = std::int64_t{1} << 40;
    if (profile.first > -farthest && profile.first < farthest) {
        profile.first -= columns.first;
        if (profile.covers(columns.width, reach))
            return profile;
        profile.first += columns.first;
    }
    if (profile.covers(columns.width, reach))
        return profile;
    throw loader::Error(tableFile + ": its " + what + " do not cover the " +
                        std::to_string(columns.width) + " columns of the image" +
                        (columns.first == 0
                             ? ""
                             : " from column " + std::to_string(columns.first) + " of the grid"));
}

} // namespace product
