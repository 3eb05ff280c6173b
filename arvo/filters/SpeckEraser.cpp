#include "arvo/filters/SpeckEraser.h"

#include "arvo/binary/ArvoImageBinaryTools.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/image/VoxelConversion.h"
#include "arvo/platform/utility/VectorClones.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <new>

namespace {

constexpr int EROSION_RADIUS = 2;

/// How far along each axis a voxel looks for the part it belongs to.
constexpr int REACH = 2;

/// Finds the label closest to a voxel.
///
/// The offsets of the box around it are tried in the order of |dx| + |dy| + |dz|, equals in the order of z, y, x: the
/// first label met is the closest, and most voxels lie on or next to one.
class ClosestLabel {
public:
    explicit ClosestLabel(const frame::VolumeView<const short>& labels) : m_labels(labels)
    {
        auto next = m_offsets.begin();
        for (std::ptrdiff_t z = -REACH; z <= REACH; ++z) {
            for (std::ptrdiff_t y = -REACH; y <= REACH; ++y) {
                for (std::ptrdiff_t x = -REACH; x <= REACH; ++x)
                    *next++ = {x, y, z, z * labels.sliceCount() + y * labels.width() + x};
            }
        }
        std::ranges::stable_sort(m_offsets, {}, [](const Offset& offset) {
            return std::abs(offset.x) + std::abs(offset.y) + std::abs(offset.z);
        });
    }

    /// 0 when there is none in the box.
    short at(std::ptrdiff_t x, std::ptrdiff_t y, std::ptrdiff_t z) const
    {
        const short* voxel = m_labels.row(y, z) + x;
        const bool isInside = isAwayFromEnds(x, m_labels.width()) && isAwayFromEnds(y, m_labels.height()) &&
                              isAwayFromEnds(z, m_labels.depth());
        for (const Offset& offset : m_offsets) {
            if ((isInside || holds(x + offset.x, y + offset.y, z + offset.z)) && voxel[offset.linear] != 0)
                return voxel[offset.linear];
        }
        return 0;
    }

private:
    struct Offset {
        std::ptrdiff_t x, y, z, linear;
    };

    static bool isAwayFromEnds(std::ptrdiff_t index, std::ptrdiff_t extent)
    {
        return index >= REACH && index < extent - REACH;
    }

    bool holds(std::ptrdiff_t x, std::ptrdiff_t y, std::ptrdiff_t z) const
    {
        return x >= 0 && y >= 0 && z >= 0 && x < m_labels.width() && y < m_labels.height() &&
               z < m_labels.depth();
    }

    const frame::VolumeView<const short>& m_labels;
    std::array<Offset, (2 * REACH + 1) * (2 * REACH + 1) * (2 * REACH + 1)> m_offsets;
};

template <class T>
ARVO_VECTOR_CLONES bool isAnyAbove(const T* row, std::ptrdiff_t begin, std::ptrdiff_t end, std::int32_t limit)
{
    int count = 0;
    for (std::ptrdiff_t i = begin; i < end; ++i)
        count += row[i] > limit;
    return count != 0;
}

/// Calls body(x) for the voxels of [begin, end) above the limit; passes over whole vectors of others, which most are.
template <class T, class Body>
void forEachAbove(std::int32_t limit, const T* row, std::ptrdiff_t begin, std::ptrdiff_t end, Body&& body)
{
    constexpr std::ptrdiff_t STEP = 64;
    for (; begin < end; begin += STEP) {
        const std::ptrdiff_t stop = std::min(begin + STEP, end);
        if (!isAnyAbove(row, begin, stop, limit))
            continue;
        for (std::ptrdiff_t x = begin; x < stop; ++x) {
            if (row[x] > limit)
                body(x);
        }
    }
}

} // namespace

SpeckEraser::SpeckEraser(int width, int height, int margin, int boneThreshold)
    : m_boneThreshold(boneThreshold)
{
    const int halfExtent = std::min(width, height) / 2;
    const double radius = halfExtent - margin;
    const std::ptrdiff_t centre = width / 2;
    const auto isInDisc = [&](std::ptrdiff_t dx, std::ptrdiff_t dy) {
        return radius + 0.5 > std::sqrt(static_cast<float>(dx * dx + dy * dy));
    };
    for (std::ptrdiff_t y = 0; y < height; ++y) {
        std::ptrdiff_t reach = centre;
        while (reach >= 0 && !isInDisc(reach, height / 2 - y))
            --reach;
        if (reach < 0)
            m_disc.push_back({width, width});
        else
            m_disc.push_back({centre - reach, std::min<std::ptrdiff_t>(centre + reach + 1, width)});
    }
}

void SpeckEraser::erase(ArvoImage3D& block, char* voxels)
{
    image::withElementType(block.dataType(), image::IntegerTypes{}, nullptr, [&](auto element) {
        using T = typename decltype(element)::type;
        lowerRemoved(reinterpret_cast<T*>(voxels), labelsToKeep(labelBone(block)));
    });
}

int SpeckEraser::labelBone(ArvoImage3D& block)
{
    if (!m_mask.createFrom(&block, image::Binary) || !m_labels.createFrom(&block, image::Int16))
        throw std::bad_alloc();
    ArvoImageBinaryTools tools;
    tools.setInput(&block);
    tools.setOutput(&m_mask);
    tools.thresholdFilter(m_boneThreshold, true);
    tools.setInput(&m_mask);
    tools.erodeZ(EROSION_RADIUS);
    tools.setOutput(&m_labels);
    const int labelCount = tools.label(ArvoImageBinaryTools::LABEL_DIAGONAL);
    if (labelCount < 1)
        throw std::bad_alloc();
    return labelCount;
}

/// The labels met in the disc and in the two end slices.
std::vector<unsigned char> SpeckEraser::labelsToKeep(int labelCount) const
{
    const frame::VolumeView<const short> labels(m_labels);
    std::vector<unsigned char> isKept(static_cast<std::size_t>(labelCount), 0);
    const auto keep = [&](const short* row, std::ptrdiff_t begin, std::ptrdiff_t end) {
        forEachAbove(0, row, begin, end,
                     [&](std::ptrdiff_t x) { isKept[static_cast<std::size_t>(row[x])] = 1; });
    };
    for (std::ptrdiff_t z = 0; z < labels.depth(); ++z) {
        if (z == 0 || z == labels.depth() - 1)
            keep(labels.slice(z), 0, labels.sliceCount());
        for (std::ptrdiff_t y = 0; y < labels.height(); ++y) {
            const DiscRow& disc = m_disc[static_cast<std::size_t>(y)];
            keep(labels.row(y, z), disc.begin, disc.end);
        }
    }
    return isKept;
}

template <class T> void SpeckEraser::lowerRemoved(T* voxels, const std::vector<unsigned char>& isKept) const
{
    const frame::VolumeView<const short> labels(m_labels);
    const ClosestLabel closest(labels);
    const auto lowered = static_cast<T>(static_cast<unsigned>(m_boneThreshold) - 1u);
    // Bone as the threshold filter sees it. Of bytes it compares the low byte of the threshold, so that one above the
    // whole threshold need not be bone: such a byte goes, in the disc too.
    const std::int32_t whole = image::truncateToInt32(static_cast<float>(m_boneThreshold));
    const std::int32_t boneLimit = sizeof(T) == 1 ? static_cast<T>(whole) : whole;
    const auto lowerRun = [&](T* row, std::ptrdiff_t begin, std::ptrdiff_t end, auto stays) {
        forEachAbove(m_boneThreshold, row, begin, end, [&](std::ptrdiff_t x) {
            if (!(row[x] > boneLimit && stays(x)))
                row[x] = lowered;
        });
    };
    for (std::ptrdiff_t z = 0; z < labels.depth(); ++z) {
        for (std::ptrdiff_t y = 0; y < labels.height(); ++y, voxels += labels.width()) {
            const DiscRow& disc = m_disc[static_cast<std::size_t>(y)];
            const auto isOfKeptPart = [&](std::ptrdiff_t x) {
                return isKept[static_cast<std::size_t>(closest.at(x, y, z))] != 0;
            };
            lowerRun(voxels, 0, disc.begin, isOfKeptPart);
            lowerRun(voxels, disc.end, labels.width(), isOfKeptPart);
            if (sizeof(T) == 1)
                lowerRun(voxels, disc.begin, disc.end, [](std::ptrdiff_t) { return true; });
        }
    }
}
