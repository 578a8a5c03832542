// SPDX-License-Identifier: MIT
#include "product/checks/findings.h"

#include "kfio/virtual_files.h"

#include <algorithm>
#include <cmath>

namespace product {
namespace {

constexpr double mostAmplitude = 1e12; ///< any table makes a finite number of its square
constexpr std::size_t samplesAtOnce = 4U << 20U;

/// Bad samples of one image: their number, and the position of the first.
struct Odd {
    std::uint64_t count = 0, line = 0, sample = 0;

    void add(std::uint64_t atLine, std::uint64_t atSample) {
        if (count++ == 0) {
            line = atLine;
            sample = atSample;
        }
    }
    std::string text(const std::string& file, const std::string& what) const {
        return file + ": holds " + std::to_string(count) + ' ' + what + ", the first at sample " +
               std::to_string(sample) + ", line " + std::to_string(line);
    }
};

/// Reads whole blocks if they are small, so that each is decoded once.
std::uint32_t rowsAtOnce(std::uint32_t width, std::uint32_t blockHeight) {
    const std::size_t rows = std::max<std::size_t>(1, samplesAtOnce / width);
    return static_cast<std::uint32_t>(rows < blockHeight ? rows : rows - rows % blockHeight);
}

class ImageReader {
public:
    ImageReader(const ImageSamples& image, Findings& findings)
        : image_(image), findings_(findings), width_(image.width()),
          rows_(rowsAtOnce(image.width(), image.blockHeight())) {}

    /// @param read  receives the number of lines read.
    template <class Read>
    void run(const Read& read) {
        std::uint64_t unread = 0;
        std::string reason;
        for (std::uint32_t line = 0; line < image_.height(); line += rows_) {
            const std::uint32_t rows = std::min(rows_, image_.height() - line);
            try {
                look(line, rows);
            } catch (const loader::Error& error) {
                unread += rows;
                if (reason.empty())
                    reason = error.what();
            }
            read(rows);
        }
        if (unread > 0)
            findings_.add(Verdict::fail, reason + " (" + std::to_string(unread) + " of " +
                                             std::to_string(image_.height()) +
                                             " lines are in parts that cannot be read)");
        if (negative_.count > 0)
            findings_.add(Verdict::fail,
                          negative_.text(image_.file(),
                                         "negative samples, which a detected image does not have"));
        if (notFinite_.count > 0)
            findings_.add(Verdict::fail,
                          notFinite_.text(image_.file(),
                                          "samples that are no numbers, or none of a size that "
                                          "can be calibrated"));
        good_ = unread == 0 && negative_.count == 0 && notFinite_.count == 0;
    }
    bool good() const { return good_; }

private:
    void look(std::uint32_t line, std::uint32_t rows) {
        values_.resize(std::size_t{rows} * width_);
        const double most = image_.isComplex() ? mostAmplitude * mostAmplitude : mostAmplitude;
        const ImageSamples::Window window{0, line, width_, rows};
        if (image_.isComplex())
            image_.readPower(window, values_);
        else
            image_.readReal(window, values_);
        for (std::size_t i = 0; i < values_.size(); ++i)
            if (!(std::abs(values_[i]) <= most))
                notFinite_.add(line + i / width_, i % width_);
            else if (values_[i] < 0)
                negative_.add(line + i / width_, i % width_);
    }

    const ImageSamples& image_;
    Findings& findings_;
    std::uint32_t width_, rows_;
    std::vector<double> values_;
    Odd negative_, notFinite_;
    bool good_ = false;
};

} // namespace

std::vector<Finding> readImages(const OpenedProduct& opened, const ReadProgress& progress) {
    std::vector<Finding> all;
    Findings findings{"read", all};
    std::uint64_t done = 0, total = 0;
    for (const ProductImage& image : imagesToCheck(opened))
        total += image.samples() ? image.samples()->height() : 0;
    std::size_t good = 0, images = 0;
    for (const ProductImage& image : imagesToCheck(opened)) {
        if (!image.samples())
            continue; // the files' check reports it
        ++images;
        ImageReader reader(*image.samples(), findings);
        reader.run([&](std::uint32_t lines) { progress(done += lines, total); });
        const std::string fault = kfio::faultInArchive(image.file);
        if (!fault.empty())
            findings.add(Verdict::fail, image.file + " " + fault);
        good += reader.good() && fault.empty();
    }
    findings.addWhenAll(good, images, "images can be read to their last sample");
    return all;
}

} // namespace product
