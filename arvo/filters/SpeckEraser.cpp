#include "arvo/filters/SpeckEraser.h"

#include "arvo/binary/ArvoImageBinaryTools.h"
#include "arvo/binary/MaskRowBits.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/image/VoxelConversion.h"
#include "arvo/platform/utility/VectorClones.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

constexpr int EROSION_RADIUS = 2;

/// How far along each axis a voxel looks for the part it belongs to.
constexpr int REACH = 2;

/// What the mask holds of a bone voxel that the erosion left.
enum Mark : unsigned char { NONE = 0, REMOVED = 1, KEPT = 2 };

/// Finds the marked voxel closest to a voxel.
///
/// The offsets of the box around it are tried in the order of |dx| + |dy| + |dz|, equals in the order of z, y, x: the
/// first mark met is the closest. Most voxels lie on one, or are specks with none in the whole box.
class ClosestMark {
public:
    explicit ClosestMark(const frame::VolumeView<const unsigned char>& marks) : m_marks(marks)
    {
        auto next = m_offsets.begin();
        for (std::ptrdiff_t z = -REACH; z <= REACH; ++z) {
            for (std::ptrdiff_t y = -REACH; y <= REACH; ++y) {
                for (std::ptrdiff_t x = -REACH; x <= REACH; ++x)
                    *next++ = {x, y, z, z * marks.sliceCount() + y * marks.width() + x};
            }
        }
        std::ranges::stable_sort(m_offsets, {}, [](const Offset& offset) {
            return std::abs(offset.x) + std::abs(offset.y) + std::abs(offset.z);
        });
    }

    /// NONE when there is none in the box.
    unsigned char at(std::ptrdiff_t x, std::ptrdiff_t y, std::ptrdiff_t z) const
    {
        const unsigned char* voxel = m_marks.row(y, z) + x;
        if (*voxel != NONE)
            return *voxel;
        const bool isInside = isAwayFromEnds(x, m_marks.width()) && isAwayFromEnds(y, m_marks.height()) &&
                              isAwayFromEnds(z, m_marks.depth());
        if (isInside && x - REACH + LOADED <= m_marks.width() && isBoxEmpty(voxel))
            return NONE;
        for (const Offset& offset : m_offsets) {
            if ((isInside || holds(x + offset.x, y + offset.y, z + offset.z)) && voxel[offset.linear] != NONE)
                return voxel[offset.linear];
        }
        return NONE;
    }

private:
    struct Offset {
        std::ptrdiff_t x, y, z, linear;
    };

    static constexpr std::ptrdiff_t LOADED = sizeof(std::uint64_t);

    /// Takes the box row by row, some voxels beyond its width at a time; these may only say that it is not empty.
    bool isBoxEmpty(const unsigned char* centre) const
    {
        std::uint64_t found = 0;
        for (std::ptrdiff_t z = -REACH; z <= REACH; ++z) {
            for (std::ptrdiff_t y = -REACH; y <= REACH; ++y) {
                std::uint64_t row = 0;
                std::memcpy(&row, centre + z * m_marks.sliceCount() + y * m_marks.width() - REACH, LOADED);
                found |= row;
            }
        }
        return found == 0;
    }

    static bool isAwayFromEnds(std::ptrdiff_t index, std::ptrdiff_t extent)
    {
        return index >= REACH && index < extent - REACH;
    }

    bool holds(std::ptrdiff_t x, std::ptrdiff_t y, std::ptrdiff_t z) const
    {
        return x >= 0 && y >= 0 && z >= 0 && x < m_marks.width() && y < m_marks.height() &&
               z < m_marks.depth();
    }

    const frame::VolumeView<const unsigned char>& m_marks;
    std::array<Offset, (2 * REACH + 1) * (2 * REACH + 1) * (2 * REACH + 1)> m_offsets;
};

/// Bit i of word w says whether voxel 64 w + i is above the limit.
template <class T>
ARVO_VECTOR_CLONES void packAbove(const T* voxels, std::ptrdiff_t count, std::int32_t limit,
                                  std::uint64_t* words)
{
    for (std::ptrdiff_t begin = 0; begin < count; begin += binary::WORD_BITS) {
        const std::ptrdiff_t width = std::min(count - begin, binary::WORD_BITS);
        unsigned char isAbove[binary::WORD_BITS];
        for (std::ptrdiff_t i = 0; i < width; ++i)
            isAbove[i] = voxels[begin + i] > limit;
        *words++ = binary::nonZeroBits(isAbove, width);
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
            m_disc.push_back({width, width}); // none, and all of the row before it
        else
            m_disc.push_back({centre - reach, std::min<std::ptrdiff_t>(centre + reach + 1, width)});
    }
}

void SpeckEraser::erase(ArvoImage3D& block, char* voxels)
{
    image::withElementType(block.dataType(), image::IntegerTypes{}, nullptr, [&](auto element) {
        using T = typename decltype(element)::type;
        markParts(block);
        lowerRemoved(reinterpret_cast<T*>(voxels));
    });
}

/// Parts stay that are met in the disc or in the two end slices.
void SpeckEraser::markParts(ArvoImage3D& block)
{
    using binary::LabelledRuns;
    if (!m_mask.createFrom(&block, image::Binary))
        throw std::bad_alloc();
    ArvoImageBinaryTools tools;
    tools.setInput(&block);
    tools.setOutput(&m_mask);
    tools.thresholdFilter(m_boneThreshold, true);
    tools.setInput(&m_mask);
    tools.erodeZ(EROSION_RADIUS);
    const auto parts = LabelledRuns::of(LabelledRuns::Mask(m_mask), LabelledRuns::Neighbours::All);
    if (!parts)
        throw std::bad_alloc();
    std::vector<unsigned char> marks = parts->partsInColumns(m_disc);
    const std::vector<unsigned char> isOnFirst = parts->partsOnSlice(0);
    const std::vector<unsigned char> isOnLast = parts->partsOnSlice(block.imageSize().z - 1);
    for (std::size_t label = 1; label < marks.size(); ++label)
        marks[label] = marks[label] || isOnFirst[label] || isOnLast[label] ? KEPT : REMOVED;
    parts->paint(frame::VolumeView<unsigned char>(m_mask), marks);
}

template <class T> void SpeckEraser::lowerRemoved(T* voxels) const
{
    const frame::VolumeView<const unsigned char> marks(m_mask);
    const ClosestMark closest(marks);
    const auto lowered = static_cast<T>(static_cast<unsigned>(m_boneThreshold) - 1u);
    // Bone as the threshold filter sees it. Of bytes it compares the low byte of the threshold, so that one above the
    // whole threshold need not be bone: such a byte goes, in the disc too.
    const std::int32_t whole = image::truncateToInt32(static_cast<float>(m_boneThreshold));
    const std::int32_t boneLimit = sizeof(T) == 1 ? static_cast<T>(whole) : whole;
    std::vector<std::uint64_t> above(static_cast<std::size_t>(binary::wordsOfRow(marks.width())));
    const auto lowerRun = [&](T* row, std::ptrdiff_t begin, std::ptrdiff_t end, auto stays) {
        packAbove(row + begin, end - begin, m_boneThreshold, above.data());
        for (std::ptrdiff_t first = begin, w = 0; first < end; first += binary::WORD_BITS, ++w) {
            binary::forEachBit(above[static_cast<std::size_t>(w)], [&](std::ptrdiff_t i) {
                const std::ptrdiff_t x = first + i;
                if (!(row[x] > boneLimit && stays(x)))
                    row[x] = lowered;
            });
        }
    };
    for (std::ptrdiff_t z = 0; z < marks.depth(); ++z) {
        for (std::ptrdiff_t y = 0; y < marks.height(); ++y, voxels += marks.width()) {
            const auto& disc = m_disc[static_cast<std::size_t>(y)];
            const auto isOfKeptPart = [&](std::ptrdiff_t x) { return closest.at(x, y, z) == KEPT; };
            lowerRun(voxels, 0, disc.begin, isOfKeptPart);
            lowerRun(voxels, disc.end, marks.width(), isOfKeptPart);
            if (sizeof(T) == 1)
                lowerRun(voxels, disc.begin, disc.end, [](std::ptrdiff_t) { return true; });
        }
    }
}
