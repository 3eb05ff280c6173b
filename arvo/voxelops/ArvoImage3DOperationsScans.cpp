#include "arvo/voxelops/ArvoImage3DOperations.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/image/VoxelConversion.h"
#include "arvo/platform/utility/VectorClones.h"
#include "arvo/voxelops/VoxelCounts.h"

#include <algorithm>
#include <limits>
#include <new>
#include <vector>

namespace {

/// Whether a byte of the run is set. A word that only a float's sign bit makes non-zero is a zero for floats.
template <class Word> ARVO_VECTOR_CLONES bool hasBits(const Word* words, std::ptrdiff_t count, Word mask)
{
    Word bits = 0;
    for (std::ptrdiff_t i = 0; i < count; ++i)
        bits |= static_cast<Word>(words[i] & mask);
    return bits != 0;
}

template <class Word> bool isZero(const char* data, std::ptrdiff_t bytes, Word mask)
{
    constexpr std::ptrdiff_t BLOCK = 16384;
    const auto* words = reinterpret_cast<const Word*>(data);
    const std::ptrdiff_t count = bytes / static_cast<std::ptrdiff_t>(sizeof(Word));
    for (std::ptrdiff_t begin = 0; begin < count; begin += BLOCK) {
        if (hasBits(words + begin, std::min(BLOCK, count - begin), mask))
            return false;
    }
    return true;
}

template <class T>
ARVO_VECTOR_CLONES void maximumInto(T* maxima, const T* row, std::ptrdiff_t begin, std::ptrdiff_t end)
{
    for (std::ptrdiff_t x = begin; x < end; ++x)
        maxima[x] = row[x] > maxima[x] ? row[x] : maxima[x];
}

/// Grows the box of voxels above a limit slice by slice. Only voxels outside the box so far are looked at.
template <class T> class BoundingBox {
public:
    BoundingBox(const frame::VolumeView<const T>& image, T limit)
        : m_image(image),
          m_limit(limit),
          m_yMin(image.height()),
          m_columns(static_cast<std::size_t>(image.width())),
          m_xMin(image.width())
    {
    }

    /// A slice with at least one voxel above the limit.
    void include(std::ptrdiff_t z)
    {
        m_zMin = std::min(m_zMin, z);
        m_zMax = z;
        for (std::ptrdiff_t y = 0; y < m_yMin; ++y) {
            if (reaches(m_image.row(y, z)))
                m_yMin = y;
        }
        for (std::ptrdiff_t y = m_image.height() - 1; y > m_yMax; --y) {
            if (reaches(m_image.row(y, z)))
                m_yMax = y;
        }
        includeColumns(z);
    }

    /// The box in the order of getBoundingBox.
    void copyTo(int* box) const
    {
        const std::ptrdiff_t ends[6] = {m_xMin, m_yMin, m_zMin, m_xMax, m_yMax, m_zMax};
        std::ranges::transform(ends, box, [](std::ptrdiff_t end) { return static_cast<int>(end); });
    }

private:
    bool reaches(const T* row) const { return voxelops::countAbove(row, m_image.width(), m_limit) > 0; }

    void includeColumns(std::ptrdiff_t z)
    {
        const std::ptrdiff_t width = m_image.width();
        const std::ptrdiff_t left = m_xMin;
        const std::ptrdiff_t right = std::max(m_xMax + 1, left);
        std::ranges::fill(m_columns, m_limit);
        for (std::ptrdiff_t y = m_yMin; y <= m_yMax; ++y) {
            maximumInto(m_columns.data(), m_image.row(y, z), 0, left);
            maximumInto(m_columns.data(), m_image.row(y, z), right, width);
        }
        for (std::ptrdiff_t x = 0; x < width; ++x) {
            if (m_columns[static_cast<std::size_t>(x)] > m_limit) {
                m_xMin = std::min(m_xMin, x);
                m_xMax = std::max(m_xMax, x);
            }
        }
    }

    frame::VolumeView<const T> m_image;
    T m_limit;
    std::ptrdiff_t m_zMin = std::numeric_limits<std::ptrdiff_t>::max();
    std::ptrdiff_t m_zMax = -1;
    std::ptrdiff_t m_yMin;
    std::ptrdiff_t m_yMax = -1;
    std::vector<T> m_columns; // the largest voxel of each column of the slice
    std::ptrdiff_t m_xMin;
    std::ptrdiff_t m_xMax = -1;
};

template <class T>
void findBox(const frame::VolumeView<const T>& image, int threshold, std::int64_t minCount, int* box)
{
    // A threshold that all or no voxels exceed: either way the whole volume.
    if (threshold < std::numeric_limits<T>::lowest() || threshold >= std::numeric_limits<T>::max())
        return;
    const auto limit = static_cast<T>(threshold);
    BoundingBox<T> found(image, limit);
    bool hasSlice = false;
    for (std::ptrdiff_t z = 0; z < image.depth(); ++z) {
        const std::int64_t count = voxelops::countAbove(image.slice(z), image.sliceCount(), limit);
        if (count > 0 && count > minCount) {
            found.include(z);
            hasSlice = true;
        }
    }
    if (hasSlice)
        found.copyTo(box);
}

} // namespace

std::int64_t ArvoImage3DOperations::countNonZero(const ArvoImage3D* image)
{
    std::int64_t count = 0;
    if (!image) {
        frame::refuse("ArvoImage3DOperations : no image to count in.");
        return count;
    }
    image::withElementType(image->dataType(), image::IntegerTypes{},
                           "ArvoImage3DOperations::count() Data type not implemented", [&](auto element) {
                               using T = typename decltype(element)::type;
                               const frame::VolumeView<const T> voxels(*image);
                               count =
                                   voxels.count() - voxelops::countEqual(voxels.data(), voxels.count(), T(0));
                           });
    return count;
}

bool ArvoImage3DOperations::isAllZeros(ArvoImage3D* image)
{
    if (!image)
        return frame::refuse("ArvoImage3DOperations : no image to look for zeros in.");
    const auto bytes = static_cast<std::ptrdiff_t>(image->sizeOfAxialSlice()) *
                       static_cast<std::ptrdiff_t>(image->imageSize().z);
    if (image->dataType() == image::Float32)
        return isZero<std::uint32_t>(image->dataPtr(), bytes, 0x7fffffffu);
    return isZero<std::uint8_t>(image->dataPtr(), bytes, 0xffu);
}

int* ArvoImage3DOperations::getBoundingBox(ArvoImage3D* image, int threshold, int minVolume)
try {
    if (!image) {
        frame::refuse("ArvoImage3DOperations : no image to find the bounding box in.");
        return nullptr;
    }
    const QVector3D spacing = image->voxelSize();
    const std::int64_t minCount =
        image::truncateToInt32(static_cast<float>(minVolume) / (spacing.x() * spacing.y() * spacing.z()));
    const math::Ivec3 size = image->imageSize();
    int box[6] = {0, 0, 0, size.x - 1, size.y - 1, size.z - 1};
    const bool isDone = image::withElementType(
        image->dataType(), image::IntegerTypes{},
        "ArvoImage3DOperations::getBoundingBox() Data type not implemented", [&](auto element) {
            using T = typename decltype(element)::type;
            findBox(frame::VolumeView<const T>(*image), threshold, minCount, box);
        });
    if (!isDone)
        return nullptr;
    int* result = new int[6];
    std::ranges::copy(box, result);
    return result;
} catch (const std::bad_alloc&) {
    frame::refuse("ArvoImage3DOperations : out of memory.");
    return nullptr;
}
