// SPDX-License-Identifier: MIT
#pragma once

#include "kmif/kmif_node.h"
#include "loader/georeferencing.h"
#include "loader/plugin.h"

#include <span>

namespace loader {

/// @param what  for the text, such as "layer C_HH_MAGNITUDE_1".
/// @throws Error naming window and image size when the window is empty or leaves the image.
void requireInside(const std::string& what, std::uint32_t imageWidth, std::uint32_t imageHeight,
                   std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height);

/// An open layer. Move-only; must not outlive its product. Reads may run on many threads.
class Layer {
public:
    Layer(const Plugin& plugin, RF_SARFile* file, const std::string& name);

    const std::string& name() const { return name_; }
    std::uint32_t pixelType() const { return pixelType_; }
    std::uint32_t width() const { return width_; }
    std::uint32_t height() const { return height_; }
    std::uint32_t blockWidth() const { return blockWidth_; }
    std::uint32_t blockHeight() const { return blockHeight_; }
    std::size_t blockBytes() const { return 2 * std::size_t{blockWidth_} * blockHeight_; }

    /// Reads one block: blockWidth * blockHeight 16-bit samples, line by line, 0 beyond the image.
    /// @throws Error naming the layer and the reason when any of it could not be read.
    void readBlock(std::uint32_t row, std::uint32_t column, void* samples) const;

    /// @throws Error as loader::requireInside.
    void requireInside(std::uint32_t x, std::uint32_t y, std::uint32_t width,
                       std::uint32_t height) const {
        loader::requireInside("layer " + name_, width_, height_, x, y, width, height);
    }

    /// Reads a window that lies inside the image into width * height samples.
    /// @throws Error as readBlock and requireInside.
    void readWindow(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height,
                    std::span<std::uint16_t> samples) const;

    /// The plug-in's georeferencing; product::placeOf has further sources.
    /// @throws Error as loader::readGeoreferencing.
    Georeferencing georeferencing() const {
        return readGeoreferencing(*plugin_, {layer_.get(), name_, width_, height_});
    }

private:
    struct Closer {
        const Plugin* plugin;
        void operator()(RF_SARLayer* layer) const { plugin->entry().layerClose(layer); }
    };

    const Plugin* plugin_;
    std::string name_;
    std::uint32_t pixelType_ = 0;
    std::uint32_t width_ = 0;
    std::uint32_t height_ = 0;
    std::uint32_t blockWidth_ = 0;
    std::uint32_t blockHeight_ = 0;
    std::unique_ptr<RF_SARLayer, Closer> layer_;
};

/// An open product. Move-only.
class Product {
public:
    /// @throws Error naming the file and why it cannot be opened.
    /// @param standIn  the file that the plug-in reads instead; "" for the product's own.
    Product(const Plugin& plugin, const std::string& name, const std::string& standIn = "");

    const Plugin& plugin() const { return *plugin_; }
    const std::string& name() const { return name_; }
    int formatIndex() const { return formatIndex_; }
    const Format& format() const {
        return plugin_->formats()[static_cast<std::size_t>(formatIndex_)];
    }
    /// @throws Error when the plug-in cannot list them.
    std::vector<std::string> layerNames() const;
    std::vector<std::string> nodeNames() const;
    /// @return the node of that name, filled.
    /// @param remarks  receives what the plug-in reported while it filled the node; may be empty.
    /// @throws Error saying why when the product does not have the node.
    KmifNode node(const std::string& name, std::string& remarks) const;
    Layer openLayer(const std::string& name) const { return Layer(*plugin_, file_.get(), name); }
    RF_SARFile* handle() const { return file_.get(); }

private:
    struct Closer {
        const Plugin* plugin;
        void operator()(RF_SARFile* file) const { plugin->entry().fileClose(file); }
    };

    const Plugin* plugin_;
    std::string name_;
    int formatIndex_ = -1;
    std::unique_ptr<RF_SARFile, Closer> file_;
};

} // namespace loader
