// SPDX-License-Identifier: MIT
#include "core/tables.h"

#include "product/images/raster.h"
#include "product/radiometry/calibration.h"
#include "product/radiometry/noise_tables.h"

#include <algorithm>

namespace tables {
namespace {

namespace py = pybind11;
using product::Entry;

const char* kindOf(const Entry& entry) {
    if (entry.decibels)
        return "decibels";
    if (entry.isPower() && entry.radiometry != entry.table.kind)
        return "by angle"; // no table gives it by column
    switch (entry.kind) {
    case Entry::Kind::complexSamples:
        return "complex";
    case Entry::Kind::calibrated:
        return "calibrated";
    case Entry::Kind::noise:
        return "noise";
    case Entry::Kind::incidence:
        return "incidence";
    default:
        return "layer";
    }
}

Entry entryOf(const Opened& opened, const std::string& name, Entry::Kind kind) {
    for (const Entry& entry : catalogue(*opened))
        if (entry.name == name && entry.kind == kind)
            return entry;
    throw loader::Error(opened->name() + ": the product has no \"" + name + "\"");
}

const product::ImageSamples& samplesOf(const Entry& entry) {
    if (!entry.image || !entry.image->samples())
        throw loader::Error(entry.image ? entry.image->fault() : entry.name + ": has no image");
    return *entry.image->samples();
}

template <class Number>
py::array_t<Number> arrayOf(const std::vector<Number>& numbers) {
    return py::array_t<Number>(static_cast<py::ssize_t>(numbers.size()), numbers.data());
}

} // namespace

py::list entries(const Opened& opened) {
    py::list found;
    for (const Entry& entry : catalogue(*opened)) {
        const bool readable = entry.image && entry.image->samples();
        py::dict each;
        each["name"] = entry.name;
        each["description"] = entry.description;
        each["pole"] = entry.pole;
        each["kind"] = kindOf(entry);
        each["phase"] = entry.isPhase();
        each["width"] = readable ? entry.image->samples()->width() : 0U;
        each["height"] = readable ? entry.image->samples()->height() : 0U;
        each["fault"] = entry.image ? entry.image->fault() : "";
        found.append(each);
    }
    return found;
}

py::tuple tiePoints(const Opened& opened) {
    std::vector<double> columns[5];
    for (const product::TiePoint& point : opened->stated().tiePoints()) {
        const double numbers[] = {point.line, point.sample, point.lonDeg, point.latDeg,
                                  point.heightM};
        for (std::size_t i = 0; i < 5; ++i)
            columns[i].push_back(numbers[i]);
    }
    return py::make_tuple(arrayOf(columns[0]), arrayOf(columns[1]), arrayOf(columns[2]),
                          arrayOf(columns[3]), arrayOf(columns[4]));
}

py::tuple gains(const Opened& opened, const std::string& name) {
    const Entry entry = entryOf(opened, name, Entry::Kind::calibrated);
    const product::ImageSamples& samples = samplesOf(entry);
    const product::Calibration found =
        product::readCalibration(opened->stated(), entry.table,
                                 columnsOf(opened->stated(), *entry.image), samples.isComplex());
    return py::make_tuple(found.offset, arrayOf(found.divisors));
}

py::array_t<double> noise(const Opened& opened, const std::string& name) {
    const Entry entry = entryOf(opened, name, Entry::Kind::noise);
    const std::uint32_t width = samplesOf(entry).width();
    return arrayOf(
        product::readNoise(opened->stated(), entry.noise, columnsOf(opened->stated(), *entry.image))
            .expand(width));
}

py::array_t<float> incidence(const Opened& opened, std::uint32_t line) {
    const auto rasters = product::openRasters(opened, {"INCIDENCE_ANGLE"});
    const product::Raster& raster = *rasters.front();
    if (line >= raster.height())
        throw loader::Error(opened->name() + ": has no line " + std::to_string(line));
    std::vector<float> block(raster.blockBytes() / sizeof(float)), angles(raster.width());
    for (std::uint32_t x = 0; x < raster.width(); x += raster.blockWidth()) {
        raster.readBlock(line / raster.blockHeight(), x / raster.blockWidth(), block.data());
        const std::size_t start = std::size_t{line % raster.blockHeight()} * raster.blockWidth();
        std::copy_n(block.begin() + static_cast<std::ptrdiff_t>(start),
                    std::min(raster.blockWidth(), raster.width() - x), angles.begin() + x);
    }
    return arrayOf(angles);
}

} // namespace tables
