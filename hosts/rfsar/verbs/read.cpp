#include "output/console.h"
#include "output/output_file.h"
#include "product/opened_product.h"
#include "verbs/verbs.h"

#include <algorithm>
#include <array>
#include <bit>

namespace {

static_assert(std::endian::native == std::endian::little, "samples are written as they lie");

struct ReadOptions {
    std::string file;
    std::string layer;
    std::vector<std::uint32_t> window; ///< x, y, width, height; empty for the whole layer
    std::string output;
    bool force = false;
};

/// Reads in bands of lines, so that a scene larger than memory streams.
void read(const ReadOptions& options) {
    const auto opened = product::openProduct(options.file);
    refuseOwnFiles(options.output, opened->stated());
    const loader::Layer layer = opened->product.openLayer(options.layer);
    std::array<std::uint32_t, 4> window = {0, 0, layer.width(), layer.height()};
    std::copy(options.window.begin(), options.window.end(), window.begin());
    const auto [x, y, width, height] = window;
    layer.requireInside(x, y, width, height);

    OutputFile output(options.output, options.force);
    console::Progress progress("reading " + options.layer, height);
    std::vector<std::uint16_t> samples;
    for (std::uint32_t done = 0; done < height;) {
        // Whole rows of blocks, aligned to the blocks' own rows.
        const std::uint32_t toBlockEnd = layer.blockHeight() - (y + done) % layer.blockHeight();
        const std::uint32_t lines = std::min(toBlockEnd, height - done);
        samples.resize(std::size_t{width} * lines);
        layer.readWindow(x, y + done, width, lines, samples);
        output.write(samples.data(), samples.size() * sizeof samples[0]);
        done += lines;
        progress.advanceTo(done);
    }
    output.commit();
}

} // namespace

void addRead(CLI::App& app) {
    auto* verb = app.add_subcommand("read", "write samples of a layer, raw and little-endian");
    verb->footer("Examples:\n"
                 "  rfsar read product.xml C_HH_MAGNITUDE_1 -o samples.raw\n"
                 "  rfsar read product.xml C_HH_MAGNITUDE_1 --window 0,0,8,8 -o - | od -t u2");
    auto options = std::make_shared<ReadOptions>();
    verb->add_option("FILE", options->file, "product")->required();
    verb->add_option("LAYER", options->layer, "layer name, as info lists it")->required();
    verb->add_option("--window", options->window, "X,Y,W,H in pixels (default: the whole layer)")
        ->delimiter(',')
        ->expected(4);
    verb->add_option("-o,--output", options->output, "file to write, - for stdout")->required();
    verb->add_flag("--force", options->force, "replace an existing file");
    verb->callback([options] { read(*options); });
}
