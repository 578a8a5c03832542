// SPDX-License-Identifier: MIT
#include "output/console.h"
#include "output/output_file.h"
#include "product/images/raster.h"
#include "verbs/treatment_options.h"
#include "verbs/verbs.h"

#include <algorithm>
#include <bit>

namespace {

static_assert(std::endian::native == std::endian::little, "samples are written as they lie");

struct ReadOptions {
    std::string file;
    std::string layer;
    product::Treatment treatment;
    std::vector<std::uint32_t> window; ///< x, y, width, height; empty for the whole layer
    std::string output;
    bool force = false;
};

/// Reads row by row of blocks, so that a scene may be larger than memory.
void copyWindow(const product::Raster& raster, const product::Window& window, OutputFile& output) {
    console::Progress progress("reading " + raster.name(), window.height);
    const std::uint32_t across = raster.blockWidth(), down = raster.blockHeight();
    const std::size_t sample = raster.sampleBytes();
    std::vector<std::byte> block(raster.blockBytes()), lines;
    const std::uint32_t right = window.x + window.width, bottom = window.y + window.height;
    for (std::uint32_t y = window.y, end = y; y < bottom; y = end) {
        const std::uint32_t row = y / down;
        end = std::min(bottom, (row + 1) * down);
        lines.resize(sample * window.width * (end - y));
        for (std::uint32_t column = window.x / across; column * across < right; ++column) {
            raster.readBlock(row, column, block.data());
            const std::uint32_t from = std::max(window.x, column * across);
            const std::uint32_t to = std::min(right, (column + 1) * across);
            for (std::uint32_t line = y; line < end; ++line)
                std::copy_n(block.data() + sample * (std::size_t{line - row * down} * across +
                                                     (from - column * across)),
                            sample * (to - from),
                            lines.data() + sample * (std::size_t{line - y} * window.width +
                                                     (from - window.x)));
        }
        output.write(lines.data(), lines.size());
        progress.advanceTo(end - window.y);
    }
}

void read(const ReadOptions& options) {
    const auto rasters = product::openRasters(product::openProduct(options.file), {options.layer},
                                              options.treatment);
    refuseOwnFiles(options.output, rasters.front()->opened().stated());
    std::vector<product::Window> windows;
    for (const auto& raster : rasters) {
        product::Window window{0, 0, raster->width(), raster->height()};
        if (const auto& w = options.window; !w.empty())
            window = {w[0], w[1], w[2], w[3]};
        raster->requireInside(window);
        windows.push_back(window);
    }
    OutputFile output(options.output, options.force);
    for (std::size_t i = 0; i < rasters.size(); ++i)
        copyWindow(*rasters[i], windows[i], output);
    output.commit();
}

} // namespace

void addRead(CLI::App& app) {
    auto* verb = app.add_subcommand("read", "write samples of a layer, raw and little-endian");
    auto options = std::make_shared<ReadOptions>();
    verb->add_option("FILE", options->file, "product")->required();
    verb->footer(
        "LAYER is any name that export takes. A name without polarization (SIGMA_NOUGHT) writes\n"
        "the images of all polarizations one after another. Samples have the type that info and\n"
        "gdalinfo show: layers 16 bits; power, decibels and angles 32-bit floating point; complex\n"
        "samples pairs.\n"
        "\n"
        "Examples:\n"
        "  rfsar read product.xml C_HH_MAGNITUDE_1 -o samples.raw\n"
        "  rfsar read product.xml C_HH_MAGNITUDE_1 --window 0,0,8,8 -o - | od -t u2");
    verb->add_option("LAYER", options->layer, "layer name, or another that export takes")
        ->required();
    addTreatment(*verb, options->treatment);
    verb->add_option("--window", options->window, "X,Y,W,H in pixels (default: the whole layer)")
        ->delimiter(',')
        ->expected(4);
    verb->add_option("-o,--output", options->output, "file to write, - for stdout")->required();
    verb->add_flag("--force", options->force, "replace an existing file");
    verb->callback([options] { read(*options); });
}
