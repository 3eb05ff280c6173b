#include "arvo/reslice/ArvoImage3DReslicer.h"

#include "arvo/frame/CallChecks.h"
#include "arvo/frame/VolumeView.h"
#include "arvo/platform/image/Conversions.h"
#include "arvo/platform/image/ElementTypes.h"
#include "arvo/platform/image/Image2D.h"

#include <algorithm>
#include <cstring>

namespace {

/// Whether slices [first, first + count) exist along an axis of that extent.
bool hasSlices(int extent, int first, int count)
{
    return first >= 0 && count >= 0 && count <= extent && first <= extent - count;
}

bool canLoad(const ArvoImage3D* volume, const char* buffer)
{
    if (!frame::isUsable(volume))
        return frame::refuse("ArvoImage3DReslicer : no valid volume.");
    if (!buffer)
        return frame::refuse("ArvoImage3DReslicer : no buffer to write to.");
    return true;
}

bool refuseSlices()
{
    return frame::refuse("ArvoImage3DReslicer : the slices lie outside the volume.");
}

template <class T>
void copyCoronalSlices(const frame::VolumeView<const T>& voxels, int first, int count, T* out)
{
    for (int k = 0; k < count; ++k) {
        for (std::ptrdiff_t z = 0; z < voxels.depth(); ++z, out += voxels.width())
            std::copy_n(voxels.row(first + k, z), voxels.width(), out);
    }
}

/// Every row of the volume gives each slice one voxel. Tiles of rows and slices, small enough that a tile's lines of the
/// volume stay in the cache until all slices have taken their voxel from them. A single slice is one read a cache line:
/// neither prefetching nor several streams make that faster.
template <class T>
void copySagittalSlices(const frame::VolumeView<const T>& voxels, int first, int count, T* out)
{
    constexpr std::ptrdiff_t TILE = 64;
    const std::ptrdiff_t rows = voxels.height() * voxels.depth(); // rows of the volume = voxels of a slice
    for (std::ptrdiff_t row = 0; row < rows; row += TILE) {
        const std::ptrdiff_t rowEnd = std::min(row + TILE, rows);
        for (std::ptrdiff_t slice = 0; slice < count; slice += TILE) {
            const std::ptrdiff_t sliceEnd = std::min<std::ptrdiff_t>(slice + TILE, count);
            for (std::ptrdiff_t k = slice; k < sliceEnd; ++k) {
                const T* column = voxels.data() + first + k;
                for (std::ptrdiff_t r = row; r < rowEnd; ++r)
                    out[k * rows + r] = column[r * voxels.width()];
            }
        }
    }
}

/// One slice across axis 0 (x) or 1 (y) as an image whose rows run along the other of the two.
bool loadPlane(ArvoImage3D* volume, int axis, int slice, Image2D* image,
               void (*load)(ArvoImage3D*, int first, int count, char* buffer))
{
    if (!frame::isUsable(volume))
        return frame::refuse("ArvoImage3DReslicer : no valid volume.");
    const math::Ivec3 size = volume->imageSize();
    if (!image || slice >= size[axis])
        return false;
    if (slice < 0)
        return refuseSlices();
    *image = Image2D(size[1 - axis], size.z, conversions::toImage2DDataType(volume->dataType()),
                     volume->voxelSize(), true);
    if (!image->isValid())
        return false;
    load(volume, slice, 1, image->dataPtr());
    image->editFinished();
    return true;
}

} // namespace

ArvoImage3DReslicer::ArvoImage3DReslicer() = default;
ArvoImage3DReslicer::ArvoImage3DReslicer(const ArvoImage3DReslicer&) = default;
ArvoImage3DReslicer::~ArvoImage3DReslicer() = default;

void ArvoImage3DReslicer::loadAxialSlices(const ArvoImage3D* volume, int first, int count, char* buffer)
{
    if (!canLoad(volume, buffer))
        return;
    if (!hasSlices(volume->imageSize().z, first, count)) {
        refuseSlices();
        return;
    }
    const std::size_t sliceBytes = volume->sizeOfAxialSlice();
    std::memcpy(buffer, volume->dataPtr() + static_cast<std::size_t>(first) * sliceBytes,
                static_cast<std::size_t>(count) * sliceBytes);
}

void ArvoImage3DReslicer::loadCoronalSlices(ArvoImage3D* volume, int first, int count, char* buffer)
{
    if (!canLoad(volume, buffer))
        return;
    image::withElementType(volume->dataType(), image::VoxelTypes{},
                           "ArvoImage3D::loadCoronalSlices() Data type not implemented", [&](auto element) {
                               using T = typename decltype(element)::type;
                               if (!hasSlices(volume->imageSize().y, first, count))
                                   return refuseSlices();
                               copyCoronalSlices(frame::VolumeView<const T>(*volume), first, count,
                                                 reinterpret_cast<T*>(buffer));
                               return true;
                           });
}

void ArvoImage3DReslicer::loadSagittalSlices(ArvoImage3D* volume, int first, int count, char* buffer)
{
    if (!canLoad(volume, buffer))
        return;
    image::withElementType(volume->dataType(), image::VoxelTypes{},
                           "ArvoImage3D::loadSagittalSlices() Data type not implemented", [&](auto element) {
                               using T = typename decltype(element)::type;
                               if (!hasSlices(volume->imageSize().x, first, count))
                                   return refuseSlices();
                               copySagittalSlices(frame::VolumeView<const T>(*volume), first, count,
                                                  reinterpret_cast<T*>(buffer));
                               return true;
                           });
}

bool ArvoImage3DReslicer::loadAxialSlice2D(ArvoImage3D* volume, int z, Image2D* image)
{
    if (!frame::isUsable(volume))
        return frame::refuse("ArvoImage3DReslicer : no valid volume.");
    const math::Ivec3 size = volume->imageSize();
    if (!image || z >= size.z)
        return false;
    if (z < 0)
        return refuseSlices();
    const bool isLoaded = image->loadFromData(volume->getConstAxialSlice(z), size.x, size.y,
                                              conversions::toImage2DDataType(volume->dataType()));
    image->setPixelSize(volume->voxelSize());
    return isLoaded;
}

bool ArvoImage3DReslicer::loadCoronalSlice2D(ArvoImage3D* volume, int y, Image2D* image)
{
    return loadPlane(volume, 1, y, image, loadCoronalSlices);
}

bool ArvoImage3DReslicer::loadSagittalSlice2D(ArvoImage3D* volume, int x, Image2D* image)
{
    return loadPlane(volume, 0, x, image, loadSagittalSlices);
}
