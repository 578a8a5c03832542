#pragma once

#include "loader/product.h"
#include "product/placement.h"

/// Cuts a window of a layer into square tiles, padded at the right and lower edges.
class LayerTiles {
public:
    /// @param layer  must outlive this.
    LayerTiles(const loader::Layer& layer, const product::Window& window, std::uint32_t tileSize);

    std::uint32_t rows() const { return rows_; }
    std::uint32_t columns() const { return columns_; }

    /// @return how many tiles of a row are best read together, given room for so many: one when
    ///         the layer's own blocks are these tiles, else as many as there is room for, so that
    ///         blocks are read once.
    std::uint32_t tilesTogether(std::size_t room) const;

    /// Memory for one `read`; a thread keeps it from one to the next.
    using Scratch = std::vector<std::uint16_t>;

    /// Reads tiles of one row, one after the other. Any thread.
    /// @param samples  count * tileSize * tileSize of them.
    void read(std::uint32_t row, std::uint32_t firstColumn, std::uint32_t count,
              std::uint16_t* samples, Scratch& scratch) const;

private:
    void scatter(const product::Window& region, std::uint32_t blockRow, std::uint32_t blockColumn,
                 const std::uint16_t* block, std::uint16_t* samples) const;

    const loader::Layer& layer_;
    product::Window window_;
    std::uint32_t tileSize_, rows_, columns_;
    bool tilesAreBlocks_;
};
