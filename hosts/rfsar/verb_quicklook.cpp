#include "console.h"
#include "image_averager.h"
#include "kimg/png_writer.h"
#include "loader/product.h"
#include "output_file.h"
#include "product/find_product.h"
#include "product/product_facts.h"
#include "verbs.h"

#include <algorithm>

namespace {

struct QuicklookOptions {
    std::string file;
    std::string layer; ///< empty: the product's first
    std::string output;
    std::uint32_t size = 1024;
    bool force = false;
};

/// Block by block, so that memory holds the picture and one block.
void average(const loader::Layer& layer, ImageAverager& averager) {
    const std::uint32_t rows = (layer.height() + layer.blockHeight() - 1) / layer.blockHeight();
    const std::uint32_t columns = (layer.width() + layer.blockWidth() - 1) / layer.blockWidth();
    console::Progress progress("averaging " + layer.name(), rows);
    std::vector<std::uint16_t> block(layer.blockBytes() / 2);
    for (std::uint32_t row = 0; row < rows; ++row) {
        for (std::uint32_t column = 0; column < columns; ++column) {
            layer.readBlock(row, column, block.data());
            const std::uint32_t x = column * layer.blockWidth();
            const std::uint32_t y = row * layer.blockHeight();
            const std::uint32_t width = std::min(layer.blockWidth(), layer.width() - x);
            const std::uint32_t lines = std::min(layer.blockHeight(), layer.height() - y);
            for (std::uint32_t line = 0; line < lines; ++line)
                averager.add(x, y + line,
                             {block.data() + std::size_t{line} * layer.blockWidth(), width});
        }
        progress.advanceTo(row + 1);
    }
}

void quicklook(const QuicklookOptions& options) {
    refuseOverwriting(options.output, options.force);
    const loader::Product opened(loader::Plugin::instance(),
                                 product::findProduct(options.file));
    const auto names = opened.layerNames();
    if (names.empty())
        throw loader::Error(opened.name() + ": the product has no layers");
    const loader::Layer layer =
        opened.openLayer(options.layer.empty() ? names.front() : options.layer);
    const bool phase = product::parseLayerName(layer.name()).isPhase();
    ImageAverager averager(phase ? ImageAverager::Kind::phase : ImageAverager::Kind::magnitude,
                           layer.width(), layer.height(), options.size);
    average(layer, averager);
    std::string reason;
    if (!kimg::writePng(options.output, averager.grey().data(), averager.width(),
                        averager.height(), 1, reason))
        throw loader::Error(reason);
}

} // namespace

void addQuicklook(CLI::App& app) {
    auto* verb = app.add_subcommand("quicklook", "write a small picture of a layer as PNG");
    auto options = std::make_shared<QuicklookOptions>();
    verb->add_option("FILE", options->file, "product")->required();
    verb->add_option("--layer", options->layer, "layer name (default: the product's first)");
    verb->add_option("-o,--output", options->output, "PNG file to write")->required();
    verb->add_option("--size", options->size, "pixels of the long side")
        ->check(CLI::Range(1U, 32768U))
        ->capture_default_str();
    verb->add_flag("--force", options->force, "replace an existing file");
    verb->callback([options] { quicklook(*options); });
}
