// SPDX-License-Identifier: MIT
#include "output/console.h"
#include "output/interruption.h"
#include "output/output_file.h"
#include "pictures/drawing.h"
#include "pictures/picture_file.h"
#include "verbs/kept_options.h"
#include "verbs/numbers.h"
#include "verbs/treatment_options.h"
#include "verbs/verbs.h"

namespace {

constexpr char description[] = "write a small picture of a product";
constexpr char footer[] =
    "The picture has square pixels on the ground. It is rotated by quarter turns and mirrored so\n"
    "that north is nearly up and east nearly right; a message says how. --north-up draws it on a\n"
    "map instead. Neighbours are averaged in power. Grey runs from the 1st to the 99th percentile\n"
    "of the picture, as the square root of the amplitude; with --db, and for layers in decibels\n"
    "(SIGMA_NOUGHT_DB_HH), in decibels, with a legend.\n"
    "\n"
    "--rgb takes three polarizations, or ratios of two, for red, green and blue. The default is\n"
    "HH,HV,VV for quad, co,cross,co/cross (HH,HV,HH/HV) for dual, and CH,CV,CH/CV for compact\n"
    "polarization. Each colour is stretched on its own. With --denoise the colours show "
    "calibrated\n"
    "power.\n"
    "\n"
    "Examples:\n"
    "  rfsar quicklook product.xml -o picture.png --graticule --scale-bar --north-arrow\n"
    "  rfsar quicklook product.xml --layer SIGMA_NOUGHT_HH --db --north-up -o map.tif";

struct QuicklookVerb {
    std::string file;
    DrawingRequest request;
    std::string output;
    bool force = false;
};

void quicklook(const QuicklookVerb& verb) {
    const kimg::PictureFormat format = pictureFormatOf(verb.output);
    refuseOverwriting(verb.output, verb.force);
    const auto opened = product::openProduct(verb.file);
    refuseOwnFiles(verb.output, opened->stated());
    const Drawing drawing = draw(opened, verb.request);
    for (const std::string& warning : drawing.warnings)
        console::warning(warning);
    std::string reason;
    interruption::watch();
    if (!kimg::writePicture(verb.output, format, drawing.picture, reason))
        throw loader::Error(reason);
    if (!drawing.remark.empty())
        console::note(drawing.remark);
}

} // namespace

void addQuicklook(CLI::App& app) {
    auto* command = app.add_subcommand("quicklook", description);
    command->footer(footer);
    auto verb = keptOptions<QuicklookVerb>(*command);
    DrawingRequest& request = verb->request;
    command->add_option("FILE", verb->file, "product")->required();
    auto* layer = command->add_option("--layer", request.layer,
                                      "layer name, or another that export takes (default: the "
                                      "product's first layer)");
    command->add_option("-o,--output", verb->output, "picture to write: .png, .jpg or .tif")
        ->required();
    command->add_option("--size", request.longSide, "pixels of the long side")
        ->check(CLI::Range(1U, 32768U))
        ->capture_default_str();
    auto* stored = command->add_flag("--as-stored", request.asStored,
                                     "keep the order of the file's lines and samples");
    command
        ->add_flag("--north-up", request.northUp,
                   "draw a map in metres with north up, UTM or polar stereographic")
        ->excludes(stored);
    addTreatment(*command, request.treatment);
    command
        ->add_option("--rgb", request.rgb, "polarizations as colours: R,G,B (default: see below)")
        ->expected(0, 1)
        ->type_name("[R,G,B]")
        ->excludes(layer);
    command->add_flag("--graticule", request.graticule,
                      "draw meridians and parallels, labelled in degrees");
    command
        ->add_option("--graticule-step", request.graticuleStepDeg,
                     "degrees between them (default: about five lines)")
        ->check(positiveNumber());
    command->add_flag("--scale-bar", request.scaleBar,
                      "draw a bar of a round length on the ground at the picture's centre");
    command->add_flag("--north-arrow", request.northArrow, "draw an arrow to the north");
    command->add_flag("--force", verb->force, "replace an existing file");
    command->callback([verb, command] {
        verb->request.inColour = command->count("--rgb") > 0;
        quicklook(*verb);
    });
}
