#include "arvo/binary/ChessboardSweep.h"

#include "arvo/binary/Image3DDistanceMap.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/utility/VectorClones.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace chessboard {

namespace {

constexpr short FAR = Image3DDistanceMap::infinity;

constexpr std::ptrdiff_t LANES = 8;
typedef short Lanes __attribute__((vector_size(2 * LANES)));
typedef unsigned char ByteLanes __attribute__((vector_size(LANES)));

template <class Vector, class T> ARVO_KERNEL Vector load(const T* from)
{
    Vector lanes;
    std::memcpy(&lanes, from, sizeof lanes);
    return lanes;
}

ARVO_KERNEL Lanes smaller(Lanes a, Lanes b)
{
    return a < b ? a : b;
}

/// The value of a voxel before the forward sweep, straight from the object.
struct ObjectStart {
    const unsigned char* object;

    ARVO_KERNEL Lanes lowered(std::ptrdiff_t x, Lanes candidate) const
    {
        const Lanes bytes = __builtin_convertvector(load<ByteLanes>(object + x), Lanes);
        return smaller(candidate, FAR - Lanes{}) & (bytes == 0);
    }
    ARVO_KERNEL short lowered(std::ptrdiff_t x, short candidate) const
    {
        return object[x] ? short(0) : std::min(candidate, FAR);
    }
};

/// The value of a voxel before the backward sweep: what the forward sweep left.
struct DistanceStart {
    const short* distance;

    ARVO_KERNEL Lanes lowered(std::ptrdiff_t x, Lanes candidate) const
    {
        return smaller(load<Lanes>(distance + x), candidate);
    }
    ARVO_KERNEL short lowered(std::ptrdiff_t x, short candidate) const
    {
        return std::min(distance[x], candidate);
    }
};

/// Along the row every voxel is lowered to 1 + the voxel swept just before it: v[i] = min(v[i], v[i - 1] + 1). On
/// v[i] - i that is a running minimum, which takes three steps for eight lanes.
struct Forward {
    static constexpr Lanes STEPS = {0, 1, 2, 3, 4, 5, 6, 7};

    ARVO_KERNEL static Lanes runningMinimum(Lanes v)
    {
        const Lanes none = 32767 - Lanes{};
        v = smaller(v, __builtin_shufflevector(none, v, 7, 8, 9, 10, 11, 12, 13, 14));
        v = smaller(v, __builtin_shufflevector(none, v, 6, 7, 8, 9, 10, 11, 12, 13));
        return smaller(v, __builtin_shufflevector(none, v, 4, 5, 6, 7, 8, 9, 10, 11));
    }
    ARVO_KERNEL static Lanes last(Lanes v) { return __builtin_shufflevector(v, v, 7, 7, 7, 7, 7, 7, 7, 7); }
    /// The voxel that the sweep meets as the i-th of a row of `width`, and the first voxel of its i-th block of lanes.
    ARVO_KERNEL static std::ptrdiff_t voxel(std::ptrdiff_t i, std::ptrdiff_t) { return i; }
    ARVO_KERNEL static std::ptrdiff_t block(std::ptrdiff_t i, std::ptrdiff_t) { return i; }
};

/// The mirror image of Forward.
struct Backward {
    static constexpr Lanes STEPS = {7, 6, 5, 4, 3, 2, 1, 0};

    ARVO_KERNEL static Lanes runningMinimum(Lanes v)
    {
        const Lanes none = 32767 - Lanes{};
        v = smaller(v, __builtin_shufflevector(v, none, 1, 2, 3, 4, 5, 6, 7, 8));
        v = smaller(v, __builtin_shufflevector(v, none, 2, 3, 4, 5, 6, 7, 8, 9));
        return smaller(v, __builtin_shufflevector(v, none, 4, 5, 6, 7, 8, 9, 10, 11));
    }
    ARVO_KERNEL static Lanes last(Lanes v) { return __builtin_shufflevector(v, v, 0, 0, 0, 0, 0, 0, 0, 0); }
    ARVO_KERNEL static std::ptrdiff_t voxel(std::ptrdiff_t i, std::ptrdiff_t width) { return width - 1 - i; }
    ARVO_KERNEL static std::ptrdiff_t block(std::ptrdiff_t i, std::ptrdiff_t width)
    {
        return width - LANES - i;
    }
};

/// The rows with the neighbours of one row: three of the slice and one of the row swept just before. At the border of
/// the slice an absent row is replaced by one that is there, which changes no minimum.
struct NeighbourRows {
    const short* rows[4];
};

/// Sweeps one row. `column` holds width + 2 values, of which the outer two are infinity; it receives the minimum of
/// the neighbour rows.
template <class Direction, class Start>
ARVO_VECTOR_CLONES void sweepRow(const NeighbourRows& neighbours, Start start, short* out, short* column,
                                 std::ptrdiff_t width)
{
    const auto [a, b, c, d] = neighbours.rows;
    short* __restrict lowest = column + 1;
    for (std::ptrdiff_t x = 0; x < width; ++x)
        lowest[x] = std::min(std::min(a[x], b[x]), std::min(c[x], d[x]));

    Lanes carry = 32767 - Lanes{}; // 1 + the voxel swept just before
    std::ptrdiff_t i = 0;
    for (; i + LANES <= width; i += LANES) {
        const std::ptrdiff_t x = Direction::block(i, width);
        const Lanes around = smaller(load<Lanes>(column + x),
                                     smaller(load<Lanes>(column + x + 1), load<Lanes>(column + x + 2)));
        const Lanes own = Direction::runningMinimum(start.lowered(x, around + 1) - Direction::STEPS);
        const Lanes swept = smaller(own, carry) + Direction::STEPS;
        std::memcpy(out + x, &swept, sizeof swept);
        carry = smaller(Direction::last(own), carry) + static_cast<short>(LANES);
    }
    short step = carry[0];
    for (; i < width; ++i) {
        const std::ptrdiff_t x = Direction::voxel(i, width);
        const short around = std::min(column[x], std::min(column[x + 1], column[x + 2]));
        const short value = std::min(start.lowered(x, static_cast<short>(around + 1)), step);
        out[x] = value;
        step = static_cast<short>(value + 1);
    }
}

ARVO_VECTOR_CLONES void initDistance(const unsigned char* object, short* distance, std::ptrdiff_t count)
{
    for (std::ptrdiff_t i = 0; i < count; ++i)
        distance[i] = object[i] ? short(0) : FAR;
}

ARVO_VECTOR_CLONES void negateRun(const unsigned char* object, short* distance, std::ptrdiff_t count)
{
    for (std::ptrdiff_t i = 0; i < count; ++i)
        distance[i] = static_cast<short>(object[i] ? -distance[i] : distance[i]);
}

} // namespace

void initAndSweepForward(const ArvoImage3D& object, ArvoImage3D& distance)
{
    const frame::VolumeView<const unsigned char> input(object);
    const frame::VolumeView<short> output(distance);
    std::vector<short> column(static_cast<std::size_t>(output.width() + 2), FAR);
    initDistance(input.data(), output.data(), output.sliceCount());
    for (std::ptrdiff_t z = 1; z < output.depth(); ++z) {
        for (std::ptrdiff_t y = 0; y < output.height(); ++y) {
            const short* nearest = output.row(y, z - 1);
            const NeighbourRows neighbours = {{y > 0 ? output.row(y - 1, z - 1) : nearest, nearest,
                                               y + 1 < output.height() ? output.row(y + 1, z - 1) : nearest,
                                               y > 0 ? output.row(y - 1, z) : nearest}};
            sweepRow<Forward>(neighbours, ObjectStart{input.row(y, z)}, output.row(y, z), column.data(),
                              output.width());
        }
    }
}

void sweepBackward(ArvoImage3D& distance, const ArvoImage3D* inside)
{
    const frame::VolumeView<short> output(distance);
    std::vector<short> column(static_cast<std::size_t>(output.width() + 2), FAR);
    const auto finishSlice = [&](std::ptrdiff_t z) {
        if (inside)
            negateRun(frame::VolumeView<const unsigned char>(*inside).slice(z), output.slice(z),
                      output.sliceCount());
    };
    for (std::ptrdiff_t z = output.depth() - 2; z >= 0; --z) {
        for (std::ptrdiff_t y = output.height() - 1; y >= 0; --y) {
            const short* nearest = output.row(y, z + 1);
            const bool isFirst = y + 1 == output.height();
            const NeighbourRows neighbours = {{y > 0 ? output.row(y - 1, z + 1) : nearest, nearest,
                                               isFirst ? nearest : output.row(y + 1, z + 1),
                                               isFirst ? nearest : output.row(y + 1, z)}};
            sweepRow<Backward>(neighbours, DistanceStart{output.row(y, z)}, output.row(y, z), column.data(),
                               output.width());
        }
        finishSlice(z + 1); // no other slice looks at it
    }
    finishSlice(0);
}

} // namespace chessboard
