#include "kimg/png_writer.h"
#include "output/console.h"
#include "output/interruption.h"
#include "output/ordered_work.h"
#include "output/output_file.h"
#include "pictures/graticule.h"
#include "pictures/image_averager.h"
#include "verbs/verbs.h"

#include <algorithm>
#include <optional>

namespace {

struct QuicklookOptions {
    std::string file;
    std::string layer; ///< empty: the product's first
    std::string output;
    std::uint32_t size = 1024;
    bool graticule = false;
    double graticuleStep = 0; ///< degrees; 0 for one that suits
    bool scaleBar = false;
    bool force = false;
};

/// Rows of blocks on all cores, so that memory holds the picture and a block a core.
void average(const loader::Layer& layer, ImageAverager& averager) {
    constexpr std::uint32_t linesTogether = 256; // about
    const std::uint32_t lines =
        std::max(1U, linesTogether / layer.blockHeight()) * layer.blockHeight();
    OrderedWork work;
    work.items = (layer.height() + lines - 1) / lines;
    work.slots = 2 * machineThreads();
    std::vector<std::vector<std::uint16_t>> blocks(work.slots);
    work.prepare = [&](std::size_t item, std::size_t slot) {
        auto& block = blocks[slot];
        block.resize(layer.blockBytes() / sizeof block[0]);
        const auto top = static_cast<std::uint32_t>(item) * lines;
        for (std::uint32_t y = top; y < std::min(top + lines, layer.height());
             y += layer.blockHeight())
            for (std::uint32_t x = 0; x < layer.width(); x += layer.blockWidth()) {
                layer.readBlock(y / layer.blockHeight(), x / layer.blockWidth(), block.data());
                averager.add(x, y, std::min(layer.blockWidth(), layer.width() - x),
                             std::min(layer.blockHeight(), layer.height() - y), block.data(),
                             layer.blockWidth());
            }
    };
    console::Progress progress("averaging " + layer.name(), work.items);
    work.take = [&](std::size_t item, std::size_t) { progress.advanceTo(item + 1); };
    run(work);
}

/// What is drawn over the picture; nothing when nothing was asked for.
std::optional<Overlay> overlayOf(const QuicklookOptions& options,
                                 const product::OpenedProduct& opened, const loader::Layer& layer,
                                 const ImageAverager& averager) {
    const bool graticule = options.graticule || options.graticuleStep > 0;
    if (!graticule && !options.scaleBar)
        return std::nullopt;
    const product::Locator locator(opened, layer);
    if (!locator.remarks().empty())
        console::warning(locator.remarks());
    const PictureOf picture{locator, static_cast<double>(layer.width()),
                            static_cast<double>(layer.height())};
    Overlay overlay(averager.width(), averager.height());
    std::vector<Overlay::Box> taken;
    if (options.scaleBar)
        taken.push_back(drawScaleBar(picture, overlay));
    if (graticule)
        drawGraticule(picture, options.graticuleStep, taken, overlay);
    return overlay;
}

void quicklook(const QuicklookOptions& options) {
    refuseOverwriting(options.output, options.force);
    const auto opened = product::openProduct(options.file);
    const auto& names = opened->layerNames();
    if (names.empty())
        throw loader::Error(opened->name() + ": the product has no layers");
    const loader::Layer layer =
        opened->product.openLayer(options.layer.empty() ? names.front() : options.layer);
    const bool phase = product::parseLayerName(layer.name()).isPhase();
    ImageAverager averager(phase ? ImageAverager::Kind::phase : ImageAverager::Kind::magnitude,
                           layer.width(), layer.height(), options.size);
    const auto overlay = overlayOf(options, *opened, layer, averager);
    average(layer, averager);
    const auto grey = averager.grey();
    const auto picture = overlay ? overlay->over(grey) : grey;
    std::string reason;
    interruption::watch();
    if (!kimg::writePng(options.output, picture.data(), averager.width(), averager.height(),
                        overlay ? 3 : 1, reason))
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
    verb->add_flag("--graticule", options->graticule,
                   "draw meridians and parallels, labelled in degrees");
    verb->add_option("--graticule-step", options->graticuleStep,
                     "degrees between them (default: about five lines)")
        ->check(CLI::PositiveNumber);
    verb->add_flag("--scale-bar", options->scaleBar,
                   "draw a bar of a round length on the ground, along the lines at the centre");
    verb->add_flag("--force", options->force, "replace an existing file");
    verb->callback([options] { quicklook(*options); });
}
