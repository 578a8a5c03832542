// SPDX-License-Identifier: MIT
#include "loader/product.h"

#include "loader/heard.h"
#include "loader/host_texts.h"

#include "kmif/kmif_node.h"

#include <algorithm>

namespace loader {

void requireInside(const std::string& what, std::uint32_t imageWidth, std::uint32_t imageHeight,
                   std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height) {
    if (width != 0 && height != 0 && x < imageWidth && y < imageHeight && width <= imageWidth - x &&
        height <= imageHeight - y)
        return;
    throw Error(what + ": the window " + std::to_string(x) + "," + std::to_string(y) + "," +
                std::to_string(width) + "," + std::to_string(height) +
                " does not lie inside the image of " + std::to_string(imageWidth) + " x " +
                std::to_string(imageHeight) + " pixels");
}

Layer::Layer(const Plugin& plugin, RF_SARFile* file, const std::string& name)
    : plugin_(&plugin), name_(name), layer_(nullptr, Closer{&plugin}) {
    const Heard heard;
    RF_SARLayer* layer = nullptr;
    std::uint32_t reserved = 0;
    std::uint32_t status = RF_SAR_FAILURE;
    try {
        status = plugin.entry().layerOpen(file, wideName(name).c_str(), &pixelType_, &width_,
                                          &height_, &reserved, &blockWidth_, &blockHeight_, &layer);
    } catch (const std::out_of_range&) {
        throw Error("the product has no layer \"" + name + "\"");
    }
    if (status != 0)
        throw Error("layer " + name + ": " + heard.reason("cannot be opened"));
    layer_.reset(layer);
}

void Layer::readBlock(std::uint32_t row, std::uint32_t column, void* samples) const {
    const Heard heard;
    void* block = samples;
    const std::uint32_t status =
        plugin_->entry().layerRasterRead(layer_.get(), row, column, &block);
    // Complex layers return success even when the image could not be read; only the log shows it.
    if (status != 0 || !heard.empty())
        throw Error("layer " + name_ + ": " + heard.reason("cannot be read"));
}

void Layer::readWindow(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height,
                       std::span<std::uint16_t> samples) const {
    requireInside(x, y, width, height);
    std::vector<std::uint16_t> block(std::size_t{blockWidth_} * blockHeight_);
    for (std::uint32_t row = y / blockHeight_; row <= (y + height - 1) / blockHeight_; ++row)
        for (std::uint32_t column = x / blockWidth_; column <= (x + width - 1) / blockWidth_;
             ++column) {
            readBlock(row, column, block.data());
            const std::uint32_t top = std::max(y, row * blockHeight_);
            const std::uint32_t bottom = std::min(y + height, (row + 1) * blockHeight_);
            const std::uint32_t left = std::max(x, column * blockWidth_);
            const std::uint32_t right = std::min(x + width, (column + 1) * blockWidth_);
            for (std::uint32_t line = top; line < bottom; ++line) {
                const auto* from = block.data() +
                                   std::size_t{line - row * blockHeight_} * blockWidth_ +
                                   (left - column * blockWidth_);
                std::copy_n(from, right - left,
                            samples.data() + std::size_t{line - y} * width + (left - x));
            }
        }
}

Product::Product(const Plugin& plugin, const std::string& name, const std::string& standIn)
    : plugin_(&plugin), name_(name), file_(nullptr, Closer{&plugin}) {
    if (const std::string refusal = refusalByExtension(plugin, name); !refusal.empty())
        throw Error(name + ": " + refusal);
    const Heard heard;
    std::uint32_t index = RF_SAR_FAILURE;
    file_.reset(plugin.entry().titleIdentifyAndOpen(
        wideName(standIn.empty() ? name : standIn).c_str(), &index, u"rb"));
    if (!file_)
        throw Error(name + ": " + refusalAsHeard(heard, name));
    formatIndex_ = static_cast<int>(index);
}

std::vector<std::string> Product::layerNames() const {
    const Heard heard;
    std::uint32_t count = 0;
    char16_t** list = nullptr;
    if (plugin_->entry().layerNamesGet(file_.get(), &count, &list) != 0)
        throw Error(name_ + ": " + heard.reason("its layers cannot be listed"));
    return takeTexts(list, count);
}

std::vector<std::string> Product::nodeNames() const {
    const Heard heard;
    std::uint32_t count = 0;
    char16_t** list = nullptr;
    if (plugin_->entry().nodeNamesGet(file_.get(), &count, &list) != 0)
        throw Error(name_ + ": " + heard.reason("its nodes cannot be listed"));
    return takeTexts(list, count);
}

KmifNode Product::node(const std::string& name, std::string& remarks) const {
    const Heard heard;
    KmifNode filled;
    const std::uint32_t status = plugin_->entry().dataRead(file_.get(), wideName(name).c_str(),
                                                           &filled, nullptr, nullptr, nullptr);
    const std::string reason = heard.reason("");
    if (status != 0 || filled.empty())
        throw Error(name_ + ": has no node \"" + name + '"' + (reason.empty() ? "" : ": ") +
                    reason);
    remarks = reason;
    return filled;
}

} // namespace loader
