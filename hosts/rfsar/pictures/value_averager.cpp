// SPDX-License-Identifier: MIT
#include "pictures/value_averager.h"

#include <cmath>
#include <limits>

namespace {

std::vector<std::uint32_t> cellsOf(std::uint32_t places, std::uint32_t cells) {
    std::vector<std::uint32_t> cellOf(places);
    for (std::uint64_t place = 0; place < places; ++place)
        cellOf[place] = static_cast<std::uint32_t>(place * cells / places);
    return cellOf;
}

} // namespace

ValueAverager::ValueAverager(std::uint32_t width, std::uint32_t height, std::uint32_t columns,
                             std::uint32_t rows)
    : columns_(columns), columnOf_(cellsOf(width, columns)), rowOf_(cellsOf(height, rows)),
      sums_(std::size_t{columns} * rows), counts_(sums_.size()) {}

ValueAverager::Band ValueAverager::band(std::uint32_t firstLine, std::uint32_t lines) const {
    Band made;
    made.whole_ = this;
    made.firstRow_ = rowOf_[firstLine];
    const std::size_t rows = rowOf_[firstLine + lines - 1] - made.firstRow_ + 1;
    made.sums_.resize(rows * columns_);
    made.counts_.resize(made.sums_.size());
    return made;
}

void ValueAverager::Band::add(std::uint32_t x, std::uint32_t y, std::uint32_t width,
                              std::uint32_t height, const float* values, std::size_t stride) {
    const std::uint32_t* columnOf = whole_->columnOf_.data() + x;
    for (std::uint32_t line = y; line < y + height; ++line, values += stride) {
        const std::size_t start = std::size_t{whole_->rowOf_[line] - firstRow_} * whole_->columns_;
        for (std::uint32_t i = 0; i < width; ++i)
            if (!std::isnan(values[i])) {
                sums_[start + columnOf[i]] += values[i];
                ++counts_[start + columnOf[i]];
            }
    }
}

void ValueAverager::join(const Band& band) {
    const std::size_t start = std::size_t{band.firstRow_} * columns_;
    for (std::size_t i = 0; i < band.sums_.size(); ++i) {
        sums_[start + i] += band.sums_[i];
        counts_[start + i] += band.counts_[i];
    }
}

std::vector<float> ValueAverager::means() const {
    std::vector<float> means(sums_.size(), std::numeric_limits<float>::quiet_NaN());
    for (std::size_t i = 0; i < means.size(); ++i)
        if (counts_[i] > 0)
            means[i] = static_cast<float>(sums_[i] / static_cast<double>(counts_[i]));
    return means;
}
