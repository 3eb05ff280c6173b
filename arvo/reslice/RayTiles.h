#pragma once

#include "arvo/reslice/RayBlock.h"

#include <algorithm>
#include <vector>

namespace reslice {

/// A tile of pixels whose rays advance together, STEPS samples of one block after the other, so that the voxels around
/// them are still in the cache when the next block needs them.
inline constexpr int TILE_COLUMNS = 32;
inline constexpr int TILE_ROWS = 32;
inline constexpr int STEPS = 8;

/// Projects all pixels of the band, tile by tile. State is what a block of rays carries from sample to sample:
/// constructed from the rays, it takes them a number of samples further in march(rays, state, steps) and leaves their
/// results, and depths if it has any, in finish(rays, results, depths).
template <class State, class March, class... Settings>
void forEachTile(const ProjectionBand& band, RayEnd rayEnd, March&& march, const Settings&... settings)
{
    struct Block {
        int column;
        int row;
        RayBlock rays;
        State state;

        Block(const ProjectionBand& of, int c, int r, RayEnd end, const Settings&... with)
            : column(c),
              row(r),
              rays(of, c, r, end),
              state(rays, with...)
        {
        }
    };
    const auto store = [&](const Block& block) {
        float results[RayBlock::COUNT];
        float depths[RayBlock::COUNT] = {};
        block.state.finish(block.rays, results, depths);
        const int columns = std::min(RayBlock::COLUMNS, band.width - block.column);
        const int rows = std::min(RayBlock::ROWS, band.rows - block.row);
        for (int k = 0; k < rows; ++k) {
            const std::ptrdiff_t pixel = band.pixel(block.column, block.row + k);
            std::copy_n(results + k * RayBlock::COLUMNS, columns, band.result + pixel);
            if (band.depth)
                std::copy_n(depths + k * RayBlock::COLUMNS, columns, band.depth + pixel);
        }
    };

    std::vector<Block> tile;
    tile.reserve(TILE_COLUMNS / RayBlock::COLUMNS * (TILE_ROWS / RayBlock::ROWS));
    for (int top = 0; top < band.rows; top += TILE_ROWS) {
        for (int left = 0; left < band.width; left += TILE_COLUMNS) {
            tile.clear();
            for (int row = top; row < std::min(top + TILE_ROWS, band.rows); row += RayBlock::ROWS) {
                for (int column = left; column < std::min(left + TILE_COLUMNS, band.width);
                     column += RayBlock::COLUMNS)
                    tile.emplace_back(band, column, row, rayEnd, settings...);
            }
            for (bool isAnyActive = true; isAnyActive;) {
                isAnyActive = false;
                for (Block& block : tile) {
                    march(block.rays, block.state, STEPS);
                    isAnyActive = isAnyActive || block.rays.isAnyActive;
                }
            }
            for (const Block& block : tile)
                store(block);
        }
    }
}

} // namespace reslice
