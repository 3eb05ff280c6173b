#pragma once

#include "arvo/binary/DistanceQueue.h"
#include "arvo/platform/image/VoxelBlock.h"
#include "arvo/platform/math/Ivec3.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

class ArvoImage3D;
class ThreadProgress;

namespace binary {

/// Peels the voxels off a box around an object, those furthest from the object first, as long as what is left
/// in the neighbourhood does not open a hole: the peeling of Image3DHoleClosing.
///
/// The peeling walks along surfaces of any direction and looks at whole neighbourhoods. So four voxels, 2 x 2 in x
/// and y, share a cell of 16 bits, and the cells lie in columns along z: a neighbourhood is four loads from four
/// columns, a cache line serves 128 voxels close together, and what belongs to a voxel is in one place. Of the
/// distances, which differ by 1 at most between neighbours, two bits are kept.
class HullPeeling {
public:
    /// `mask` has a border of zero voxels, and the hull is the box from `min` to `max`, both inclusive,
    /// inside that border: empty if a minimum is above its maximum. The state of a voxel is its byte, plus 1
    /// in the hull, wrapped to a byte: 0 is background, 1 may be peeled, all above is object. The peeling
    /// begins at the voxels that may be peeled and have background at a face. `distance` is the unsigned map of
    /// the mask. Neither is looked at afterwards. isValid() tells whether there was enough memory for the cells;
    /// for the queue: std::bad_alloc.
    HullPeeling(const ArvoImage3D& mask, const ArvoImage3D& distance, const std::array<int, 3>& min,
                const std::array<int, 3>& max);

    bool isValid() const { return static_cast<bool>(m_cells); }

    /// Peels from the surface of the hull inwards. Looks at the flag before each voxel; false when it stopped
    /// it. Advances `progress`, if there is one, by `steps` in all, spread over `voxels` tests. Out of memory:
    /// std::bad_alloc.
    bool run(const std::atomic<bool>& cancel, ThreadProgress* progress, int steps, std::ptrdiff_t voxels);

    /// Writes what is inside the border, 0 for background and 1 for the rest, into a volume of bytes, from
    /// `origin` on.
    void writeInterior(ArvoImage3D& result, const math::Ivec3& origin) const;

private:
    using Cell = std::uint16_t;
    using Voxel = DistanceQueue::Voxel;

    void readCells(const ArvoImage3D& mask, const ArvoImage3D& distance);
    void queueSurface(const ArvoImage3D& distance);
    bool isBackground(std::ptrdiff_t x, std::ptrdiff_t y, std::ptrdiff_t z) const;
    bool touchesBackground(int x, int y, int z) const;
    void findNeighbours();

    /// What a voxel of some place in its cell meets in the block around it: four columns of cells, three long.
    struct Around {
        std::ptrdiff_t ownColumn;                // from the first cell to the one below the voxel's own
        Voxel toBlock;                           // from a voxel by its own cell to the same by its block
        std::array<std::uint64_t, 4> self;       // the voxel in the columns, the bit of background
        std::array<std::uint64_t, 4> candidates; // the neighbours in the columns, the bit of candidates
    };
    /// A voxel of a block, from the first cell of the block.
    struct Neighbour {
        Voxel voxel; // by its own block
        std::ptrdiff_t cell;
        unsigned place;
    };

    Cell* cells() { return reinterpret_cast<Cell*>(m_cells.data()); }
    const Cell* cells() const { return reinterpret_cast<const Cell*>(m_cells.data()); }
    /// Where the column of cells with that cell of the x-y plane begins.
    std::ptrdiff_t column(std::ptrdiff_t x, std::ptrdiff_t y) const { return (y * m_cellsX + x) * m_size.z; }
    Voxel voxelAt(std::ptrdiff_t x, std::ptrdiff_t y, std::ptrdiff_t z) const;

    math::Ivec3 m_size;
    std::array<int, 3> m_min;
    std::array<int, 3> m_max;
    std::ptrdiff_t m_cellsX;
    std::ptrdiff_t m_cellsY;
    bool m_hasNegativeBytes = false; // as signed values
    image::VoxelBlock m_cells;
    DistanceQueue m_queue;
    std::array<Around, 8> m_around;         // by the place of the voxel in its cell
    std::array<Neighbour, 64> m_neighbours; // by the bit in the block
};

} // namespace binary
