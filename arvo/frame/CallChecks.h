#pragma once

#include "arvo/platform/image/ArvoImage3D.h"
#include "arvo/platform/image/ElementTypes.h"

/// The tests of a call's arguments that operations make before they touch a voxel.
namespace frame {

/// Logs the warning and returns false, so that a bad call reads `return refuse("Class : problem.");`.
inline bool refuse(const char* warning)
{
    qWarning("%s", warning);
    return false;
}

inline bool isUsable(const ArvoImage3D* image)
{
    return image && image->isValid();
}

inline bool haveEqualSize(const ArvoImage3D& a, const ArvoImage3D& b)
{
    return a.imageSize() == b.imageSize();
}

/// Whether a loop over slices [0, z) with x * y elements each of `elementWidth` bytes, x, y, z being the size of
/// `loop`, stays inside `image`. A larger image is fine: it is used as far as the loop runs.
inline bool coversLoopOver(const ArvoImage3D& image, const ArvoImage3D& loop, std::size_t elementWidth)
{
    const math::Ivec3 size = loop.imageSize();
    const std::size_t sliceBytes =
        static_cast<std::size_t>(size.x) * static_cast<std::size_t>(size.y) * elementWidth;
    return image.imageSize().z >= size.z && image.sizeOfAxialSlice() >= sliceBytes;
}

/// Whether a valid volume with voxels of `elementWidth` bytes has all slices from `first` to `last`.
inline bool holdsSlices(const ArvoImage3D& image, int first, int last, std::size_t elementWidth)
{
    return image.isValid() && image::elementWidth(image.dataType()) == elementWidth && first >= 0 &&
           last < image.imageSize().z;
}

} // namespace frame
