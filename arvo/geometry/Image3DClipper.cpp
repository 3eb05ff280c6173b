#include "arvo/geometry/Image3DClipper.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/frame/ParallelFor.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/geometry/GuardedRegion.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/image/VoxelConversion.h"

#include <algorithm>
#include <new>

namespace {

template <class T>
void clipVoxels(ArvoImage3D& image, const primitives::Plane& plane, const QMatrix4x4& transform)
{
    const frame::VolumeView<T> voxels(image);
    const QVector3D size = image.voxelSize();
    const T fill = image::toVoxel<T>(image.getValueRange().first);
    geometry::GuardedRegion region(image.imageSize());
    region.addHalfSpace(plane, transform, size);

    const auto centre = [](std::ptrdiff_t index, float spacing) {
        return static_cast<float>(index) * spacing + spacing / 2.0f;
    };
    const auto clipRow = [&](std::ptrdiff_t y, std::ptrdiff_t z) {
        T* row = voxels.row(y, z);
        geometry::forEachInside(
            region.spansOf(y, z),
            [&](std::ptrdiff_t x) {
                return plane.isInHalfSpace(
                    transform.map(QVector3D(centre(x, size.x()), centre(y, size.y()), centre(z, size.z()))));
            },
            [&](std::ptrdiff_t first, std::ptrdiff_t end) { std::fill(row + first, row + end, fill); });
    };
    frame::parallelFor(image.imageSize().z, [&](int first, int end) {
        for (int z = first; z < end; ++z) {
            for (std::ptrdiff_t y = 0; y < voxels.height(); ++y)
                clipRow(y, z);
        }
    });
    image.editFinished();
}

} // namespace

void Image3DClipper::clip()
try {
    if (!frame::isUsable(m_imageToClip)) {
        frame::refuse("Image3DClipper : no valid image to clip.");
        return;
    }
    image::withElementType(m_imageToClip->dataType(), image::VoxelTypes{},
                           "Image3DClipper : clipping not implemented for this data type.",
                           [&](auto element) {
                               using T = typename decltype(element)::type;
                               if (!m_clipPlane)
                                   return frame::refuse("Image3DClipper : no clip plane.");
                               clipVoxels<T>(*m_imageToClip, *m_clipPlane, m_imageTransform);
                               return true;
                           });
} catch (const std::bad_alloc&) {
    frame::refuse("Image3DClipper : out of memory.");
}
