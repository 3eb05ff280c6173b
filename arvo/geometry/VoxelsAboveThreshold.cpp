#include "arvo/geometry/VoxelsAboveThreshold.h"

#include "arvo/frame/VolumeView.h"
#include "arvo/platform/utility/VectorClones.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>

namespace geometry {

namespace {

/// Short enough that the sum of a run's indices fits 16 bits, the width at which the most voxels share a vector.
constexpr std::ptrdiff_t RUN = 256;

/// The smallest T above the threshold, so that the voxels are compared in their own type; none when T ends below it.
template <class T> std::optional<T> lowestAbove(int threshold)
{
    using Limits = std::numeric_limits<T>;
    if (threshold >= Limits::max())
        return std::nullopt;
    return static_cast<T>(std::max(threshold + 1, static_cast<int>(Limits::min())));
}

struct RowSums {
    std::int64_t count = 0;
    std::int64_t x = 0;
};

template <class T> ARVO_VECTOR_CLONES RowSums sumRow(const T* row, std::ptrdiff_t width, T lowest)
{
    RowSums sums;
    for (std::ptrdiff_t begin = 0; begin < width; begin += RUN) {
        const std::ptrdiff_t length = std::min(RUN, width - begin);
        std::uint16_t count = 0;
        std::uint16_t indices = 0;
        for (std::uint16_t i = 0; i < length; ++i) {
            const bool isAbove = row[begin + i] >= lowest;
            count = static_cast<std::uint16_t>(count + (isAbove ? 1 : 0));
            indices = static_cast<std::uint16_t>(indices + (isAbove ? i : 0));
        }
        sums.count += count;
        sums.x += begin * count + indices;
    }
    return sums;
}

template <class T> IndexSums sumIndices(const frame::VolumeView<const T>& voxels, T lowest)
{
    IndexSums sums;
    for (std::ptrdiff_t z = 0; z < voxels.depth(); ++z) {
        for (std::ptrdiff_t y = 0; y < voxels.height(); ++y) {
            const RowSums row = sumRow(voxels.row(y, z), voxels.width(), lowest);
            sums.count += row.count;
            sums.x += row.x;
            sums.y += y * row.count;
            sums.z += z * row.count;
        }
    }
    return sums;
}

using Flags = std::array<unsigned char, RUN>;

/// Flags the counted voxels of a run with 1, the others and those past its end with 0.
template <class T>
ARVO_VECTOR_CLONES void flagRun(const T* run, std::ptrdiff_t length, T lowest, Flags& flags)
{
    unsigned char* flag = flags.data();
    for (std::ptrdiff_t i = 0; i < length; ++i)
        flag[i] = run[i] >= lowest;
    std::fill(flag + length, flag + RUN, static_cast<unsigned char>(0));
}

/// Lists the indices of the flagged voxels; returns their number. Eight flags at a time are looked at as one integer:
/// most of a volume lies outside the cloud.
std::ptrdiff_t listColumns(const Flags& flags, std::ptrdiff_t length, std::uint16_t* columns)
{
    constexpr std::ptrdiff_t GROUP = sizeof(std::uint64_t);
    std::ptrdiff_t found = 0;
    for (std::ptrdiff_t begin = 0; begin < length; begin += GROUP) {
        const unsigned char* group = flags.data() + begin;
        std::uint64_t any;
        std::memcpy(&any, group, sizeof any);
        if (any == 0)
            continue;
        for (std::ptrdiff_t i = 0; i < GROUP; ++i) {
            columns[found] = static_cast<std::uint16_t>(begin + i);
            found += group[i];
        }
    }
    return found;
}

} // namespace

IndexSums sumIndicesAbove(const ArvoImage3D& image, int threshold)
{
    IndexSums sums;
    image::withElementType(image.dataType(), ThresholdTypes{}, nullptr, [&](auto element) {
        using T = typename decltype(element)::type;
        if (const std::optional<T> lowest = lowestAbove<T>(threshold))
            sums = sumIndices(frame::VolumeView<const T>(image), *lowest);
    });
    return sums;
}

std::array<float, 3> massCentreOf(const IndexSums& sums, const ArvoImage3D& image)
{
    const auto mean = [&](std::int64_t sum) {
        return static_cast<float>(static_cast<double>(sum) / static_cast<double>(sums.count));
    };
    const QVector3D size = image.voxelSize();
    return {mean(sums.x) * size.x(), mean(sums.y) * size.y(), mean(sums.z) * size.z()};
}

void listCentredPositions(const ArvoImage3D& image, int threshold, const std::array<float, 3>& centre,
                          double* rows)
{
    const QVector3D size = image.voxelSize();
    const auto position = [&](std::ptrdiff_t index, int axis) {
        return static_cast<double>(static_cast<float>(index) * size[axis] -
                                   centre[static_cast<std::size_t>(axis)]);
    };
    image::withElementType(image.dataType(), ThresholdTypes{}, nullptr, [&](auto element) {
        using T = typename decltype(element)::type;
        const std::optional<T> lowest = lowestAbove<T>(threshold);
        if (!lowest)
            return;
        const frame::VolumeView<const T> voxels(image);
        Flags flags;
        std::array<std::uint16_t, RUN> columns;
        for (std::ptrdiff_t z = 0; z < voxels.depth(); ++z) {
            for (std::ptrdiff_t y = 0; y < voxels.height(); ++y) {
                for (std::ptrdiff_t begin = 0; begin < voxels.width(); begin += RUN) {
                    const std::ptrdiff_t length = std::min(RUN, voxels.width() - begin);
                    flagRun(voxels.row(y, z) + begin, length, *lowest, flags);
                    const std::ptrdiff_t found = listColumns(flags, length, columns.data());
                    for (std::ptrdiff_t k = 0; k < found; ++k, rows += 3) {
                        rows[0] = position(begin + columns[static_cast<std::size_t>(k)], 0);
                        rows[1] = position(y, 1);
                        rows[2] = position(z, 2);
                    }
                }
            }
        }
    });
}

} // namespace geometry
