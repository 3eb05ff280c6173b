#include "arvo/binary/HullPeeling.h"

#include "arvo/frame/VolumeView.h"
#include "arvo/platform/threading/ThreadProgress.h"
#include "arvo/platform/utility/VectorClones.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace binary {

namespace {

constexpr int CELLS_PER_BYTE = 4;

/// The states of a 3 x 3 x 3 block, two bits each: voxel (dx, dy, dz), each -1, 0 or 1, has bits 2 * number
/// and 2 * number + 1, with number = (dz + 1) * 9 + (dy + 1) * 3 + dx + 1. Sets of its voxels use the lower
/// bits.
using Block = std::uint64_t;

constexpr Block setOf(bool (*holds)(int dx, int dy, int dz))
{
    Block set = 0;
    for (int number = 0; number < 27; ++number) {
        if (holds(number % 3 - 1, number / 3 % 3 - 1, number / 9 - 1))
            set |= Block(1) << (2 * number);
    }
    return set;
}

constexpr Block NEIGHBOURS = setOf([](int dx, int dy, int dz) { return dx != 0 || dy != 0 || dz != 0; });
constexpr Block FACES = setOf([](int dx, int dy, int dz) { return dx * dx + dy * dy + dz * dz == 1; });
constexpr Block NOT_FIRST_X = setOf([](int dx, int, int) { return dx != -1; });
constexpr Block NOT_LAST_X = setOf([](int dx, int, int) { return dx != 1; });
constexpr Block NOT_FIRST_Y = setOf([](int, int dy, int) { return dy != -1; });
constexpr Block NOT_LAST_Y = setOf([](int, int dy, int) { return dy != 1; });

/// Whether there is background among the 26 neighbours and it is one piece by faces. All of them, or all but
/// one, always are.
ARVO_KERNEL bool isOnePiece(Block background)
{
    const Block foreground = NEIGHBOURS & ~background;
    if ((foreground & (foreground - 1)) == 0)
        return true;
    if (background == 0)
        return false;
    // From a face neighbour, if there is one: it has the most neighbours itself.
    const Block candidates = (background & FACES) != 0 ? background & FACES : background;
    Block reached = candidates & (0 - candidates);
    for (Block before = 0; reached != before;) {
        before = reached;
        reached |= background & ((reached << 2 & NOT_FIRST_X) | (reached >> 2 & NOT_LAST_X));
        reached |= background & ((reached << 6 & NOT_FIRST_Y) | (reached >> 6 & NOT_LAST_Y));
        reached |= background & (reached << 18 | reached >> 18);
    }
    return reached == background;
}

/// Answers isOnePiece from what it answered before: smooth surfaces show few different neighbourhoods.
class OnePieceTest {
public:
    OnePieceTest() { m_known.fill(NOTHING); }

    bool operator()(Block background)
    {
        Block& known = m_known[background * 0x9E3779B97F4A7C15 >> (64 - INDEX_BITS)];
        if ((known & ~IS_ONE_PIECE) != background)
            known = background | (isOnePiece(background) ? IS_ONE_PIECE : 0);
        return (known & IS_ONE_PIECE) != 0;
    }

private:
    static constexpr int INDEX_BITS = 12;
    static constexpr Block IS_ONE_PIECE = Block(1) << 63;
    static constexpr Block NOTHING = Block(1) << 62; // no set of neighbours

    std::array<Block, std::size_t(1) << INDEX_BITS> m_known;
};

/// Where the states of a voxel are: in which byte, and from which bit on.
struct Cell {
    std::ptrdiff_t byte;
    unsigned shift;

    Cell(std::ptrdiff_t row, std::ptrdiff_t x, std::ptrdiff_t pitch)
        : byte(row * pitch + (x >> 2)),
          shift(static_cast<unsigned>(x & 3) * 2)
    {
    }
};

/// Three rows of three states, the block's slice that starts at that byte and bit.
ARVO_KERNEL Block readSlice(const unsigned char* states, unsigned shift, std::ptrdiff_t pitch)
{
    const auto row = [=](std::ptrdiff_t j) {
        return Block(states[j * pitch]) | Block(states[j * pitch + 1]) << 8;
    };
    const Block rows = (row(0) | row(1) << 16 | row(2) << 32) >> shift & 0x003F003F003F;
    return (rows & 0x3F) | (rows >> 10 & 0xFC0) | (rows >> 20 & 0x3F000);
}

/// The block that starts at that cell, its voxel (-1, -1, -1).
ARVO_KERNEL Block readBlock(const unsigned char* states, const Cell& first, std::ptrdiff_t pitch,
                            std::ptrdiff_t slicePitch)
{
    const unsigned char* from = states + first.byte;
    return readSlice(from, first.shift, pitch) | readSlice(from + slicePitch, first.shift, pitch) << 18 |
           readSlice(from + 2 * slicePitch, first.shift, pitch) << 36;
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

unsigned stateOf(unsigned char byte)
{
    return std::min<unsigned>(byte, HullPeeling::OBJECT);
}

/// Fills the bytes of a row of `width` cells with the two bits valueAt(x).
template <class ValueAt> void packCells(unsigned char* cells, int width, ValueAt&& valueAt)
{
    int x = 0;
    for (; x + CELLS_PER_BYTE <= width; x += CELLS_PER_BYTE)
        *cells++ = static_cast<unsigned char>(valueAt(x) | valueAt(x + 1) << 2 | valueAt(x + 2) << 4 |
                                              valueAt(x + 3) << 6);
    for (unsigned shift = 0; x < width; ++x, shift += 2)
        *cells = static_cast<unsigned char>((shift == 0 ? 0 : *cells) | valueAt(x) << shift);
}

} // namespace

HullPeeling::HullPeeling(const ArvoImage3D& mask, const ArvoImage3D& distance, const std::array<int, 3>& min,
                         const std::array<int, 3>& max)
    : m_size(mask.imageSize()),
      m_min(min),
      m_max(max),
      m_xBits(static_cast<int>(std::bit_width(static_cast<unsigned>(m_size.x)))),
      m_pitch((m_size.x + CELLS_PER_BYTE - 1) / CELLS_PER_BYTE)
{
    const std::size_t rows = static_cast<std::size_t>(m_size.y) * static_cast<std::size_t>(m_size.z);
    // One byte more: rows are read in pairs of bytes.
    const std::size_t bytes = rows * static_cast<std::size_t>(m_pitch) + 1;
    m_states = image::VoxelBlock::allocate(bytes);
    m_phases = image::VoxelBlock::allocate(bytes);
    if (!isValid())
        return;
    readStates(mask);
    readPhases(distance);
    queueSurface(distance);
}

bool HullPeeling::isInHull(int x, int y, int z) const
{
    return x >= m_min[0] && y >= m_min[1] && z >= m_min[2] && x <= m_max[0] && y <= m_max[1] && z <= m_max[2];
}

void HullPeeling::readStates(const ArvoImage3D& mask)
{
    const frame::VolumeView<const unsigned char> voxels(mask);
    auto* states = reinterpret_cast<unsigned char*>(m_states.data());
    for (int z = 0; z < m_size.z; ++z) {
        for (int y = 0; y < m_size.y; ++y, states += m_pitch) {
            const unsigned char* row = voxels.row(y, z);
            packCells(states, m_size.x,
                      [&](int x) { return stateOf(static_cast<unsigned char>(row[x] + isInHull(x, y, z))); });
        }
    }
}

void HullPeeling::readPhases(const ArvoImage3D& distance)
{
    const frame::VolumeView<const short> distances(distance);
    unsigned char* phases = reinterpret_cast<unsigned char*>(m_phases.data());
    for (std::ptrdiff_t row = 0; row < distances.height() * distances.depth(); ++row, phases += m_pitch) {
        const short* from = distances.data() + row * m_size.x;
        packCells(phases, m_size.x, [=](int x) { return static_cast<unsigned>(from[x]) & 3; });
    }
}

void HullPeeling::queueSurface(const ArvoImage3D& distance)
{
    const frame::VolumeView<const short> distances(distance);
    auto* states = reinterpret_cast<unsigned char*>(m_states.data());
    for (int z = m_min[2]; z <= m_max[2]; ++z) {
        for (int y = m_min[1]; y <= m_max[1]; ++y) {
            const bool isFaceRow = z == m_min[2] || z == m_max[2] || y == m_min[1] || y == m_max[1];
            const std::ptrdiff_t row = std::ptrdiff_t(z) * m_size.y + y;
            const int step = isFaceRow ? 1 : std::max(m_max[0] - m_min[0], 1);
            for (int x = m_min[0]; x <= m_max[0]; x += step) {
                const Cell cell(row, x, m_pitch);
                if ((states[cell.byte] >> cell.shift & 3) != WORKING_DIFFERENCE)
                    continue;
                states[cell.byte] |= static_cast<unsigned char>(IN_QUEUE << cell.shift);
                m_queue.push(distances.row(y, z)[x], voxelAt(row, x));
            }
        }
    }
}

bool HullPeeling::run(const std::atomic<bool>& cancel, ThreadProgress* progress, int steps)
{
    const std::ptrdiff_t height = m_size.y;
    const std::ptrdiff_t pitch = m_pitch;
    const Voxel xMask = (Voxel(1) << m_xBits) - 1;
    auto* states = reinterpret_cast<unsigned char*>(m_states.data());
    const auto* phases = reinterpret_cast<const unsigned char*>(m_phases.data());
    OnePieceTest isOnePieceTest;
    Steps stepsDone(progress, steps, m_size.x * height * m_size.z);
    while (!m_queue.isEmpty()) {
        if (cancel.load(std::memory_order_relaxed))
            return false;
        stepsDone.passVoxel();
        const auto [voxel, distance] = m_queue.take();
        const auto row = static_cast<std::ptrdiff_t>(voxel >> m_xBits);
        const auto x = static_cast<std::ptrdiff_t>(voxel & xMask);
        const Block block = readBlock(states, Cell(row - height - 1, x - 1, pitch), pitch, pitch * height);
        const Cell cell(row, x, pitch);
        if (!isOnePieceTest(NEIGHBOURS & ~(block | block >> 1))) {
            states[cell.byte] ^= static_cast<unsigned char>((IN_QUEUE ^ WORKING_DIFFERENCE) << cell.shift);
            continue;
        }
        states[cell.byte] &= static_cast<unsigned char>(~(IN_QUEUE << cell.shift));
        Block waiting = block & ~(block >> 1) & NEIGHBOURS;
        for (; waiting != 0; waiting &= waiting - 1) {
            const int number = std::countr_zero(waiting) / 2;
            const std::ptrdiff_t nextRow = row + (number / 9 - 1) * height + number / 3 % 3 - 1;
            const std::ptrdiff_t nextX = x + number % 3 - 1;
            const Cell next(nextRow, nextX, pitch);
            states[next.byte] |= static_cast<unsigned char>(IN_QUEUE << next.shift);
            // Neighbours differ by 1 at most.
            const int phase = phases[next.byte] >> next.shift & 3;
            m_queue.push(distance - 1 + ((phase - distance + 1) & 3), voxelAt(nextRow, nextX));
        }
    }
    stepsDone.finish();
    return true;
}

void HullPeeling::writeInterior(ArvoImage3D& result) const
{
    const frame::VolumeView<unsigned char> voxels(result);
    const auto* states = reinterpret_cast<const unsigned char*>(m_states.data());
    for (std::ptrdiff_t z = 0; z < voxels.depth(); ++z) {
        for (std::ptrdiff_t y = 0; y < voxels.height(); ++y) {
            const unsigned char* from = states + ((z + 1) * m_size.y + y + 1) * m_pitch;
            unsigned char* row = voxels.row(y, z);
            for (std::ptrdiff_t x = 0; x < voxels.width(); ++x) {
                const std::ptrdiff_t cell = x + 1;
                row[x] = (from[cell / CELLS_PER_BYTE] >> cell % CELLS_PER_BYTE * 2 & 3) != BACKGROUND;
            }
        }
    }
}

} // namespace binary
