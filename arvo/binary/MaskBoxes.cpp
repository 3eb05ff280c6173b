#include "arvo/binary/ArvoImageBinaryTools.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/platform/utility/VectorClones.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

namespace {

/// Raises each column to the row's voxel where that is larger, bytes read as signed; returns the row's maximum, at
/// least 0.
ARVO_VECTOR_CLONES signed char mergeRow(const signed char* row, signed char* __restrict columns,
                                        std::ptrdiff_t width)
{
    signed char highest = 0;
    for (std::ptrdiff_t x = 0; x < width; ++x) {
        columns[x] = std::max(columns[x], row[x]);
        highest = std::max(highest, row[x]);
    }
    return highest;
}

} // namespace

void ArvoImageBinaryTools::addBoxToMask(const std::array<int, 3>& min, const std::array<int, 3>& max,
                                        ArvoImage3D& mask)
{
    if (!mask.isValid()) {
        qWarning("ArvoImageBinaryTools : no valid mask for the box.");
        return;
    }
    const math::Ivec3 size = mask.imageSize();
    std::array<int, 3> first;
    std::array<int, 3> last;
    for (int axis = 0; axis < 3; ++axis) {
        const auto i = static_cast<std::size_t>(axis);
        first[i] = std::max(min[i], 0);
        last[i] = std::min(max[i], size[axis] - 1);
    }
    const std::ptrdiff_t count = std::ptrdiff_t(last[0]) - first[0] + 1;
    for (int z = first[2]; z <= last[2] && count > 0; ++z) {
        for (int y = first[1]; y <= last[1]; ++y)
            std::memset(mask.getAxialSlice(z) + std::ptrdiff_t(y) * size.x + first[0], 1,
                        static_cast<std::size_t>(count));
    }
    mask.editFinished();
}

void ArvoImageBinaryTools::convertBoxToMask(const std::array<int, 3>& min, const std::array<int, 3>& max,
                                            ArvoImage3D* mask)
{
    if (!frame::isUsable(mask)) {
        qWarning("ArvoImageBinaryTools : no valid mask for the box.");
        return;
    }
    mask->zeroSlices();
    addBoxToMask(min, max, *mask);
}

bool ArvoImageBinaryTools::getBoundingBox(ArvoImage3D* mask, std::array<int, 3>& min, std::array<int, 3>& max)
try {
    if (!frame::isUsable(mask))
        return frame::refuse("ArvoImageBinaryTools : no valid mask for the bounding box.");
    const auto [width, height, depth] = mask->imageSize();
    min = {width, height, depth};
    max = {-1, -1, -1};
    // Rows and slices are known at once; the columns are collected over all rows, without looking where in the row.
    std::vector<signed char> columns(static_cast<std::size_t>(width), 0);
    for (int z = 0; z < depth; ++z) {
        const auto* slice = reinterpret_cast<const signed char*>(mask->getConstAxialSlice(z));
        for (int y = 0; y < height; ++y) {
            if (mergeRow(slice + std::ptrdiff_t(y) * width, columns.data(), width) == 0)
                continue;
            min[1] = std::min(min[1], y);
            max[1] = std::max(max[1], y);
            min[2] = std::min(min[2], z);
            max[2] = z;
        }
    }
    if (max[2] < 0)
        return false;
    const auto isObject = [](signed char highest) { return highest > 0; };
    const auto first = std::find_if(columns.begin(), columns.end(), isObject);
    const auto last = std::find_if(columns.rbegin(), columns.rend(), isObject);
    min[0] = static_cast<int>(first - columns.begin());
    max[0] = static_cast<int>(columns.rend() - last) - 1;
    return true;
} catch (const std::bad_alloc&) {
    return frame::refuse("ArvoImageBinaryTools : out of memory.");
}
