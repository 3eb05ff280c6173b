#include "arvo/binary/HullPeeling.h"

#include "arvo/binary/OnePieceTest.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/threading/ThreadProgress.h"
#include "arvo/platform/utility/VectorClones.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <vector>

namespace binary {

namespace {

// The bits of a cell, to be shifted by the place of the voxel in the cell: x & 1, plus 4 for an odd y. A voxel that
// may be peeled and waits for its test has neither of the first two.
constexpr unsigned BACKGROUND = 1;
constexpr unsigned CANDIDATE = 1 << 2;  // may be peeled, does not wait
constexpr unsigned DISTANCE_1 = 1 << 8; // the distance modulo 4
constexpr unsigned DISTANCE_2 = 1 << 10;

constexpr unsigned ODD_X = 1;
constexpr unsigned ODD_Y = 4;

// A queued voxel is the number of the first cell of the block around it, and its place in its own cell in the lowest
// bits: the block is read as soon as the voxel is known.
constexpr int PLACE_BITS = 3;
constexpr unsigned PLACES = (1 << PLACE_BITS) - 1;

/// A block of 4 x 4 x 3 voxels, 2 x 2 cells in x and y: bit x + 4 * y + 16 * z. The 3 x 3 x 3 voxels around one
/// begin in it at x and y of 0 or 1.
using Block = OnePieceTest::Block;

constexpr Block NEIGHBOURS = 0x077707770777;
constexpr Block SELF = 1 << (1 + 4 + 16);

/// The bit of a block at which the 3 x 3 x 3 voxels begin: an even voxel has its neighbours around in two cells.
constexpr unsigned blockStart(unsigned place)
{
    return place ^ (ODD_X | ODD_Y);
}

constexpr Block FIRST_COLUMN = 0x003300330033;
constexpr std::array<unsigned, 4> COLUMN_SHIFTS{0, 2, 8, 10}; // of the columns in a block

/// The voxels of a block, in four columns of cells.
///
/// Columns are read and written in the same pieces: a processor hands what was just stored on to a load only when the
/// store covers it, and of neighbours that are peeled one after the other most are in the same slice.
class Columns {
public:
    Columns(std::uint16_t* first, std::ptrdiff_t nextX, std::ptrdiff_t nextY)
        : m_at{first, first + nextX, first + nextY, first + nextX + nextY}
    {
        for (int i = 0; i < 4; ++i)
            std::memcpy(&m_cells[i], m_at[i], sizeof(Block));
    }

    /// The voxels that are background.
    ARVO_KERNEL Block background() const
    {
        return join({m_cells[0] & ALL, m_cells[1] & ALL, m_cells[2] & ALL, m_cells[3] & ALL});
    }
    /// Writes the voxel as background and its candidates as waiting; returns these candidates.
    ARVO_KERNEL Block peel(const std::array<Block, 4>& self, const std::array<Block, 4>& candidates) const
    {
        std::array<Block, 4> found;
        for (std::size_t i = 0; i < 4; ++i) {
            found[i] = m_cells[i] & candidates[i];
            const Block changed = (m_cells[i] | self[i]) ^ found[i];
            std::memcpy(m_at[i], &changed, sizeof(Block));
        }
        return join(found) / CANDIDATE;
    }

private:
    static constexpr Block ALL = FIRST_COLUMN * BACKGROUND; // the bit, of all voxels of a column

    ARVO_KERNEL static Block join(const std::array<Block, 4>& columns)
    {
        return columns[0] | columns[1] << COLUMN_SHIFTS[1] | columns[2] << COLUMN_SHIFTS[2] |
               columns[3] << COLUMN_SHIFTS[3];
    }

    std::uint16_t* m_at[4];
    Block m_cells[4]; // three cells, and one that stays as it is
};

/// Sets bits of a column, in the pieces in which Columns reads it.
ARVO_KERNEL void addBits(std::uint16_t* cells, Block bits)
{
    Block column;
    std::memcpy(&column, cells, sizeof(Block));
    column |= bits;
    std::memcpy(cells, &column, sizeof(Block));
}

/// Advances a progress by so many steps while about `count` voxels pass by.
class Steps {
public:
    Steps(ThreadProgress* progress, int steps, std::ptrdiff_t count)
        : m_progress(progress),
          m_left(steps),
          m_voxelsPerStep(count / steps + 1),
          m_voxelsToStep(m_voxelsPerStep)
    {
    }

    void passVoxel()
    {
        if (--m_voxelsToStep == 0)
            step();
    }
    void finish()
    {
        if (m_progress)
            m_progress->advance(m_left);
    }

private:
    void step()
    {
        m_voxelsToStep = m_voxelsPerStep;
        if (!m_progress || m_left == 0)
            return;
        m_progress->advance();
        --m_left;
    }

    ThreadProgress* m_progress;
    int m_left;
    std::ptrdiff_t m_voxelsPerStep;
    std::ptrdiff_t m_voxelsToStep;
};

/// The bits of the voxels of a row, as of voxels at the first place of their cells. Returns the bitwise or of its bytes.
ARVO_VECTOR_CLONES unsigned char readRow(const unsigned char* mask, const short* distance,
                                         std::uint16_t* bits, std::ptrdiff_t width, int hullBegin,
                                         int hullEnd)
{
    unsigned char all = 0;
    for (int x = 0; x < static_cast<int>(width); ++x) {
        const auto state = static_cast<unsigned char>(mask[x] + (x >= hullBegin && x < hullEnd));
        const auto phase = static_cast<unsigned short>(distance[x]);
        all = static_cast<unsigned char>(all | mask[x]);
        bits[x] = static_cast<std::uint16_t>((state == 0 ? BACKGROUND : 0) | (state == 1 ? CANDIDATE : 0) |
                                             (phase & 1) * DISTANCE_1 | (phase >> 1 & 1) * DISTANCE_2);
    }
    return all;
}

/// The cells of two rows, of bits as readRow() gives them.
ARVO_VECTOR_CLONES void joinRows(const std::uint16_t* even, const std::uint16_t* odd, std::uint16_t* cells,
                                 std::ptrdiff_t count)
{
    for (std::ptrdiff_t x = 0; x < count; ++x) {
        cells[x] = static_cast<std::uint16_t>(even[2 * x] | even[2 * x + 1] << ODD_X |
                                              (odd[2 * x] | odd[2 * x + 1] << ODD_X) << ODD_Y);
    }
}

/// The voxels of one of the two rows in cells: 0 where they have the bit, which is of an even x, 1 elsewhere.
ARVO_VECTOR_CLONES void writeRow(const std::uint16_t* cells, unsigned bit, unsigned char* voxels,
                                 std::ptrdiff_t count)
{
    for (std::ptrdiff_t x = 0; x < count; ++x) {
        voxels[2 * x] = (cells[x] & bit) == 0;
        voxels[2 * x + 1] = (cells[x] & bit << ODD_X) == 0;
    }
}

/// Calls visit(cellY, z) for every row of cells. A few rows of a slice, then the same ones of the next slice: volumes
/// are read and written in longer stretches that way, and the cells of all these rows stay in the cache.
template <class Visit> void forEachRow(std::ptrdiff_t cellsY, std::ptrdiff_t sizeZ, const Visit& visit)
{
    constexpr std::ptrdiff_t GROUP = 4;
    for (std::ptrdiff_t begin = 0; begin < cellsY; begin += GROUP) {
        for (std::ptrdiff_t z = 0; z < sizeZ; ++z) {
            for (std::ptrdiff_t cellY = begin; cellY < std::min(begin + GROUP, cellsY); ++cellY)
                visit(cellY, z);
        }
    }
}

} // namespace

HullPeeling::HullPeeling(const ArvoImage3D& mask, const ArvoImage3D& distance, const std::array<int, 3>& min,
                         const std::array<int, 3>& max)
    : m_size(mask.imageSize()),
      m_min(min),
      m_max(max),
      m_cellsX(m_size.x / 2 + 1),
      m_cellsY(m_size.y / 2 + 1),
      m_queue(std::max({m_size.x, m_size.y, m_size.z})) // no voxel is further from the object
{
    // A block more: blocks are read whole, with what follows the third cell of a column.
    const auto cellCount = static_cast<std::size_t>(m_cellsX) * static_cast<std::size_t>(m_cellsY) *
                           static_cast<std::size_t>(m_size.z);
    m_cells = image::VoxelBlock::allocate(cellCount * sizeof(Cell) + sizeof(Block));
    if (!isValid())
        return;
    readCells(mask, distance);
    findNeighbours();
    queueSurface(distance);
}

HullPeeling::Voxel HullPeeling::voxelAt(std::ptrdiff_t x, std::ptrdiff_t y, std::ptrdiff_t z) const
{
    const unsigned place = (x % 2 != 0 ? ODD_X : 0) | (y % 2 != 0 ? ODD_Y : 0);
    return static_cast<Voxel>(column(x / 2, y / 2) + z) << PLACE_BITS | place;
}

void HullPeeling::readCells(const ArvoImage3D& mask, const ArvoImage3D& distance)
{
    const frame::VolumeView<const unsigned char> voxels(mask);
    const frame::VolumeView<const short> distances(distance);
    // Two rows, which make a row of cells; what is beyond the volume is never looked at.
    const std::ptrdiff_t rowLength = 2 * m_cellsX;
    std::vector<std::uint16_t> rows(static_cast<std::size_t>(2 * rowLength));
    std::vector<Cell> joined(static_cast<std::size_t>(m_cellsX));
    forEachRow(m_cellsY, m_size.z, [&](std::ptrdiff_t cellY, std::ptrdiff_t z) {
        for (std::ptrdiff_t i = 0; i < 2; ++i) {
            const std::ptrdiff_t y = 2 * cellY + i;
            if (y >= m_size.y)
                continue;
            const bool meetsHull = y >= m_min[1] && y <= m_max[1] && z >= m_min[2] && z <= m_max[2];
            const unsigned char all =
                readRow(voxels.row(y, z), distances.row(y, z), rows.data() + i * rowLength, m_size.x,
                        m_min[0], meetsHull ? m_max[0] + 1 : m_min[0]);
            m_hasNegativeBytes = m_hasNegativeBytes || all > 127;
        }
        joinRows(rows.data(), rows.data() + rowLength, joined.data(), m_cellsX);
        Cell* out = cells() + column(0, cellY) + z;
        for (const Cell cell : joined) {
            *out = cell;
            out += m_size.z;
        }
    });
}

bool HullPeeling::isBackground(std::ptrdiff_t x, std::ptrdiff_t y, std::ptrdiff_t z) const
{
    const Voxel voxel = voxelAt(x, y, z);
    return (cells()[voxel >> PLACE_BITS] & BACKGROUND << (voxel & PLACES)) != 0;
}

/// By one of its faces.
bool HullPeeling::touchesBackground(int x, int y, int z) const
{
    return isBackground(x, y, z - 1) || isBackground(x - 1, y, z) || isBackground(x + 1, y, z) ||
           isBackground(x, y - 1, z) || isBackground(x, y + 1, z) || isBackground(x, y, z + 1);
}

void HullPeeling::queueSurface(const ArvoImage3D& distance)
{
    // Background lies around the box and nowhere in it. Only bytes that are negative as signed values change that: 255
    // is background in the box, and any of them is not background beside it.
    const frame::VolumeView<const short> distances(distance);
    for (int z = m_min[2]; z <= m_max[2]; ++z) {
        for (int y = m_min[1]; y <= m_max[1]; ++y) {
            const bool isFaceRow = z == m_min[2] || z == m_max[2] || y == m_min[1] || y == m_max[1];
            const int step = isFaceRow || m_hasNegativeBytes ? 1 : std::max(m_max[0] - m_min[0], 1);
            for (int x = m_min[0]; x <= m_max[0]; x += step) {
                const Voxel voxel = voxelAt(x, y, z);
                Cell& cell = cells()[voxel >> PLACE_BITS];
                const unsigned candidate = CANDIDATE << (voxel & PLACES);
                if ((cell & candidate) == 0 || (m_hasNegativeBytes && !touchesBackground(x, y, z)))
                    continue;
                cell = static_cast<Cell>(cell & ~candidate);
                m_queue.push(distances.row(y, z)[x], voxel + m_around[voxel & PLACES].toBlock);
            }
        }
    }
}

void HullPeeling::findNeighbours()
{
    for (unsigned place = 0; place < m_around.size(); ++place) {
        const bool isOddX = (place & ODD_X) != 0;
        const bool isOddY = (place & ODD_Y) != 0;
        Around& around = m_around[place];
        around.ownColumn = (isOddX ? 0 : column(1, 0)) + (isOddY ? 0 : column(0, 1));
        around.toBlock = static_cast<Voxel>(-1 - around.ownColumn) << PLACE_BITS;
        const unsigned start = blockStart(place);
        for (std::size_t i = 0; i < COLUMN_SHIFTS.size(); ++i) {
            around.self[i] = (SELF << start >> COLUMN_SHIFTS[i] & FIRST_COLUMN) * BACKGROUND;
            around.candidates[i] = (NEIGHBOURS << start >> COLUMN_SHIFTS[i] & FIRST_COLUMN) * CANDIDATE;
        }
    }
    for (int bit = 0; bit < 64; ++bit) {
        const Voxel voxel = voxelAt(bit % 4, bit / 4 % 4, bit / 16);
        const unsigned place = voxel & PLACES;
        m_neighbours[static_cast<std::size_t>(bit)] = {
            voxel + m_around[place].toBlock, static_cast<std::ptrdiff_t>(voxel >> PLACE_BITS), place};
    }
}

bool HullPeeling::run(const std::atomic<bool>& cancel, ThreadProgress* progress, int steps,
                      std::ptrdiff_t voxels)
{
    const OnePieceTest& isOnePiece = OnePieceTest::instance();
    const std::ptrdiff_t nextX = column(1, 0);
    const std::ptrdiff_t nextY = column(0, 1);
    Cell* const cells = this->cells();
    Steps stepsDone(progress, steps, voxels);
    while (!m_queue.isEmpty()) {
        if (cancel.load(std::memory_order_relaxed))
            return false;
        stepsDone.passVoxel();
        const auto [voxel, distance] = m_queue.take();
        const unsigned place = voxel & PLACES;
        const Around& around = m_around[place];
        Cell* const first = cells + (voxel >> PLACE_BITS);
        const Columns columns(first, nextX, nextY);
        if (!isOnePiece(columns.background() >> blockStart(place))) {
            addBits(first + around.ownColumn, Block{CANDIDATE} << (16 + place));
            continue;
        }
        Block candidates = columns.peel(around.self, around.candidates);
        for (; candidates != 0; candidates &= candidates - 1) {
            const Neighbour& next = m_neighbours[static_cast<std::size_t>(std::countr_zero(candidates))];
            const int bits = first[next.cell] >> next.place;
            // Neighbours differ by 1 at most in distance.
            const int phase = (bits >> 8 & 1) | (bits >> 9 & 2);
            m_queue.push(distance - 1 + ((phase - distance + 1) & 3), voxel - place + next.voxel);
        }
    }
    stepsDone.finish();
    return true;
}

void HullPeeling::writeInterior(ArvoImage3D& result, const math::Ivec3& origin) const
{
    const frame::VolumeView<unsigned char> voxels(result);
    std::vector<Cell> row(static_cast<std::size_t>(m_cellsX));
    std::vector<unsigned char> bytes(2 * row.size());
    forEachRow(m_cellsY, m_size.z, [&](std::ptrdiff_t cellY, std::ptrdiff_t z) {
        if (z < 1 || z + 1 >= m_size.z)
            return;
        const Cell* from = cells() + column(0, cellY) + z;
        for (Cell& cell : row) {
            cell = *from;
            from += m_size.z;
        }
        for (std::ptrdiff_t i = 0; i < 2; ++i) {
            const std::ptrdiff_t y = 2 * cellY + i;
            if (y < 1 || y + 1 >= m_size.y)
                continue;
            writeRow(row.data(), i == 0 ? BACKGROUND : BACKGROUND << ODD_Y, bytes.data(), m_cellsX);
            std::copy_n(bytes.data() + 1, m_size.x - 2,
                        voxels.row(origin.y + y - 1, origin.z + z - 1) + origin.x);
        }
    });
}

} // namespace binary
