#include "arvo/geometry/FloatingImageContainerMerger.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/frame/ParallelFor.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/image/FloatingImageContainer.h"
#include "arvo/platform/image/VoxelConversion.h"
#include "arvo/platform/math/BoundingBox.h"

#include <algorithm>
#include <array>
#include <limits>
#include <new>
#include <utility>

namespace {

using Containers = std::vector<FloatingImageContainer*>;
using primitives::BoundingBox;

constexpr float LARGEST = std::numeric_limits<float>::max();

bool haveEqualVoxelSizes(const Containers& containers)
{
    const QVector3D first = containers.front()->getImage()->voxelSize();
    return std::ranges::all_of(containers, [&](const FloatingImageContainer* container) {
        // Component by component: the comparison of whole vectors allows for rounding.
        const QVector3D size = container->getImage()->voxelSize();
        return size.x() == first.x() && size.y() == first.y() && size.z() == first.z();
    });
}

BoundingBox boxAround(const Containers& containers)
{
    BoundingBox box(LARGEST, LARGEST, LARGEST, -LARGEST, -LARGEST, -LARGEST);
    for (const FloatingImageContainer* container : containers)
        box = BoundingBox::createUnionOf(box,
                                         BoundingBox(container->getBottomLeft(), container->getTopRight()));
    return box;
}

/// A world distance in voxels, halves away from zero.
math::Ivec3 toVoxels(const QVector3D& distance, const QVector3D& voxelSize)
{
    math::Ivec3 voxels;
    for (int axis = 0; axis < 3; ++axis) {
        const double quotient = static_cast<double>(distance[axis] / voxelSize[axis]);
        voxels[axis] = image::truncateToInt32(quotient >= 0.0 ? quotient + 0.5 : quotient - 0.5);
    }
    return voxels;
}

float largestValue(const Containers& containers)
{
    float largest = -LARGEST;
    for (const FloatingImageContainer* container : containers)
        largest = std::max(largest, container->getImage()->getValueRange().second);
    return largest;
}

/// The part of one axis on which a volume placed at `offset` meets the output; empty when first >= end.
struct Overlap {
    std::ptrdiff_t first;
    std::ptrdiff_t end;

    Overlap(std::ptrdiff_t offset, std::ptrdiff_t extent, std::ptrdiff_t outputExtent)
        : first(std::max<std::ptrdiff_t>(offset, 0)),
          end(std::min(offset + extent, outputExtent))
    {
    }

    bool holds(std::ptrdiff_t index) const { return index >= first && index < end; }
};

/// A volume and where it lies in the output.
struct PlacedVolume {
    frame::VolumeView<const float> voxels;
    std::array<std::ptrdiff_t, 3> offset;
    Overlap x;
    Overlap y;
    Overlap z;

    PlacedVolume(const ArvoImage3D& image, const math::Ivec3& at, const math::Ivec3& output)
        : voxels(image),
          offset{at.x, at.y, at.z},
          x(at.x, voxels.width(), output.x),
          y(at.y, voxels.height(), output.y),
          z(at.z, voxels.depth(), output.z)
    {
    }

    /// Takes this volume's voxels into output row (y, z) where they are smaller.
    void takeMinimum(float* row, std::ptrdiff_t rowY, std::ptrdiff_t rowZ) const
    {
        if (!z.holds(rowZ) || !y.holds(rowY) || x.first >= x.end)
            return;
        const float* in = voxels.row(rowY - offset[1], rowZ - offset[2]) + (x.first - offset[0]);
        float* out = row + x.first;
        const std::ptrdiff_t count = x.end - x.first;
        for (std::ptrdiff_t i = 0; i < count; ++i)
            out[i] = in[i] < out[i] ? in[i] : out[i];
    }
};

/// Every row is filled and merged while it is in the cache, so that the output passes through memory once.
void mergeInto(ArvoImage3D& output, const std::vector<PlacedVolume>& volumes, float outside)
{
    const frame::VolumeView<float> out(output);
    frame::parallelFor(output.imageSize().z, [&](int first, int end) {
        for (std::ptrdiff_t z = first; z < end; ++z) {
            for (std::ptrdiff_t y = 0; y < out.height(); ++y) {
                float* row = out.row(y, z);
                std::fill_n(row, out.width(), outside);
                for (const PlacedVolume& volume : volumes)
                    volume.takeMinimum(row, y, z);
            }
        }
    });
    output.editFinished();
}

std::unique_ptr<FloatingImageContainer> refuse(const char* warning)
{
    frame::refuse(warning);
    return nullptr;
}

} // namespace

FloatingImageContainerMerger::FloatingImageContainerMerger() = default;
FloatingImageContainerMerger::~FloatingImageContainerMerger() = default;

std::unique_ptr<FloatingImageContainer>
FloatingImageContainerMerger::mergeByUnion(const Containers& containers)
try {
    const auto hasVolume = [](const FloatingImageContainer* container) {
        return container && frame::isUsable(container->getImage());
    };
    const auto holdsFloats = [](const FloatingImageContainer* container) {
        return container->getImage()->dataType() == image::Float32;
    };
    if (containers.empty())
        return nullptr;
    if (!std::ranges::all_of(containers, hasVolume))
        return refuse("FloatingImageContainerMerger : a container without a valid volume.");
    if (!haveEqualVoxelSizes(containers))
        return nullptr;
    if (!std::ranges::all_of(containers, holdsFloats))
        return refuse("FloatingImageContainerMerger : cannot merge volumes other than float.");

    const QVector3D voxelSize = containers.front()->getImage()->voxelSize();
    const BoundingBox box = boxAround(containers);
    const math::Ivec3 size = toVoxels(box.max() - box.min(), voxelSize);
    auto merged = std::make_unique<ArvoImage3D>(size, voxelSize, image::Float32);
    if (!merged->isValid())
        return refuse("FloatingImageContainerMerger : cannot create the merged volume.");

    std::vector<PlacedVolume> volumes;
    volumes.reserve(containers.size());
    for (const FloatingImageContainer* container : containers)
        volumes.emplace_back(*container->getImage(),
                             toVoxels(container->getBottomLeft() - box.min(), voxelSize), size);
    mergeInto(*merged, volumes, largestValue(containers));
    return std::make_unique<FloatingImageContainer>(std::move(merged), box.min(), box.max());
} catch (const std::bad_alloc&) {
    frame::refuse("FloatingImageContainerMerger : out of memory.");
    return nullptr;
}
